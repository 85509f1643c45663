// SPDX-License-Identifier: MIT
#include "context.h"

#include <secprov/certificates.h>

#include <arpa/inet.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "certificate.h"
#include "chain.h"
#include "record.h"
#include "session_cache.h"
#include "status.h"
#include "tickets.h"

namespace {

constexpr ULONG kMaxMessage = 16384;  // RFC 8446 5.1
constexpr ULONG kTrailer = 96;        // the largest of all ciphers, and the answer to a key update

bool is_address(const char* text) {
    unsigned char address[16];
    return inet_pton(AF_INET, text, address) == 1 || inet_pton(AF_INET6, text, address) == 1;
}

}  // namespace

SecurityContext::SecurityContext(const Credentials& credentials, const char* target,
                                 bool wants_peer_certificate)
    : ssl(credentials.new_session()),
      server(credentials.is_server()),
      validates(credentials.validates()),
      host(target != nullptr ? target : "") {
    BioHandle link = bio.make_bio();
    if (!ssl || !link) throw std::bad_alloc();
    SSL_set_bio(ssl.get(), link.get(), link.get());
    static_cast<void>(link.release());
    SSL_set_app_data(ssl.get(), reinterpret_cast<char*>(this));
    if (server) {
        SSL_set_accept_state(ssl.get());
        // One that is asked for and does not come is for the caller to judge.
        if (wants_peer_certificate) SSL_set_verify(ssl.get(), SSL_VERIFY_PEER, nullptr);
        // Who got in without a certificate does not take that along to where one is wanted.
        const unsigned char kind = wants_peer_certificate ? 1 : 0;
        if (SSL_set_session_id_context(ssl.get(), &kind, 1) != 1) throw std::bad_alloc();
    } else {
        SSL_set_connect_state(ssl.get());
        if (target != nullptr && *target != '\0' && !is_address(target))
            SSL_set_tlsext_host_name(ssl.get(), target);
        if (!host.empty() && !credentials.sessions().empty()) {
            session = credentials.sessions() + host;
            if (const SessionHandle earlier = SessionCache::instance().get(session))
                SSL_set_session(ssl.get(), earlier.get());
        }
    }
}

int SecurityContext::session_given(SSL* ssl, SSL_SESSION* given) {
    const auto* const self = reinterpret_cast<SecurityContext*>(SSL_get_app_data(ssl));
    if (!self->session.empty() && !self->failed) SessionCache::instance().put(self->session, given);
    return 0;  // a copy was taken
}

int SecurityContext::certificate_wanted(SSL* ssl, void*) {
    auto* const self = reinterpret_cast<SecurityContext*>(SSL_get_app_data(ssl));
    if (SSL_get_certificate(ssl) != nullptr || self->certificate_refused) return 1;
    self->certificate_refused = true;
    return -1;  // comes back as "want X509 look-up"
}

SECURITY_STATUS SecurityContext::fail(SECURITY_STATUS status) {
    failed = true;
    if (!established && !session.empty()) SessionCache::instance().forget(session);
    bio.give(nullptr, 0);
    ERR_clear_error();
    return status;
}

/// Lets OpenSSL go on with what it was given.
SECURITY_STATUS SecurityContext::advance() {
    ERR_clear_error();
    started = true;
    const int result = SSL_do_handshake(ssl.get());
    if (result == 1) {
        established = true;
        return SEC_E_OK;
    }
    switch (SSL_get_error(ssl.get(), result)) {
        case SSL_ERROR_WANT_READ:
            return SEC_I_CONTINUE_NEEDED;
        case SSL_ERROR_WANT_X509_LOOKUP:
            return SEC_I_INCOMPLETE_CREDENTIALS;
        default:
            return fail(status_of_openssl_error());
    }
}

SECURITY_STATUS SecurityContext::handshake(const unsigned char* input, std::size_t length,
                                           std::size_t& left_over) {
    left_over = 0;
    if (failed || established) return SEC_E_UNSUPPORTED_FUNCTION;
    std::size_t at = std::min(used_before, length);
    bool moved = false;
    if (at > 0 || (!server && !started)) {
        used_before = 0;
        const SECURITY_STATUS status = advance();
        if (status != SEC_I_CONTINUE_NEEDED) {
            left_over = status == SEC_E_OK ? length - at : 0;
            return status;
        }
        moved = true;
    }
    for (;;) {
        const Record record = Record::at(input + at, length - at, server && !started);
        if (record.state == Record::State::malformed) return fail(SEC_E_INVALID_TOKEN);
        if (record.state == Record::State::incomplete) {
            left_over = moved ? length - at : 0;
            return moved ? SEC_I_CONTINUE_NEEDED : SEC_E_INCOMPLETE_MESSAGE;
        }
        bio.give(input + at, record.size);
        at += record.size;
        SECURITY_STATUS status = advance();
        moved = true;
        if (status == SEC_I_CONTINUE_NEEDED) continue;
        // The caller comes with the same bytes again.
        if (status == SEC_I_INCOMPLETE_CREDENTIALS) used_before = at;
        if (status == SEC_E_OK) {
            left_over = length - at;
            if (validates) status = validate();
        }
        return status;
    }
}

