// SPDX-License-Identifier: MIT
#pragma once

#include <secprov/certificates.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "live_objects.h"
#include "openssl_handles.h"

class CertificateSearch;

/// A certificate with what belongs to it: the chain above it and, if it is from a store, its private key.
/// Made and given out as a CERT_CONTEXT; `free` takes it back.
class Certificate final : private LiveObjects {
public:
    /// Owns all three; `certificate` must not be null. Throws std::bad_alloc.
    Certificate(CertificateHandle certificate, CertificatesHandle chain, KeyHandle key);

    const CERT_CONTEXT* context() const { return &handed_out.context; }
    static const Certificate* of(const CERT_CONTEXT* context);

    X509* x509() const { return certificate_.get(); }
    STACK_OF(X509) * chain() const { return chain_.get(); }
    EVP_PKEY* key() const { return key_.get(); }

    /// Where a search had it, for the next one and for the day when its file changes.
    std::size_t position = 0;
    std::shared_ptr<const CertificateSearch> search;
    std::string files;  ///< what `search->state()` was ahead of it
    /// The resumable session that showed it, as SessionCache knows it; empty if there is none.
    std::string session;

private:
    struct HandedOut {
        CERT_CONTEXT context;
        const Certificate* owner;
    };

    CertificateHandle certificate_;
    CertificatesHandle chain_;
    KeyHandle key_;
    std::string encoded;
    HandedOut handed_out;
};

/// The first certificate of PEM text with the rest as its chain, and the first private key. Null if there is
/// no certificate, or a damaged one, which is told with the name of the file.
std::unique_ptr<Certificate> certificate_from_pem(const std::string& text, const std::string& file);

/// All certificates of PEM text; `damaged` is how many could not be read.
CertificatesHandle certificates_from_pem(const std::string& text, int& damaged);

/// A name for people and for searches: "C=DE, O=Acme, CN=bank.example".
std::string name_text(const X509_NAME* name);

/// A file's bytes; "" if it cannot be read.
std::string file_text(const std::string& path);
