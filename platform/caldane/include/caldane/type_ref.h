// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include <caldane/any_ref.h>
#include <caldane/tx_type.h>

class _Caldane_IDL_BaseType;

/// A handle to an IDL type; itself a value of kind `tk_TypeCode`. Copies share the type.
class _Caldane_TypeRef final : public _Caldane_TxType {
public:
    /// The kinds of IDL types, with the numbers of the OMG's TCKind.
    enum _ENUM_TCKind : std::int32_t {
        tk_null = 0,
        tk_void = 1,
        tk_short = 2,
        tk_long = 3,
        tk_ushort = 4,
        tk_ulong = 5,
        tk_float = 6,
        tk_double = 7,
        tk_boolean = 8,
        tk_char = 9,
        tk_octet = 10,
        tk_any = 11,
        tk_TypeCode = 12,
        tk_Principal = 13,
        tk_objref = 14,
        tk_struct = 15,
        tk_union = 16,
        tk_enum = 17,
        tk_string = 18,
        tk_sequence = 19,
        tk_array = 20,
        tk_alias = 21,
        tk_except = 22,
    };

    /// No type: kind null.
    _Caldane_TypeRef();
    /// Shares `type`, which may be null for no type. A type made at run time (see `_Caldane_Mapping`) lives
    /// as long as handles to it; the first handle takes it over.
    _Caldane_TypeRef(_Caldane_IDL_BaseType* type);
    /// For types that live as long as the process, in constant initialisers.
    constexpr _Caldane_TypeRef(_Caldane_IDL_BaseType& immortal, _ENUM_TCKind kind) noexcept
        : type_(&immortal), kind_(kind) {}
    _Caldane_TypeRef(const _Caldane_TypeRef& other);
    _Caldane_TypeRef& operator=(const _Caldane_TypeRef& other);
    ~_Caldane_TypeRef() override;

    _ENUM_TCKind kind() const { return kind_; }
    const _Caldane_IDL_BaseType& type() const { return *type_; }

    /// The type handle that a value of kind `tk_TypeCode` is; null for any other.
    static _Caldane_TypeRef* _down_cast(_Caldane_AnyRef value);
    static const _Caldane_TypeRef* _down_cast_const(_Caldane_AnyConstRef value);

    _Caldane_Boolean _marshal(_Caldane_Transport_OutStream& out) const override;
    _Caldane_Boolean _demarshal(_Caldane_Transport_InStream& in) override;
    const _Caldane_Representation& _get_representation() const override;
    const _Caldane_TypeRef& _get_typeref() const override;
    void* _safe_cast(const _Caldane_Representation& wanted) const override;
    _Caldane_Boolean _convert_from(_Caldane_AnyConstRef source) override;
    _Caldane_AnyRef _clone() const override;
    void _print(std::ostream& out) const override;
    bool _equals(const _Caldane_TxType& other) const override;

    /// The handle of a primitive kind, `tk_any`, `tk_TypeCode`, `tk_string` or `tk_objref`; of kind null for
    /// every other.
    static const _Caldane_TypeRef& _of_kind(_ENUM_TCKind kind);

private:
    _Caldane_IDL_BaseType* type_;
    _ENUM_TCKind kind_;
};
