// SPDX-License-Identifier: MIT
#pragma once

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <memory>

/// Owners of OpenSSL's objects.
template <auto function>
struct OpenSslFree {
    template <class T>
    void operator()(T* object) const {
        function(object);
    }
};
inline void free_certificates(STACK_OF(X509) * list) {
    sk_X509_pop_free(list, X509_free);
}

using SslContextHandle = std::unique_ptr<SSL_CTX, OpenSslFree<SSL_CTX_free>>;
using SslHandle = std::unique_ptr<SSL, OpenSslFree<SSL_free>>;
using CertificateHandle = std::unique_ptr<X509, OpenSslFree<X509_free>>;
using CertificatesHandle = std::unique_ptr<STACK_OF(X509), OpenSslFree<free_certificates>>;
using KeyHandle = std::unique_ptr<EVP_PKEY, OpenSslFree<EVP_PKEY_free>>;
using NameHandle = std::unique_ptr<X509_NAME, OpenSslFree<X509_NAME_free>>;
using TrustHandle = std::unique_ptr<X509_STORE, OpenSslFree<X509_STORE_free>>;
using VerifyHandle = std::unique_ptr<X509_STORE_CTX, OpenSslFree<X509_STORE_CTX_free>>;
using BioHandle = std::unique_ptr<BIO, OpenSslFree<BIO_free_all>>;
