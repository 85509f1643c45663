// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

/// A reference-counted, immutable text: what the XML parser and the in-stream hand around by value.
///
/// A handle and all its copies belong to one thread: the count is plain. Equality ignores the case of ASCII
/// letters, as XML names of this system are compared. Copying never allocates. Making a text may: when memory
/// ends the new handle is the empty text, and only `create` tells the difference.
class CRefString {
public:
    /// The empty text.
    constexpr CRefString() noexcept = default;

    /// The bytes of `text` from `begin` up to but not including `end`. An `end` of 0 or less means the
    /// text's `strlen`, a negative `begin` 0; a null text or an empty range gives the empty text.
    CRefString(const char* text, int begin = 0, int end = 0) noexcept;

    CRefString(const CRefString& other) noexcept : body(other.body) { retain(); }
    CRefString(CRefString&& other) noexcept : body(std::exchange(other.body, nullptr)) {}
    ~CRefString() { release(); }

    CRefString& operator=(const CRefString& other) noexcept {
        if (body == other.body) return *this;
        release();
        body = other.body;
        retain();
        return *this;
    }
    CRefString& operator=(CRefString&& other) noexcept {
        std::swap(body, other.body);
        return *this;
    }

    /// Puts a text of `length` bytes into `out`; false, with `out` empty, when memory ends or the length is
    /// above 2^31 - 64.
    [[nodiscard]] static bool create(CRefString& out, const char* text, std::size_t length) noexcept;

    /// Bytes in front of a text that `adopt` takes over.
    static constexpr std::size_t kHeadRoom = 16;

    /// Makes a text, without copying it, of a block of `PEL_array_resize` that has `kHeadRoom` bytes, then
    /// `length` bytes of text, then one more at least. Takes the block over; cannot fail.
    static CRefString adopt(void* block, int length) noexcept;

    /// A text of `length` bytes, which may be 0; the empty text when memory ends.
    static CRefString of(const char* text, int length) noexcept {
        CRefString made;
        if (length > 0 && !create(made, text, static_cast<std::size_t>(length))) return {};
        return made;
    }

    /// The text, zero-terminated; valid as long as a handle to it lives.
    const char* c_str() const noexcept { return body ? text_of(body) : ""; }

    /// Bytes without the terminator.
    int length() const noexcept { return body ? body->length : 0; }

    std::string_view view() const noexcept {
        return body ? std::string_view(text_of(body), static_cast<std::size_t>(body->length))
                    : std::string_view();
    }

    /// Equal up to the first zero byte, without regard to the case of ASCII letters.
    bool operator==(const CRefString& other) const noexcept {
        return body == other.body || equal_text(other);
    }

    /// Index of the first `c` at `from` or later, -1 if there is none.
    int find(char c, int from) const noexcept;

    /// Index of the first occurrence of `text` at `from` or later; -1 if there is none or `text` is null.
    int find(const char* text, int from) const noexcept;

    /// A new text of the bytes from `begin` up to but not including `end`, cut to what there is.
    CRefString substring(int begin, int end) const noexcept;
    CRefString substring(int begin) const noexcept { return substring(begin, length()); }

    /// At most two hexadecimal digits at the start of the text, as `sscanf` reads them with "%2X"; 0 if there
    /// is none.
    int hex_value() const noexcept;

    /// The decimal number at the start of the text as `strtol` reads it, held within 32 bits.
    int decimal_value() const noexcept;

    /// A number that is the same for texts that are equal; never 0. Computed once a text.
    std::uint32_t hash() const noexcept;

    /// True if both handles share one text, which makes them equal for the price of one comparison.
    bool shares(const CRefString& other) const noexcept { return body == other.body; }

private:
    /// What stands in front of the text, in the same block.
    struct Body {
        std::int32_t length;
        std::int32_t refs;
        std::uint32_t hash;      ///< 0 until it was asked for
        std::uint32_t capacity;  ///< bytes for text and terminator
    };

    static const char* text_of(const Body* body) noexcept { return reinterpret_cast<const char*>(body + 1); }
    static char* text_of(Body* body) noexcept { return reinterpret_cast<char*>(body + 1); }

    /// A body for `capacity` bytes, terminator included; null when memory ends.
    static Body* allocate(std::size_t capacity) noexcept;
    static void dispose(Body* body) noexcept;

    void retain() noexcept {
        if (body) ++body->refs;
    }
    void release() noexcept {
        if (body && --body->refs == 0) dispose(body);
    }
    bool equal_text(const CRefString& other) const noexcept;

    Body* body = nullptr;  ///< null is the empty text
};

/// A number for `length` bytes that ignores the case of ASCII letters; seeded anew in each process, so that
/// nobody can prepare texts that share it. Never 0.
std::uint32_t folded_hash(const char* text, std::size_t length) noexcept;

/// The same where case counts.
std::uint32_t exact_hash(const char* text, std::size_t length) noexcept;
