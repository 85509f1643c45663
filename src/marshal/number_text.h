// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

/// The longest text that any of the writers below makes: a double with 34 significant digits, its sign, its
/// point, leading zeros behind the point and an exponent.
inline constexpr std::size_t kNumberRoom = 64;

// Numbers as text, into a buffer of `kNumberRoom` bytes without a terminator; each gives the text's length.
// The bytes are those of the printf formats named.
std::size_t text_of(std::int32_t value, char* buffer);   ///< %d
std::size_t text_of(std::uint32_t value, char* buffer);  ///< %u
std::size_t text_of(double value, char* buffer);         ///< %.34g
std::size_t text_of(float value, char* buffer);          ///< %.8g
inline std::size_t text_of(short value, char* buffer) {
    return text_of(std::int32_t{value}, buffer);
}
inline std::size_t text_of(unsigned short value, char* buffer) {
    return text_of(std::uint32_t{value}, buffer);
}
inline std::size_t text_of(unsigned char value, char* buffer) {
    return text_of(std::uint32_t{value}, buffer);
}

// Numbers out of text that a zero byte or a `<` ends: leading white space and a sign are taken, what stands
// behind the digits is ignored, text without digits gives 0.

/// As atol and atoi where the number fits 64 bits, the nearest 64-bit number beyond.
std::int64_t integer_in(const char* text);
/// As atof.
double real_in(const char* text);
