// SPDX-License-Identifier: MIT
#pragma once

#include <secprov/sspi.h>

#include "live_objects.h"
#include "openssl_handles.h"

/// One configuration of TLS for one direction, with the certificate to show, if any.
class Credentials final : private LiveObjects {
public:
    /// Makes them into `out`, or gives the reason why not. Throws std::bad_alloc.
    static SECURITY_STATUS make(const SCHANNEL_CRED& wanted, bool is_server,
                                std::unique_ptr<Credentials>& out);

    SSL_CTX* context() const { return context_.get(); }
    bool is_server() const { return server; }
    /// A client that leaves the server's certificate to be checked here.
    bool validates() const { return !server && (flags & SCH_CRED_MANUAL_CRED_VALIDATION) == 0; }

private:
    Credentials(SslContextHandle context, bool is_server, DWORD credential_flags)
        : context_(std::move(context)), server(is_server), flags(credential_flags) {}

    SslContextHandle context_;
    bool server;
    DWORD flags;
};
