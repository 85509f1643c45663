// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>
#include <utility>

/// A text that handles share by counting references; equality ignores case, always.
///
/// A handle and its copies belong to one thread. The text stands with its count in one block of memory; an
/// empty text needs none. When memory ends the text is empty: whoever makes one from bytes that are not
/// compares the lengths.
class CRefString {
public:
    /// Empty.
    CRefString() noexcept = default;

    /// The bytes from `begin` up to but not including `end`. A negative `begin` means 0, an `end` of 0 or less
    /// means the text's whole length; a null text is empty.
    CRefString(const char* text, int begin = 0, int end = 0);

    /// `length` bytes, which may hold any value.
    static CRefString of(const char* bytes, int length);

    CRefString(const CRefString& other) noexcept : body(other.body) {
        if (body != nullptr) ++body->refs;
    }
    CRefString(CRefString&& other) noexcept : body(std::exchange(other.body, nullptr)) {}
    ~CRefString() { release(); }

    CRefString& operator=(const CRefString& other) noexcept {
        if (body != other.body) {
            release();
            body = other.body;
            if (body != nullptr) ++body->refs;
        }
        return *this;
    }
    CRefString& operator=(CRefString&& other) noexcept {
        std::swap(body, other.body);
        return *this;
    }

    /// Terminated; valid as long as a handle of the text.
    const char* c_str() const { return body != nullptr ? body->chars() : ""; }
    int length() const { return body != nullptr ? body->length : 0; }
    bool empty() const { return body == nullptr; }
    std::string_view view() const { return {c_str(), static_cast<std::size_t>(length())}; }

    /// 1 if the terminated texts are equal without regard to case, else 0.
    friend int operator==(const CRefString& a, const CRefString& b) { return a.body == b.body || same(a, b); }

    /// Index of the first match at `from` or later, -1 if there is none.
    int find(char c, int from = 0) const;
    int find(const char* text, int from = 0) const;

    /// The bytes from `begin` up to but not including `end`; what lies outside the text is left out.
    CRefString substring(int begin, int end) const;
    CRefString substring(int begin) const { return substring(begin, length()); }

    /// At most two hexadecimal digits at the start of the text; 0 if there is none.
    int hex_value() const;
    /// `strtol` of the text in base 10, cut to 32 bits.
    int decimal_value() const;

private:
    struct Body {
        std::int32_t length;
        std::int32_t refs;

        char* chars() { return reinterpret_cast<char*>(this + 1); }
    };

    static bool same(const CRefString& a, const CRefString& b);
    void release() noexcept {
        if (body != nullptr && --body->refs == 0) free_body(body);
    }
    static void free_body(Body* dead) noexcept;

    Body* body = nullptr;
};
