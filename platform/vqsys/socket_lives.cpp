// SPDX-License-Identifier: MIT
#include "socket_lives.h"

#include <array>
#include <atomic>

namespace {

constexpr std::size_t kCounts = 65536;
constinit std::array<std::atomic<std::uint32_t>, kCounts> lives{};

std::atomic<std::uint32_t>& count_of(vqSocket socket) {
    return lives[static_cast<std::uint32_t>(socket) % kCounts];
}

}  // namespace

std::uint32_t vq_socket_lives(vqSocket socket) {
    return count_of(socket).load(std::memory_order_acquire);
}

void vq_socket_life_ends(vqSocket socket) {
    count_of(socket).fetch_add(1, std::memory_order_acq_rel);
}
