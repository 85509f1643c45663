// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// 0 to 15; everything that is no hexadecimal digit gives 0.
constexpr int HexDigitValue(char c) {
    if (c >= '1' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return 0;
}

constexpr bool IsHexDigit(char c) {
    return c == '0' || HexDigitValue(c) != 0;
}

/// The text as a hexadecimal number of 32 bits, signed; what overflows is lost. A character that is no digit
/// counts as the digit 0 in its place; the empty text gives 0.
constexpr std::int32_t HexToInt(const char* text) {
    std::uint32_t value = 0;
    for (; *text != 0; ++text) value = value << 4 | static_cast<std::uint32_t>(HexDigitValue(*text));
    return static_cast<std::int32_t>(value);
}
