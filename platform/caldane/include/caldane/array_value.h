// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>

#include <caldane/addressable.h>
#include <caldane/value_support.h>

/// An IDL array: a `std::array` of its elements by value that can travel. Of several dimensions the outer
/// ones are arrays of arrays.
template <class T, std::size_t Size>
class _Caldane_Array : public _Caldane_AddressableArray, public std::array<T, Size> {
    static_assert(Size > 0, "IDL arrays have elements");

public:
    using Elements = std::array<T, Size>;

    _Caldane_Array() : Elements{} {}
    _Caldane_Array(const Elements& elements) : Elements(elements) {}
    /// The first elements; the others have their initial content.
    template <class... Values>
    requires(sizeof...(Values) > 0 && sizeof...(Values) <= Size &&
             (std::convertible_to<const Values&, T> && ...)) _Caldane_Array(const Values&... elements)
        : Elements{T(elements)...} {}

    _Caldane_AnyConstRef element(_Caldane_ULong index) const override {
        return index < Size ? _Caldane_AnyConstRef((*this)[index]) : _Caldane_AnyConstRef();
    }
    _Caldane_ULong length() const override { return static_cast<_Caldane_ULong>(Size); }
    const _Caldane_TypeRef& element_type() const override { return _Caldane_typeref_of<T>(); }
    const void* _block() const override {
        if constexpr (_Caldane_is_number<T>) return Elements::data();
        return nullptr;
    }

    const _Caldane_TypeRef& _get_typeref() const override { return _static_typeref(); }
    _Caldane_Boolean _convert_from(_Caldane_AnyConstRef source) override {
        return _Caldane_assign_from(*this, source);
    }
    _Caldane_AnyRef _clone() const override { return _Caldane_clone_by_type(*this); }

    static const _Caldane_TypeRef& _static_typeref() {
        return _Caldane_PlainTypeOf<_Caldane_Array, _Caldane_TypeRef::tk_array>::handle.object;
    }

    friend bool operator==(const _Caldane_Array& a, const _Caldane_Array& b) {
        return a.is_nil() == b.is_nil() && static_cast<const Elements&>(a) == static_cast<const Elements&>(b);
    }
};
