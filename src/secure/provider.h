// SPDX-License-Identifier: MIT
#pragma once

#include <secprov/certificates.h>
#include <secprov/sspi.h>

/// The certificate functions, found by their names in the provider's module.
struct CertificateFunctions {
    CertOpenSystemStoreFunction open_system_store = nullptr;
    CertOpenStoreFunction open_store = nullptr;
    CertCloseStoreFunction close_store = nullptr;
    CertStrToNameFunction str_to_name = nullptr;
    CertFindCertificateFunction find_certificate = nullptr;
    CertFreeCertificateFunction free_certificate = nullptr;
    CertGetChainFunction get_chain = nullptr;
    CertVerifyPolicyFunction verify_policy = nullptr;
    CertFreeChainFunction free_chain = nullptr;
};

/// The security provider of this process, loaded for its first user and let go by its last. Each
/// `CSspiCredentials` is a user; contexts live no longer than the credentials they were made from.
class SecurityProvider {
public:
    /// Counts a user, and loads the provider for the first; false, with a line on standard output that says
    /// why, if that fails. Any thread.
    [[nodiscard]] static bool acquire();
    /// Counts a user less; the last one unloads.
    static void release();

    /// Valid while there is a user.
    static const SecurityFunctionTableA& table() { return *functions; }
    static const CertificateFunctions& certificates() { return certificate_functions; }

    /// Puts another provider in the place of the one that would be loaded, or with null takes it away: for
    /// tests, while there is no user.
    static void replace(SecurityFunctionTableA* table, const CertificateFunctions& certificates);

    /// The provider's module on a system of this kind; null where there is none.
    [[nodiscard]] static const char* module_name(DWORD platform, DWORD major_version);

private:
    static bool load();
    static bool find_certificate_functions();

    static void* module;
    static SecurityFunctionTableA* functions;
    static CertificateFunctions certificate_functions;
    static bool replaced;
    static int users;
};

/// Prints what the status means where there are words for it.
void print_status_text(SECURITY_STATUS status);
