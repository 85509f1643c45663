// SPDX-License-Identifier: MIT
#include <vqsys/names.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host_lookup.h"
#include "last_error.h"

namespace {

constexpr int kRecordSize = 20;

/// What the record of this thread's last look-up points into.
struct Kept {
    FoundHost host;
    const std::uint32_t* list[FoundHost::kMostAddresses + 1];
};
constinit thread_local Kept kept{};
constexpr const char* kNoAliases[] = {nullptr};

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

int vqNetIPGetHostByName(const char* name, vqHostEntry** result, vqHostEntry* record, int size,
                         double seconds) {
    if (name == nullptr || result == nullptr || record == nullptr || size < kRecordSize)
        return vq_fail(EINVAL);
    const LookUp found = seconds > 0 ? look_up_within(name, seconds, kept.host) : look_up(name, kept.host);
    if (found.lookup_failure != 0) return vq_fail_lookup(found.lookup_failure);
    if (found.error_number != 0) return vq_fail(found.error_number);
    for (int i = 0; i < kept.host.count; ++i) kept.list[i] = &kept.host.addresses[i];
    kept.list[kept.host.count] = nullptr;
    *record = vqHostEntry{kept.host.name, kNoAliases, AF_INET, 4, kept.list};
    *result = record;
    return VQOK;
}
