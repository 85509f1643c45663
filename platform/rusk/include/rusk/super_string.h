// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>

#include <cstdint>

/// A text for cutting up other texts. It owns its bytes, which may hold zero bytes, and a terminator behind
/// them; short ones stay in place. When memory ends the text is empty.
class RUSK_SuperString {
public:
    PEL_HEAP_OBJECT

    /// As a position: nothing found. As a length: up to the end.
    static constexpr std::uint32_t kNone = 0xFFFFFFFF;

    RUSK_SuperString() = default;

    /// The first `length` bytes of `text`, or all up to its terminator; null is the empty text.
    RUSK_SuperString(const char* text, std::uint32_t length = kNone);

    /// `length` bytes of `other` from `position`, fewer where it ends before.
    RUSK_SuperString(const RUSK_SuperString& other, std::uint32_t position, std::uint32_t length = kNone);

    RUSK_SuperString(const RUSK_SuperString& other);
    RUSK_SuperString(RUSK_SuperString&& other) noexcept;
    RUSK_SuperString& operator=(const RUSK_SuperString& other);
    RUSK_SuperString& operator=(RUSK_SuperString&& other) noexcept;
    ~RUSK_SuperString();

    [[nodiscard]] const char* c_str() const { return bytes; }
    [[nodiscard]] std::uint32_t length() const { return size; }

    /// Position of the first match at or behind `position`, `kNone` if there is none. The empty text is
    /// found wherever the text is not yet over, and at its end.
    [[nodiscard]] std::uint32_t find(char character, std::uint32_t position = 0) const;
    [[nodiscard]] std::uint32_t find(const char* text, std::uint32_t position = 0,
                                     std::uint32_t length = kNone) const;

    /// A piece as a new text, cut as in the constructor.
    [[nodiscard]] RUSK_SuperString substr(std::uint32_t position, std::uint32_t length = kNone) const;

    /// The character there; 0 past the end.
    [[nodiscard]] char get_at(std::uint32_t index) const;

    /// Replaces one character; nothing past the end.
    void put_at(std::uint32_t index, char character);

private:
    static constexpr std::uint32_t kInPlace = 23;

    void fill(const char* text, std::uint32_t length);
    void take(RUSK_SuperString& other);
    void drop();

    char* bytes = in_place;
    std::uint32_t size = 0;
    char in_place[kInPlace + 1] = {};
};
