// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>

/// Classes of the single bytes of a document, so that runs of ordinary ones are found by one look each.
namespace xml_chars {

inline constexpr std::uint8_t kNameStart = 1;
inline constexpr std::uint8_t kName = 2;
inline constexpr std::uint8_t kTextStop = 4;   ///< ends a run of character data
inline constexpr std::uint8_t kValueStop = 8;  ///< ends a run of an attribute value
inline constexpr std::uint8_t kBlank = 16;     ///< space, tab, carriage return, line feed
inline constexpr std::uint8_t kPlain = 32;     ///< stands for itself: ASCII without line ends and zero
inline constexpr std::uint8_t kSkipped = 64;   ///< plain and not above a space: what may stand between tokens

constexpr std::array<std::uint8_t, 256> make_classes() {
    std::array<std::uint8_t, 256> table{};
    for (unsigned b = 0; b < 256; ++b) {
        const bool letter = (b >= 'a' && b <= 'z') || (b >= 'A' && b <= 'Z');
        const bool digit = b >= '0' && b <= '9';
        const bool plain = b > 0 && b < 128 && b != '\r' && b != '\n';
        unsigned bits = 0;
        if (letter || b == ':' || b == '_') bits |= kNameStart;
        if (letter || digit || b == '_' || b == '-' || b == ':' || b == '.') bits |= kName;
        if (!plain || b == '<' || b == '&') bits |= kTextStop;
        if (!plain || b == '<' || b == '&' || b == '>' || b == '?' || b == '"' || b == '\'') bits |= kValueStop;
        if (b == ' ' || b == '\t' || b == '\r' || b == '\n') bits |= kBlank;
        if (plain) bits |= kPlain;
        if (plain && b <= ' ') bits |= kSkipped;
        table[b] = static_cast<std::uint8_t>(bits);
    }
    return table;
}

inline constexpr std::array<std::uint8_t, 256> kClasses = make_classes();

inline bool is(char byte, std::uint8_t wanted) {
    return (kClasses[static_cast<unsigned char>(byte)] & wanted) != 0;
}

}  // namespace xml_chars
