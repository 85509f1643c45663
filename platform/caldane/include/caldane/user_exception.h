// SPDX-License-Identifier: MIT
#pragma once

#include <exception>

#include <caldane/addressable.h>
#include <caldane/exception_base.h>
#include <caldane/struct_value.h>

/// Base of the class of an IDL exception, which looks like that of a struct (`_Caldane_Struct`) and is thrown
/// and caught by value. `what()` gives the message that came with it, else its repository id.
template <class Self>
class _Caldane_UserException : public _Caldane_ExceptionBase,
                               public _Caldane_AddressableException,
                               public std::exception {
public:
    _Caldane_String repository_id() const override { return _Caldane_String::constant(Self::_info().id); }
    [[noreturn]] void _raise() const override { throw Self(static_cast<const Self&>(*this)); }
    _Caldane_String namespace_text() const override {
        return _Caldane_String::constant(Self::_info().name_space);
    }

    _Caldane_ULong member_count() const override { return Self::_info().count; }
    _Caldane_String member_name(_Caldane_ULong index) const override { return Self::_info().name_of(index); }
    _Caldane_AnyConstRef member(_Caldane_ULong index) const override {
        return Self::_info().member_of(const_cast<void*>(self()), index);
    }

    const char* what() const noexcept override {
        const char* const text = message_chars();
        return text != nullptr && *text != '\0' ? text : Self::_info().id.data();
    }

    _Caldane_Boolean _marshal(_Caldane_Transport_OutStream& out) const override {
        return Self::_info().marshal_members(self(), out);
    }
    _Caldane_Boolean _demarshal(_Caldane_Transport_InStream& in) override {
        return Self::_info().demarshal_members(self(), in);
    }
    const _Caldane_TypeRef& _get_typeref() const override { return _static_typeref(); }
    void* _safe_cast(const _Caldane_Representation& wanted) const override {
        if (wanted == _Caldane_AddressableException::_rep) {
            return const_cast<_Caldane_AddressableException*>(
                static_cast<const _Caldane_AddressableException*>(this));
        }
        return _Caldane_ExceptionBase::_safe_cast(wanted);
    }
    _Caldane_Boolean _convert_from(_Caldane_AnyConstRef source) override {
        return _Caldane_assign_from(static_cast<Self&>(*this), source);
    }
    _Caldane_AnyRef _clone() const override { return _Caldane_clone_of(static_cast<const Self&>(*this)); }

    static _Caldane_IDL_Type& _type() { return Types::type; }
    static const _Caldane_TypeRef& _static_typeref() { return Types::handle.object; }

    friend bool operator==(const Self& a, const Self& b) {
        return static_cast<const _Caldane_TxType&>(a)._equals(b);
    }

private:
    using Types = _Caldane_NamedTypeOf<Self, _Caldane_TypeRef::tk_except>;
    void* self() { return static_cast<Self*>(this); }
    const void* self() const { return static_cast<const Self*>(this); }
};
