// SPDX-License-Identifier: MIT
#pragma once

#include "transport/broker.h"

// The tags under which this transport's profiles stand in object references.
inline constexpr _Caldane_ULong TAG_INTERNET_SOAP_RPC = 3;   ///< http, RPC encoder
inline constexpr _Caldane_ULong TAG_INTERNET_SOAP_DOC = 4;   ///< http, document
inline constexpr _Caldane_ULong TAG_INTERNET_SOAPS_RPC = 8;  ///< https, RPC encoder
inline constexpr _Caldane_ULong TAG_INTERNET_SOAPS_DOC = 9;  ///< https, document

/// "http://" or "https://", as the tag says.
inline const char* scheme_of_tag(_Caldane_ULong tag) {
    return tag == TAG_INTERNET_SOAP_RPC || tag == TAG_INTERNET_SOAP_DOC ? "http://" : "https://";
}
