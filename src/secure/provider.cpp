// SPDX-License-Identifier: MIT
#include "secure/provider.h"

#include <pelthread/mutex.h>
#include <secprov/system.h>

#include <cstdio>

void* SecurityProvider::module = nullptr;
SecurityFunctionTableA* SecurityProvider::functions = nullptr;
CertificateFunctions SecurityProvider::certificate_functions;
bool SecurityProvider::replaced = false;
int SecurityProvider::users = 0;

namespace {

/// Loading and unloading, which may come from several threads. Never destroyed: credentials may outlive the
/// end of `main`.
PEL_Mutex& loading() {
    static PEL_Mutex* const mutex = new PEL_Mutex;
    return *mutex;
}

/// `shown` is the name for people, if it is another.
template <class Function>
bool find(void* module, const char* name, Function& function, const char* shown = nullptr) {
    function = reinterpret_cast<Function>(GetProcAddress(module, name));
    if (function == nullptr) {
        std::printf("Error 0x%x reading %s entry point.\n", GetLastError(), shown != nullptr ? shown : name);
    }
    return function != nullptr;
}

struct StatusText {
    SECURITY_STATUS status;
    const char* text;
};
constexpr StatusText kStatusTexts[] = {
    {SEC_E_INSUFFICIENT_MEMORY, "Not enough memory is available to complete the request. \n"},
    {SEC_E_INTERNAL_ERROR, "The Local Security Authority (LSA) cannot be contacted. \n"},
    {SEC_E_SECPKG_NOT_FOUND, "The requested security package does not exist\n"},
    {SEC_E_NOT_OWNER, "The caller of the function does not have the necessary credentials. \n"},
    {SEC_E_UNKNOWN_CREDENTIALS, "The credentials supplied to the package were not recognized. \n"},
    {SEC_E_NO_CREDENTIALS, "No credentials are available in the security package. \n"},
};

}  // namespace

const char* SecurityProvider::module_name(DWORD platform, DWORD major_version) {
    constexpr DWORD kOldMajor = 4;
    if (platform == VER_PLATFORM_WIN32_NT && major_version == kOldMajor) return "Security.dll";
    if (platform == VER_PLATFORM_WIN32_NT || platform == VER_PLATFORM_WIN32_WINDOWS) return "Secur32.dll";
    return nullptr;
}

bool SecurityProvider::acquire() {
    const PEL_Lock lock(loading());
    if (functions == nullptr && !load()) return false;
    ++users;
    return true;
}

void SecurityProvider::release() {
    const PEL_Lock lock(loading());
    if (--users > 0 || replaced) return;
    functions = nullptr;
    certificate_functions = {};
    FreeLibrary(module);
    module = nullptr;
}

bool SecurityProvider::load() {
    OSVERSIONINFOA version;
    if (!GetVersionExA(&version)) return false;
    const char* const name = module_name(version.dwPlatformId, version.dwMajorVersion);
    if (name == nullptr) return false;
    module = LoadLibraryA(name);
    if (module == nullptr) {
        std::printf("Error 0x%x loading %s.\n", GetLastError(), name);
        return false;
    }
    InitSecurityInterfaceFunction initialize = nullptr;
    if (find(module, "InitSecurityInterfaceA", initialize, "InitSecurityInterface") &&
        find_certificate_functions()) {
        functions = initialize();
        if (functions != nullptr) return true;
        std::printf("Error 0x%x reading security interface.\n", GetLastError());
    }
    FreeLibrary(module);
    module = nullptr;
    return false;
}

bool SecurityProvider::find_certificate_functions() {
    CertificateFunctions& all = certificate_functions;
    return find(module, "CertOpenSystemStoreA", all.open_system_store) &&
           find(module, "CertOpenStore", all.open_store) && find(module, "CertCloseStore", all.close_store) &&
           find(module, "CertStrToNameA", all.str_to_name) &&
           find(module, "CertFindCertificateInStore", all.find_certificate) &&
           find(module, "CertFreeCertificateContext", all.free_certificate) &&
           find(module, "CertGetCertificateChain", all.get_chain) &&
           find(module, "CertVerifyCertificateChainPolicy", all.verify_policy) &&
           find(module, "CertFreeCertificateChain", all.free_chain);
}

void SecurityProvider::replace(SecurityFunctionTableA* table, const CertificateFunctions& certificates) {
    const PEL_Lock lock(loading());
    replaced = table != nullptr;
    functions = table;
    certificate_functions = certificates;
}

void print_status_text(SECURITY_STATUS status) {
    for (const StatusText& known : kStatusTexts) {
        if (known.status == status) std::fputs(known.text, stdout);
    }
}
