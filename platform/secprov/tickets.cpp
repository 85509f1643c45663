// SPDX-License-Identifier: MIT
#include "tickets.h"

#include <openssl/core_names.h>
#include <openssl/rand.h>

#include <algorithm>
#include <new>
#include <string>

#include "ticket_keys.h"

namespace {

// What a ticket may hold of a client's chain. A longer one comes anew with a full handshake.
constexpr std::size_t kMostChain = 8192;
constexpr char kTooLong[] = "-";

void free_keys(void*, void* keys, CRYPTO_EX_DATA*, int, long, void*) {
    delete static_cast<TicketKeys*>(keys);
}

int keys_index() {
    static const int index = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, &free_keys);
    return index;
}

bool start_mac(EVP_MAC_CTX* mac, TicketKeys::Key& key) {
    char digest[] = "SHA256";
    const OSSL_PARAM parameters[] = {
        OSSL_PARAM_construct_octet_string(OSSL_MAC_PARAM_KEY, key.mac.data(), key.mac.size()),
        OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, digest, 0), OSSL_PARAM_construct_end()};
    return EVP_MAC_CTX_set_params(mac, parameters) == 1;
}

/// OpenSSL seals a ticket, or opens one: 0 if it cannot be opened, 2 if the client is to get a new one.
int key_wanted(SSL* session, unsigned char* name, unsigned char* iv, EVP_CIPHER_CTX* cipher, EVP_MAC_CTX* mac,
               int seals) {
    static EVP_CIPHER* const algorithm = EVP_CIPHER_fetch(nullptr, "AES-256-CBC", nullptr);
    auto* const keys = static_cast<TicketKeys*>(SSL_CTX_get_ex_data(SSL_get_SSL_CTX(session), keys_index()));
    const TicketKeys::Clock::time_point now = TicketKeys::Clock::now();
    TicketKeys::Key key;
    int result = -1;
    if (algorithm == nullptr || keys == nullptr) return result;
    if (seals != 0) {
        if (keys->current(now, key) && RAND_bytes(iv, EVP_CIPHER_get_iv_length(algorithm)) == 1 &&
            EVP_EncryptInit_ex2(cipher, algorithm, key.cipher.data(), iv, nullptr) == 1 &&
            start_mac(mac, key)) {
            std::copy(key.name.begin(), key.name.end(), name);
            result = 1;
        }
    } else {
        const TicketKeys::Found found = keys->find(name, now, key);
        const bool single_use = SSL_version(session) >= TLS1_3_VERSION;  // RFC 8446 C.4
        if (found == TicketKeys::Found::none) return 0;
        if (start_mac(mac, key) &&
            EVP_DecryptInit_ex2(cipher, algorithm, key.cipher.data(), iv, nullptr) == 1)
            result = found == TicketKeys::Found::old || single_use ? 2 : 1;
    }
    OPENSSL_cleanse(&key, sizeof key);
    return result;
}

/// A session knows its peer's certificate; what stands above that goes into the ticket as well.
int ticket_made(SSL* session, void*) {
    if (SSL_session_reused(session) != 0) return 1;  // has it from the ticket of before
    const STACK_OF(X509)* const chain = SSL_get_peer_cert_chain(session);
    std::string all;
    try {
        for (int i = 0; i < sk_X509_num(chain); ++i) {
            unsigned char* der = nullptr;
            const int size = i2d_X509(sk_X509_value(chain, i), &der);
            if (size <= 0) return 0;
            all.append(reinterpret_cast<const char*>(der), static_cast<std::size_t>(size));
            OPENSSL_free(der);
            if (all.size() > kMostChain) break;
        }
        if (all.size() > kMostChain) all = kTooLong;
    } catch (const std::bad_alloc&) {
        return 0;
    }
    return all.empty() ? 1
                       : SSL_SESSION_set1_ticket_appdata(SSL_get_session(session), all.data(), all.size());
}

std::string ticket_chain(SSL_SESSION* ticket) {
    void* data = nullptr;
    std::size_t size = 0;
    if (ticket == nullptr || SSL_SESSION_get0_ticket_appdata(ticket, &data, &size) != 1 || data == nullptr)
        return "";
    return std::string(static_cast<const char*>(data), size);
}

/// A ticket was opened, or could not be.
SSL_TICKET_RETURN ticket_opened(SSL* session, SSL_SESSION* ticket, const unsigned char*, std::size_t,
                                SSL_TICKET_STATUS status, void*) {
    if (status != SSL_TICKET_SUCCESS && status != SSL_TICKET_SUCCESS_RENEW)
        return SSL_TICKET_RETURN_IGNORE_RENEW;
    const bool wants_certificate = (SSL_get_verify_mode(session) & SSL_VERIFY_PEER) != 0;
    // A client that must be asked for its certificate, once more or at last.
    if (wants_certificate) {
        const X509* const peer = SSL_SESSION_get0_peer(ticket);
        void* data = nullptr;
        std::size_t size = 0;
        SSL_SESSION_get0_ticket_appdata(ticket, &data, &size);
        const bool too_long = size == sizeof kTooLong - 1;
        if (peer == nullptr || too_long || X509_cmp_current_time(X509_get0_notAfter(peer)) <= 0)
            return SSL_TICKET_RETURN_IGNORE_RENEW;
    }
    return status == SSL_TICKET_SUCCESS ? SSL_TICKET_RETURN_USE : SSL_TICKET_RETURN_USE_RENEW;
}

}  // namespace

void give_tickets(SSL_CTX* context) {
    auto keys = std::make_unique<TicketKeys>();
    if (SSL_CTX_set_ex_data(context, keys_index(), keys.get()) != 1) throw std::bad_alloc();
    static_cast<void>(keys.release());
    SSL_CTX_set_timeout(context, static_cast<long>(TicketKeys::kPeriod.count()));
    SSL_CTX_set_num_tickets(context, 1);
    SSL_CTX_set_tlsext_ticket_key_evp_cb(context, &key_wanted);
    if (SSL_CTX_set_session_ticket_cb(context, &ticket_made, &ticket_opened, nullptr) != 1)
        throw std::bad_alloc();
}

CertificatesHandle peer_chain(SSL* session) {
    const STACK_OF(X509)* const sent = SSL_get_peer_cert_chain(session);
    if (sent != nullptr || SSL_is_server(session) == 0)
        return CertificatesHandle(X509_chain_up_ref(const_cast<STACK_OF(X509)*>(sent)));
    CertificatesHandle chain(sk_X509_new_null());
    if (!chain) throw std::bad_alloc();
    const std::string all = ticket_chain(SSL_get_session(session));
    const auto* at = reinterpret_cast<const unsigned char*>(all.data());
    const unsigned char* const end = at + all.size();
    while (at < end) {
        CertificateHandle next(d2i_X509(nullptr, &at, end - at));
        if (!next) break;
        if (sk_X509_push(chain.get(), next.get()) <= 0) throw std::bad_alloc();
        static_cast<void>(next.release());
    }
    ERR_clear_error();
    return chain;
}
