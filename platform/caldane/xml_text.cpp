// SPDX-License-Identifier: MIT
#include "xml_text.h"

#include <cstdint>

namespace {

/// The length of the UTF-8 sequence at the start of `text`, which is not empty; 0 if there is none (RFC
/// 3629).
std::size_t sequence_length(std::string_view text) {
    const auto byte = [&text](std::size_t i) {
        return static_cast<std::uint32_t>(static_cast<unsigned char>(text[i]));
    };
    const std::uint32_t lead = byte(0);
    if (lead < 0x80) return 1;
    const std::size_t length = lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
    if (length == 0 || text.size() < length) return 0;
    std::uint32_t code = lead & (0xFFU >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0U) != 0x80) return 0;
        code = (code << 6) | (byte(i) & 0x3FU);
    }
    if (length == 3 && (code < 0x800 || (code >= 0xD800 && code < 0xE000))) return 0;
    if (length == 4 && (code < 0x10000 || code > 0x10FFFF)) return 0;
    return code == 0xFFFE || code == 0xFFFF ? 0 : length;  // no characters of XML 1.0
}

void put_ascii(char c, std::string& out) {
    switch (c) {
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '&':
            out += "&amp;";
            break;
        default:
            if (static_cast<unsigned char>(c) >= 0x20 || c == '\t' || c == '\n' || c == '\r') out += c;
    }
}

}  // namespace

std::string xml_safe(std::string_view text, std::size_t limit) {
    std::string out;
    const std::string_view all = text;
    while (!text.empty()) {
        const std::size_t length = sequence_length(text);
        if (all.size() - text.size() + (length == 0 ? 1 : length) > limit) return out + "...";
        if (length == 0) {
            out += '?';
        } else if (length == 1) {
            put_ascii(text.front(), out);
        } else {
            out.append(text.substr(0, length));
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return out;
}
