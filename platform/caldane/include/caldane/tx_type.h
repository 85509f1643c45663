// SPDX-License-Identifier: MIT
#pragma once

#include <iosfwd>

#include <pelthread/memory.h>

#include <caldane/boolean.h>
#include <caldane/representation.h>

class _Caldane_AnyConstRef;
class _Caldane_AnyRef;
class _Caldane_String;
class _Caldane_Transport_InStream;
class _Caldane_Transport_OutStream;
class _Caldane_TypeRef;

/// Base of every value that can travel in a call, primitives apart.
///
/// Values have value semantics: a copy takes the content, the nil mark and the properties along. Heap objects
/// come from `PEL_new`, so that `new` gives null when memory ends. One thread at a time per object.
class _Caldane_TxType {
public:
    PEL_HEAP_OBJECT

    virtual ~_Caldane_TxType() {
        if (properties_ != nullptr) drop_properties();
    }

    /// Deletes this heap object.
    virtual void _release() const;
    /// Writes the value by its IDL shape, part by part and without names. 0 when a part failed.
    virtual _Caldane_Boolean _marshal(_Caldane_Transport_OutStream& out) const = 0;
    /// Reads the value by its IDL shape. 0 for failure; the value may then be partly filled.
    virtual _Caldane_Boolean _demarshal(_Caldane_Transport_InStream& in) = 0;
    virtual const _Caldane_Representation& _get_representation() const = 0;
    /// The IDL type; lives as long as the value at least.
    virtual const _Caldane_TypeRef& _get_typeref() const = 0;
    /// The address of the part of this object that `wanted` stands for, null if there is none.
    virtual void* _safe_cast(const _Caldane_Representation& wanted) const;
    /// Takes over the content of a value of the same type; 0, with nothing changed, for any other.
    virtual _Caldane_Boolean _convert_from(_Caldane_AnyConstRef source);
    /// A copy on the heap, which the caller ends with `_release`; a null reference when memory ends.
    virtual _Caldane_AnyRef _clone() const = 0;
    /// The base object that a type mark stands for, null if it is none of this object's.
    virtual void* _base_cast(const void* type_mark) const;

    /// Writes the value for people: `Receipt{account="alice", amount=100}`.
    virtual void _print(std::ostream& out) const;
    /// Same type, same content, same nil mark. Properties do not count.
    virtual bool _equals(const _Caldane_TxType& other) const;

    /// The text of a property, valid until it is set again; null if it is not set. The one that the
    /// transport knows is "attributes": raw XML attributes for the value's start tag.
    const char* getProperty(const _Caldane_String& name) const;
    /// The same without making a string of the name; null at once for a value without properties.
    const char* property(const char* name) const {
        return properties_ == nullptr ? nullptr : find_property(name);
    }
    /// Sets a property; a null text removes it. False when memory ends.
    bool setProperty(const _Caldane_String& name, const _Caldane_String& text);

    /// True for a value marked as absent (XML's nil), whatever its content.
    bool is_nil() const { return nil_; }
    void is_nil(bool mark) { nil_ = mark; }

    /// The value behind a reference, null if that is a primitive or nothing.
    static const _Caldane_TxType* _down_cast_const(_Caldane_AnyConstRef value);
    static _Caldane_TxType* _down_cast(_Caldane_AnyRef value);

protected:
    constexpr _Caldane_TxType() noexcept = default;
    _Caldane_TxType(const _Caldane_TxType& other) : nil_(other.nil_) {
        if (other.properties_ != nullptr) copy_properties(other);
    }
    _Caldane_TxType(_Caldane_TxType&& other) noexcept : properties_(other.properties_), nil_(other.nil_) {
        other.properties_ = nullptr;
    }
    _Caldane_TxType& operator=(const _Caldane_TxType& other) {
        nil_ = other.nil_;
        if (properties_ != other.properties_) copy_properties(other);
        return *this;
    }
    _Caldane_TxType& operator=(_Caldane_TxType&& other) noexcept {
        nil_ = other.nil_;
        Properties* const mine = properties_;
        properties_ = other.properties_;
        other.properties_ = mine;
        return *this;
    }

private:
    struct Properties;
    const char* find_property(const char* name) const;
    /// Replaces the properties by copies of the other's; without any when memory ends.
    void copy_properties(const _Caldane_TxType& other) noexcept;
    void drop_properties() noexcept;

    Properties* properties_ = nullptr;
    bool nil_ = false;
};
