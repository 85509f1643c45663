// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>

#include <caldane/addressable.h>
#include <caldane/value_support.h>

/// An IDL `any`: a value of any type by value, or none. It is read by first reading a type (a `tk_TypeCode`
/// value), then a value of that type.
class _Caldane_Any final : public _Caldane_AddressableAny {
public:
    /// Holds nothing.
    _Caldane_Any() noexcept = default;
    /// Holds a copy of a primitive or of a value class.
    template <class T>
    requires(_Caldane_is_primitive<T> || (std::derived_from<T, _Caldane_TxType> &&
                                          !std::same_as<T, _Caldane_Any>)) _Caldane_Any(const T& original) {
        assign(_Caldane_AnyConstRef(original));
    }
    _Caldane_Any(const char* text) { assign(_Caldane_AnyConstRef(_Caldane_String(text))); }
    _Caldane_Any(const _Caldane_Any& other) : _Caldane_AddressableAny(other) { assign(other.value()); }
    _Caldane_Any(_Caldane_Any&& other) noexcept;
    _Caldane_Any& operator=(const _Caldane_Any& other);
    _Caldane_Any& operator=(_Caldane_Any&& other) noexcept;
    ~_Caldane_Any() override { clear(); }

    /// Holds a copy of `original` from now on. False, holding nothing, when memory ends.
    bool assign(_Caldane_AnyConstRef original);
    /// Holds a new value of a type with its initial content. False, holding nothing, for a type without
    /// values and when memory ends.
    bool make(const _Caldane_TypeRef& type);
    void clear() noexcept;

    _Caldane_AnyConstRef value() const override { return inside(); }
    /// The same, to be changed.
    _Caldane_AnyRef _value() { return inside(); }
    /// The value if it is a `T`, else null.
    template <class T>
    const T* get() const {
        if constexpr (_Caldane_is_primitive<T>) {
            return kind_ == _Caldane_primitive_kind<T>() ? static_cast<const T*>(inside()._address())
                                                         : nullptr;
        } else {
            return dynamic_cast<const T*>(object_);
        }
    }

    /// Gives `target` the content, also of a sequence that came in a message: there it is an array, of the
    /// length and element type that the message told. False, with `target` changed in part, if it does not
    /// fit.
    template <class T>
    bool to(T& target) const {
        return _Caldane_copy(value(), _Caldane_AnyRef(target));
    }

    _Caldane_Boolean _marshal(_Caldane_Transport_OutStream& out) const override;
    _Caldane_Boolean _demarshal(_Caldane_Transport_InStream& in) override;
    const _Caldane_TypeRef& _get_typeref() const override { return _static_typeref(); }
    _Caldane_Boolean _convert_from(_Caldane_AnyConstRef source) override {
        return _Caldane_assign_from(*this, source);
    }
    _Caldane_AnyRef _clone() const override { return _Caldane_clone_of(*this); }

    static const _Caldane_TypeRef& _static_typeref() {
        return _Caldane_TypeRef::_of_kind(_Caldane_TypeRef::tk_any);
    }

    friend bool operator==(const _Caldane_Any& a, const _Caldane_Any& b) {
        return a.is_nil() == b.is_nil() && _Caldane_equal(a.value(), b.value());
    }

private:
    union Primitive {
        short short_value;
        unsigned short ushort_value;
        _Caldane_Long long_value;
        _Caldane_ULong ulong_value;
        float float_value;
        double double_value = 0;
        _Caldane_Boolean boolean_value;
        char char_value;
        unsigned char octet_value;
    };

    static Primitive copy_of(_Caldane_TypeRef::_ENUM_TCKind kind, const void* source);
    _Caldane_AnyRef inside() const;
    void take(_Caldane_Any& other) noexcept;

    /// The kind of the primitive held; null if an object is held, or nothing.
    _Caldane_TypeRef::_ENUM_TCKind kind_ = _Caldane_TypeRef::tk_null;
    Primitive primitive_;
    _Caldane_TxType* object_ = nullptr;
};
