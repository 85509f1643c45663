// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// A socket of the OS layer: a plain value that is copied and passed around.
using vqSocket = int;
inline constexpr vqSocket kVqNoSocket = -1;

inline constexpr int VQOK = 0;

/// An IPv4 socket address as the OS layer takes it: 16 bytes, port and address in network byte order.
struct vqAddress {
    std::uint8_t zero = 0;
    std::uint8_t family = 2;
    std::uint16_t port = 0;
    std::uint32_t address = 0;
    std::uint8_t unused[8] = {};
};
static_assert(sizeof(vqAddress) == 16);

/// What a host name look-up gives. The pointers lead into memory of the OS layer that stays valid for
/// this thread until its next look-up.
struct vqHostEntry {
    const char* name = nullptr;  ///< canonical name
    const char* const* aliases = nullptr;
    std::int32_t type = 2;
    std::int32_t length = 4;
    const std::uint32_t* const* addresses = nullptr;  ///< null-terminated; network byte order
};
