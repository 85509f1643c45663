// SPDX-License-Identifier: MIT
#include "credentials.h"

#include <map>
#include <new>
#include <string>
#include <vector>

#include "certificate.h"
#include "context.h"
#include "folders.h"
#include "store.h"
#include "tickets.h"

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
void set_options(SSL_CTX* context) {
    SSL_CTX_set_options(context, SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION |
                                     SSL_OP_CIPHER_SERVER_PREFERENCE | SSL_OP_PRIORITIZE_CHACHA);
    // A session that waits for its peer holds no buffers; the chain to be sent is as the store has it.
    SSL_CTX_set_mode(context, SSL_MODE_AUTO_RETRY | SSL_MODE_RELEASE_BUFFERS | SSL_MODE_NO_AUTO_CHAIN);
    SSL_CTX_set_read_ahead(context, 1);
    SSL_CTX_set_cert_verify_callback(context, &leave_to_caller, nullptr);
    SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF);
}

void set_resumption(SSL_CTX* context, bool is_server, bool resumes) {
    if (!resumes) {
        SSL_CTX_set_options(context, SSL_OP_NO_TICKET);
        SSL_CTX_set_num_tickets(context, 0);
    } else if (is_server) {
        give_tickets(context);
    } else {
        SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_CLIENT | SSL_SESS_CACHE_NO_INTERNAL);
        SSL_CTX_sess_set_new_cb(context, &SecurityContext::session_given);
    }
}

/// The contexts of clients, each of whose connections has credentials of its own, by configuration. They are
/// dear to make.
struct ClientContexts {
    static constexpr std::size_t kMost = 16;
    std::mutex mutex;
    std::map<std::string, SslContextHandle> all;

    static ClientContexts& instance() {
        static ClientContexts* const contexts = new ClientContexts;
        return *contexts;
    }
};

SslContextHandle same_context(const SslContextHandle& context) {
    SSL_CTX_up_ref(context.get());
    return SslContextHandle(context.get());
}

}  // namespace

SECURITY_STATUS Credentials::set_up(const Certificate* certificate, SslContextHandle& made) const {
    SslContextHandle fresh(SSL_CTX_new(server ? TLS_server_method() : TLS_client_method()));
    if (!fresh) throw std::bad_alloc();
    if (!choose_protocols(fresh.get(), protocols) ||
        !choose_ciphers(fresh.get(), (flags & kCredWeakCiphers) != 0))
        return SEC_E_ALGORITHM_MISMATCH;
    set_options(fresh.get());
    set_resumption(fresh.get(), server, (flags & SCH_CRED_DISABLE_RECONNECTS) == 0);
    if (!server) SSL_CTX_set_cert_cb(fresh.get(), &SecurityContext::certificate_wanted, nullptr);
    if (certificate != nullptr) {
        const SECURITY_STATUS status = use_certificate(fresh.get(), *certificate);
        if (status != SEC_E_OK) return status;
    } else if (server) {
        return SEC_E_NO_CREDENTIALS;
    }
    made = std::move(fresh);
    return SEC_E_OK;
}

SECURITY_STATUS Credentials::find_client_context(const Certificate* certificate) {
    std::string key = std::to_string(flags) + ' ' + std::to_string(protocols) + ' ';
    if (certificate != nullptr) {
        unsigned char digest[EVP_MAX_MD_SIZE];
        unsigned length = 0;
        if (X509_digest(certificate->x509(), EVP_sha256(), digest, &length) != 1) throw std::bad_alloc();
        key.append(reinterpret_cast<const char*>(digest), length);
        key += certificate->key() != nullptr ? '+' : '-';
    }
    ClientContexts& known = ClientContexts::instance();
    const std::lock_guard lock(known.mutex);
    const auto found = known.all.find(key);
    if (found != known.all.end()) {
        context = same_context(found->second);
    } else {
        const SECURITY_STATUS status = set_up(certificate, context);
        if (status != SEC_E_OK) return status;
        if (known.all.size() >= ClientContexts::kMost) known.all.clear();
        known.all.emplace(key, same_context(context));
    }
    if ((flags & SCH_CRED_DISABLE_RECONNECTS) == 0) sessions_ = key + ' ';
    return SEC_E_OK;
}

SECURITY_STATUS Credentials::make(const SCHANNEL_CRED& wanted, bool is_server,
                                  std::unique_ptr<Credentials>& out) {
    if (wanted.dwVersion != SCHANNEL_CRED_VERSION) return SEC_E_UNKNOWN_CREDENTIALS;
    const bool has_certificate = wanted.cCreds > 0 && wanted.paCred != nullptr;
    const Certificate* const certificate = has_certificate ? Certificate::of(wanted.paCred[0]) : nullptr;
    std::unique_ptr<Credentials> made(new Credentials(wanted, is_server));
    const SECURITY_STATUS status =
        is_server ? made->set_up(certificate, made->context) : made->find_client_context(certificate);
    if (status != SEC_E_OK) return status;
    if (is_server && certificate->search) {
        made->search = certificate->search;
        made->files = certificate->files;
    }
    out = std::move(made);
    return SEC_E_OK;
}

SslHandle Credentials::new_session() const {
    if (search) look_for_renewal();
    std::unique_lock lock(in_force);
    const SslContextHandle now = same_context(context);
    lock.unlock();
    return SslHandle(SSL_new(now.get()));
}

/// At most once a second, by one thread; others go on with what is in force.
void Credentials::look_for_renewal() const {
    const Clock::rep now = Clock::now().time_since_epoch().count();
    if (now < next_look.load(std::memory_order_relaxed)) return;
    const std::unique_lock lock(looking, std::try_to_lock);
    if (!lock) return;
    std::string state = search->state();
    if (state != files) {
        if (!renew())
            say_once(search->folder() +
                     ": the files have changed, and the certificate in force is no longer "
                     "among them with a key that fits; it stays in force until they are mended");
        files = std::move(state);
    }
    next_look.store(now + std::chrono::duration_cast<Clock::duration>(std::chrono::seconds(1)).count(),
                    std::memory_order_relaxed);
}

/// Sessions that stand keep what they began with, and so do their tickets.
bool Credentials::renew() const {
    const std::unique_ptr<Certificate> certificate = search->find(0);
    SslContextHandle fresh;
    if (!certificate || set_up(certificate.get(), fresh) != SEC_E_OK) return false;
    const std::lock_guard lock(in_force);
    context.swap(fresh);
    return true;
}
