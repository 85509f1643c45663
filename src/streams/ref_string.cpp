// SPDX-License-Identifier: MIT
#include "streams/ref_string.h"

#include <pelthread/memory.h>
#include <vqsys/text.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

constexpr std::size_t kLongest = (1ULL << 31) - 64;

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

std::uint32_t process_seed() {
    static const auto seed =
        static_cast<std::uint32_t>(std::chrono::steady_clock::now().time_since_epoch().count() * 2654435761LL);
    return seed;
}

}  // namespace

std::uint32_t folded_hash(const char* text, std::size_t length) noexcept {
    std::uint32_t hash = process_seed();
    for (std::size_t i = 0; i < length; ++i) {
        hash = (hash ^ static_cast<unsigned char>(lower(text[i]))) * 16777619U;
    }
    return hash != 0 ? hash : 1;
}

CRefString::CRefString(const char* text, int begin, int end) noexcept {
    if (text == nullptr) return;
    if (end <= 0) end = static_cast<int>(std::min(std::strlen(text), kLongest));
    begin = std::max(begin, 0);
    if (end > begin && !create(*this, text + begin, static_cast<std::size_t>(end - begin))) body = nullptr;
}

bool CRefString::create(CRefString& out, const char* text, std::size_t length) noexcept {
    out = CRefString();
    if (length == 0) return true;
    if (length > kLongest) return false;
    Body* const made = allocate(length + 1);
    if (made == nullptr) return false;
    made->length = static_cast<std::int32_t>(length);
    std::memcpy(text_of(made), text, length);
    text_of(made)[length] = '\0';
    out.release();
    out.body = made;
    return true;
}

CRefString::Body* CRefString::allocate(std::size_t capacity) noexcept {
    auto* const made = static_cast<Body*>(PEL_new(sizeof(Body) + capacity));
    if (made != nullptr) *made = Body{0, 1, 0, static_cast<std::uint32_t>(capacity)};
    return made;
}

void CRefString::dispose(Body* body) noexcept { PEL_delete(body); }

bool CRefString::equal_text(const CRefString& other) const noexcept {
    return vqOSstricmp(c_str(), other.c_str()) == 0;
}

int CRefString::find(char c, int from) const noexcept {
    const std::size_t at = view().find(c, static_cast<std::size_t>(std::max(from, 0)));
    return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

int CRefString::find(const char* text, int from) const noexcept {
    if (text == nullptr) return -1;
    const std::size_t at = view().find(text, static_cast<std::size_t>(std::max(from, 0)));
    return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

CRefString CRefString::substring(int begin, int end) const noexcept {
    begin = std::max(begin, 0);
    end = std::min(end, length());
    CRefString made;
    if (end > begin && !create(made, c_str() + begin, static_cast<std::size_t>(end - begin))) made = CRefString();
    return made;
}

int CRefString::hex_value() const noexcept {
    int value = 0;
    const char* digit = c_str();
    for (int count = 0; count < 2; ++count, ++digit) {
        const char c = lower(*digit);
        if (c >= '0' && c <= '9') {
            value = value * 16 + (c - '0');
        } else if (c >= 'a' && c <= 'f') {
            value = value * 16 + (c - 'a' + 10);
        } else {
            break;
        }
    }
    return value;
}

int CRefString::decimal_value() const noexcept {
    const long value = std::strtol(c_str(), nullptr, 10);
    return static_cast<int>(std::clamp<long>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

std::uint32_t CRefString::hash() const noexcept {
    if (body == nullptr) return folded_hash("", 0);
    if (body->hash == 0) body->hash = folded_hash(text_of(body), std::strlen(text_of(body)));
    return body->hash;
}
