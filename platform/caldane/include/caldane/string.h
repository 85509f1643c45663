// SPDX-License-Identifier: MIT
#pragma once

#include <compare>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <caldane/any_ref.h>
#include <caldane/basic.h>
#include <caldane/boolean.h>
#include <caldane/tx_type.h>

/// The view of a string.
class _Caldane_AddressableString : public _Caldane_TxType {
public:
    /// The text with a terminator; null for a null string.
    virtual const char* c_str() const = 0;
    /// Replaces the content, nil mark included, by `length` bytes. A null `chars` makes a null string; an
    /// empty text is not null. Taken ownership means memory of `PEL_array_new` with room for a terminator
    /// behind the text. 0, and a null string, when memory ends.
    virtual _Caldane_Boolean from_buffer(_Caldane_ULong length, const char* chars,
                                         Caldane::Ownership ownership = Caldane::OWNERSHIP_COPY) = 0;
    /// Hands the characters to `marshal_string`.
    virtual _Caldane_Boolean _marshal_chars(_Caldane_Transport_OutStream& out) const = 0;

    static const _Caldane_AddressableString* _down_cast_const(_Caldane_AnyConstRef value);
    static _Caldane_AddressableString* _down_cast(_Caldane_AnyRef value);

    const _Caldane_Representation& _get_representation() const override { return _rep; }
    void* _safe_cast(const _Caldane_Representation& wanted) const override;
    static const _Caldane_Representation _rep;
};

/// What all strings do alike.
class _Caldane_StringBase : public _Caldane_AddressableString {
public:
    _Caldane_Boolean _marshal(_Caldane_Transport_OutStream& out) const override;
    _Caldane_Boolean _demarshal(_Caldane_Transport_InStream& in) override;
    const _Caldane_TypeRef& _get_typeref() const override { return _static_typeref(); }
    static const _Caldane_TypeRef& _static_typeref();
};

/// A text by value, of any bytes; may be null, which is not the same as empty.
///
/// Texts of up to 23 bytes stand in the object itself, constant ones are only pointed to, others are on the
/// heap. When memory ends a copy is a null string.
class _Caldane_String final : public _Caldane_StringBase {
public:
    /// Null.
    // Not defaulted: that would clear the room for short texts each time.
    _Caldane_String() noexcept {}
    /// A `length` of -1 goes up to the terminator. Ownership as in `from_buffer`.
    _Caldane_String(const char* text, std::int32_t length = -1,
                    Caldane::Ownership ownership = Caldane::OWNERSHIP_COPY);
    _Caldane_String(std::string_view text) { assign(text.data() == nullptr ? "" : text.data(), text.size()); }
    _Caldane_String(const std::string& text) { assign(text.data(), text.size()); }
    _Caldane_String(const _Caldane_String& other) : _Caldane_StringBase(other) { copy_text(other); }
    _Caldane_String(_Caldane_String&& other) noexcept : _Caldane_StringBase(std::move(other)) {
        move_text(other);
    }
    _Caldane_String& operator=(const _Caldane_String& other);
    _Caldane_String& operator=(_Caldane_String&& other) noexcept;
    ~_Caldane_String() override {
        if (mode_ == kHeap) free_text();
    }

    /// Points to a text that outlives every copy of the string and has a terminator: a literal.
    static _Caldane_String constant(std::string_view literal) noexcept {
        _Caldane_String made;
        made.text_ = literal.data();
        made.length_ = static_cast<_Caldane_ULong>(literal.size());
        return made;
    }

    const char* c_str() const override { return text_; }
    /// In bytes; 0 for a null string.
    _Caldane_ULong length() const { return length_; }
    bool empty() const { return length_ == 0; }
    bool is_null() const { return text_ == nullptr; }
    /// The byte at an index; 0 beyond the last.
    signed char operator[](_Caldane_ULong index) const {
        return index < length_ ? static_cast<signed char>(text_[index]) : static_cast<signed char>(0);
    }
    std::string_view view() const { return {text_, length_}; }
    operator std::string_view() const { return view(); }

    _Caldane_Boolean from_buffer(_Caldane_ULong length, const char* chars,
                                 Caldane::Ownership ownership = Caldane::OWNERSHIP_COPY) override;
    _Caldane_Boolean _marshal_chars(_Caldane_Transport_OutStream& out) const override;
    _Caldane_Boolean _convert_from(_Caldane_AnyConstRef source) override;
    _Caldane_AnyRef _clone() const override;

    _Caldane_String& operator+=(std::string_view more);

    /// Both null, or neither and the same bytes.
    friend bool operator==(const _Caldane_String& a, const _Caldane_String& b) {
        return a.length_ == b.length_ && a.is_null() == b.is_null() &&
               (a.length_ == 0 || std::memcmp(a.text_, b.text_, a.length_) == 0);
    }
    template <class Text>
    requires(std::convertible_to<const Text&, std::string_view> &&
             !std::same_as<Text, _Caldane_String>) friend bool
    operator==(const _Caldane_String& a, const Text& b) {
        if constexpr (std::is_pointer_v<Text>) {
            if (b == nullptr) return a.is_null();
        }
        return !a.is_null() && a.view() == std::string_view(b);
    }
    /// By bytes; null comes before empty.
    friend std::strong_ordering operator<=>(const _Caldane_String& a, const _Caldane_String& b) {
        if (a.is_null() || b.is_null()) return b.is_null() <=> a.is_null();
        return a.view() <=> b.view();
    }
    /// The texts one behind the other; null only if both are.
    friend _Caldane_String operator+(const _Caldane_String& a, const _Caldane_String& b);
    friend std::ostream& operator<<(std::ostream& out, const _Caldane_String& text);

private:
    enum Mode : std::uint8_t { kElsewhere, kHere, kHeap };
    static constexpr _Caldane_ULong kRoom = 24;

    bool assign(const char* chars, std::size_t length) noexcept;
    /// Room for `length` bytes and a terminator in place of the text so far; null when memory ends.
    char* make_room(std::size_t length) noexcept;
    void free_text() noexcept;
    void forget() noexcept {
        mode_ = kElsewhere;
        text_ = nullptr;
        length_ = 0;
    }
    void copy_text(const _Caldane_String& other) noexcept {
        if (other.mode_ == kHeap) {
            assign(other.text_, other.length_);
        } else {
            share_text(other);
        }
    }
    void share_text(const _Caldane_String& other) noexcept {
        mode_ = other.mode_;
        length_ = other.length_;
        text_ = other.text_;
        if (mode_ == kHere) {
            std::memcpy(here_, other.here_, kRoom);
            text_ = here_;
        }
    }
    void move_text(_Caldane_String& other) noexcept {
        share_text(other);
        other.forget();
    }

    Mode mode_ = kElsewhere;
    _Caldane_ULong length_ = 0;
    const char* text_ = nullptr;
    char here_[kRoom];
};

template <>
struct std::hash<_Caldane_String> {
    std::size_t operator()(const _Caldane_String& text) const noexcept {
        return std::hash<std::string_view>()(text.view());
    }
};
