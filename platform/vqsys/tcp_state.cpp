// SPDX-License-Identifier: MIT
// The system's record of a TCP connection. Apart from net.cpp because the kernel's own header, which
// alone names the count of acknowledged bytes, cannot be included beside <netinet/tcp.h>.
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <vqsys/net.h>

#include <cerrno>
#include <cstddef>

#include "last_error.h"

namespace {

constexpr int kTcpStateClose = 7;

/// How many bytes of the record the system filled; 0 on failure.
std::size_t ask(vqSocket socket, tcp_info& info) {
    socklen_t size = sizeof info;
    if (getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &size) == 0) return size;
    vq_fail(errno);
    return 0;
}

}  // namespace

long long vqNetAcknowledged(vqSocket socket) {
    tcp_info info{};
    constexpr std::size_t kNeeded = offsetof(tcp_info, tcpi_bytes_acked) + sizeof info.tcpi_bytes_acked;
    if (ask(socket, info) < kNeeded) return -1;
    return static_cast<long long>(info.tcpi_bytes_acked);
}

long long vqNetArrived(vqSocket socket) {
    tcp_info info{};
    constexpr std::size_t kNeeded = offsetof(tcp_info, tcpi_bytes_received) + sizeof info.tcpi_bytes_received;
    if (ask(socket, info) < kNeeded) return -1;
    return static_cast<long long>(info.tcpi_bytes_received);
}

bool vqNetReset(vqSocket socket) {
    tcp_info info{};
    return ask(socket, info) > 0 && info.tcpi_state == kTcpStateClose;
}
