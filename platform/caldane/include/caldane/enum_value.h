// SPDX-License-Identifier: MIT
#pragma once

#include <caldane/addressable.h>
#include <caldane/idl_types.h>
#include <caldane/value_support.h>

/// Base of the class of an IDL enum. The class wraps a C++ enumeration and has a static `_info()`:
///
///     class Mood final : public _Caldane_Enum<Mood> {
///     public:
///         enum _Value : _Caldane_ULong { CALM, NERVOUS, ANGRY };
///         Mood(_Value initial = CALM) : _Caldane_Enum(initial) {}
///         operator _Value() const { return static_cast<_Value>(value_); }
///         static const _Caldane_EnumInfo& _info();
///     };
template <class Self>
class _Caldane_Enum : public _Caldane_AddressableEnum {
public:
    void value(_Caldane_ULong new_value) override { value_ = new_value; }
    _Caldane_ULong value() const override { return value_; }
    _Caldane_String type_name() const override { return _Caldane_String::constant(Self::_info().name); }
    _Caldane_String member_name(_Caldane_ULong member_value) const override {
        const _Caldane_EnumInfo& info = Self::_info();
        return _Caldane_String::constant(member_value < info.count ? info.members[member_value]
                                                                   : std::string_view(""));
    }

    _Caldane_Boolean _marshal(_Caldane_Transport_OutStream& out) const override;
    _Caldane_Boolean _demarshal(_Caldane_Transport_InStream& in) override;
    const _Caldane_TypeRef& _get_typeref() const override { return _static_typeref(); }
    _Caldane_Boolean _convert_from(_Caldane_AnyConstRef source) override {
        return _Caldane_assign_from(static_cast<Self&>(*this), source);
    }
    _Caldane_AnyRef _clone() const override { return _Caldane_clone_of(static_cast<const Self&>(*this)); }

    static _Caldane_IDL_EnumType& _type() { return type_; }
    static const _Caldane_TypeRef& _static_typeref() { return handle_.object; }

protected:
    explicit _Caldane_Enum(_Caldane_ULong initial) : value_(initial) {}

    _Caldane_ULong value_;

private:
    static constinit inline _Caldane_IDL_EnumType type_{&Self::_info, &_Caldane_make<Self>};
    static constinit inline const _Caldane_Immortal<_Caldane_TypeRef> handle_{type_,
                                                                              _Caldane_TypeRef::tk_enum};
};

template <class Self>
_Caldane_Boolean _Caldane_Enum<Self>::_marshal(_Caldane_Transport_OutStream& out) const {
    return _Caldane_AnyConstRef(value_)._marshal(out);
}

template <class Self>
_Caldane_Boolean _Caldane_Enum<Self>::_demarshal(_Caldane_Transport_InStream& in) {
    return _Caldane_AnyRef(value_)._demarshal(in);
}
