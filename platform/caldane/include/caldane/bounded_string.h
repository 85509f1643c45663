// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include <caldane/string.h>
#include <caldane/value_support.h>

/// An IDL `string<Bound>`: a text of at most that many bytes, which is checked wherever one is given. Made or
/// assigned from a longer one it throws std::length_error; from a stream a longer one is refused.
template <_Caldane_ULong Bound>
class _Caldane_BoundedString final : public _Caldane_StringBase {
    static_assert(Bound > 0, "a bound of 0 is none");

public:
    /// Null.
    _Caldane_BoundedString() noexcept = default;
    _Caldane_BoundedString(const char* text) : text_(checked(_Caldane_String(text))) {}
    _Caldane_BoundedString(std::string_view text) : text_(checked(_Caldane_String(text))) {}
    _Caldane_BoundedString(const std::string& text) : text_(checked(_Caldane_String(text))) {}
    _Caldane_BoundedString(const _Caldane_String& text) : text_(checked(text)) {}

    const char* c_str() const override { return text_.c_str(); }
    _Caldane_ULong length() const { return text_.length(); }
    bool empty() const { return text_.empty(); }
    bool is_null() const { return text_.is_null(); }
    std::string_view view() const { return text_.view(); }
    operator std::string_view() const { return view(); }
    operator const _Caldane_String&() const { return text_; }

    _Caldane_Boolean from_buffer(_Caldane_ULong length, const char* chars,
                                 Caldane::Ownership ownership = Caldane::OWNERSHIP_COPY) override {
        _Caldane_String taken;
        const _Caldane_Boolean done = taken.from_buffer(length, chars, ownership);
        is_nil(taken.is_nil());
        text_ = taken.length() <= Bound ? taken : _Caldane_String();
        return taken.length() <= Bound ? done : _Caldane_FALSE;
    }
    _Caldane_Boolean _marshal_chars(_Caldane_Transport_OutStream& out) const override {
        return text_._marshal_chars(out);
    }
    _Caldane_Boolean _convert_from(_Caldane_AnyConstRef source) override {
        _Caldane_String text;
        if (text._convert_from(source) == _Caldane_FALSE || text.length() > Bound) return _Caldane_FALSE;
        is_nil(text.is_nil());
        text_ = text;
        return _Caldane_TRUE;
    }
    _Caldane_AnyRef _clone() const override { return _Caldane_clone_of(*this); }

    friend bool operator==(const _Caldane_BoundedString& a, const _Caldane_BoundedString& b) {
        return a.text_ == b.text_;
    }
    template <class Text>
    requires(std::convertible_to<const Text&, std::string_view> &&
             !std::same_as<Text, _Caldane_BoundedString>) friend bool
    operator==(const _Caldane_BoundedString& a, const Text& b) {
        return a.text_ == b;
    }
    friend std::ostream& operator<<(std::ostream& out, const _Caldane_BoundedString& text) {
        return out << text.text_;
    }

private:
    static const _Caldane_String& checked(const _Caldane_String& text) {
        if (text.length() <= Bound) return text;
        throw std::length_error("a text of " + std::to_string(text.length()) +
                                " bytes is longer than the bound of " + std::to_string(Bound));
    }

    _Caldane_String text_;
};
