// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

/// True if `length` bytes are the same in both places. Names and tags are short: a call of the library's
/// function costs more than they do.
inline bool same_bytes(const char* a, const char* b, std::size_t length) {
    const auto differ = [&]<class Word>(std::size_t at, Word) {
        Word x = 0;
        Word y = 0;
        std::memcpy(&x, a + at, sizeof x);
        std::memcpy(&y, b + at, sizeof y);
        return x != y;
    };
    if (length >= 8) {
        for (std::size_t at = 0; at + 8 < length; at += 8) {
            if (differ(at, std::uint64_t{})) return false;
        }
        return !differ(length - 8, std::uint64_t{});
    }
    if (length >= 4) return !differ(0, std::uint32_t{}) && !differ(length - 4, std::uint32_t{});
    for (std::size_t at = 0; at < length; ++at) {
        if (a[at] != b[at]) return false;
    }
    return true;
}
