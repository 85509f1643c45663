// SPDX-License-Identifier: MIT
#include "chain.h"

#include <arpa/inet.h>

#include <cstddef>
#include <cstring>
#include <new>
#include <string_view>

#include "session_cache.h"
#include "status.h"
#include "trust.h"

namespace {

constexpr char kClientAuthentication[] = "1.3.6.1.5.5.7.3.2";
constexpr DWORD kInvalidArgument = 0x80070057;

/// The bit of a trust status for a result of OpenSSL's verification.
DWORD trust_error(int result) {
    switch (result) {
        case X509_V_OK:
            return 0;
        case X509_V_ERR_CERT_NOT_YET_VALID:
        case X509_V_ERR_CERT_HAS_EXPIRED:
        case X509_V_ERR_ERROR_IN_CERT_NOT_BEFORE_FIELD:
        case X509_V_ERR_ERROR_IN_CERT_NOT_AFTER_FIELD:
            return CERT_TRUST_IS_NOT_TIME_VALID;
        case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
        case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
        case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
        case X509_V_ERR_CERT_UNTRUSTED:
            return CERT_TRUST_IS_UNTRUSTED_ROOT;
        case X509_V_ERR_INVALID_PURPOSE:
        case X509_V_ERR_CERT_REJECTED:
            return CERT_TRUST_IS_NOT_VALID_FOR_USAGE;
        case X509_V_ERR_UNHANDLED_CRITICAL_EXTENSION:
            return CERT_TRUST_HAS_NOT_SUPPORTED_CRITICAL_EXT;
        case X509_V_ERR_CERT_SIGNATURE_FAILURE:
        case X509_V_ERR_UNABLE_TO_DECODE_ISSUER_PUBLIC_KEY:
        case X509_V_ERR_EE_KEY_TOO_SMALL:
        case X509_V_ERR_CA_KEY_TOO_SMALL:
        case X509_V_ERR_CA_MD_TOO_WEAK:
            return CERT_TRUST_IS_NOT_SIGNATURE_VALID;
        default:
            return CERT_TRUST_IS_PARTIAL_CHAIN;
    }
}

/// The level that the system's configuration asks of TLS; keys and digests below it are refused here too.
int system_security_level() {
    const SslContextHandle context(SSL_CTX_new(TLS_method()));
    if (!context) throw std::bad_alloc();
    return SSL_CTX_get_security_level(context.get());
}

int verify(const Certificate& certificate, int purpose) {
    static const int level = system_security_level();
    const TrustHandle trust = trusted_authorities();
    const VerifyHandle verification(X509_STORE_CTX_new());
    if (!verification ||
        X509_STORE_CTX_init(verification.get(), trust.get(), certificate.x509(), certificate.chain()) != 1)
        throw std::bad_alloc();
    X509_VERIFY_PARAM* const parameters = X509_STORE_CTX_get0_param(verification.get());
    X509_VERIFY_PARAM_set_purpose(parameters, purpose);
    X509_VERIFY_PARAM_set_auth_level(parameters, level);
    // Whatever stands in root/ is trusted as it is, also without what stands above it.
    X509_VERIFY_PARAM_set_flags(parameters, X509_V_FLAG_PARTIAL_CHAIN);
    const int good = X509_verify_cert(verification.get());
    ERR_clear_error();
    const int result = X509_STORE_CTX_get_error(verification.get());
    if (result == X509_V_ERR_OUT_OF_MEM) throw std::bad_alloc();
    return good == 1 ? X509_V_OK : result != X509_V_OK ? result : X509_V_ERR_UNSPECIFIED;
}

/// UTF-8 of a name that was widened; "" if it holds what no host name does.
std::string narrowed(const WCHAR* wide) {
    std::string text;
    for (; *wide != 0; ++wide) {
        if (*wide > 0x7F) return "";
        text += static_cast<char>(*wide);
    }
    return text;
}

int purpose_of(const CERT_CHAIN_PARA* parameter) {
    if (parameter == nullptr) return X509_PURPOSE_SSL_SERVER;
    const CERT_ENHKEY_USAGE& usage = parameter->RequestedUsage.Usage;
    for (DWORD i = 0; i < usage.cUsageIdentifier; ++i) {
        if (std::strcmp(usage.rgpszUsageIdentifier[i], kClientAuthentication) == 0)
            return X509_PURPOSE_SSL_CLIENT;
    }
    // Server authentication, with the two old usages that stand for it.
    return X509_PURPOSE_SSL_SERVER;
}

}  // namespace

