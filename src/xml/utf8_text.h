// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

// UTF-8 (RFC 3629) restricted to the characters of XML 1.0, production [2].

/// A character of XML: no control but tab, line feed and carriage return, no surrogate, neither FFFE nor
/// FFFF.
constexpr bool is_xml_character(unsigned c) {
    if (c < 0x20) return c == '\t' || c == '\n' || c == '\r';
    return c < 0xD800 || (c > 0xDFFF && c < 0xFFFE) || (c > 0xFFFF && c <= 0x10FFFF);
}

enum class TextFault {
    none,
    cut,        ///< the text ends within a character
    malformed,  ///< bytes that are no UTF-8
    forbidden,  ///< a character that XML does not allow
};

/// How far a text is good.
struct TextCheck {
    std::size_t valid;  ///< length of its whole characters up to the first fault
    TextFault fault;
    bool ascii;  ///< these are nothing else
};
TextCheck check_utf8(const char* text, std::size_t length);

/// The character that `text` starts with, which must be valid and not empty; gives its length as well.
struct Utf8Character {
    unsigned code;
    std::size_t length;
};
Utf8Character first_character(const char* text);

/// Puts the bytes of `c`, a character of XML, to `to`, which has room for four; gives how many they are.
std::size_t put_utf8(unsigned c, char* to);

/// Bytes of valid UTF-8 that do not begin a character.
int continuation_bytes(const char* text, int length);
