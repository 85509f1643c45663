// SPDX-License-Identifier: MIT
#include <pelthread/host.h>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <unistd.h>

#include <cstring>
#include <memory>

namespace {

std::uint32_t host_order(const sockaddr* address) {
    sockaddr_in internet{};
    std::memcpy(&internet, address, sizeof internet);
    return ntohl(internet.sin_addr.s_addr);
}

std::uint32_t interface_address() {
    ifaddrs* found = nullptr;
    if (getifaddrs(&found) != 0) return 0;
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> all(found, &freeifaddrs);
    for (const ifaddrs* each = found; each != nullptr; each = each->ifa_next) {
        if (each->ifa_addr == nullptr || each->ifa_addr->sa_family != AF_INET) continue;
        if ((each->ifa_flags & IFF_UP) == 0 || (each->ifa_flags & IFF_LOOPBACK) != 0) continue;
        return host_order(each->ifa_addr);
    }
    return 0;
}

std::uint32_t own_name_address() {
    char name[256] = {};
    if (gethostname(name, sizeof name - 1) != 0) return 0;
    addrinfo wanted{};
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(name, nullptr, &wanted, &found) != 0) return 0;
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> all(found, &freeaddrinfo);
    return host_order(found->ai_addr);
}

}  // namespace

std::uint32_t PEL_GetHostID() {
    if (const std::uint32_t address = interface_address()) return address;
    if (const std::uint32_t address = own_name_address()) return address;
    return INADDR_LOOPBACK;
}
