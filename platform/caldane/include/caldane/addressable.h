// SPDX-License-Identifier: MIT
#pragma once

#include <caldane/any_ref.h>
#include <caldane/basic.h>
#include <caldane/boolean.h>
#include <caldane/string.h>
#include <caldane/type_ref.h>

// The views of constructed values: what a stream sees of a value whose class it does not know. Each view's
// `_down_cast_const` and `_down_cast` give null for a value of another kind, and allocate nothing. Indexes
// beyond the last give empty names, references to nothing, and failure.

/// What describes a struct.
class _Caldane_StructBase : public _Caldane_TxType {
public:
    virtual _Caldane_String repository_id() const = 0;
    virtual _Caldane_String type_name() const = 0;
    virtual _Caldane_String type_namespace() const = 0;
    virtual _Caldane_ULong member_count() const = 0;
    virtual _Caldane_String member_name(_Caldane_ULong index) const = 0;
    /// Reads one member through the stream; 0 for failure.
    virtual _Caldane_Boolean demarshal_member(_Caldane_ULong index, _Caldane_Transport_InStream& in) = 0;

    static const _Caldane_StructBase* _down_cast_const(_Caldane_AnyConstRef value);

    const _Caldane_Representation& _get_representation() const override { return _rep; }
    void* _safe_cast(const _Caldane_Representation& wanted) const override;
    static const _Caldane_Representation _rep;
};

class _Caldane_AddressableStruct : public _Caldane_StructBase {
public:
    virtual _Caldane_AnyConstRef member(_Caldane_ULong index) const = 0;

    static const _Caldane_AddressableStruct* _down_cast_const(_Caldane_AnyConstRef value);
    static _Caldane_AddressableStruct* _down_cast(_Caldane_AnyRef value);

    const _Caldane_Representation& _get_representation() const override { return _rep; }
    void* _safe_cast(const _Caldane_Representation& wanted) const override;
    static const _Caldane_Representation _rep;
};

class _Caldane_AddressableUnion : public _Caldane_TxType {
public:
    /// Sets the discriminator; a member that it does not select is given up for the initial content of the
    /// one that it does.
    virtual void discriminator(_Caldane_Long value) = 0;
    virtual _Caldane_Long discriminator() const = 0;
    /// A reference to nothing if the discriminator selects no member.
    virtual _Caldane_AnyConstRef active_member() const = 0;
    virtual _Caldane_String repository_id() const = 0;
    virtual _Caldane_String type_name() const = 0;
    virtual _Caldane_String type_namespace() const = 0;
    virtual const _Caldane_TypeRef& discriminator_type() const = 0;
    virtual _Caldane_String member_name(_Caldane_ULong index) const = 0;
    /// The index of the selected member, the number of members if none is.
    virtual _Caldane_ULong active_index() const = 0;
    /// Reads the member, which must be the selected one; 0 for failure.
    virtual _Caldane_Boolean demarshal_member(_Caldane_ULong index, _Caldane_Transport_InStream& in) = 0;

    static const _Caldane_AddressableUnion* _down_cast_const(_Caldane_AnyConstRef value);
    static _Caldane_AddressableUnion* _down_cast(_Caldane_AnyRef value);

    const _Caldane_Representation& _get_representation() const override { return _rep; }
    void* _safe_cast(const _Caldane_Representation& wanted) const override;
    static const _Caldane_Representation _rep;
};

class _Caldane_AddressableEnum : public _Caldane_TxType {
public:
    /// Sets the value, which is not held against the number of members.
    virtual void value(_Caldane_ULong new_value) = 0;
    virtual _Caldane_ULong value() const = 0;
    virtual _Caldane_String type_name() const = 0;
    virtual _Caldane_String member_name(_Caldane_ULong member_value) const = 0;

    static const _Caldane_AddressableEnum* _down_cast_const(_Caldane_AnyConstRef value);
    static _Caldane_AddressableEnum* _down_cast(_Caldane_AnyRef value);

