// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace SOA {

/// Who makes a call, as far as the connection shows it.
///
/// Address and port are those of the other end of the connection: behind a proxy they are the proxy's. Only
/// what is told of a certificate was proven.
struct Peer {
    /// Numeric, IPv4 or IPv6; empty where nobody calls.
    std::string address{};
    std::uint16_t port = 0;
    /// The connection is encrypted.
    bool secure = false;
    /// Of the certificate that the peer showed, as RFC 4514 writes it; empty where it showed none.
    std::string subject{};
    /// SHA-256 of that certificate, 64 hexadecimal digits in lower case; else empty.
    std::string fingerprint{};
};

/// The caller of the operation that runs on this thread; outside of calls, and on threads that a servant
/// starts, one without an address. Valid until the operation ends: copy what is needed longer.
const Peer& current_peer();

/// For transports: while it lives, `peer` is the current one of this thread. `peer` must live as long.
class PeerScope {
public:
    explicit PeerScope(const Peer& peer);
    ~PeerScope();
    PeerScope(const PeerScope&) = delete;
    PeerScope& operator=(const PeerScope&) = delete;

private:
    const Peer* before_;
};

}  // namespace SOA
