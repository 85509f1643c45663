// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <string_view>

// Classes of characters, as the parser tells them apart. Characters are integers; -1 is the end of input.

namespace xml_characters {

enum Class : unsigned char {
    PLAIN = 1,       ///< ASCII that means the same decoded or not, and is no part of a line end pair
    NAME = 2,        ///< ASCII inside a name
    TEXT_STOP = 4,   ///< ends a run of plain text
    VALUE_STOP = 8,  ///< ends a run of plain text in an attribute value
    // The same where the bytes of UTF-8 are text as they stand.
    UTF8_TEXT_STOP = 16,
    UTF8_VALUE_STOP = 32,
};

constexpr std::array<unsigned char, 256> make_classes() {
    std::array<unsigned char, 256> classes = {};
    for (int c = 0; c < 128; ++c) {
        if (c != '\r') classes[static_cast<std::size_t>(c)] |= PLAIN;
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        const bool digit = c >= '0' && c <= '9';
        if (letter || digit || c == '_' || c == '-' || c == ':' || c == '.') {
            classes[static_cast<std::size_t>(c)] |= NAME;
        }
    }
    for (int c = 0; c < 256; ++c) {
        auto& of = classes[static_cast<std::size_t>(c)];
        const bool plain = (of & PLAIN) != 0;
        if (!plain || c == '<' || c == '&' || c == '\n') of |= TEXT_STOP;
        if (!plain || c == '<' || c == '&' || c == '"' || c == '\'' || c == '?' || c == '>' || c == '\n') {
            of |= VALUE_STOP;
        }
        if (c < 128 && (of & TEXT_STOP) != 0) of |= UTF8_TEXT_STOP;
        if (c < 128 && (of & VALUE_STOP) != 0) of |= UTF8_VALUE_STOP;
    }
    return classes;
}

inline constexpr std::array<unsigned char, 256> kClasses = make_classes();

}  // namespace xml_characters

inline bool is_class(char c, xml_characters::Class wanted) {
    return (xml_characters::kClasses[static_cast<unsigned char>(c)] & wanted) != 0;
}
inline bool is_plain(char c) {
    return is_class(c, xml_characters::PLAIN);
}
inline bool is_ascii_name(char c) {
    return is_class(c, xml_characters::NAME);
}
inline bool is_white(int c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

inline bool is_name_start(int c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == ':' || c == '_' || c >= 192;
}
inline bool is_name(int c) {
    return c >= 183 || (c >= 0 && c < 128 && is_ascii_name(static_cast<char>(c)));
}

/// Equal to a word in small letters, without regard to case.
inline bool is_word(std::string_view text, std::string_view word) {
    if (text.size() != word.size()) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if ((text[i] | 0x20) != word[i]) return false;
    }
    return true;
}
