// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>
#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/param_build.h>
#include <openssl/ssl.h>
#include <secprov/certificates.h>
#include <secprov/sspi.h>
#include <secprov/system.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>

namespace soap_test {

/// The provider as a program finds it: loaded by name, with certificates in a folder of its own.
class Provider {
public:
    static Provider& instance() {
        static Provider provider;
        return provider;
    }

    template <class Function>
    Function find(const char* name) const {
        return reinterpret_cast<Function>(GetProcAddress(module, name));
    }
    long live() const { return find<long (*)()>("SecprovLiveObjects")(); }
    std::string file(const char* name) const { return folder + name; }

    SecurityFunctionTableA* table = nullptr;

private:
    Provider() {
        char pattern[] = "/tmp/secprov-XXXXXX";
        folder = ::mkdtemp(pattern);
        const std::string command = CALDANE_CERT " " + folder + " bank.test >/dev/null";
        if (std::system(command.c_str()) != 0) std::abort();
        ::setenv("CALDANE_CERTS", folder.c_str(), 1);
        module = LoadLibraryA("Secur32.dll");
        if (module != nullptr) table = find<InitSecurityInterfaceFunction>("InitSecurityInterfaceA")();
    }
    ~Provider() {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }

    HMODULE module = nullptr;
    std::string folder;
};

/// Credentials of one side, with the certificate that `subject` finds.
class Acquired {
public:
    explicit Acquired(ULONG use, const char* subject = nullptr,
                      DWORD flags = SCH_CRED_MANUAL_CRED_VALIDATION | SCH_CRED_NO_DEFAULT_CREDS) {
        const Provider& p = Provider::instance();
        HCERTSTORE const store = p.find<CertOpenSystemStoreFunction>("CertOpenSystemStoreA")(nullptr, "MY");
        const CERT_CONTEXT* certificate = nullptr;
        if (subject != nullptr)
            certificate = p.find<CertFindCertificateFunction>("CertFindCertificateInStore")(
                store, X509_ASN_ENCODING, 0, CERT_FIND_SUBJECT_STR_A, subject, nullptr);
        SCHANNEL_CRED wanted;
        wanted.dwVersion = SCHANNEL_CRED_VERSION;
        wanted.dwFlags = flags;
        if (certificate != nullptr) {
            wanted.cCreds = 1;
            wanted.paCred = &certificate;
        }
        status = p.table->AcquireCredentialsHandleA(nullptr, UNISP_NAME_A, use, nullptr, &wanted, nullptr,
                                                    nullptr, &handle, nullptr);
        p.find<CertFreeCertificateFunction>("CertFreeCertificateContext")(certificate);
        p.find<CertCloseStoreFunction>("CertCloseStore")(store, 0);
    }
    ~Acquired() {
        if (status == SEC_E_OK) Provider::instance().table->FreeCredentialsHandle(&handle);
    }
    Acquired(const Acquired&) = delete;
    Acquired& operator=(const Acquired&) = delete;

    CredHandle handle;
    SECURITY_STATUS status = SEC_E_INTERNAL_ERROR;
};

/// One side of a session through the provider's table.
class Side {
public:
    Side(Acquired& of, bool is_server, bool wants_client = false, const char* target_name = "bank.test")
        : credentials(of),
          server(is_server),
          target(target_name),
          requirements(wants_client ? 0x1811EU
                       : is_server  ? 0x1811CU
                                    : 0xC11CU) {}
    ~Side() {
        if (context.dwLower != 0) table.DeleteSecurityContext(&context);
    }
    Side(const Side&) = delete;
    Side& operator=(const Side&) = delete;

