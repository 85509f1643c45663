// SPDX-License-Identifier: MIT
#include <caldane/string.h>

#include <limits>
#include <ostream>

#include <pelthread/memory.h>

#include <caldane/transport_stream.h>
#include <caldane/value_support.h>

_Caldane_Boolean _Caldane_StringBase::_marshal(_Caldane_Transport_OutStream& out) const {
    return _marshal_chars(out);
}

_Caldane_Boolean _Caldane_StringBase::_demarshal(_Caldane_Transport_InStream& in) {
    // A string reads itself in one piece: the stream fills it through `from_buffer`.
    return in.demarshal(*this);
}

const _Caldane_TypeRef& _Caldane_StringBase::_static_typeref() {
    return _Caldane_TypeRef::_of_kind(_Caldane_TypeRef::tk_string);
}

_Caldane_String::_Caldane_String(const char* text, std::int32_t length, Caldane::Ownership ownership) {
    if (text == nullptr) return;
    from_buffer(
        length < 0 ? static_cast<_Caldane_ULong>(std::strlen(text)) : static_cast<_Caldane_ULong>(length),
        text, ownership);
}

_Caldane_String& _Caldane_String::operator=(const _Caldane_String& other) {
    if (this == &other) return *this;
    _Caldane_StringBase::operator=(other);
    if (other.mode_ == kHeap) {
        assign(other.text_, other.length_);
    } else {
        if (mode_ == kHeap) free_text();
        share_text(other);
    }
    return *this;
}

_Caldane_String& _Caldane_String::operator=(_Caldane_String&& other) noexcept {
    if (this == &other) return *this;
    _Caldane_StringBase::operator=(std::move(other));
    if (mode_ == kHeap) free_text();
    move_text(other);
    return *this;
}

_Caldane_Boolean _Caldane_String::from_buffer(_Caldane_ULong length, const char* chars,
                                              Caldane::Ownership ownership) {
    is_nil(false);
    if (chars == nullptr) {
        if (mode_ == kHeap) free_text();
        forget();
        return _Caldane_TRUE;
    }
    if (ownership == Caldane::OWNERSHIP_COPY) return assign(chars, length) ? _Caldane_TRUE : _Caldane_FALSE;
    if (mode_ == kHeap) free_text();
    const_cast<char*>(chars)[length] = '\0';
    mode_ = kHeap;
    length_ = length;
    text_ = chars;
    return _Caldane_TRUE;
}

_Caldane_Boolean _Caldane_String::_marshal_chars(_Caldane_Transport_OutStream& out) const {
    return out.marshal_string(is_null() ? "" : text_, length_);
}

_Caldane_Boolean _Caldane_String::_convert_from(_Caldane_AnyConstRef source) {
    if (const auto* same = dynamic_cast<const _Caldane_String*>(source._tx_type())) {
        *this = *same;
        return same->is_null() == is_null() ? _Caldane_TRUE : _Caldane_FALSE;
    }
    const _Caldane_AddressableString* view = _Caldane_AddressableString::_down_cast_const(source);
    if (view == nullptr) return _Caldane_FALSE;
    const char* const text = view->c_str();
    return from_buffer(text == nullptr ? 0 : static_cast<_Caldane_ULong>(std::strlen(text)), text);
}

_Caldane_AnyRef _Caldane_String::_clone() const {
    _Caldane_String* const copy = new _Caldane_String(*this);
    if (copy == nullptr) return {};
    if (copy->is_null() == is_null()) return _Caldane_AnyRef(*copy);
    delete copy;
    return {};
}

_Caldane_String& _Caldane_String::operator+=(std::string_view more) {
    if (more.empty()) {
        if (is_null() && more.data() != nullptr) assign("", 0);
        return *this;
    }
    _Caldane_String joined;
    if (char* const to = joined.make_room(length_ + more.size())) {
        if (length_ != 0) std::memcpy(to, text_, length_);
        std::memcpy(to + length_, more.data(), more.size());
    }
    if (mode_ == kHeap) free_text();
    move_text(joined);
    return *this;
}

bool _Caldane_String::assign(const char* chars, std::size_t length) noexcept {
    if (mode_ == kHeap && length <= length_) {
        // The text may be a part of the present one.
        char* const to = const_cast<char*>(text_);
        std::memmove(to, chars, length);
        to[length] = '\0';
        length_ = static_cast<_Caldane_ULong>(length);
        return true;
    }
    _Caldane_String made;
    char* const to = made.make_room(length);
    if (to != nullptr && length != 0) std::memcpy(to, chars, length);
    if (mode_ == kHeap) free_text();
    move_text(made);
    return to != nullptr;
}

char* _Caldane_String::make_room(std::size_t length) noexcept {
    if (length < kRoom) {
        here_[length] = '\0';
        mode_ = kHere;
        text_ = here_;
        length_ = static_cast<_Caldane_ULong>(length);
        return here_;
    }
    if (length >= std::numeric_limits<_Caldane_ULong>::max()) return nullptr;
    char* const heap = static_cast<char*>(PEL_array_new(length + 1));
    if (heap == nullptr) return nullptr;
    heap[length] = '\0';
    mode_ = kHeap;
    text_ = heap;
    length_ = static_cast<_Caldane_ULong>(length);
    return heap;
}

void _Caldane_String::free_text() noexcept {
    PEL_array_delete(const_cast<char*>(text_));
}

_Caldane_String operator+(const _Caldane_String& a, const _Caldane_String& b) {
    _Caldane_String sum;
    if (a.is_null() && b.is_null()) return sum;
    char* const to = sum.make_room(std::size_t{a.length_} + b.length_);
    if (to == nullptr) return sum;
    if (a.length_ != 0) std::memcpy(to, a.text_, a.length_);
    if (b.length_ != 0) std::memcpy(to + a.length_, b.text_, b.length_);
    return sum;
}

std::ostream& operator<<(std::ostream& out, const _Caldane_String& text) {
    return out << text.view();
}
