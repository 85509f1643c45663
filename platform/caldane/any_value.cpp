// SPDX-License-Identifier: MIT
#include <caldane/any_value.h>

#include <caldane/idl_types.h>
#include <caldane/transport_stream.h>

namespace {

using Kind = _Caldane_TypeRef::_ENUM_TCKind;

bool is_primitive(Kind kind) {
    return kind >= _Caldane_TypeRef::tk_short && kind <= _Caldane_TypeRef::tk_octet;
}

}  // namespace

_Caldane_Any::_Caldane_Any(_Caldane_Any&& other) noexcept : _Caldane_AddressableAny(std::move(other)) {
    take(other);
}

_Caldane_Any& _Caldane_Any::operator=(const _Caldane_Any& other) {
    if (this == &other) return *this;
    _Caldane_AddressableAny::operator=(other);
    assign(other.value());
    return *this;
}

_Caldane_Any& _Caldane_Any::operator=(_Caldane_Any&& other) noexcept {
    if (this == &other) return *this;
    _Caldane_AddressableAny::operator=(std::move(other));
    clear();
    take(other);
    return *this;
}

bool _Caldane_Any::assign(_Caldane_AnyConstRef original) {
    // The copy comes first in either case: the original may be a part of what is held now.
    if (const _Caldane_TxType* const object = original._tx_type()) {
        _Caldane_TxType* const copy = object->_clone()._tx_type();
        clear();
        object_ = copy;
        return copy != nullptr;
    }
    const Kind kind = original._get_typeref().kind();
    const Primitive copy = copy_of(kind, original._address());
    clear();
    kind_ = kind;
    primitive_ = copy;
    return true;
}

_Caldane_Any::Primitive _Caldane_Any::copy_of(Kind kind, const void* source) {
    Primitive copy;
    switch (kind) {
        case _Caldane_TypeRef::tk_short:
            copy.short_value = *static_cast<const short*>(source);
            break;
        case _Caldane_TypeRef::tk_long:
            copy.long_value = *static_cast<const _Caldane_Long*>(source);
            break;
        case _Caldane_TypeRef::tk_ushort:
            copy.ushort_value = *static_cast<const unsigned short*>(source);
            break;
        case _Caldane_TypeRef::tk_ulong:
            copy.ulong_value = *static_cast<const _Caldane_ULong*>(source);
            break;
        case _Caldane_TypeRef::tk_float:
            copy.float_value = *static_cast<const float*>(source);
            break;
        case _Caldane_TypeRef::tk_double:
            copy.double_value = *static_cast<const double*>(source);
            break;
        case _Caldane_TypeRef::tk_boolean:
            copy.boolean_value = *static_cast<const _Caldane_Boolean*>(source);
            break;
        case _Caldane_TypeRef::tk_char:
            copy.char_value = *static_cast<const char*>(source);
            break;
        case _Caldane_TypeRef::tk_octet:
            copy.octet_value = *static_cast<const unsigned char*>(source);
            break;
        default:
            break;
    }
    return copy;
}

bool _Caldane_Any::make(const _Caldane_TypeRef& type) {
    // The handle may be part of what is held now.
    const _Caldane_TypeRef wanted(type);
    clear();
    if (is_primitive(wanted.kind())) {
        kind_ = wanted.kind();
        return true;
    }
    object_ = const_cast<_Caldane_IDL_BaseType&>(wanted.type())._new_value();
    return object_ != nullptr;
}

void _Caldane_Any::clear() noexcept {
    if (object_ != nullptr) object_->_release();
    object_ = nullptr;
    kind_ = _Caldane_TypeRef::tk_null;
    primitive_ = Primitive();
}

void _Caldane_Any::take(_Caldane_Any& other) noexcept {
    kind_ = other.kind_;
    primitive_ = other.primitive_;
    object_ = other.object_;
    other.object_ = nullptr;
    other.clear();
}

_Caldane_AnyRef _Caldane_Any::inside() const {
    if (object_ != nullptr) return _Caldane_AnyRef(*object_);
    auto& held = const_cast<Primitive&>(primitive_);
    switch (kind_) {
        case _Caldane_TypeRef::tk_short:
            return _Caldane_AnyRef(held.short_value);
        case _Caldane_TypeRef::tk_long:
            return _Caldane_AnyRef(held.long_value);
        case _Caldane_TypeRef::tk_ushort:
            return _Caldane_AnyRef(held.ushort_value);
        case _Caldane_TypeRef::tk_ulong:
            return _Caldane_AnyRef(held.ulong_value);
        case _Caldane_TypeRef::tk_float:
            return _Caldane_AnyRef(held.float_value);
        case _Caldane_TypeRef::tk_double:
            return _Caldane_AnyRef(held.double_value);
        case _Caldane_TypeRef::tk_boolean:
            return _Caldane_AnyRef(held.boolean_value);
        case _Caldane_TypeRef::tk_char:
            return _Caldane_AnyRef(held.char_value);
        case _Caldane_TypeRef::tk_octet:
            return _Caldane_AnyRef(held.octet_value);
        default:
            return {};
    }
}

_Caldane_Boolean _Caldane_Any::_marshal(_Caldane_Transport_OutStream& out) const {
    const _Caldane_AnyConstRef held = value();
    if (out.marshal(held._get_typeref().kind()) == _Caldane_FALSE) return _Caldane_FALSE;
    return held._marshal(out);
}

_Caldane_Boolean _Caldane_Any::_demarshal(_Caldane_Transport_InStream& in) {
    _Caldane_TypeRef type;
    if (in.demarshal(type) == _Caldane_FALSE || !make(type)) return _Caldane_FALSE;
    return _value()._demarshal(in);
}
