// SPDX-License-Identifier: MIT
#include "certificate.h"

#include <openssl/pem.h>

#include <fstream>
#include <new>
#include <sstream>

#include "folders.h"

namespace {

/// Nobody is there to type a passphrase.
int no_passphrase(char*, int, int, void*) {
    return -1;
}

BioHandle text_bio(const std::string& text) {
    BioHandle bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    if (!bio) throw std::bad_alloc();
    return bio;
}

KeyHandle first_key(const std::string& text) {
    const BioHandle bio = text_bio(text);
    KeyHandle key(PEM_read_bio_PrivateKey(bio.get(), nullptr, &no_passphrase, nullptr));
    ERR_clear_error();
    return key;
}

}  // namespace

Certificate::Certificate(CertificateHandle certificate, CertificatesHandle chain, KeyHandle key)
    : certificate_(std::move(certificate)),
      chain_(std::move(chain)),
      key_(std::move(key)),
      handed_out{{}, this} {
    unsigned char* der = nullptr;
    const int size = i2d_X509(certificate_.get(), &der);
    if (size <= 0) throw std::bad_alloc();
    encoded.assign(reinterpret_cast<const char*>(der), static_cast<std::size_t>(size));
    OPENSSL_free(der);
    handed_out.context.pbCertEncoded = reinterpret_cast<unsigned char*>(encoded.data());
    handed_out.context.cbCertEncoded = static_cast<DWORD>(encoded.size());
}

const Certificate* Certificate::of(const CERT_CONTEXT* context) {
    static_assert(offsetof(HandedOut, context) == 0);
    return context != nullptr ? reinterpret_cast<const HandedOut*>(context)->owner : nullptr;
}

CertificatesHandle certificates_from_pem(const std::string& text, int& damaged) {
    damaged = 0;
    CertificatesHandle all(sk_X509_new_null());
    if (!all) throw std::bad_alloc();
    const BioHandle bio = text_bio(text);
    for (;;) {
        CertificateHandle next(PEM_read_bio_X509_AUX(bio.get(), nullptr, &no_passphrase, nullptr));
        const unsigned long error = ERR_peek_last_error();
        ERR_clear_error();
        if (next) {
            if (sk_X509_push(all.get(), next.get()) <= 0) throw std::bad_alloc();
            static_cast<void>(next.release());
        } else if (ERR_GET_LIB(error) == ERR_LIB_PEM && ERR_GET_REASON(error) == PEM_R_NO_START_LINE) {
            return all;
        } else {
            if (ERR_GET_REASON(error) == ERR_R_MALLOC_FAILURE) throw std::bad_alloc();
            ++damaged;
        }
    }
}

std::unique_ptr<Certificate> certificate_from_pem(const std::string& text, const std::string& file) {
    int damaged = 0;
    CertificatesHandle all = certificates_from_pem(text, damaged);
    if (damaged != 0) say_once(file + ": a certificate in it is damaged; the file is not used");
    if (damaged != 0 || sk_X509_num(all.get()) == 0) return nullptr;
    CertificateHandle leaf(sk_X509_shift(all.get()));
    return std::make_unique<Certificate>(std::move(leaf), std::move(all), first_key(text));
}

std::string name_text(const X509_NAME* name) {
    const BioHandle bio(BIO_new(BIO_s_mem()));
    constexpr unsigned long kFlags = (XN_FLAG_ONELINE & ~XN_FLAG_SPC_EQ & ~ASN1_STRFLGS_ESC_QUOTE &
                                      ~static_cast<unsigned long>(ASN1_STRFLGS_ESC_MSB));
    if (!bio || X509_NAME_print_ex(bio.get(), name, 0, kFlags) < 0) throw std::bad_alloc();
    char* text = nullptr;
    const long length = BIO_get_mem_data(bio.get(), &text);
    return std::string(text, static_cast<std::size_t>(length));
}

std::string file_text(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    if (file && file.peek() != std::ifstream::traits_type::eof()) text << file.rdbuf();
    return text.str();
}
