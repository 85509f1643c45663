// SPDX-License-Identifier: MIT
#include "secure/sspi_credentials.h"

#include <secprov/system.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "secure/provider.h"
#include "secure/secure_channel.h"

namespace {

constexpr std::int32_t kVendor = 2;

/// Selector of a protocol to the bits of its client and server side.
std::int8_t mask_of(std::int32_t protocol) {
    switch (protocol) {
        case 2:
            return static_cast<std::int8_t>(SP_PROT_SSL2);
        case 3:
            return static_cast<std::int8_t>(SP_PROT_SSL3);
        case 4:
            return static_cast<std::int8_t>(SP_PROT_TLS1_0);
        default:
            return 0;
    }
}

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

}  // namespace

CSspiCredentials* createCredentials(std::int32_t vendor, std::int32_t protocol, const char* targetName) {
    if (vendor != kVendor || !SecurityProvider::acquire()) return nullptr;
    auto* const credentials = new CSspiCredentials(protocol, targetName);
    if (credentials == nullptr) SecurityProvider::release();
    return credentials;
}

void destroyCredentials(CSspiCredentials* credentials) {
    if (credentials == nullptr) return;
    delete credentials;
    SecurityProvider::release();
}

CSspiCredentials::CSspiCredentials(std::int32_t protocol, const char* target)
    : CSspiCredentialsBase(mask_of(protocol), target) {}

CSspiCredentials::~CSspiCredentials() {
    if (credentialsAcquired != 0) SecurityProvider::table().FreeCredentialsHandle(&credentialsHandle);
    if (certificateStore != nullptr) SecurityProvider::certificates().close_store(certificateStore, 0);
}

CSecureChannel* CSspiCredentials::createChannel(vqSocket socket) {
    return new CSecureChannel(socket, this);
}

bool CSspiCredentials::open_store(bool is_client) {
    if (certificateStore != nullptr) return true;
    const CertificateFunctions& functions = SecurityProvider::certificates();
    certificateStore =
        is_client ? functions.open_system_store(nullptr, "MY")
                  : functions.open_store(certificate_kind(CERT_STORE_PROV_SYSTEM_W), X509_ASN_ENCODING,
                                         nullptr, CERT_SYSTEM_STORE_LOCAL_MACHINE, u"MY");
    if (certificateStore == nullptr)
        std::printf("**** Error 0x%x returned by CertOpenSystemStore\n", GetLastError());
    return certificateStore != nullptr;
}

const CERT_CONTEXT* CSspiCredentials::find_exact(const char* subject) {
    const CertificateFunctions& functions = SecurityProvider::certificates();
    CRYPT_BLOB name;
    const auto encode = [&](unsigned char* room) {
        return functions.str_to_name(X509_ASN_ENCODING, subject, CERT_X500_NAME_STR, nullptr, room,
                                     &name.cbData, nullptr);
    };
    if (!encode(nullptr)) std::printf("Could not get the lenth of the BLOB==%x\n", GetLastError());
    const std::unique_ptr<void, Free> memory(std::malloc(name.cbData));
    if (!memory) std::printf("Memory Allocation for the BLOB failed.\n");
    name.pbData = static_cast<unsigned char*>(memory.get());
    const bool encoded = name.cbData > 0 && memory && encode(name.pbData);
    std::printf(encoded ? "CertStrToName created the BLOB.\n" : "Could not create the BLOB.\n");
    if (!encoded) name.cbData = 0;
    return functions.find_certificate(certificateStore, X509_ASN_ENCODING, 0, CERT_FIND_SUBJECT_NAME, &name,
                                      nullptr);
}

SECURITY_STATUS CSspiCredentials::acquireCredentials(const char* subject, int isClient, int exact) {
    const CertificateFunctions& functions = SecurityProvider::certificates();
    if (!open_store(isClient != 0)) return SEC_E_NO_CREDENTIALS;
    const CERT_CONTEXT* certificate = nullptr;
    if (subject != nullptr) {
        certificate = exact != 0 ? find_exact(subject)
                                 : functions.find_certificate(certificateStore, X509_ASN_ENCODING, 0,
                                                              CERT_FIND_SUBJECT_STR_A, subject, nullptr);
        if (certificate == nullptr) {
            std::printf("**** Error 0x%x returned by CertFindCertificateInStore\n", GetLastError());
            return SEC_E_NO_CREDENTIALS;
        }
    }
    const SECURITY_STATUS status = acquire_with(certificate, isClient != 0);
    if (certificate != nullptr) functions.free_certificate(certificate);
    if (status != SEC_E_OK) {
        print_status_text(status);
        std::printf("**** Error 0x%x returned by AcquireCredentialsHandle\n", static_cast<DWORD>(status));
        return status;
    }
    credentialsAcquired = 1;
    return SEC_E_OK;
}

SECURITY_STATUS CSspiCredentials::acquire_with(const CERT_CONTEXT* certificate, bool is_client) {
    const SecurityFunctionTableA& table = SecurityProvider::table();
    if (credentialsAcquired != 0) {
        table.FreeCredentialsHandle(&credentialsHandle);
        credentialsAcquired = 0;
    }
    SCHANNEL_CRED wanted;
    wanted.dwVersion = SCHANNEL_CRED_VERSION;
    if (certificate != nullptr) {
        wanted.cCreds = 1;
        wanted.paCred = &certificate;
    }
    // The sign goes with it: bit 7 stands for all later protocols as well.
    wanted.grbitEnabledProtocols = static_cast<DWORD>(static_cast<std::int32_t>(protocolMask));
    // A client's certificate is never chosen for it, and the server's is checked after the handshake.
    if (is_client) wanted.dwFlags = SCH_CRED_NO_DEFAULT_CREDS | SCH_CRED_MANUAL_CRED_VALIDATION;
    if (!choices.resumes) wanted.dwFlags |= SCH_CRED_DISABLE_RECONNECTS;
    if (choices.weak_ciphers) wanted.dwFlags |= kCredWeakCiphers;
    return table.AcquireCredentialsHandleA(nullptr, UNISP_NAME_A,
                                           is_client ? SECPKG_CRED_OUTBOUND : SECPKG_CRED_INBOUND, nullptr,
                                           &wanted, nullptr, nullptr, &credentialsHandle, nullptr);
}
