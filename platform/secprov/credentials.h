// SPDX-License-Identifier: MIT
#pragma once

#include <secprov/sspi.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>

#include "live_objects.h"
#include "openssl_handles.h"

class Certificate;
class CertificateSearch;

/// One configuration of TLS for one direction, with the certificate to show, if any.
class Credentials final : private LiveObjects {
public:
    /// Makes them into `out`, or gives the reason why not. Throws std::bad_alloc.
    static SECURITY_STATUS make(const SCHANNEL_CRED& wanted, bool is_server,
                                std::unique_ptr<Credentials>& out);

    /// A session of the newest configuration; null when memory ends. Looks from time to time whether a
    /// server's certificate has been renewed. Any thread. Throws std::bad_alloc.
    SslHandle new_session() const;
    /// What the sessions of a client are kept under, ahead of the server's name; empty if they are not.
    const std::string& sessions() const { return sessions_; }
    bool is_server() const { return server; }
    /// A client that leaves the server's certificate to be checked here.
    bool validates() const { return !server && (flags & SCH_CRED_MANUAL_CRED_VALIDATION) == 0; }

private:
    using Clock = std::chrono::steady_clock;

    Credentials(const SCHANNEL_CRED& wanted, bool is_server)
        : server(is_server), flags(wanted.dwFlags), protocols(wanted.grbitEnabledProtocols) {}

    SECURITY_STATUS set_up(const Certificate* certificate, SslContextHandle& made) const;
    SECURITY_STATUS find_client_context(const Certificate* certificate);
    void look_for_renewal() const;
    bool renew() const;

    bool server;
    DWORD flags;
    DWORD protocols;
    std::string sessions_;

    mutable std::mutex in_force;  // what is in force at this moment
    mutable SslContextHandle context;

    // A server's certificate, as its files were when they were read last.
    std::shared_ptr<const CertificateSearch> search;
    mutable std::mutex looking;
    mutable std::string files;
    mutable std::atomic<Clock::rep> next_look = 0;
};
