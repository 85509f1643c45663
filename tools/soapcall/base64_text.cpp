// SPDX-License-Identifier: MIT
#include "base64_text.h"

namespace {

constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

std::string to_base64(const unsigned char* bytes, std::size_t count) {
    std::string text;
    text.reserve((count + 2) / 3 * 4);
    for (std::size_t i = 0; i < count; i += 3) {
        const std::size_t left = count - i;
        const unsigned group = static_cast<unsigned>(bytes[i] << 16) |
                               (left > 1 ? static_cast<unsigned>(bytes[i + 1] << 8) : 0U) |
                               (left > 2 ? bytes[i + 2] : 0U);
        text += kDigits[group >> 18];
        text += kDigits[group >> 12 & 63];
        text += left > 1 ? kDigits[group >> 6 & 63] : '=';
        text += left > 2 ? kDigits[group & 63] : '=';
    }
    return text;
}

bool from_base64(std::string_view text, std::vector<unsigned char>& bytes) {
    while (text.ends_with('=')) text.remove_suffix(1);
    if (text.size() % 4 == 1) return false;
    unsigned group = 0;
    int bits = 0;
    for (const char c : text) {
        const std::size_t digit = kDigits.find(c);
        if (digit == std::string_view::npos) return false;
        group = group << 6 | static_cast<unsigned>(digit);
        bits += 6;
        if (bits < 8) continue;
        bits -= 8;
        bytes.push_back(static_cast<unsigned char>(group >> bits & 0xFF));
    }
    return true;
}
