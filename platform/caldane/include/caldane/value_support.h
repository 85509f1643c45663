// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <cstddef>
#include <iosfwd>
#include <new>
#include <string_view>
#include <type_traits>
#include <utility>

#include <caldane/any_ref.h>
#include <caldane/idl_types.h>
#include <caldane/string.h>
#include <caldane/type_ref.h>

// What the templates of values share.

/// Writes a value for people: texts in quotes, a struct as `Name{member=value, ...}`.
void _Caldane_print(std::ostream& out, _Caldane_AnyConstRef value);

/// Same type, same content, same nil marks.
bool _Caldane_equal(_Caldane_AnyConstRef a, _Caldane_AnyConstRef b);

/// Gives `to` the content of `from`, which may be of another class: sequences and arrays take each other's
/// elements, an any takes any value and gives what is inside. False, with `to` changed in part, where types
/// or lengths do not fit, and when memory ends.
bool _Caldane_copy(_Caldane_AnyConstRef from, _Caldane_AnyRef to);

std::ostream& operator<<(std::ostream& out, const _Caldane_TxType& value);

/// An object that is never destroyed, so that code of other static objects can use it until the very end.
template <class T>
union _Caldane_Immortal {
    template <class... Arguments>
    constexpr explicit _Caldane_Immortal(Arguments&&... arguments)
        : object(std::forward<Arguments>(arguments)...) {}
    _Caldane_Immortal(const _Caldane_Immortal&) = delete;
    _Caldane_Immortal& operator=(const _Caldane_Immortal&) = delete;
    ~_Caldane_Immortal() {}

    T object;
};

/// The `_clone` of a class.
template <class T>
_Caldane_AnyRef _Caldane_clone_of(const T& value) {
    try {
        T* const copy = new T(value);
        return copy == nullptr ? _Caldane_AnyRef() : _Caldane_AnyRef(*copy);
    } catch (const std::bad_alloc&) {
        return {};
    }
}

/// The same for classes whose copies are much code: a new value of the type takes over the content.
_Caldane_AnyRef _Caldane_clone_by_type(const _Caldane_TxType& value);

/// The `_convert_from` of a class.
template <class T>
_Caldane_Boolean _Caldane_assign_from(T& value, _Caldane_AnyConstRef source) {
    const auto* same = dynamic_cast<const T*>(source._tx_type());
    if (same == nullptr) return _Caldane_FALSE;
    try {
        value = *same;
        return _Caldane_TRUE;
    } catch (const std::bad_alloc&) {
        return _Caldane_FALSE;
    }
}

template <class T>
_Caldane_TxType* _Caldane_make() {
    return new T;
}

/// The type object and the type handle of a class whose `_info()` describes it.
template <class T, _Caldane_TypeRef::_ENUM_TCKind Kind>
class _Caldane_NamedTypeOf {
    static const _Caldane_TypeInfo& describe() { return T::_info(); }

public:
    static constinit inline _Caldane_IDL_Type type{Kind, &describe, &_Caldane_make<T>};
    static constinit inline const _Caldane_Immortal<_Caldane_TypeRef> handle{type, Kind};
};

/// The same for a class without a name of its own.
template <class T, _Caldane_TypeRef::_ENUM_TCKind Kind>
class _Caldane_PlainTypeOf {
public:
    static constinit inline _Caldane_IDL_Type type{Kind, nullptr, &_Caldane_make<T>};
    static constinit inline const _Caldane_Immortal<_Caldane_TypeRef> handle{type, Kind};
};

/// The kind of a C++ type that is an IDL primitive; null for any other.
template <class T>
consteval _Caldane_TypeRef::_ENUM_TCKind _Caldane_primitive_kind() {
    if constexpr (std::same_as<T, short>) return _Caldane_TypeRef::tk_short;
    if constexpr (std::same_as<T, _Caldane_Long>) return _Caldane_TypeRef::tk_long;
    if constexpr (std::same_as<T, unsigned short>) return _Caldane_TypeRef::tk_ushort;
    if constexpr (std::same_as<T, _Caldane_ULong>) return _Caldane_TypeRef::tk_ulong;
    if constexpr (std::same_as<T, float>) return _Caldane_TypeRef::tk_float;
    if constexpr (std::same_as<T, double>) return _Caldane_TypeRef::tk_double;
    if constexpr (std::same_as<T, _Caldane_Boolean>) return _Caldane_TypeRef::tk_boolean;
    if constexpr (std::same_as<T, char>) return _Caldane_TypeRef::tk_char;
    if constexpr (std::same_as<T, unsigned char>) return _Caldane_TypeRef::tk_octet;
    return _Caldane_TypeRef::tk_null;
}

template <class T>
inline constexpr bool _Caldane_is_primitive = _Caldane_primitive_kind<T>() != _Caldane_TypeRef::tk_null;

/// True for primitives that a stream may take from a block of memory.
template <class T>
inline constexpr bool _Caldane_is_number =
    _Caldane_is_primitive<T> && !std::same_as<T, _Caldane_Boolean> && !std::same_as<T, char>;

/// The type handle of a C++ type that values are made of.
template <class T>
const _Caldane_TypeRef& _Caldane_typeref_of() {
    if constexpr (_Caldane_is_primitive<T>) {
        return _Caldane_TypeRef::_of_kind(_Caldane_primitive_kind<T>());
    } else if constexpr (requires { T::_static_typeref(); }) {
        return T::_static_typeref();
    } else {
        static const T prototype;
        return prototype._get_typeref();
    }
}
