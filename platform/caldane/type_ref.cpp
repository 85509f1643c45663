// SPDX-License-Identifier: MIT
#include <caldane/type_ref.h>

#include <ostream>

#include <caldane/any_value.h>
#include <caldane/idl_types.h>
#include <caldane/object.h>
#include <caldane/string.h>
#include <caldane/transport_stream.h>
#include <caldane/value_support.h>

namespace {

using Kind = _Caldane_TypeRef::_ENUM_TCKind;

constinit const _Caldane_Representation kRepresentation("type");

/// The type of a kind that needs no description, with its handle.
struct PlainType {
    constexpr PlainType(Kind kind, _Caldane_IDL_Type::Make make)
        : type(kind, nullptr, make), handle(type, kind) {}

    _Caldane_IDL_Type type;
    const _Caldane_Immortal<_Caldane_TypeRef> handle;
};

constinit PlainType kNull(_Caldane_TypeRef::tk_null, nullptr);
constinit PlainType kShort(_Caldane_TypeRef::tk_short, nullptr);
constinit PlainType kLong(_Caldane_TypeRef::tk_long, nullptr);
constinit PlainType kUShort(_Caldane_TypeRef::tk_ushort, nullptr);
constinit PlainType kULong(_Caldane_TypeRef::tk_ulong, nullptr);
constinit PlainType kFloat(_Caldane_TypeRef::tk_float, nullptr);
constinit PlainType kDouble(_Caldane_TypeRef::tk_double, nullptr);
constinit PlainType kBoolean(_Caldane_TypeRef::tk_boolean, nullptr);
constinit PlainType kChar(_Caldane_TypeRef::tk_char, nullptr);
constinit PlainType kOctet(_Caldane_TypeRef::tk_octet, nullptr);
constinit PlainType kAny(_Caldane_TypeRef::tk_any, &_Caldane_make<_Caldane_Any>);
constinit PlainType kTypeCode(_Caldane_TypeRef::tk_TypeCode, &_Caldane_make<_Caldane_TypeRef>);
constinit PlainType kObject(_Caldane_TypeRef::tk_objref, &_Caldane_make<_Caldane_Object>);
constinit PlainType kString(_Caldane_TypeRef::tk_string, &_Caldane_make<_Caldane_String>);
constinit PlainType kException(_Caldane_TypeRef::tk_except, nullptr);

constinit PlainType* const kByKind[] = {
    &kNull,    &kNull, &kShort,  &kLong, &kUShort,   &kULong, &kFloat,     &kDouble,
    &kBoolean, &kChar, &kOctet,  &kAny,  &kTypeCode, &kNull,  &kObject,    &kNull,
    &kNull,    &kNull, &kString, &kNull, &kNull,     &kNull,  &kException,
};

}  // namespace

const _Caldane_TypeRef& _Caldane_TypeRef::_of_kind(_ENUM_TCKind kind) {
    const auto index = static_cast<std::size_t>(kind);
    return (index < std::size(kByKind) ? kByKind[index] : &kNull)->handle.object;
}

_Caldane_TypeRef::_Caldane_TypeRef() : type_(&kNull.type), kind_(tk_null) {}

_Caldane_TypeRef::_Caldane_TypeRef(_Caldane_IDL_BaseType* type)
    : type_(type == nullptr ? &kNull.type : type), kind_(type_->kind()) {
    type_->_add_ref();
}

_Caldane_TypeRef::_Caldane_TypeRef(const _Caldane_TypeRef& other)
    : _Caldane_TxType(other), type_(other.type_), kind_(other.kind_) {
    type_->_add_ref();
}

_Caldane_TypeRef& _Caldane_TypeRef::operator=(const _Caldane_TypeRef& other) {
    _Caldane_TxType::operator=(other);
    _Caldane_IDL_BaseType* const before = type_;
    other.type_->_add_ref();
    type_ = other.type_;
    kind_ = other.kind_;
    before->_release();
    return *this;
}

_Caldane_TypeRef::~_Caldane_TypeRef() {
    type_->_release();
}

const _Caldane_TypeRef* _Caldane_TypeRef::_down_cast_const(_Caldane_AnyConstRef value) {
    const _Caldane_TxType* const constructed = value._tx_type();
    if (constructed == nullptr) return nullptr;
    return static_cast<const _Caldane_TypeRef*>(constructed->_safe_cast(kRepresentation));
}

_Caldane_TypeRef* _Caldane_TypeRef::_down_cast(_Caldane_AnyRef value) {
    return const_cast<_Caldane_TypeRef*>(_down_cast_const(value));
}

_Caldane_Boolean _Caldane_TypeRef::_marshal(_Caldane_Transport_OutStream& out) const {
    return out.marshal(kind_);
}

_Caldane_Boolean _Caldane_TypeRef::_demarshal(_Caldane_Transport_InStream& in) {
    return in.demarshal(*this);
}

const _Caldane_Representation& _Caldane_TypeRef::_get_representation() const {
    return kRepresentation;
}

const _Caldane_TypeRef& _Caldane_TypeRef::_get_typeref() const {
    return _of_kind(tk_TypeCode);
}

void* _Caldane_TypeRef::_safe_cast(const _Caldane_Representation& wanted) const {
    return wanted == kRepresentation ? const_cast<_Caldane_TypeRef*>(this) : nullptr;
}

_Caldane_Boolean _Caldane_TypeRef::_convert_from(_Caldane_AnyConstRef source) {
    return _Caldane_assign_from(*this, source);
}

_Caldane_AnyRef _Caldane_TypeRef::_clone() const {
    return _Caldane_clone_of(*this);
}

void _Caldane_TypeRef::_print(std::ostream& out) const {
    if (const std::string_view name = type_->name(); !name.empty()) {
        out << name;
    } else {
        out << "kind " << static_cast<int>(kind_);
    }
}

bool _Caldane_TypeRef::_equals(const _Caldane_TxType& other) const {
    const _Caldane_TypeRef* const same = _down_cast_const(other);
    return same != nullptr && same->type_ == type_ && same->is_nil() == is_nil();
}
