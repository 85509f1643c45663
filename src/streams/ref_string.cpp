// SPDX-License-Identifier: MIT
#include "streams/ref_string.h"

#include <pelthread/memory.h>
#include <vqsys/text.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

CRefString::CRefString(const char* text, int begin, int end) {
    if (text == nullptr) return;
    if (end <= 0) end = static_cast<int>(std::strlen(text));
    begin = std::max(begin, 0);
    *this = of(text + begin, end - begin);
}

CRefString CRefString::of(const char* bytes, int length) {
    CRefString made;
    if (length <= 0) return made;
    const auto size = static_cast<std::size_t>(length);
    made.body = static_cast<Body*>(PEL_new(sizeof(Body) + size + 1));
    if (made.body == nullptr) return made;
    made.body->length = length;
    made.body->refs = 1;
    std::memcpy(made.body->chars(), bytes, size);
    made.body->chars()[size] = '\0';
    return made;
}

void CRefString::free_body(Body* dead) noexcept { PEL_delete(dead); }

bool CRefString::same(const CRefString& a, const CRefString& b) { return vqOSstricmp(a.c_str(), b.c_str()) == 0; }

int CRefString::find(char c, int from) const {
    const std::size_t at = view().find(c, static_cast<std::size_t>(std::max(from, 0)));
    return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

int CRefString::find(const char* text, int from) const {
    if (text == nullptr) return -1;
    const std::size_t at = view().find(text, static_cast<std::size_t>(std::max(from, 0)));
    return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

CRefString CRefString::substring(int begin, int end) const {
    begin = std::max(begin, 0);
    end = std::min(end, length());
    return of(c_str() + begin, end - begin);
}

int CRefString::hex_value() const {
    int value = 0;
    const char* digit = c_str();
    for (int count = 0; count < 2; ++count, ++digit) {
        const char c = *digit;
        if (c >= '0' && c <= '9') {
            value = value * 16 + (c - '0');
        } else if ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F')) {
            value = value * 16 + ((c | 0x20) - 'a' + 10);
        } else {
            break;
        }
    }
    return value;
}

int CRefString::decimal_value() const { return static_cast<int>(std::strtol(c_str(), nullptr, 10)); }
