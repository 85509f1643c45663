// SPDX-License-Identifier: MIT
#include <rusk/super_string.h>

#include <algorithm>
#include <cstring>
#include <string_view>

namespace {

std::uint32_t length_of(const char* text, std::uint32_t length) {
    if (text == nullptr) return 0;
    if (length != RUSK_SuperString::kNone) return length;
    return static_cast<std::uint32_t>(std::min<std::size_t>(std::strlen(text), RUSK_SuperString::kNone - 1));
}

std::uint32_t as_position(std::size_t found) {
    return found == std::string_view::npos ? RUSK_SuperString::kNone : static_cast<std::uint32_t>(found);
}

}  // namespace

RUSK_SuperString::RUSK_SuperString(const char* text, std::uint32_t length) {
    fill(text, length_of(text, length));
}

RUSK_SuperString::RUSK_SuperString(const RUSK_SuperString& other, std::uint32_t position,
                                   std::uint32_t length) {
    const std::uint32_t start = std::min(position, other.size);
    fill(other.bytes + start, std::min(length, other.size - start));
}

RUSK_SuperString::RUSK_SuperString(const RUSK_SuperString& other) {
    fill(other.bytes, other.size);
}

RUSK_SuperString::RUSK_SuperString(RUSK_SuperString&& other) noexcept {
    take(other);
}

RUSK_SuperString& RUSK_SuperString::operator=(const RUSK_SuperString& other) {
    if (this == &other) return *this;
    drop();
    fill(other.bytes, other.size);
    return *this;
}

RUSK_SuperString& RUSK_SuperString::operator=(RUSK_SuperString&& other) noexcept {
    if (this == &other) return *this;
    drop();
    take(other);
    return *this;
}

RUSK_SuperString::~RUSK_SuperString() {
    drop();
}

std::uint32_t RUSK_SuperString::find(char character, std::uint32_t position) const {
    return as_position(std::string_view(bytes, size).find(character, position));
}

std::uint32_t RUSK_SuperString::find(const char* text, std::uint32_t position, std::uint32_t length) const {
    const std::string_view wanted(text != nullptr ? text : "", length_of(text, length));
    return as_position(std::string_view(bytes, size).find(wanted, position));
}

RUSK_SuperString RUSK_SuperString::substr(std::uint32_t position, std::uint32_t length) const {
    return RUSK_SuperString(*this, position, length);
}

char RUSK_SuperString::get_at(std::uint32_t index) const {
    return index < size ? bytes[index] : '\0';
}

void RUSK_SuperString::put_at(std::uint32_t index, char character) {
    if (index < size) bytes[index] = character;
}

/// Expects an empty text in place.
void RUSK_SuperString::fill(const char* text, std::uint32_t length) {
    if (length > kInPlace) {
        auto* larger = static_cast<char*>(PEL_array_new(std::size_t{length} + 1));
        if (larger == nullptr) return;
        bytes = larger;
    }
    if (length > 0) std::memcpy(bytes, text, length);
    bytes[length] = '\0';
    size = length;
}

/// Expects an empty text in place; leaves one in `other`.
void RUSK_SuperString::take(RUSK_SuperString& other) {
    if (other.bytes == other.in_place) {
        fill(other.bytes, other.size);
    } else {
        bytes = other.bytes;
        size = other.size;
        other.bytes = other.in_place;
    }
    other.drop();
}

void RUSK_SuperString::drop() {
    if (bytes != in_place) PEL_array_delete(bytes);
    bytes = in_place;
    size = 0;
    in_place[0] = '\0';
}
