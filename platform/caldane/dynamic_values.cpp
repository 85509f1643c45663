// SPDX-License-Identifier: MIT
#include <caldane/dynamic_values.h>

#include <new>

#include <caldane/transport_stream.h>

namespace Caldane {

namespace {

/// Points to a text of a type, which outlives its values.
_Caldane_String text_of(std::string_view text) {
    return _Caldane_String::constant(text);
}

/// Sets a discriminator, which is an integer, a character, a boolean or an enum.
void put_discriminator(_Caldane_AnyRef target, _Caldane_Long value) {
    void* const address = target._address();
    switch (target._get_typeref().kind()) {
        case _Caldane_TypeRef::tk_short:
            *static_cast<short*>(address) = static_cast<short>(value);
            break;
        case _Caldane_TypeRef::tk_ushort:
            *static_cast<unsigned short*>(address) = static_cast<unsigned short>(value);
            break;
        case _Caldane_TypeRef::tk_long:
            *static_cast<_Caldane_Long*>(address) = value;
            break;
        case _Caldane_TypeRef::tk_ulong:
            *static_cast<_Caldane_ULong*>(address) = static_cast<_Caldane_ULong>(value);
            break;
        case _Caldane_TypeRef::tk_boolean:
            *static_cast<_Caldane_Boolean*>(address) = value != 0 ? _Caldane_TRUE : _Caldane_FALSE;
            break;
        case _Caldane_TypeRef::tk_char:
            *static_cast<char*>(address) = static_cast<char>(value);
            break;
        default:
            if (auto* const choice = _Caldane_AddressableEnum::_down_cast(target))
                choice->value(static_cast<_Caldane_ULong>(value));
            break;
    }
}

_Caldane_Long take_discriminator(_Caldane_AnyConstRef source) {
    const void* const address = source._address();
    switch (source._get_typeref().kind()) {
        case _Caldane_TypeRef::tk_short:
            return *static_cast<const short*>(address);
        case _Caldane_TypeRef::tk_ushort:
            return *static_cast<const unsigned short*>(address);
        case _Caldane_TypeRef::tk_long:
            return *static_cast<const _Caldane_Long*>(address);
        case _Caldane_TypeRef::tk_ulong:
            return static_cast<_Caldane_Long>(*static_cast<const _Caldane_ULong*>(address));
        case _Caldane_TypeRef::tk_boolean:
            return *static_cast<const _Caldane_Boolean*>(address) != _Caldane_FALSE ? 1 : 0;
        case _Caldane_TypeRef::tk_char:
            return *static_cast<const char*>(address);
        default: {
            const auto* const choice = _Caldane_AddressableEnum::_down_cast_const(source);
            return choice != nullptr ? static_cast<_Caldane_Long>(choice->value()) : 0;
        }
    }
}

}  // namespace

DynamicMembers::DynamicMembers(const DynamicRecordType& type) : type_(&type), values_(type.members().size()) {
    for (std::size_t i = 0; i < values_.size(); ++i) {
        if (!values_[i].make(type.members()[i].type)) throw std::bad_alloc();
    }
}

DynamicMembers::DynamicMembers(const DynamicMembers& other) : type_(other.type_), values_(other.values_) {
    for (const _Caldane_Any& copy : values_) {
        if (copy.value().is_null()) throw std::bad_alloc();
    }
}

_Caldane_String DynamicMembers::name(_Caldane_ULong index) const {
    return text_of(index < count() ? std::string_view(type_->members()[index].name) : "");
}

_Caldane_AnyRef DynamicMembers::at(_Caldane_ULong index) const {
    return index < count() ? values_[index].value().cast_away_constness() : _Caldane_AnyRef();
}

_Caldane_Boolean DynamicMembers::marshal(_Caldane_Transport_OutStream& out) const {
    for (const _Caldane_Any& member : values_) {
        if (member.value()._marshal(out) == _Caldane_FALSE) return _Caldane_FALSE;
    }
    return _Caldane_TRUE;
}

_Caldane_Boolean DynamicMembers::demarshal(_Caldane_Transport_InStream& in) {
    for (_Caldane_ULong i = 0; i < count(); ++i) {
        if (at(i)._demarshal(in) == _Caldane_FALSE) return _Caldane_FALSE;
    }
    return _Caldane_TRUE;
}

_Caldane_String DynamicStruct::repository_id() const {
    return text_of(members_.type().repository_id());
}
_Caldane_String DynamicStruct::type_name() const {
    return text_of(members_.type().name());
}
_Caldane_String DynamicStruct::type_namespace() const {
    return text_of(members_.type().name_space());
}

_Caldane_Boolean DynamicStruct::demarshal_member(_Caldane_ULong index, _Caldane_Transport_InStream& in) {
    return index < members_.count() ? members_.at(index)._demarshal(in) : _Caldane_FALSE;
}

_Caldane_Boolean DynamicStruct::_convert_from(_Caldane_AnyConstRef source) {
    const auto* const same = dynamic_cast<const DynamicStruct*>(source._tx_type());
    if (same == nullptr || &same->members_.type() != &members_.type()) return _Caldane_FALSE;
    try {
        members_ = DynamicMembers(same->members_);
        is_nil(same->is_nil());
        return _Caldane_TRUE;
    } catch (const std::bad_alloc&) {
        return _Caldane_FALSE;
    }
}

_Caldane_String DynamicException::repository_id() const {
    return text_of(members_.type().repository_id());
}
_Caldane_String DynamicException::namespace_text() const {
    return text_of(members_.type().name_space());
}
const char* DynamicException::what() const noexcept {
    const char* const text = message_chars();
    return text != nullptr && *text != '\0' ? text : members_.type().repository_id().data();
}
void* DynamicException::_safe_cast(const _Caldane_Representation& wanted) const {
    if (wanted == _Caldane_AddressableException::_rep) {
        return const_cast<_Caldane_AddressableException*>(
            static_cast<const _Caldane_AddressableException*>(this));
    }
    return _Caldane_ExceptionBase::_safe_cast(wanted);
}

_Caldane_String DynamicEnum::type_name() const {
    return text_of(type_->name());
}

DynamicUnion::DynamicUnion(const DynamicUnion& other)
    : _Caldane_AddressableUnion(other),
      type_(other.type_),
      discriminator_(other.discriminator_),
      active_(other.active_),
      held_(other.held_) {
    if (held_.value().is_null() != other.held_.value().is_null()) throw std::bad_alloc();
}

void DynamicUnion::discriminator(_Caldane_Long value) {
    discriminator_ = value;
    const std::size_t selected = type_->select(value);
    if (selected == active_) return;
    active_ = static_cast<_Caldane_ULong>(selected);
    held_.clear();
    if (selected < type_->branches().size() && !held_.make(type_->branches()[selected].type))
        throw std::bad_alloc();
}

_Caldane_String DynamicUnion::repository_id() const {
    return text_of(type_->repository_id());
}
_Caldane_String DynamicUnion::type_name() const {
    return text_of(type_->name());
}
_Caldane_String DynamicUnion::type_namespace() const {
    return text_of(type_->name_space());
}
_Caldane_String DynamicUnion::member_name(_Caldane_ULong index) const {
    return text_of(index < type_->branches().size() ? std::string_view(type_->branches()[index].name) : "");
}

_Caldane_Boolean DynamicUnion::demarshal_member(_Caldane_ULong index, _Caldane_Transport_InStream& in) {
    if (index != active_ || held_.value().is_null()) return _Caldane_FALSE;
    return held_._value()._demarshal(in);
}

_Caldane_Boolean DynamicUnion::_marshal(_Caldane_Transport_OutStream& out) const {
    _Caldane_Any value;
    if (!value.make(type_->discriminator())) return _Caldane_FALSE;
    put_discriminator(value._value(), discriminator_);
    if (value.value()._marshal(out) == _Caldane_FALSE) return _Caldane_FALSE;
    return held_.value()._marshal(out);
}

_Caldane_Boolean DynamicUnion::_demarshal(_Caldane_Transport_InStream& in) {
    _Caldane_Any value;
    if (!value.make(type_->discriminator()) || value._value()._demarshal(in) == _Caldane_FALSE)
        return _Caldane_FALSE;
    try {
        discriminator(take_discriminator(value.value()));
    } catch (const std::bad_alloc&) {
        return _Caldane_FALSE;
    }
    return held_._value()._demarshal(in);
}

}  // namespace Caldane
