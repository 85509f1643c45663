// SPDX-License-Identifier: MIT

// A library for LD_PRELOAD: host names that end in ".test" are this machine's loopback address, as an entry
// of the system's host table would make them, and this machine's own name is TEST_HOST_NAME, if that is set;
// they are aliases of TEST_CANONICAL_NAME, if that is set.
// For tests of certificates, which are made for names.

#include <dlfcn.h>
#include <netdb.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* name, const char* service,
                                                                  const addrinfo* hints, addrinfo** result) {
    using Lookup = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
    static const Lookup system_lookup = reinterpret_cast<Lookup>(dlsym(RTLD_NEXT, "getaddrinfo"));
    const std::string_view text(name != nullptr ? name : "");
    constexpr std::string_view kEnding = ".test";
    if (text.size() <= kEnding.size() || text.substr(text.size() - kEnding.size()) != kEnding)
        return system_lookup(name, service, hints, result);
    const int failure = system_lookup("127.0.0.1", service, hints, result);
    if (failure == 0 && (*result)->ai_canonname != nullptr) {
        // freeaddrinfo gives it back by `free`.
        std::free((*result)->ai_canonname);
        const char* const alias_of = std::getenv("TEST_CANONICAL_NAME");
        (*result)->ai_canonname = strdup(alias_of != nullptr ? alias_of : name);
    }
    return failure;
}

extern "C" __attribute__((visibility("default"))) int gethostname(char* buffer, std::size_t size) noexcept {
    using Ask = int (*)(char*, std::size_t);
    static const Ask system_name = reinterpret_cast<Ask>(dlsym(RTLD_NEXT, "gethostname"));
    const char* const told = std::getenv("TEST_HOST_NAME");
    if (told == nullptr) return system_name(buffer, size);
    if (std::strlen(told) >= size) return errno = ENAMETOOLONG, -1;
    std::strcpy(buffer, told);
    return 0;
}
