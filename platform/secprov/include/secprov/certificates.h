// SPDX-License-Identifier: MIT
#pragma once

#include <secprov/types.h>

/// Certificate stores, certificates and chains. The functions stand in the provider's module under their
/// published names; the types below are how they are called.

using HCERTSTORE = void*;

inline constexpr DWORD X509_ASN_ENCODING = 1;
inline constexpr DWORD PKCS_7_ASN_ENCODING = 0x10000;
inline constexpr DWORD CERT_X500_NAME_STR = 3;
inline constexpr DWORD CERT_FIND_SUBJECT_NAME = 0x20007;
inline constexpr DWORD CERT_FIND_SUBJECT_STR_A = 0x70007;
inline constexpr DWORD CERT_SYSTEM_STORE_LOCAL_MACHINE = 0x20000;
inline constexpr DWORD USAGE_MATCH_TYPE_OR = 1;
inline constexpr DWORD AUTHTYPE_CLIENT = 1;
inline constexpr DWORD AUTHTYPE_SERVER = 2;

/// Names of a store's kind and of a policy are small numbers in the place of a pointer to text.
inline const char* certificate_kind(std::uintptr_t number) {
    return reinterpret_cast<const char*>(number);
}
inline constexpr std::uintptr_t CERT_STORE_PROV_SYSTEM_W = 10;
inline constexpr std::uintptr_t CERT_CHAIN_POLICY_SSL = 4;

inline constexpr DWORD TRUST_E_CERT_SIGNATURE = 0x80096004;
inline constexpr DWORD CERT_E_EXPIRED = 0x800B0101;
inline constexpr DWORD CERT_E_CRITICAL = 0x800B0105;
inline constexpr DWORD CERT_E_UNTRUSTEDROOT = 0x800B0109;
inline constexpr DWORD CERT_E_CHAINING = 0x800B010A;
inline constexpr DWORD CERT_E_CN_NO_MATCH = 0x800B010F;
inline constexpr DWORD CERT_E_WRONG_USAGE = 0x800B0110;

struct CRYPT_BLOB {
    DWORD cbData = 0;
    unsigned char* pbData = nullptr;
};

/// A certificate in DER. Each one that a function gives is to be freed once.
struct CERT_CONTEXT {
    DWORD dwCertEncodingType = X509_ASN_ENCODING;
    unsigned char* pbCertEncoded = nullptr;
    DWORD cbCertEncoded = 0;
    void* pCertInfo = nullptr;
    HCERTSTORE hCertStore = nullptr;
};

struct CERT_ENHKEY_USAGE {
    DWORD cUsageIdentifier = 0;
    const char** rgpszUsageIdentifier = nullptr;
};

struct CERT_USAGE_MATCH {
    DWORD dwType = 0;
    CERT_ENHKEY_USAGE Usage;
};

struct CERT_CHAIN_PARA {
    DWORD cbSize = sizeof(CERT_CHAIN_PARA);
    CERT_USAGE_MATCH RequestedUsage;
};

/// What is wrong with a chain, as bits; 0 nothing.
struct CERT_TRUST_STATUS {
    DWORD dwErrorStatus = 0;
    DWORD dwInfoStatus = 0;
};
inline constexpr DWORD CERT_TRUST_IS_NOT_TIME_VALID = 0x1;
inline constexpr DWORD CERT_TRUST_IS_NOT_SIGNATURE_VALID = 0x8;
inline constexpr DWORD CERT_TRUST_IS_NOT_VALID_FOR_USAGE = 0x10;
inline constexpr DWORD CERT_TRUST_IS_UNTRUSTED_ROOT = 0x20;
inline constexpr DWORD CERT_TRUST_HAS_NOT_SUPPORTED_CRITICAL_EXT = 0x8000000;
inline constexpr DWORD CERT_TRUST_IS_PARTIAL_CHAIN = 0x10000;

struct CERT_CHAIN_CONTEXT {
    DWORD cbSize = sizeof(CERT_CHAIN_CONTEXT);
    CERT_TRUST_STATUS TrustStatus;
};

struct HTTPSPolicyCallbackData {
    DWORD cbSize = 0;
    DWORD dwAuthType = 0;
    DWORD fdwChecks = 0;
    WCHAR* pwszServerName = nullptr;
};
/// The size that callers tell for the record above.
inline constexpr DWORD kHttpsPolicySize = 16;

struct CERT_CHAIN_POLICY_PARA {
    DWORD cbSize = sizeof(CERT_CHAIN_POLICY_PARA);
    DWORD dwFlags = 0;
    void* pvExtraPolicyPara = nullptr;
};

struct CERT_CHAIN_POLICY_STATUS {
    DWORD cbSize = sizeof(CERT_CHAIN_POLICY_STATUS);
    DWORD dwError = 0;
    std::int32_t lChainIndex = -1;
    std::int32_t lElementIndex = -1;
    void* pvExtraPolicyStatus = nullptr;
};

using CertOpenSystemStoreFunction = HCERTSTORE (*)(void* provider, const char* name);
using CertOpenStoreFunction = HCERTSTORE (*)(const char* kind, DWORD encoding, void* provider, DWORD flags,
                                             const void* parameter);
using CertCloseStoreFunction = BOOL (*)(HCERTSTORE store, DWORD flags);
using CertStrToNameFunction = BOOL (*)(DWORD encoding, const char* text, DWORD text_type, void* reserved,
                                       unsigned char* encoded, DWORD* size, const char** error);
using CertFindCertificateFunction = const CERT_CONTEXT* (*)(HCERTSTORE store, DWORD encoding, DWORD flags,
                                                            DWORD kind, const void* parameter,
                                                            const CERT_CONTEXT* previous);
using CertFreeCertificateFunction = BOOL (*)(const CERT_CONTEXT* certificate);
using CertGetChainFunction = BOOL (*)(void* engine, const CERT_CONTEXT* certificate, void* time,
                                      HCERTSTORE additional, CERT_CHAIN_PARA* parameter, DWORD flags,
                                      void* reserved, const CERT_CHAIN_CONTEXT** chain);
using CertVerifyPolicyFunction = BOOL (*)(const char* policy, const CERT_CHAIN_CONTEXT* chain,
                                          CERT_CHAIN_POLICY_PARA* parameter,
                                          CERT_CHAIN_POLICY_STATUS* status);
using CertFreeChainFunction = void (*)(const CERT_CHAIN_CONTEXT* chain);
