// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include <caldane/boolean.h>
#include <caldane/representation.h>
#include <caldane/tx_type.h>

class _Caldane_AnyRef;

/// A typed pointer to a value that is not changed through it: a primitive, a `_Caldane_TxType`, or nothing
/// (kind null, the result of an operation without one). Cheap to copy; owns nothing.
class _Caldane_AnyConstRef {
public:
    constexpr _Caldane_AnyConstRef() = default;
    _Caldane_AnyConstRef(const short& value) : pointer_(&value), tag_(kShort) {}
    _Caldane_AnyConstRef(const _Caldane_Long& value) : pointer_(&value), tag_(kLong) {}
    _Caldane_AnyConstRef(const unsigned short& value) : pointer_(&value), tag_(kUShort) {}
    _Caldane_AnyConstRef(const _Caldane_ULong& value) : pointer_(&value), tag_(kULong) {}
    _Caldane_AnyConstRef(const float& value) : pointer_(&value), tag_(kFloat) {}
    _Caldane_AnyConstRef(const double& value) : pointer_(&value), tag_(kDouble) {}
    _Caldane_AnyConstRef(const _Caldane_Boolean& value) : pointer_(&value), tag_(kBoolean) {}
    _Caldane_AnyConstRef(const char& value) : pointer_(&value), tag_(kChar) {}
    _Caldane_AnyConstRef(const unsigned char& value) : pointer_(&value), tag_(kOctet) {}
    _Caldane_AnyConstRef(const _Caldane_TxType& value) : pointer_(&value), tag_(kTxType) {}

    /// The value's type; of kind null for a reference to nothing.
    const _Caldane_TypeRef& _get_typeref() const {
        return tag_ == kTxType ? tx()->_get_typeref() : primitive_typeref(tag_);
    }

    /// Writes the value through the stream's operation for its type; nothing, with success, for no value.
    _Caldane_Boolean _marshal(_Caldane_Transport_OutStream& out) const;

    /// The address of the primitive if `wanted` is its representation, or what the value itself answers.
    void* _safe_cast(const _Caldane_Representation& wanted) const;

    _Caldane_AnyRef cast_away_constness() const;

    /// True for a reference to nothing.
    bool is_null() const { return tag_ == kNothing; }
    /// The constructed value, null for a primitive or nothing.
    const _Caldane_TxType* _tx_type() const { return tag_ == kTxType ? tx() : nullptr; }
    /// The address of the value, whatever it is.
    const void* _address() const { return pointer_; }

protected:
    // The tags of primitives are the numbers of their IDL kinds.
    enum Tag : std::uint8_t {
        kNothing = 0,
        kShort = 2,
        kLong = 3,
        kUShort = 4,
        kULong = 5,
        kFloat = 6,
        kDouble = 7,
        kBoolean = 8,
        kChar = 9,
        kOctet = 10,
        kTxType = 255,
    };

    constexpr _Caldane_AnyConstRef(const void* pointer, Tag tag) : pointer_(pointer), tag_(tag) {}
    const _Caldane_TxType* tx() const { return static_cast<const _Caldane_TxType*>(pointer_); }
    static const _Caldane_TypeRef& primitive_typeref(Tag tag);

    const void* pointer_ = nullptr;
    Tag tag_ = kNothing;

    friend class _Caldane_AnyRef;
};

/// The same for a value that may be changed.
class _Caldane_AnyRef : public _Caldane_AnyConstRef {
public:
    constexpr _Caldane_AnyRef() = default;
    _Caldane_AnyRef(short& value) : _Caldane_AnyConstRef(value) {}
    _Caldane_AnyRef(_Caldane_Long& value) : _Caldane_AnyConstRef(value) {}
    _Caldane_AnyRef(unsigned short& value) : _Caldane_AnyConstRef(value) {}
    _Caldane_AnyRef(_Caldane_ULong& value) : _Caldane_AnyConstRef(value) {}
    _Caldane_AnyRef(float& value) : _Caldane_AnyConstRef(value) {}
    _Caldane_AnyRef(double& value) : _Caldane_AnyConstRef(value) {}
    _Caldane_AnyRef(_Caldane_Boolean& value) : _Caldane_AnyConstRef(value) {}
    _Caldane_AnyRef(char& value) : _Caldane_AnyConstRef(value) {}
    _Caldane_AnyRef(unsigned char& value) : _Caldane_AnyConstRef(value) {}
    _Caldane_AnyRef(_Caldane_TxType& value) : _Caldane_AnyConstRef(value) {}

    /// Reads the value through the stream's operation for its type; nothing, with success, for no value.
    _Caldane_Boolean _demarshal(_Caldane_Transport_InStream& in) const;

    _Caldane_TxType* _tx_type() const {
        return const_cast<_Caldane_TxType*>(_Caldane_AnyConstRef::_tx_type());
    }
    void* _address() const { return const_cast<void*>(pointer_); }

private:
    friend class _Caldane_AnyConstRef;
    constexpr _Caldane_AnyRef(const void* pointer, Tag tag) : _Caldane_AnyConstRef(pointer, tag) {}
};

inline _Caldane_AnyRef _Caldane_AnyConstRef::cast_away_constness() const {
    return {pointer_, tag_};
}

inline const _Caldane_TxType* _Caldane_TxType::_down_cast_const(_Caldane_AnyConstRef value) {
    return value._tx_type();
}
inline _Caldane_TxType* _Caldane_TxType::_down_cast(_Caldane_AnyRef value) {
    return value._tx_type();
}
