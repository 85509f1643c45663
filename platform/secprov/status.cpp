// SPDX-License-Identifier: MIT
#include "status.h"

#include <secprov/sspi.h>

#include <atomic>

#include "live_objects.h"
#include "openssl_handles.h"

namespace {

std::atomic<void (*)(DWORD)> set_last_error = nullptr;

}  // namespace

BOOL fail_with(DWORD error) {
    if (auto* const set = set_last_error.load()) set(error);
    return FALSE;
}

extern "C" void SecprovAttach(void (*set)(DWORD)) {
    set_last_error.store(set);
}

extern "C" long SecprovLiveObjects() {
    return LiveObjects::alive.load();
}

SECURITY_STATUS status_of_openssl_error() {
    const unsigned long error = ERR_peek_last_error();
    if (ERR_GET_REASON(error) == ERR_R_MALLOC_FAILURE) return SEC_E_INSUFFICIENT_MEMORY;
    if (ERR_GET_LIB(error) != ERR_LIB_SSL) return SEC_E_ILLEGAL_MESSAGE;
    switch (ERR_GET_REASON(error)) {
        case SSL_R_DECRYPTION_FAILED_OR_BAD_RECORD_MAC:
        case SSL_R_BAD_SIGNATURE:
        case SSL_R_SSLV3_ALERT_BAD_RECORD_MAC:
            return SEC_E_MESSAGE_ALTERED;
        case SSL_R_NO_SHARED_CIPHER:
        case SSL_R_NO_SUITABLE_SIGNATURE_ALGORITHM:
        case SSL_R_NO_PROTOCOLS_AVAILABLE:
        case SSL_R_UNSUPPORTED_PROTOCOL:
        case SSL_R_VERSION_TOO_LOW:
        case SSL_R_WRONG_SSL_VERSION:
        case SSL_R_TLSV1_ALERT_PROTOCOL_VERSION:
        case SSL_R_SSLV3_ALERT_HANDSHAKE_FAILURE:
        case SSL_R_TLSV1_ALERT_INSUFFICIENT_SECURITY:
            return SEC_E_ALGORITHM_MISMATCH;
        case SSL_R_SSLV3_ALERT_BAD_CERTIFICATE:
        case SSL_R_SSLV3_ALERT_UNSUPPORTED_CERTIFICATE:
        case SSL_R_SSLV3_ALERT_CERTIFICATE_REVOKED:
        case SSL_R_SSLV3_ALERT_CERTIFICATE_EXPIRED:
        case SSL_R_SSLV3_ALERT_CERTIFICATE_UNKNOWN:
        case SSL_R_TLSV1_ALERT_UNKNOWN_CA:
        case SSL_R_TLSV13_ALERT_CERTIFICATE_REQUIRED:
            return SEC_E_CERT_UNKNOWN;
        default:
            return SEC_E_ILLEGAL_MESSAGE;
    }
}
