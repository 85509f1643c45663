// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <iosfwd>
#include <stdexcept>
#include <string>

#include <caldane/addressable.h>
#include <caldane/boolean.h>
#include <caldane/exception_base.h>
#include <caldane/string.h>

/// How far an operation had come when it failed; 1 says that it may have been done.
class _Caldane_CompletionStatus {
public:
    explicit _Caldane_CompletionStatus(std::int32_t value) : value_(value) {}
    std::int32_t value() const { return value_; }

private:
    std::int32_t value_;
};

/// An exception that no IDL declares: something between the caller and the object failed.
///
/// Its repository id is `IDL:Caldane/NAME:1.0` with the kind's name, its namespace `kNamespace`; on the wire
/// it has no members, the message tells the rest.
class _Caldane_SystemException final : public _Caldane_ExceptionBase, public _Caldane_AddressableException {
public:
    enum _ENUM_EXCEPTIONKind : std::int32_t {
        UNKNOWN = 0,       ///< the server failed, or raised what the caller does not know
        MARSHAL = 1,       ///< a value could not be written or read
        COMM_FAILURE = 2,  ///< the request could not be sent
        INV_OBJREF = 3,    ///< the reference leads nowhere
        NIL_OBJECT = 4,    ///< the call was made on a nil reference
        BAD_RESPONSE = 6,  ///< the answer could not be read
        HTTP_STATUS = 8,   ///< the answer has an HTTP status that is none of a call
    };

    static constexpr char kNamespace[] = "http://caldane.example/exceptions";

    explicit _Caldane_SystemException(std::int32_t kind) : kind_(kind) {}
    _Caldane_SystemException(_Caldane_ULong minor, _Caldane_CompletionStatus status, std::int32_t kind)
        : kind_(kind), completed_(status.value()), minor_(minor) {}
    _Caldane_SystemException(_Caldane_ULong minor, std::int32_t status, std::int32_t kind)
        : _Caldane_SystemException(minor, _Caldane_CompletionStatus(status), kind) {}

    /// The name of a kind; "UNKNOWN" for a number that has none.
    static const char* kind_name(std::int32_t kind);

    void completed(std::int32_t status) { completed_ = status; }
    void completed(_Caldane_CompletionStatus status) { completed_ = status.value(); }
    std::int32_t completed() const { return completed_; }
    std::int32_t kind() const { return kind_; }
    _Caldane_ULong minor_code() const { return minor_; }

    _Caldane_String repository_id() const override;
    [[noreturn]] void _raise() const override;
    _Caldane_String namespace_text() const override;
    _Caldane_ULong member_count() const override { return 0; }
    _Caldane_String member_name(_Caldane_ULong index) const override;
    _Caldane_AnyConstRef member(_Caldane_ULong index) const override;

    _Caldane_Boolean _marshal(_Caldane_Transport_OutStream& out) const override;
    _Caldane_Boolean _demarshal(_Caldane_Transport_InStream& in) override;
    const _Caldane_Representation& _get_representation() const override;
    const _Caldane_TypeRef& _get_typeref() const override;
    void* _safe_cast(const _Caldane_Representation& wanted) const override;
    _Caldane_AnyRef _clone() const override;
    void _print(std::ostream& out) const override;

private:
    std::int32_t kind_;
    std::int32_t completed_ = 1;
    _Caldane_ULong minor_ = 0;
};

namespace Caldane {

/// What a caller gets when a call fails for a reason that the operation does not declare. `what()` names the
/// kind, what happened, the operation, the endpoint, and what can be done.
class SystemError : public std::runtime_error {
public:
    SystemError(std::int32_t kind, const std::string& message, const std::string& operation,
                const std::string& endpoint);

    /// One of _Caldane_SystemException::_ENUM_EXCEPTIONKind.
    std::int32_t kind() const { return kind_; }
    const char* kind_name() const { return _Caldane_SystemException::kind_name(kind_); }
    /// What happened, as the server or the transport told it; may be empty.
    const std::string& message() const { return message_; }
    const std::string& operation() const { return operation_; }
    /// The URL of the object; empty for a nil reference.
    const std::string& endpoint() const { return endpoint_; }

private:
    std::int32_t kind_;
    std::string message_;
    std::string operation_;
    std::string endpoint_;
};

/// Start-up failed: an option, a file or an address cannot be used. `what()` says which and why.
class SetupError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace Caldane
