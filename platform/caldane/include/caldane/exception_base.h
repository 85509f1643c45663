// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include <caldane/string.h>
#include <caldane/tx_type.h>

/// Base of the exceptions that a call can end with: those declared in IDL and those of the system.
class _Caldane_ExceptionBase : public _Caldane_TxType {
public:
    enum _ENUM_Kind : std::int32_t { SYSTEM_EXCEPTION = 0, USER_EXCEPTION = 1 };

    virtual _Caldane_String repository_id() const = 0;
    /// Throws a copy of itself, as its own type.
    [[noreturn]] virtual void _raise() const = 0;
    /// The XML namespace of the exception's type; empty if it has none.
    virtual _Caldane_String namespace_text() const = 0;
    /// Stores a text for people.
    virtual void _put_message(_Caldane_String text);
    virtual _Caldane_String message_text() const;

    // An exception without members, unless its class says otherwise.
    _Caldane_Boolean _marshal(_Caldane_Transport_OutStream& out) const override;
    _Caldane_Boolean _demarshal(_Caldane_Transport_InStream& in) override;
    const _Caldane_Representation& _get_representation() const override;
    const _Caldane_TypeRef& _get_typeref() const override;

protected:
    _Caldane_ExceptionBase() = default;
    _Caldane_ExceptionBase(const _Caldane_ExceptionBase&) = default;
    _Caldane_ExceptionBase(_Caldane_ExceptionBase&&) = default;
    _Caldane_ExceptionBase& operator=(const _Caldane_ExceptionBase&) = default;
    _Caldane_ExceptionBase& operator=(_Caldane_ExceptionBase&&) = default;

    /// The message without a copy; null if there is none.
    const char* message_chars() const noexcept { return message_.c_str(); }

private:
    _Caldane_String message_;
};
