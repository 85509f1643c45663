// SPDX-License-Identifier: MIT
#include <cstring>
#include <new>

#include <caldane/addressable.h>
#include <caldane/any_value.h>
#include <caldane/value_support.h>

namespace {

using Kind = _Caldane_TypeRef::_ENUM_TCKind;

template <class T>
bool copy_as(_Caldane_AnyConstRef from, _Caldane_AnyRef to) {
    *static_cast<T*>(to._address()) = *static_cast<const T*>(from._address());
    return true;
}

bool copy_primitive(_Caldane_AnyConstRef from, _Caldane_AnyRef to) {
    switch (to._get_typeref().kind()) {
        case _Caldane_TypeRef::tk_short:
        case _Caldane_TypeRef::tk_ushort:
            return copy_as<short>(from, to);
        case _Caldane_TypeRef::tk_long:
        case _Caldane_TypeRef::tk_ulong:
            return copy_as<_Caldane_Long>(from, to);
        case _Caldane_TypeRef::tk_float:
            return copy_as<float>(from, to);
        case _Caldane_TypeRef::tk_double:
            return copy_as<double>(from, to);
        case _Caldane_TypeRef::tk_boolean:
            return copy_as<_Caldane_Boolean>(from, to);
        case _Caldane_TypeRef::tk_char:
        case _Caldane_TypeRef::tk_octet:
            return copy_as<unsigned char>(from, to);
        default:
            return false;
    }
}

bool make_room(_Caldane_AddressableSequence& to, _Caldane_ULong length) {
    return to.length(length) != _Caldane_FALSE;
}
bool make_room(const _Caldane_AddressableArray& to, _Caldane_ULong length) {
    return to.length() == length;
}

template <class To, class From>
bool copy_elements(const From& from, To& to) {
    if (!make_room(to, from.length())) return false;
    for (_Caldane_ULong i = 0; i < from.length(); ++i) {
        if (!_Caldane_copy(from.element(i), to.element(i).cast_away_constness())) return false;
    }
    return true;
}

template <class To>
bool copy_list(_Caldane_AnyConstRef from, To& to) {
    if (const auto* const array = _Caldane_AddressableArray::_down_cast_const(from))
        return copy_elements(*array, to);
    if (const auto* const sequence = _Caldane_AddressableSequence::_down_cast_const(from))
        return copy_elements(*sequence, to);
    return false;
}

}  // namespace

bool _Caldane_copy(_Caldane_AnyConstRef from, _Caldane_AnyRef to) {
    if (auto* const any = dynamic_cast<_Caldane_Any*>(to._tx_type())) {
        const auto* const inside = _Caldane_AddressableAny::_down_cast_const(from);
        return any->assign(inside != nullptr ? inside->value() : from);
    }
    if (const auto* const any = _Caldane_AddressableAny::_down_cast_const(from))
        return _Caldane_copy(any->value(), to);
    if (to.is_null() || from.is_null()) return false;
    if (to._tx_type() == nullptr)
        return from._get_typeref().kind() == to._get_typeref().kind() && copy_primitive(from, to);
    if (from._tx_type() == nullptr) return false;
    if (to._tx_type()->_convert_from(from) != _Caldane_FALSE) return true;
    if (auto* const sequence = _Caldane_AddressableSequence::_down_cast(to))
        return copy_list(from, *sequence);
    if (auto* const array = _Caldane_AddressableArray::_down_cast(to)) return copy_list(from, *array);
    return false;
}
