// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

/// A number to place a text by that is made of its length, its first and its last bytes alone: quickly had,
/// and good for tables in which texts of the same number only drive each other out. `text` is not empty.
inline std::uint32_t text_place(std::string_view text) {
    const char* const bytes = text.data();
    const std::size_t length = text.size();
    const auto load = [](const char* from, std::size_t count) {
        std::uint64_t word = 0;
        std::memcpy(&word, from, count);
        return word;
    };
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    if (length >= 8) {
        first = load(bytes, 8);
        last = load(bytes + length - 8, 8);
    } else if (length >= 4) {
        first = load(bytes, 4);
        last = load(bytes + length - 4, 4);
    } else {
        const auto byte = [bytes](std::size_t at) {
            return std::uint64_t{static_cast<unsigned char>(bytes[at])};
        };
        first = byte(0) | byte(length / 2) << 8 | byte(length - 1) << 16;
    }
    constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15u;
    const std::uint64_t mixed = (first ^ length) * kMultiplier ^ last;
    return static_cast<std::uint32_t>((mixed * kMultiplier) >> 32);
}