    /// One step with `input`, whose unused end stays in it; gives the token to be sent.
    std::string step(std::string& input) {
        SecBuffer in[2] = {{static_cast<ULONG>(input.size()), SECBUFFER_TOKEN, input.data()}, {}};
        SecBuffer out{0, SECBUFFER_TOKEN, nullptr};
        SecBufferDesc in_list{0, 2, in};
        SecBufferDesc out_list{0, 1, &out};
        CtxtHandle* const known = context.dwLower != 0 ? &context : nullptr;
        const bool closing = known != nullptr && shutting;
        SecBufferDesc* const given = closing || (known == nullptr && !server) ? nullptr : &in_list;
        attributes = 0;
        if (server) {
            status =
                table.AcceptSecurityContext(&credentials.handle, known, given, requirements,
                                            SECURITY_NATIVE_DREP, &context, &out_list, &attributes, nullptr);
        } else {
            status = table.InitializeSecurityContextA(&credentials.handle, known, target, requirements, 0,
                                                      SECURITY_NATIVE_DREP, given, 0, &context, &out_list,
                                                      &attributes, nullptr);
        }
        if (status == SEC_E_OK || status == SEC_I_CONTINUE_NEEDED) {
            const std::size_t rest = in[1].BufferType == SECBUFFER_EXTRA ? in[1].cbBuffer : 0;
            if (given != nullptr) input.erase(0, input.size() - rest);
        }
        std::string token(static_cast<char*>(out.pvBuffer), out.cbBuffer);
        table.FreeContextBuffer(out.pvBuffer);
        return token;
    }

    std::string seal(const std::string& text) {
        SecPkgContext_StreamSizes sizes;
        table.QueryContextAttributesA(&context, SECPKG_ATTR_STREAM_SIZES, &sizes);
        std::string record(sizes.cbHeader, '\0');
        record += text;
        record.resize(record.size() + sizes.cbTrailer);
        char* const at = record.data();
        SecBuffer list[4] = {{sizes.cbHeader, SECBUFFER_STREAM_HEADER, at},
                             {static_cast<ULONG>(text.size()), SECBUFFER_DATA, at + sizes.cbHeader},
                             {sizes.cbTrailer, SECBUFFER_STREAM_TRAILER, at + sizes.cbHeader + text.size()},
                             {}};
        SecBufferDesc message{0, 4, list};
        status = table.EncryptMessage(&context, 0, &message, 0);
        record.resize(list[0].cbBuffer + list[1].cbBuffer + list[2].cbBuffer);
        return record;
    }

    /// Opens what is at the head of `input`, which keeps what was left over.
    std::string open(std::string& input) {
        SecBuffer list[4] = {{static_cast<ULONG>(input.size()), SECBUFFER_DATA, input.data()}, {}, {}, {}};
        SecBufferDesc message{0, 4, list};
        status = table.DecryptMessage(&context, &message, 0, nullptr);
        if (status != SEC_E_OK) return "";
        std::string plain, rest;
        for (int i = 1; i < 4; ++i) {
            std::string& part = list[i].BufferType == SECBUFFER_DATA ? plain : rest;
            if (list[i].BufferType == SECBUFFER_DATA || list[i].BufferType == SECBUFFER_EXTRA)
                part.assign(static_cast<char*>(list[i].pvBuffer), list[i].cbBuffer);
        }
        input = rest;
        return plain;
    }

    std::string goodbye() {
        DWORD command = SCHANNEL_SHUTDOWN;
        SecBuffer buffer{sizeof command, SECBUFFER_TOKEN, &command};
        SecBufferDesc list{0, 1, &buffer};
        table.ApplyControlToken(&context, &list);
        shutting = true;
        std::string nothing;
        return step(nothing);
    }

    SecurityFunctionTableA& table = *Provider::instance().table;
    Acquired& credentials;
    CtxtHandle context;
    SECURITY_STATUS status = SEC_I_CONTINUE_NEEDED;
    ULONG attributes = 0;

private:
    bool server;
    const char* target;
    bool shutting = false;
    ULONG requirements;
};

/// A side that is OpenSSL itself, with memory in place of a socket.
class RawSide {
public:
    RawSide(bool is_server, int version, const char* certificate = "/my/server.pem")
        : context(SSL_CTX_new(is_server ? TLS_server_method() : TLS_client_method())) {
        SSL_CTX_set_min_proto_version(context, version);
        SSL_CTX_set_max_proto_version(context, version);
        const std::string file = Provider::instance().file(certificate);
        if (is_server) {
            SSL_CTX_use_certificate_chain_file(context, file.c_str());
            SSL_CTX_use_PrivateKey_file(context, file.c_str(), SSL_FILETYPE_PEM);
        }
        begin(is_server);
    }
    /// A server of a context that several share.
    explicit RawSide(SSL_CTX* shared) : context(shared) {
        SSL_CTX_up_ref(context);
        begin(true);
    }
    ~RawSide() {
        SSL_free(ssl);
        SSL_CTX_free(context);
    }
    RawSide(const RawSide&) = delete;
    RawSide& operator=(const RawSide&) = delete;

