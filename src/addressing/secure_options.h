// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// A property that is a number of seconds, 0 or more; `otherwise` where it is absent or no such number.
double seconds_property(const char* name, double otherwise);

/// How secure connections of this process are set up, as the properties say at this moment. The text is the
/// properties' own.
struct SecureOptions {
    static SecureOptions current();

    std::int32_t protocol = 0;      ///< ZOLT_SSL_PROTO
    std::int32_t vendor = 2;        ///< ZOLT_SSL_VENDOR
    const char* subject = nullptr;  ///< ZOLT_SSL_EXACT_USR, else ZOLT_SSL_USR, else null
    int exact = 0;                  ///< 1 where the subject is the former
    bool resumes = true;            ///< SOAP_TLS_RESUMPTION
    bool weak_ciphers = false;      ///< SOAP_TLS_WEAK_CIPHERS
    double handshake_seconds = 0;   ///< SOAP_HANDSHAKE_TIMEOUT; 0 is no limit
};
