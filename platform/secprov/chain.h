// SPDX-License-Identifier: MIT
#pragma once

#include <secprov/certificates.h>

#include <string>

#include "certificate.h"
#include "live_objects.h"

/// A certificate's chain up to a trusted authority, or what is wrong with it. Handed out as a
/// CERT_CHAIN_CONTEXT.
class Chain final : private LiveObjects {
public:
    /// Builds and checks the chain for an X509_PURPOSE_. Throws std::bad_alloc.
    Chain(const Certificate& certificate, int purpose);

    const CERT_CHAIN_CONTEXT* context() const { return &handed_out.context; }
    static const Chain* of(const CERT_CHAIN_CONTEXT* context);

    /// 0, or why the chain is not one to trust, as the SSL policy tells it.
    DWORD policy_error() const;
    /// True if the certificate was made for this host name (RFC 6125) or address.
    bool names(const std::string& host) const;
    /// The session that showed the certificate is not taken up again.
    void refuse_session() const;

private:
    struct HandedOut {
        CERT_CHAIN_CONTEXT context;
        const Chain* owner;
    };

    CertificateHandle leaf;
    std::string session;
    HandedOut handed_out;
};