    /// Shows the certificate of the file, whose key it does not hold: it signs with another, under the same
    /// public key, which is all that OpenSSL compares on its own side.
    void pose_as(const char* certificate) {
        const std::string file = Provider::instance().file(certificate);
        ASSERT_EQ(SSL_use_certificate_file(ssl, file.c_str(), SSL_FILETYPE_PEM), 1);
        EVP_PKEY* const own = EVP_EC_gen("P-256");
        BIGNUM* secret = nullptr;
        unsigned char* shown = nullptr;
        const std::size_t size =
            EVP_PKEY_get1_encoded_public_key(X509_get0_pubkey(SSL_get_certificate(ssl)), &shown);
        ASSERT_EQ(EVP_PKEY_get_bn_param(own, OSSL_PKEY_PARAM_PRIV_KEY, &secret), 1);
        OSSL_PARAM_BLD* const parts = OSSL_PARAM_BLD_new();
        OSSL_PARAM_BLD_push_utf8_string(parts, OSSL_PKEY_PARAM_GROUP_NAME, "P-256", 0);
        OSSL_PARAM_BLD_push_octet_string(parts, OSSL_PKEY_PARAM_PUB_KEY, shown, size);
        OSSL_PARAM_BLD_push_BN(parts, OSSL_PKEY_PARAM_PRIV_KEY, secret);
        OSSL_PARAM* const parameters = OSSL_PARAM_BLD_to_param(parts);
        EVP_PKEY_CTX* const maker = EVP_PKEY_CTX_new_from_name(nullptr, "EC", nullptr);
        EVP_PKEY* mixed = nullptr;
        EVP_PKEY_fromdata_init(maker);
        EXPECT_EQ(EVP_PKEY_fromdata(maker, &mixed, EVP_PKEY_KEYPAIR, parameters), 1);
        EXPECT_EQ(SSL_use_PrivateKey(ssl, mixed), 1);
        EVP_PKEY_free(mixed);
        EVP_PKEY_CTX_free(maker);
        OSSL_PARAM_free(parameters);
        OSSL_PARAM_BLD_free(parts);
        OPENSSL_free(shown);
        BN_clear_free(secret);
        EVP_PKEY_free(own);
    }

    std::string step(const std::string& input) {
        give(input);
        SSL_do_handshake(ssl);
        return output();
    }
    void give(const std::string& input) {
        BIO_write(SSL_get_rbio(ssl), input.data(), static_cast<int>(input.size()));
    }
    std::string output() {
        char* text = nullptr;
        const long length = BIO_get_mem_data(SSL_get_wbio(ssl), &text);
        std::string all(text, static_cast<std::size_t>(length));
        static_cast<void>(BIO_reset(SSL_get_wbio(ssl)));
        return all;
    }
    std::string seal(const std::string& text) {
        SSL_write(ssl, text.data(), static_cast<int>(text.size()));
        return output();
    }
    std::string open(const std::string& input) {
        give(input);
        char text[20000];
        const int count = SSL_read(ssl, text, sizeof text);
        return count > 0 ? std::string(text, static_cast<std::size_t>(count)) : "";
    }

    SSL_CTX* context;
    SSL* ssl;

private:
    void begin(bool is_server) {
        ssl = SSL_new(context);
        SSL_set_bio(ssl, BIO_new(BIO_s_mem()), BIO_new(BIO_s_mem()));
        is_server ? SSL_set_accept_state(ssl) : SSL_set_connect_state(ssl);
    }
};

}  // namespace soap_test
