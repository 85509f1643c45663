// SPDX-License-Identifier: MIT
#pragma once

#include <initializer_list>
#include <stdexcept>
#include <utility>
#include <vector>

#include <caldane/addressable.h>
#include <caldane/value_support.h>

/// An IDL sequence: a `std::vector` of its elements by value that can travel. `T` is an IDL primitive (a
/// boolean is `_Caldane_Boolean`) or a value class, which may be incomplete where the sequence is declared.
/// A bound of 0 means none; it is held against what is read and against `length`, not on every insertion.
template <class T, _Caldane_ULong Bound = 0>
class _Caldane_Sequence : public _Caldane_AddressableSequence, public std::vector<T> {
public:
    using Vector = std::vector<T>;

    _Caldane_Sequence() = default;
    // Not inline, nor are assignment and end: each struct with a sequence in it would bring the code anew.
    [[gnu::noinline]] _Caldane_Sequence(const _Caldane_Sequence& other)
        : _Caldane_AddressableSequence(other), Vector(other) {}
    _Caldane_Sequence(_Caldane_Sequence&& other) noexcept = default;
    [[gnu::noinline]] _Caldane_Sequence& operator=(const _Caldane_Sequence& other) {
        if constexpr (_Caldane_is_primitive<T>) {
            Vector::operator=(other);
        } else {
            Vector copy(other);
            Vector::swap(copy);
        }
        _Caldane_AddressableSequence::operator=(other);
        return *this;
    }
    [[gnu::noinline]] _Caldane_Sequence& operator=(_Caldane_Sequence&& other) noexcept {
        _Caldane_AddressableSequence::operator=(std::move(other));
        Vector::operator=(std::move(other));
        return *this;
    }
    [[gnu::noinline]] ~_Caldane_Sequence() override {}
    _Caldane_Sequence(std::initializer_list<T> elements) : Vector(elements) {}
    explicit _Caldane_Sequence(std::size_t count, const T& element = T()) : Vector(count, element) {}
    template <std::input_iterator Iterator>
    _Caldane_Sequence(Iterator first, Iterator last) : Vector(first, last) {}
    _Caldane_Sequence(const Vector& elements) : Vector(elements) {}
    _Caldane_Sequence(Vector&& elements) noexcept : Vector(std::move(elements)) {}

    _Caldane_AnyConstRef element(_Caldane_ULong index) const override {
        return index < Vector::size() ? _Caldane_AnyConstRef((*this)[index]) : _Caldane_AnyConstRef();
    }
    _Caldane_Boolean length(_Caldane_ULong count) override;
    _Caldane_ULong bound() const override { return Bound; }
    const _Caldane_TypeRef& element_type() const override { return _Caldane_typeref_of<T>(); }
    _Caldane_ULong length() const override { return static_cast<_Caldane_ULong>(Vector::size()); }
    const void* _block() const override {
        if constexpr (_Caldane_is_number<T>) return Vector::data();
        return nullptr;
    }

    const _Caldane_TypeRef& _get_typeref() const override { return _static_typeref(); }
    _Caldane_Boolean _convert_from(_Caldane_AnyConstRef source) override {
        return _Caldane_assign_from(*this, source);
    }
    _Caldane_AnyRef _clone() const override { return _Caldane_clone_by_type(*this); }

    static const _Caldane_TypeRef& _static_typeref() {
        return _Caldane_PlainTypeOf<_Caldane_Sequence, _Caldane_TypeRef::tk_sequence>::handle.object;
    }

    friend bool operator==(const _Caldane_Sequence& a, const _Caldane_Sequence& b) {
        return a.is_nil() == b.is_nil() && static_cast<const Vector&>(a) == static_cast<const Vector&>(b);
    }
};

template <class T, _Caldane_ULong Bound>
_Caldane_Boolean _Caldane_Sequence<T, Bound>::length(_Caldane_ULong count) {
    if (Bound != 0 && count > Bound) return _Caldane_FALSE;
    try {
        Vector::resize(count);
        return _Caldane_TRUE;
    } catch (const std::bad_alloc&) {
        return _Caldane_FALSE;
    } catch (const std::length_error&) {
        return _Caldane_FALSE;
    }
}
