// SPDX-License-Identifier: MIT
#include <pelthread/memory.h>
#include <secprov/system.h>

#include <cstring>
#include <string_view>

namespace {

/// The character at the head of `text`, which moves behind it; 0xFFFFFFFF where it is not well-formed.
std::uint32_t take_character(std::string_view& text) {
    constexpr std::uint32_t kMalformed = 0xFFFFFFFF;
    const auto first = static_cast<unsigned char>(text.front());
    text.remove_prefix(1);
    if (first < 0x80) return first;
    const std::size_t more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
    constexpr std::uint32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
    if (first < 0xC2 || first > 0xF4 || text.size() < more) return kMalformed;
    std::uint32_t value = first & (0x3FU >> more);
    for (std::size_t i = 0; i < more; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0) != 0x80) return kMalformed;
        value = value << 6 | (byte & 0x3FU);
    }
    text.remove_prefix(more);
    const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
    return value < kLeast[more] || value > 0x10FFFF || surrogate ? kMalformed : value;
}

}  // namespace

void* LocalAlloc(DWORD, std::size_t size) {
    void* const memory = PEL_new(size);
    if (memory == nullptr) SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return memory;
}

void* LocalFree(void* pointer) {
    PEL_delete(pointer);
    return nullptr;
}

int MultiByteToWideChar(DWORD, DWORD, const char* text, int length, WCHAR* wide, int room) {
    std::string_view rest(text, length < 0 ? std::strlen(text) + 1 : static_cast<std::size_t>(length));
    int count = 0;
    while (!rest.empty()) {
        const std::uint32_t character = take_character(rest);
        const int units = character >= 0x10000 ? 2 : 1;
        if (character == 0xFFFFFFFF || (room > 0 && count + units > room))
            return SetLastError(ERROR_INVALID_PARAMETER), 0;
        if (room > 0 && units == 1) wide[count] = static_cast<WCHAR>(character);
        if (room > 0 && units == 2) {
            wide[count] = static_cast<WCHAR>(0xD7C0 + (character >> 10));
            wide[count + 1] = static_cast<WCHAR>(0xDC00 + (character & 0x3FF));
        }
        count += units;
    }
    return count;
}
