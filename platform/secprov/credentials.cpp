// SPDX-License-Identifier: MIT
#include "credentials.h"

#include <new>

#include "certificate.h"
#include "context.h"

namespace {

struct Protocol {
    DWORD bits;
    int version;
};
constexpr Protocol kProtocols[] = {{SP_PROT_TLS1_0, TLS1_VERSION},
                                   {SP_PROT_TLS1_1, TLS1_1_VERSION},
                                   {SP_PROT_TLS1_2, TLS1_2_VERSION},
                                   {SP_PROT_TLS1_3, TLS1_3_VERSION}};
constexpr int kLeastVersion = TLS1_2_VERSION;

/// Peers' certificates are checked by whoever asks for them, after the handshake.
int leave_to_caller(X509_STORE_CTX*, void*) {
    return 1;
}

/// Limits the versions to those of the mask; false if none is left of them. 0 is the default.
bool choose_protocols(SSL_CTX* context, DWORD mask) {
    int least = kLeastVersion;
    int most = TLS1_3_VERSION;
    if (mask != 0) {
        least = most = 0;
        for (const Protocol& protocol : kProtocols) {
            if ((mask & protocol.bits) == 0 || protocol.version < kLeastVersion) continue;
            if (least == 0) least = protocol.version;
            most = protocol.version;
        }
        if (least == 0) return false;
    }
    // The system's own limit is kept where it is stricter.
    if (SSL_CTX_get_min_proto_version(context) > least) least = 0;
    return (least == 0 || SSL_CTX_set_min_proto_version(context, least) == 1) &&
           SSL_CTX_set_max_proto_version(context, most) == 1;
}

SECURITY_STATUS use_certificate(SSL_CTX* context, const Certificate& certificate) {
    if (certificate.key() == nullptr) return SEC_E_NO_CREDENTIALS;
    const bool used = SSL_CTX_use_certificate(context, certificate.x509()) == 1 &&
                      SSL_CTX_set1_chain(context, certificate.chain()) == 1 &&
                      SSL_CTX_use_PrivateKey(context, certificate.key()) == 1 &&
                      SSL_CTX_check_private_key(context) == 1;
    ERR_clear_error();
    return used ? SEC_E_OK : SEC_E_UNKNOWN_CREDENTIALS;
}

/// What does not depend on the caller's wishes.
void set_up(SSL_CTX* context, bool is_server) {
    SSL_CTX_set_options(context, SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION);
    SSL_CTX_set_mode(context, SSL_MODE_AUTO_RETRY);
    SSL_CTX_set_read_ahead(context, 1);
    SSL_CTX_set_cert_verify_callback(context, &leave_to_caller, nullptr);
    SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF);
    if (is_server) {
        constexpr unsigned char kName[] = "caldane";
        SSL_CTX_set_session_id_context(context, kName, sizeof kName - 1);
        SSL_CTX_set_num_tickets(context, 1);
    } else {
        SSL_CTX_set_cert_cb(context, &SecurityContext::certificate_wanted, nullptr);
    }
}

}  // namespace

SECURITY_STATUS Credentials::make(const SCHANNEL_CRED& wanted, bool is_server,
                                  std::unique_ptr<Credentials>& out) {
    if (wanted.dwVersion != SCHANNEL_CRED_VERSION) return SEC_E_UNKNOWN_CREDENTIALS;
    SslContextHandle context(SSL_CTX_new(is_server ? TLS_server_method() : TLS_client_method()));
    if (!context) throw std::bad_alloc();
    if (!choose_protocols(context.get(), wanted.grbitEnabledProtocols)) return SEC_E_ALGORITHM_MISMATCH;
    set_up(context.get(), is_server);
    const bool has_certificate = wanted.cCreds > 0 && wanted.paCred != nullptr;
    if (has_certificate) {
        const SECURITY_STATUS status = use_certificate(context.get(), *Certificate::of(wanted.paCred[0]));
        if (status != SEC_E_OK) return status;
    } else if (is_server) {
        return SEC_E_NO_CREDENTIALS;
    }
    out.reset(new Credentials(std::move(context), is_server, wanted.dwFlags));
    return SEC_E_OK;
}
