// SPDX-License-Identifier: MIT
#pragma once

#include <secprov/sspi.h>

#include <cstddef>
#include <string>
#include <vector>

#include "credentials.h"
#include "live_objects.h"
#include "memory_bio.h"
#include "openssl_handles.h"

/// One TLS session: tokens in and out until the handshake is done, then records. One thread at a time.
///
/// OpenSSL is given one whole record after the other, so that it never holds bytes which the caller does not
/// know of.
class SecurityContext final : private LiveObjects {
public:
    /// `target`: the host name that a client tells the server, null for none. Throws std::bad_alloc.
    SecurityContext(const Credentials& credentials, const char* target, bool wants_peer_certificate);

    /// One step of the handshake with the bytes that came. `left_over` is how many of them, at the end, were
    /// not used; what is to be sent is in `output`.
    SECURITY_STATUS handshake(const unsigned char* input, std::size_t length, std::size_t& left_over);

    struct Opened {
        unsigned char* plain = nullptr;  ///< inside the given bytes; null where the records held no data
        std::size_t length = 0;
        std::size_t left_over = 0;
    };
    /// Opens the first record with data, in place; those without are used up on the way.
    SECURITY_STATUS open(unsigned char* data, std::size_t length, Opened& opened);

    /// Seals the data in place, between header and trailer.
    SECURITY_STATUS seal(SecBuffer& header, SecBuffer& data, SecBuffer& trailer);

    /// From now on the next token is the close notify.
    void ask_for_shutdown() { shutdown_asked = true; }
    bool is_shutting_down() const { return shutdown_asked; }
    void close();

    std::vector<char>& output() { return bio.output(); }
    bool is_established() const { return established; }
    bool is_server() const { return server; }
    SecPkgContext_StreamSizes stream_sizes() const;
    /// The peer's certificate with the chain it sent; null if it sent none. Throws std::bad_alloc.
    const CERT_CONTEXT* peer_certificate() const;

    /// OpenSSL asks a client for a certificate.
    static int certificate_wanted(SSL* ssl, void* argument);
    /// OpenSSL has a session that a client may take up later.
    static int session_given(SSL* ssl, SSL_SESSION* given);

private:
    SECURITY_STATUS advance();
    SECURITY_STATUS fail(SECURITY_STATUS status);
    SECURITY_STATUS seal_behind_others(SecBuffer& header, SecBuffer& data, SecBuffer& trailer);
    SECURITY_STATUS validate() const;

    MemoryBio bio;  // outlives `ssl`, which reads and writes through it
    SslHandle ssl;
    bool server;
    bool validates;
    std::string host;
    std::string session;  // its key in the SessionCache; empty where none is taken up
    bool started = false;
    bool established = false;
    bool failed = false;
    bool shutdown_asked = false;
    bool certificate_refused = false;  // the caller knows that it has none to show
    std::size_t used_before = 0;       // bytes at the head of the next input that were used already
};
