// SPDX-License-Identifier: MIT
#include "credentials.h"

#include <new>
#include <string>
#include <vector>

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

// Forward secrecy and authenticated encryption, in the order of preference, which is the server's. SHA-256
// stands first: it takes less time in a handshake.
constexpr const char* kStrongCiphers[] = {
    "TLS_AES_128_GCM_SHA256",        "TLS_AES_256_GCM_SHA384",        "TLS_CHACHA20_POLY1305_SHA256",
    "ECDHE-ECDSA-AES128-GCM-SHA256", "ECDHE-RSA-AES128-GCM-SHA256",   "ECDHE-ECDSA-AES256-GCM-SHA384",
    "ECDHE-RSA-AES256-GCM-SHA384",   "ECDHE-ECDSA-CHACHA20-POLY1305", "ECDHE-RSA-CHACHA20-POLY1305"};

/// Orders the ciphers that the system allows. `weak`: also those of them without forward secrecy or
/// authenticated encryption, behind the others.
bool choose_ciphers(SSL_CTX* context, bool weak) {
    std::vector<std::string> allowed;
    const STACK_OF(SSL_CIPHER)* const system = SSL_CTX_get_ciphers(context);
    for (int i = 0; i < sk_SSL_CIPHER_num(system); ++i)
        allowed.emplace_back(SSL_CIPHER_get_name(sk_SSL_CIPHER_value(system, i)));
    std::string suites, list;  // of TLS 1.3, and of 1.2
    const auto add = [&](const std::string& name) {
        (name.starts_with("TLS_") ? suites : list) += name + ":";
    };
    for (const char* const name : kStrongCiphers) {
        if (std::erase(allowed, name) != 0) add(name);
    }
    for (const std::string& name : allowed) {
        if (weak) add(name);
    }
    return (list.empty() || SSL_CTX_set_cipher_list(context, list.c_str()) == 1) &&
           SSL_CTX_set_ciphersuites(context, suites.c_str()) == 1;
}

/// What does not depend on the caller's wishes.
void set_up(SSL_CTX* context, bool is_server) {
    SSL_CTX_set_options(context, SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION |
                                     SSL_OP_CIPHER_SERVER_PREFERENCE | SSL_OP_PRIORITIZE_CHACHA);
    // A session that waits for its peer holds no buffers; the chain to be sent is as the store has it.
    SSL_CTX_set_mode(context, SSL_MODE_AUTO_RETRY | SSL_MODE_RELEASE_BUFFERS | SSL_MODE_NO_AUTO_CHAIN);
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
    if (!choose_ciphers(context.get(), (wanted.dwFlags & kCredWeakCiphers) != 0))
        return SEC_E_ALGORITHM_MISMATCH;
    set_up(context.get(), is_server);
    if ((wanted.dwFlags & SCH_CRED_DISABLE_RECONNECTS) != 0) {
        SSL_CTX_set_options(context.get(), SSL_OP_NO_TICKET);
        SSL_CTX_set_num_tickets(context.get(), 0);
    }
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
