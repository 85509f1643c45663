// SPDX-License-Identifier: MIT
#include <dlfcn.h>
#include <secprov/system.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace {

constexpr DWORD kMajorVersion = 5;
constexpr char kProviderFile[] = "libsecprov.so";
constexpr const char* kProviderModules[] = {"Secur32.dll", "Security.dll", "Crypt32.dll"};

constinit thread_local DWORD last_error = 0;

bool is_provider(const char* name) {
    for (const char* const module : kProviderModules) {
        if (std::strcmp(name, module) == 0) return true;
    }
    return false;
}

/// The folder, with its "/", of the library or program that this code stands in.
std::string own_folder() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<const void*>(&is_provider), &info) == 0 || info.dli_fname == nullptr)
        return "";
    const std::string file(info.dli_fname);
    const std::size_t slash = file.rfind('/');
    return slash == std::string::npos ? "" : file.substr(0, slash + 1);
}

void* open_module(const std::string& file) {
    return dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
}

void* open_provider() {
    const std::string folder = own_folder();
    void* module = nullptr;
    if (!folder.empty()) {
        module = open_module(folder + kProviderFile);
        if (module == nullptr) module = open_module(folder + "../lib/" + kProviderFile);
    }
    return module != nullptr ? module : open_module(kProviderFile);
}

/// The provider's certificate functions leave their error here, where their callers look for it.
void attach(void* module) {
    using Attach = void (*)(void (*)(DWORD));
    const auto function = reinterpret_cast<Attach>(dlsym(module, "SecprovAttach"));
    if (function != nullptr) function(&SetLastError);
}

}  // namespace

BOOL GetVersionExA(OSVERSIONINFOA* version) {
    if (version == nullptr || version->dwOSVersionInfoSize != sizeof(OSVERSIONINFOA)) return FALSE;
    version->dwPlatformId = VER_PLATFORM_WIN32_NT;
    version->dwMajorVersion = kMajorVersion;
    return TRUE;
}

HMODULE LoadLibraryA(const char* name) {
    if (name == nullptr) return SetLastError(ERROR_INVALID_PARAMETER), nullptr;
    try {
        void* const module = is_provider(name) ? open_provider() : open_module(name);
        if (module == nullptr) return SetLastError(ERROR_MOD_NOT_FOUND), nullptr;
        attach(module);
        return module;
    } catch (const std::bad_alloc&) {
        return SetLastError(ERROR_NOT_ENOUGH_MEMORY), nullptr;
    }
}

void* GetProcAddress(HMODULE module, const char* name) {
    void* const function = module != nullptr ? dlsym(module, name) : nullptr;
    if (function == nullptr) SetLastError(ERROR_PROC_NOT_FOUND);
    return function;
}

BOOL FreeLibrary(HMODULE module) {
    return module != nullptr && dlclose(module) == 0 ? TRUE : FALSE;
}

DWORD GetLastError() {
    return last_error;
}

void SetLastError(DWORD error) {
    last_error = error;
}

int WSAGetLastError() {
    return errno;
}
