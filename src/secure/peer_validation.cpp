// SPDX-License-Identifier: MIT
#include "secure/peer_validation.h"

#include <secprov/certificates.h>
#include <secprov/system.h>

#include <cstdio>
#include <memory>

#include "secure/provider.h"

namespace {

const char* server_usages[] = {
    "1.3.6.1.5.5.7.3.1",       // server authentication
    "1.3.6.1.4.1.311.10.3.3",  // and two old ones that stand for it: server gated cryptography
    "2.16.840.1.113730.4.1",
};
const char* client_usages[] = {"1.3.6.1.5.5.7.3.2"};

struct FreeCertificate {
    void operator()(const CERT_CONTEXT* certificate) const {
        SecurityProvider::certificates().free_certificate(certificate);
    }
};
struct FreeChain {
    void operator()(const CERT_CHAIN_CONTEXT* chain) const {
        SecurityProvider::certificates().free_chain(chain);
    }
};
struct FreeLocal {
    void operator()(WCHAR* text) const { LocalFree(text); }
};
using WideText = std::unique_ptr<WCHAR, FreeLocal>;

SECURITY_STATUS widen(const char* name, WideText& wide) {
    if (name == nullptr || *name == '\0') return SEC_E_WRONG_PRINCIPAL;
    const int units = MultiByteToWideChar(CP_ACP, 0, name, -1, nullptr, 0);
    if (units <= 0) return SEC_E_WRONG_PRINCIPAL;
    wide.reset(static_cast<WCHAR*>(LocalAlloc(0, static_cast<std::size_t>(units) * sizeof(WCHAR))));
    if (!wide) return SEC_E_INSUFFICIENT_MEMORY;
    return MultiByteToWideChar(CP_ACP, 0, name, -1, wide.get(), units) > 0 ? SEC_E_OK : SEC_E_WRONG_PRINCIPAL;
}

SECURITY_STATUS last_error() {
    return security_status(GetLastError());
}

SECURITY_STATUS check_policy(const CERT_CHAIN_CONTEXT* chain, DWORD checks, bool is_server, WCHAR* name) {
    HTTPSPolicyCallbackData wanted;
    wanted.cbSize = kHttpsPolicySize;
    wanted.dwAuthType = is_server ? AUTHTYPE_SERVER : AUTHTYPE_CLIENT;
    wanted.fdwChecks = checks;
    wanted.pwszServerName = name;
    CERT_CHAIN_POLICY_PARA parameter;
    parameter.pvExtraPolicyPara = &wanted;
    CERT_CHAIN_POLICY_STATUS result;
    if (!SecurityProvider::certificates().verify_policy(certificate_kind(CERT_CHAIN_POLICY_SSL), chain,
                                                        &parameter, &result)) {
        const SECURITY_STATUS status = last_error();
        std::printf("Error 0x%x returned by CertVerifyCertificateChainPolicy!\n", static_cast<DWORD>(status));
        return status;
    }
    return security_status(result.dwError);
}

}  // namespace

SECURITY_STATUS validatePeer(CtxtHandle* context, DWORD checks, int isServerPeer, const char* serverName) {
    const CERT_CONTEXT* remote = nullptr;
    const SECURITY_STATUS status =
        SecurityProvider::table().QueryContextAttributesA(context, SECPKG_ATTR_REMOTE_CERT_CONTEXT, &remote);
    if (status != SEC_E_OK) {
        std::printf("Error 0x%x querying remote certificate\n", static_cast<DWORD>(status));
        return status;
    }
    if (remote == nullptr) return SEC_E_WRONG_PRINCIPAL;
    const std::unique_ptr<const CERT_CONTEXT, FreeCertificate> certificate(remote);

    const bool is_server = isServerPeer != 0;
    WideText name;
    if (is_server) {
        const SECURITY_STATUS widened = widen(serverName, name);
        if (widened != SEC_E_OK) return widened;
    }

    CERT_CHAIN_PARA request;
    request.RequestedUsage.dwType = USAGE_MATCH_TYPE_OR;
    request.RequestedUsage.Usage =
        is_server ? CERT_ENHKEY_USAGE{3, server_usages} : CERT_ENHKEY_USAGE{1, client_usages};
    const CERT_CHAIN_CONTEXT* built = nullptr;
    if (!SecurityProvider::certificates().get_chain(nullptr, remote, nullptr, remote->hCertStore, &request, 0,
                                                    nullptr, &built)) {
        const SECURITY_STATUS error = last_error();
        std::printf("Error 0x%x returned by CertGetCertificateChain!\n", static_cast<DWORD>(error));
        return error;
    }
    const std::unique_ptr<const CERT_CHAIN_CONTEXT, FreeChain> chain(built);
    return check_policy(built, checks, is_server, name.get());
}
