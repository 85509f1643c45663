// SPDX-License-Identifier: MIT
#pragma once

#include "transport/broker.h"

/// True where text is UTF-8 on both sides of the streams: the property SOAP_UTF8_TEXT. Otherwise incoming
/// text is one byte a character, and outgoing text is the application's bytes.
inline bool text_is_utf8() {
    return SOA::getProperties().get("SOAP_UTF8_TEXT") != nullptr;
}
