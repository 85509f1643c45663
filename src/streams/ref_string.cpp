// SPDX-License-Identifier: MIT
#include "streams/ref_string.h"

#include <pelthread/memory.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SOAP_NO_SPARE_BLOCKS
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define SOAP_NO_SPARE_BLOCKS
#endif

namespace {

/// Short texts live in blocks of one size, and each thread keeps some spare ones. A block may go to another
/// thread's spare ones than it came from. Under the address sanitizer none are kept, so that it sees each use
/// of a text that is gone.
constexpr std::size_t kSpareSize = 64;
#if defined(SOAP_NO_SPARE_BLOCKS)
constexpr int kMaxSpare = 0;
#else
constexpr int kMaxSpare = 256;
#endif

struct SpareBlock {
    SpareBlock* next;
};

struct SpareBlocks {
    SpareBlock* first;
    int count;
    bool closed;  ///< the thread ends: nothing is kept any more
};

constinit thread_local SpareBlocks spare{nullptr, 0, false};

/// Gives the spare blocks back when the thread ends.
struct SpareKeeper {
    ~SpareKeeper() {
        spare.closed = true;
        while (spare.first) PEL_delete(std::exchange(spare.first, spare.first->next));
        spare.count = 0;
    }
    bool watching = false;
};
thread_local SpareKeeper keeper;

constexpr unsigned char lower(unsigned char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}

bool blank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// Eight bytes with their capital ASCII letters made small.
std::uint64_t lower_eight(std::uint64_t x) {
    constexpr std::uint64_t ones = 0x0101010101010101u;
    const std::uint64_t low = x & (0x7F * ones);
    const std::uint64_t from_a = low + (0x80 - 'A') * ones;
    const std::uint64_t above_z = low + (0x7F - 'Z') * ones;
    const std::uint64_t capital = ~x & (from_a ^ above_z) & (0x80 * ones);
    return x | (capital >> 2);
}

std::uint64_t load_eight(const char* from) {
    std::uint64_t word = 0;
    std::memcpy(&word, from, sizeof word);
    return word;
}

std::uint64_t load_four(const char* from) {
    std::uint32_t word = 0;
    std::memcpy(&word, from, sizeof word);
    return word;
}

/// Up to eight bytes, each of them once at least.
std::uint64_t load_few(const char* from, std::size_t count) {
    if (count >= 4) return load_four(from) | load_four(from + count - 4) << 32;
    if (count == 0) return 0;
    const auto byte = [from](std::size_t at) { return std::uint64_t{static_cast<unsigned char>(from[at])}; };
    return byte(0) | byte(count / 2) << 8 | byte(count - 1) << 16;
}

std::uint64_t mix(std::uint64_t a, std::uint64_t b) {
    const auto product = static_cast<unsigned __int128>(a) * b;
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

/// Differs from process to process: where things lie in memory, and when.
std::uint64_t make_seed() {
    const int here = 0;
    const auto now = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    const std::uint64_t stack = reinterpret_cast<std::uintptr_t>(&here);
    const std::uint64_t code = reinterpret_cast<std::uintptr_t>(&folded_hash);
    return mix(now ^ 0xA0761D6478BD642Fu, stack ^ (code << 16) ^ 0xE7037ED1A0B428DBu) | 1;
}

const std::uint64_t hash_seed = make_seed();

/// `Each` makes of eight bytes what counts of them.
template <std::uint64_t Each(std::uint64_t)>
std::uint32_t hash_of(const char* text, std::size_t length) {
    std::uint64_t state = hash_seed ^ (length * 0x9E3779B97F4A7C15u);
    while (length > 8) {
        state = mix(state ^ Each(load_eight(text)), 0x8EBC6AF09C88C6E3u ^ hash_seed);
        text += 8;
        length -= 8;
    }
    state = mix(state ^ Each(load_few(text, length)), 0x589965CC75374CC3u ^ hash_seed);
    const auto folded = static_cast<std::uint32_t>(state ^ (state >> 32));
    return folded == 0 ? 1 : folded;
}

std::uint64_t all_eight(std::uint64_t bytes) {
    return bytes;
}

}  // namespace

std::uint32_t folded_hash(const char* text, std::size_t length) noexcept {
    return hash_of<lower_eight>(text, length);
}

std::uint32_t exact_hash(const char* text, std::size_t length) noexcept {
    return hash_of<all_eight>(text, length);
}

CRefString::Body* CRefString::allocate(std::size_t capacity) noexcept {
    if (capacity > static_cast<std::size_t>(INT_MAX) - kSpareSize) return nullptr;
    std::size_t size = sizeof(Body) + capacity;
    void* block = nullptr;
    if (size <= kSpareSize) {
        size = kSpareSize;
        if (spare.first) {
            block = std::exchange(spare.first, spare.first->next);
            --spare.count;
        }
    }
    if (!block) block = PEL_new(size);
    if (!block) return nullptr;
    Body* made = static_cast<Body*>(block);
    *made = {0, 1, 0, static_cast<std::uint32_t>(size - sizeof(Body))};
    return made;
}

void CRefString::dispose(Body* body) noexcept {
    if (body->capacity != kSpareSize - sizeof(Body) || spare.count >= kMaxSpare || spare.closed) {
        PEL_delete(body);
        return;
    }
    if (spare.count == 0) keeper.watching = true;  // the first use makes the keeper
    auto* block = reinterpret_cast<SpareBlock*>(body);
    block->next = spare.first;
    spare.first = block;
    ++spare.count;
}

CRefString::CRefString(const char* text, int begin, int end) noexcept {
    if (!text) return;
    const std::size_t from = begin > 0 ? static_cast<std::size_t>(begin) : 0;
    const std::size_t to = end > 0 ? static_cast<std::size_t>(end) : std::strlen(text);
    if (to > from) *this = of(text + from, static_cast<int>(std::min<std::size_t>(to - from, INT_MAX)));
}

bool CRefString::create(CRefString& out, const char* text, std::size_t length) noexcept {
    out = CRefString();
    if (length == 0) return true;
    Body* made = allocate(length + 1);
    if (!made) return false;
    made->length = static_cast<std::int32_t>(length);
    std::memcpy(text_of(made), text, length);
    text_of(made)[length] = '\0';
    CRefString owner;
    owner.body = made;
    out = std::move(owner);
    return true;
}

CRefString CRefString::adopt(void* block, int length) noexcept {
    static_assert(sizeof(Body) == kHeadRoom);
    CRefString made;
    made.body = static_cast<Body*>(block);
    // A capacity of 0 is never that of a spare block.
    *made.body = {length, 1, 0, 0};
    text_of(made.body)[length] = '\0';
    return made;
}

bool CRefString::equal_text(const CRefString& other) const noexcept {
    if (body && other.body && body->hash != 0 && other.body->hash != 0 && body->hash != other.body->hash)
        return false;
    const auto* a = reinterpret_cast<const unsigned char*>(c_str());
    const auto* b = reinterpret_cast<const unsigned char*>(other.c_str());
    if (length() == other.length() && std::memcmp(a, b, static_cast<std::size_t>(length())) == 0) return true;
    for (; *a == *b || lower(*a) == lower(*b); ++a, ++b) {
        if (*a == 0) return true;
    }
    return false;
}

int CRefString::find(char c, int from) const noexcept {
    const std::string_view text = view();
    const std::size_t at = text.find(c, from > 0 ? static_cast<std::size_t>(from) : 0);
    return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

int CRefString::find(const char* text, int from) const noexcept {
    if (!text) return -1;
    const std::size_t at = view().find(text, from > 0 ? static_cast<std::size_t>(from) : 0);
    return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

CRefString CRefString::substring(int begin, int end) const noexcept {
    begin = std::max(begin, 0);
    end = std::min(end, length());
    return end > begin ? of(c_str() + begin, end - begin) : CRefString();
}

int CRefString::hex_value() const noexcept {
    const char* at = c_str();
    while (blank(*at)) ++at;
    int width = 2;
    const bool negative = *at == '-';
    if (*at == '-' || *at == '+') {
        ++at;
        --width;
    }
    int value = 0;
    for (; width > 0; --width, ++at) {
        const unsigned char c = lower(static_cast<unsigned char>(*at));
        if (c >= '0' && c <= '9')
            value = value * 16 + (c - '0');
        else if (c >= 'a' && c <= 'f')
            value = value * 16 + (c - 'a' + 10);
        else
            break;
    }
    return negative ? -value : value;
}

int CRefString::decimal_value() const noexcept {
    const long value = std::strtol(c_str(), nullptr, 10);
    return static_cast<int>(std::clamp<long>(value, INT_MIN, INT_MAX));
}

std::uint32_t CRefString::hash() const noexcept {
    if (!body) return folded_hash("", 0);
    if (body->hash == 0) body->hash = folded_hash(text_of(body), std::strlen(text_of(body)));
    return body->hash;
}
