// SPDX-License-Identifier: MIT
#include <cstring>

#include <caldane/addressable.h>
#include <caldane/exception_base.h>
#include <caldane/primitive.h>
#include <caldane/string.h>
#include <caldane/value_support.h>

namespace {

using Kind = _Caldane_TypeRef::_ENUM_TCKind;

template <class T>
bool same(const void* a, const void* b) {
    return *static_cast<const T*>(a) == *static_cast<const T*>(b);
}

bool equal_primitives(Kind kind, const void* a, const void* b) {
    switch (kind) {
        case _Caldane_TypeRef::tk_short:
            return same<short>(a, b);
        case _Caldane_TypeRef::tk_long:
            return same<_Caldane_Long>(a, b);
        case _Caldane_TypeRef::tk_ushort:
            return same<unsigned short>(a, b);
        case _Caldane_TypeRef::tk_ulong:
            return same<_Caldane_ULong>(a, b);
        case _Caldane_TypeRef::tk_float:
            return same<float>(a, b);
        case _Caldane_TypeRef::tk_double:
            return same<double>(a, b);
        case _Caldane_TypeRef::tk_boolean:
            return same<_Caldane_Boolean>(a, b) || (*static_cast<const _Caldane_Boolean*>(a) != 0 &&
                                                    *static_cast<const _Caldane_Boolean*>(b) != 0);
        case _Caldane_TypeRef::tk_char:
            return same<char>(a, b);
        case _Caldane_TypeRef::tk_octet:
            return same<unsigned char>(a, b);
        default:
            return true;
    }
}

template <class View>
bool equal_members(const View& a, const View& b) {
    if (a.member_count() != b.member_count()) return false;
    for (_Caldane_ULong i = 0; i < a.member_count(); ++i) {
        if (!_Caldane_equal(a.member(i), b.member(i))) return false;
    }
    return true;
}

template <class View>
bool equal_elements(const View& a, const View& b) {
    if (a.length() != b.length()) return false;
    for (_Caldane_ULong i = 0; i < a.length(); ++i) {
        if (!_Caldane_equal(a.element(i), b.element(i))) return false;
    }
    return true;
}

bool equal(const _Caldane_AddressableStruct& a, const _Caldane_AddressableStruct& b) {
    return a.repository_id() == b.repository_id() && equal_members(a, b);
}
bool equal(const _Caldane_AddressableException& a, const _Caldane_AddressableException& b) {
    return equal_members(a, b);
}
bool equal(const _Caldane_AddressableSequence& a, const _Caldane_AddressableSequence& b) {
    return equal_elements(a, b);
}
bool equal(const _Caldane_AddressableArray& a, const _Caldane_AddressableArray& b) {
    return equal_elements(a, b);
}
bool equal(const _Caldane_AddressableEnum& a, const _Caldane_AddressableEnum& b) {
    return a.value() == b.value() && a.type_name() == b.type_name();
}
bool equal(const _Caldane_AddressableUnion& a, const _Caldane_AddressableUnion& b) {
    return a.repository_id() == b.repository_id() && a.discriminator() == b.discriminator() &&
           _Caldane_equal(a.active_member(), b.active_member());
}
bool equal(const _Caldane_AddressableAny& a, const _Caldane_AddressableAny& b) {
    return _Caldane_equal(a.value(), b.value());
}
bool equal(const _Caldane_AddressableString& a, const _Caldane_AddressableString& b) {
    const auto* first = dynamic_cast<const _Caldane_String*>(&a);
    const auto* second = dynamic_cast<const _Caldane_String*>(&b);
    if (first != nullptr && second != nullptr) return *first == *second;
    return _Caldane_String(a.c_str()) == _Caldane_String(b.c_str());
}

/// Whether both have the view, and are equal through it.
template <class View>
bool equal_through(_Caldane_AnyConstRef a, _Caldane_AnyConstRef b) {
    const View* const first = View::_down_cast_const(a);
    const View* const second = View::_down_cast_const(b);
    return first != nullptr && second != nullptr && equal(*first, *second);
}

}  // namespace

bool _Caldane_equal(_Caldane_AnyConstRef a, _Caldane_AnyConstRef b) {
    const _Caldane_TxType* const first = a._tx_type();
    const _Caldane_TxType* const second = b._tx_type();
    if (first != nullptr && second != nullptr) return first->_equals(*second);
    if (first != nullptr || second != nullptr) return false;
    const Kind kind = a._get_typeref().kind();
    return kind == b._get_typeref().kind() && equal_primitives(kind, a._address(), b._address());
}

bool _Caldane_TxType::_equals(const _Caldane_TxType& other) const {
    if (nil_ != other.nil_) return false;
    // Of an absent value the type is all there is.
    if (nil_) return _get_typeref().kind() == other._get_typeref().kind();
    const _Caldane_AnyConstRef a(*this);
    const _Caldane_AnyConstRef b(other);
    switch (_get_typeref().kind()) {
        case _Caldane_TypeRef::tk_struct:
            return equal_through<_Caldane_AddressableStruct>(a, b);
        case _Caldane_TypeRef::tk_except:
            return _get_typeref().type().repository_id() == other._get_typeref().type().repository_id() &&
                   equal_through<_Caldane_AddressableException>(a, b);
        case _Caldane_TypeRef::tk_sequence:
            return equal_through<_Caldane_AddressableSequence>(a, b);
        case _Caldane_TypeRef::tk_array:
            return equal_through<_Caldane_AddressableArray>(a, b);
        case _Caldane_TypeRef::tk_enum:
            return equal_through<_Caldane_AddressableEnum>(a, b);
        case _Caldane_TypeRef::tk_union:
            return equal_through<_Caldane_AddressableUnion>(a, b);
        case _Caldane_TypeRef::tk_any:
            return equal_through<_Caldane_AddressableAny>(a, b);
        case _Caldane_TypeRef::tk_string:
            return equal_through<_Caldane_AddressableString>(a, b);
        default:
            return this == &other;
    }
}
