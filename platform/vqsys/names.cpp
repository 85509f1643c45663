// SPDX-License-Identifier: MIT
#include <vqsys/names.h>

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "last_error.h"

namespace {

constexpr int kRecordSize = 20;
constexpr int kMaxAddresses = 16;

/// What the record of this thread's last look-up points into.
struct LookedUp {
    char name[NI_MAXHOST];
    std::uint32_t addresses[kMaxAddresses];
    const std::uint32_t* list[kMaxAddresses + 1];
};
constinit thread_local LookedUp looked_up{};
constexpr const char* kNoAliases[] = {nullptr};

int keep_addresses(const addrinfo* found) {
    int count = 0;
    for (; found != nullptr && count < kMaxAddresses; found = found->ai_next) {
        if (found->ai_family != AF_INET) continue;
        sockaddr_in address{};
        std::memcpy(&address, found->ai_addr, sizeof address);
        looked_up.addresses[count] = address.sin_addr.s_addr;
        looked_up.list[count] = &looked_up.addresses[count];
        ++count;
    }
    looked_up.list[count] = nullptr;
    return count;
}

}  // namespace

std::uint32_t vqInet_addr(const char* text) {
    in_addr address{};
    if (text == nullptr || inet_pton(AF_INET, text, &address) != 1) return kVqNoAddress;
    return address.s_addr;
}

const char* vqInet_ntoa(std::uint32_t network_order) {
    thread_local char text[INET_ADDRSTRLEN];
    in_addr address{};
    address.s_addr = network_order;
    return inet_ntop(AF_INET, &address, text, sizeof text);
}

int vqNetIPGetHostname(char* buffer, int size) {
    if (buffer == nullptr || size <= 0) return vq_fail(EINVAL);
    if (gethostname(buffer, static_cast<std::size_t>(size)) != 0) return vq_fail(errno);
    // A name that just fits may come without its terminator.
    if (std::memchr(buffer, '\0', static_cast<std::size_t>(size)) == nullptr) return vq_fail(ENAMETOOLONG);
    return VQOK;
}

int vqNetIPGetHostByName(const char* name, vqHostEntry** result, vqHostEntry* record, int size) {
    if (name == nullptr || result == nullptr || record == nullptr || size < kRecordSize)
        return vq_fail(EINVAL);
    addrinfo wanted{};
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_STREAM;
    wanted.ai_flags = AI_CANONNAME;
    addrinfo* found = nullptr;
    if (const int failure = getaddrinfo(name, nullptr, &wanted, &found)) return vq_fail_lookup(failure);
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> all(found, &freeaddrinfo);
    if (keep_addresses(found) == 0) return vq_fail_lookup(EAI_NONAME);
    const char* canonical = found->ai_canonname != nullptr ? found->ai_canonname : name;
    std::snprintf(looked_up.name, sizeof looked_up.name, "%s", canonical);
    *record = vqHostEntry{looked_up.name, kNoAliases, AF_INET, 4, looked_up.list};
    *result = record;
    return VQOK;
}