    const _Caldane_Representation& _get_representation() const override { return _rep; }
    void* _safe_cast(const _Caldane_Representation& wanted) const override;
    static const _Caldane_Representation _rep;
};

class _Caldane_AddressableSequence : public _Caldane_TxType {
public:
    virtual _Caldane_AnyConstRef element(_Caldane_ULong index) const = 0;
    /// Sets the length; new elements have their initial content. 0, with nothing changed, above the bound or
    /// when memory ends.
    virtual _Caldane_Boolean length(_Caldane_ULong count) = 0;
    /// 0 for an unbounded sequence.
    virtual _Caldane_ULong bound() const = 0;
    virtual const _Caldane_TypeRef& element_type() const = 0;
    virtual _Caldane_ULong length() const = 0;
    /// The address of element 0 if the elements are primitives that lie one behind the other as their C++
    /// type, else null. Valid until the length changes; may be written to if the sequence may be changed.
    virtual const void* _block() const = 0;

    /// Reads an element through the stream; 0 for failure, or if the sequence is not that long.
    _Caldane_Boolean _demarshal_content(_Caldane_ULong index, _Caldane_Transport_InStream& in) {
        if (index >= length()) return _Caldane_FALSE;
        return element(index).cast_away_constness()._demarshal(in);
    }

    /// The number of elements, then each.
    _Caldane_Boolean _marshal(_Caldane_Transport_OutStream& out) const override;
    /// Grows with what is read, not with what a length promises.
    _Caldane_Boolean _demarshal(_Caldane_Transport_InStream& in) override;

    static const _Caldane_AddressableSequence* _down_cast_const(_Caldane_AnyConstRef value);
    static _Caldane_AddressableSequence* _down_cast(_Caldane_AnyRef value);

    const _Caldane_Representation& _get_representation() const override { return _rep; }
    void* _safe_cast(const _Caldane_Representation& wanted) const override;
    static const _Caldane_Representation _rep;
};

class _Caldane_AddressableArray : public _Caldane_TxType {
public:
    virtual _Caldane_AnyConstRef element(_Caldane_ULong index) const = 0;
    virtual _Caldane_ULong length() const = 0;
    virtual const _Caldane_TypeRef& element_type() const = 0;
    /// As for sequences.
    virtual const void* _block() const = 0;

    /// Each element.
    _Caldane_Boolean _marshal(_Caldane_Transport_OutStream& out) const override;
    _Caldane_Boolean _demarshal(_Caldane_Transport_InStream& in) override;

    static const _Caldane_AddressableArray* _down_cast_const(_Caldane_AnyConstRef value);
    static _Caldane_AddressableArray* _down_cast(_Caldane_AnyRef value);

    const _Caldane_Representation& _get_representation() const override { return _rep; }
    void* _safe_cast(const _Caldane_Representation& wanted) const override;
    static const _Caldane_Representation _rep;
};

/// An exception's members. Not a value by itself: the exception is.
class _Caldane_AddressableException {
public:
    virtual _Caldane_ULong member_count() const = 0;
    virtual _Caldane_String member_name(_Caldane_ULong index) const = 0;
    virtual _Caldane_AnyConstRef member(_Caldane_ULong index) const = 0;

    static const _Caldane_AddressableException* _down_cast_const(_Caldane_AnyConstRef value);
    static _Caldane_AddressableException* _down_cast(_Caldane_AnyRef value);
    static const _Caldane_Representation _rep;

protected:
    ~_Caldane_AddressableException() = default;
};

class _Caldane_AddressableAny : public _Caldane_TxType {
public:
    /// A reference to nothing if there is no value inside.
    virtual _Caldane_AnyConstRef value() const = 0;

    static const _Caldane_AddressableAny* _down_cast_const(_Caldane_AnyConstRef value);
    static _Caldane_AddressableAny* _down_cast(_Caldane_AnyRef value);

    const _Caldane_Representation& _get_representation() const override { return _rep; }
    void* _safe_cast(const _Caldane_Representation& wanted) const override;
    static const _Caldane_Representation _rep;
};
