// SPDX-License-Identifier: MIT
#pragma once

#include <caldane/boolean.h>
#include <caldane/type_ref.h>

/// Which type object stands for a kind.
class _Caldane_Mapping {
public:
    /// The type of a primitive kind, of `tk_string`, `tk_any` or `tk_TypeCode`; for `tk_array` a new type
    /// without parameters, which the first `_Caldane_TypeRef` made of it takes over (make that before its
    /// parameters are read). Null for other kinds and when memory ends.
    virtual _Caldane_IDL_BaseType* type_for_kind(_Caldane_TypeRef::_ENUM_TCKind kind) const;

    /// The one that all streams share.
    static const _Caldane_Mapping& standard();

protected:
    constexpr _Caldane_Mapping() = default;
    ~_Caldane_Mapping() = default;
};

/// What values write themselves to. Every operation gives 0 for failure; strings and octets are borrowed for
/// the time of the call.
class _Caldane_Transport_OutStream {
public:
    virtual ~_Caldane_Transport_OutStream();

    virtual _Caldane_Boolean marshal(const _Caldane_TxType& value) = 0;
    virtual _Caldane_Boolean marshal(_Caldane_TypeRef::_ENUM_TCKind kind) = 0;
    virtual _Caldane_Boolean marshal(double value) = 0;
    virtual _Caldane_Boolean marshal(float value) = 0;
    virtual _Caldane_Boolean marshal(_Caldane_ULong value) = 0;
    virtual _Caldane_Boolean marshal(_Caldane_Long value) = 0;
    virtual _Caldane_Boolean marshal(unsigned short value) = 0;
    virtual _Caldane_Boolean marshal(short value) = 0;
    virtual _Caldane_Boolean marshal(char value) = 0;
    virtual _Caldane_Boolean marshal(unsigned char value) = 0;
    virtual _Caldane_Boolean marshal(_Caldane_Boolean value) = 0;
    /// Refers to an earlier place in the message by its distance.
    virtual _Caldane_Boolean marshal_backptr(_Caldane_ULong offset) = 0;
    virtual _Caldane_Boolean marshal_string(const char* chars, _Caldane_ULong length) = 0;
    virtual _Caldane_Boolean marshal_octets(const unsigned char* data, _Caldane_ULong length) = 0;
    /// This object if `type` is the address of its class's type mark, else null.
    virtual void* _safe_cast(const void* type);
};

/// What values read themselves from. Every operation gives 0 for failure.
class _Caldane_Transport_InStream {
public:
    virtual ~_Caldane_Transport_InStream();

    virtual _Caldane_Boolean demarshal(_Caldane_TxType& value) = 0;
    virtual _Caldane_Boolean demarshal(double& out) = 0;
    virtual _Caldane_Boolean demarshal(float& out) = 0;
    virtual _Caldane_Boolean demarshal(_Caldane_ULong& out) = 0;
    virtual _Caldane_Boolean demarshal(_Caldane_Long& out) = 0;
    virtual _Caldane_Boolean demarshal(unsigned short& out) = 0;
    virtual _Caldane_Boolean demarshal(short& out) = 0;
    virtual _Caldane_Boolean demarshal(char& out) = 0;
    virtual _Caldane_Boolean demarshal(unsigned char& out) = 0;
    virtual _Caldane_Boolean demarshal(_Caldane_Boolean& out) = 0;
    /// The counterpart of `marshal_backptr`: a type's kind, or the distance to an earlier one.
    virtual _Caldane_Boolean demarshal_kind_or_backptr(_Caldane_Boolean& is_backptr, _Caldane_ULong& kind,
                                                       _Caldane_ULong& offset) = 0;
    virtual _Caldane_Boolean demarshal_string(char*& chars, _Caldane_ULong& length) = 0;
    /// Stores exactly `count` octets, or nothing.
    virtual _Caldane_Boolean demarshal_octets(unsigned char* out, _Caldane_ULong count) = 0;
    /// This object if `type` is the address of its class's type mark, else null.
    virtual void* _safe_cast(const void* type);

    const _Caldane_Mapping& mapping() const { return _Caldane_Mapping::standard(); }
};