SECURITY_STATUS SecurityContext::open(unsigned char* data, std::size_t length, Opened& opened) {
    if (!established || failed) return SEC_E_UNSUPPORTED_FUNCTION;
    std::size_t at = 0;
    for (;;) {
        const Record record = Record::at(data + at, length - at, false);
        if (record.state == Record::State::malformed) return fail(SEC_E_ILLEGAL_MESSAGE);
        if (record.state == Record::State::incomplete) {
            opened.left_over = length - at;
            return at == 0 ? SEC_E_INCOMPLETE_MESSAGE : SEC_E_OK;
        }
        unsigned char* const start = data + at;
        // Behind the handshake of TLS 1.2 and earlier this asks for another, which nobody gets.
        if (start[0] == Record::kHandshake && SSL_version(ssl.get()) <= TLS1_2_VERSION)
            return server ? fail(SEC_E_UNSUPPORTED_FUNCTION) : SEC_I_RENEGOTIATE;
        bio.give(start, record.size);
        at += record.size;
        ERR_clear_error();
        const int count =
            SSL_read(ssl.get(), start + Record::kHeader, static_cast<int>(record.size - Record::kHeader));
        if (count > 0) {
            opened = {start + Record::kHeader, static_cast<std::size_t>(count), length - at};
            return SEC_E_OK;
        }
        const int error = SSL_get_error(ssl.get(), count);
        if (error == SSL_ERROR_ZERO_RETURN) return SEC_I_CONTEXT_EXPIRED;
        if (error != SSL_ERROR_WANT_READ) return fail(status_of_openssl_error());
    }
}

SECURITY_STATUS SecurityContext::seal(SecBuffer& header, SecBuffer& data, SecBuffer& trailer) {
    if (!established || failed) return SEC_E_UNSUPPORTED_FUNCTION;
    if (data.cbBuffer > kMaxMessage) return SEC_E_BUFFER_TOO_SMALL;
    if (SSL_get_key_update_type(ssl.get()) != SSL_KEY_UPDATE_NONE || !output().empty())
        return seal_behind_others(header, data, trailer);
    const int length = static_cast<int>(data.cbBuffer);
    if (length == 0) {
        header.cbBuffer = trailer.cbBuffer = 0;
        return SEC_E_OK;
    }
    ERR_clear_error();
    // The record is written when all of the data has been read, so that it may take its place.
    bio.begin_direct(&header, &data, &trailer);
    const int count = SSL_write(ssl.get(), data.pvBuffer, length);
    const bool fitted = bio.end_direct();
    if (!fitted) return fail(SEC_E_BUFFER_TOO_SMALL);
    return count == length ? SEC_E_OK : fail(status_of_openssl_error());
}

/// The same where something is to be sent ahead of the data.
SECURITY_STATUS SecurityContext::seal_behind_others(SecBuffer& header, SecBuffer& data, SecBuffer& trailer) {
    const int length = static_cast<int>(data.cbBuffer);
    ERR_clear_error();
    if (length > 0 && SSL_write(ssl.get(), data.pvBuffer, length) != length)
        return fail(status_of_openssl_error());
    const std::vector<char> all = std::move(output());
    output().clear();
    std::size_t at = 0;
    for (SecBuffer* const part : {&header, &data, &trailer}) {
        const std::size_t count = std::min<std::size_t>(part->cbBuffer, all.size() - at);
        std::memcpy(part->pvBuffer, all.data() + at, count);
        part->cbBuffer = static_cast<ULONG>(count);
        at += count;
    }
    return at == all.size() ? SEC_E_OK : fail(SEC_E_BUFFER_TOO_SMALL);
}

void SecurityContext::close() {
    shutdown_asked = false;
    // After a failure the alert that tells of it is what the peer gets.
    if (!established || failed) return;
    ERR_clear_error();
    SSL_shutdown(ssl.get());
    ERR_clear_error();
}

SecPkgContext_StreamSizes SecurityContext::stream_sizes() const {
    const SSL_CIPHER* const cipher = SSL_get_current_cipher(ssl.get());
    const bool sealed = cipher != nullptr && SSL_CIPHER_is_aead(cipher) == 1;
    // What stands ahead of the data: the record's header, and in TLS 1.2 what the cipher starts from.
    const ULONG header = SSL_version(ssl.get()) >= TLS1_3_VERSION ? 5 : sealed ? 13 : 21;
    return {header, kTrailer, kMaxMessage, 4, sealed ? 1U : 16U};
}

const CERT_CONTEXT* SecurityContext::peer_certificate() const {
    CertificateHandle leaf(SSL_get1_peer_certificate(ssl.get()));
    if (!leaf) return nullptr;
    auto made = std::make_unique<Certificate>(std::move(leaf), peer_chain(ssl.get()), KeyHandle());
    made->session = session;
    return made.release()->context();
}

SECURITY_STATUS SecurityContext::validate() const {
    const std::unique_ptr<const Certificate> peer(Certificate::of(peer_certificate()));
    if (!peer) return SEC_E_WRONG_PRINCIPAL;
    const Chain chain(*peer, X509_PURPOSE_SSL_SERVER);
    SECURITY_STATUS status = security_status(chain.policy_error());
    if (status == SEC_E_OK && (host.empty() || !chain.names(host))) status = SEC_E_WRONG_PRINCIPAL;
    if (status != SEC_E_OK) chain.refuse_session();
    return status;
}