Chain::Chain(const Certificate& certificate, int purpose)
    : session(certificate.session), handed_out{{}, this} {
    handed_out.context.TrustStatus.dwErrorStatus = trust_error(verify(certificate, purpose));
    X509_up_ref(certificate.x509());
    leaf.reset(certificate.x509());
}

const Chain* Chain::of(const CERT_CHAIN_CONTEXT* context) {
    static_assert(offsetof(HandedOut, context) == 0);
    return context != nullptr ? reinterpret_cast<const HandedOut*>(context)->owner : nullptr;
}

DWORD Chain::policy_error() const {
    switch (handed_out.context.TrustStatus.dwErrorStatus) {
        case 0:
            return 0;
        case CERT_TRUST_IS_NOT_TIME_VALID:
            return CERT_E_EXPIRED;
        case CERT_TRUST_IS_NOT_SIGNATURE_VALID:
            return TRUST_E_CERT_SIGNATURE;
        case CERT_TRUST_IS_NOT_VALID_FOR_USAGE:
            return CERT_E_WRONG_USAGE;
        case CERT_TRUST_IS_UNTRUSTED_ROOT:
            return CERT_E_UNTRUSTEDROOT;
        case CERT_TRUST_HAS_NOT_SUPPORTED_CRITICAL_EXT:
            return CERT_E_CRITICAL;
        default:
            return CERT_E_CHAINING;
    }
}

void Chain::refuse_session() const {
    if (!session.empty()) SessionCache::instance().forget(session);
}

bool Chain::names(const std::string& host) const {
    unsigned char address[16];
    const bool dotted =
        inet_pton(AF_INET, host.c_str(), address) == 1 || inet_pton(AF_INET6, host.c_str(), address) == 1;
    const int result = dotted ? X509_check_ip_asc(leaf.get(), host.c_str(), 0)
                              : X509_check_host(leaf.get(), host.data(), host.size(),
                                                X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS, nullptr);
    return result == 1;
}

extern "C" {

BOOL CertGetCertificateChain(void*, const CERT_CONTEXT* certificate, void*, HCERTSTORE,
                             CERT_CHAIN_PARA* parameter, DWORD, void*, const CERT_CHAIN_CONTEXT** chain) {
    const Certificate* const own = Certificate::of(certificate);
    if (own == nullptr || chain == nullptr) return fail_with(kInvalidArgument);
    try {
        *chain = (new Chain(*own, purpose_of(parameter)))->context();
        return TRUE;
    } catch (const std::exception&) {
        return fail_with(static_cast<DWORD>(SEC_E_INSUFFICIENT_MEMORY));
    }
}

BOOL CertVerifyCertificateChainPolicy(const char* policy, const CERT_CHAIN_CONTEXT* chain,
                                      CERT_CHAIN_POLICY_PARA* parameter, CERT_CHAIN_POLICY_STATUS* status) {
    const Chain* const own = Chain::of(chain);
    if (reinterpret_cast<std::uintptr_t>(policy) != CERT_CHAIN_POLICY_SSL || own == nullptr ||
        status == nullptr || parameter == nullptr || parameter->pvExtraPolicyPara == nullptr)
        return fail_with(kInvalidArgument);
    try {
        const auto& wanted = *static_cast<const HTTPSPolicyCallbackData*>(parameter->pvExtraPolicyPara);
        status->dwError = own->policy_error();
        if (status->dwError == 0 && wanted.dwAuthType == AUTHTYPE_SERVER) {
            const std::string host = wanted.pwszServerName != nullptr ? narrowed(wanted.pwszServerName) : "";
            if (host.empty() || !own->names(host)) status->dwError = CERT_E_CN_NO_MATCH;
        }
        if (status->dwError != 0) own->refuse_session();
        return TRUE;
    } catch (const std::exception&) {
        return fail_with(static_cast<DWORD>(SEC_E_INSUFFICIENT_MEMORY));
    }
}

void CertFreeCertificateChain(const CERT_CHAIN_CONTEXT* chain) {
    delete Chain::of(chain);
}

}  // extern "C"
