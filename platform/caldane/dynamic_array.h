// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>

#include <caldane/addressable.h>
#include <caldane/any_value.h>
#include <caldane/idl_types.h>

/// An array type whose length and element type came in a message. Goes with the last handle to it; handles
/// may be on any thread.
class _Caldane_IDL_ArrayType final : public _Caldane_IDL_BaseType {
public:
    PEL_HEAP_OBJECT
    _Caldane_IDL_ArrayType() noexcept : _Caldane_IDL_BaseType(_Caldane_TypeRef::tk_array) {}

    _Caldane_Boolean demarshal_parameters(_Caldane_Transport_InStream& in) override;
    _Caldane_TxType* _new_value() override;
    void _add_ref() override;
    void _release() override;

    _Caldane_ULong length() const { return length_; }
    const _Caldane_TypeRef& element_type() const { return element_type_; }

    /// Array types nest at most so deep: a message can say "an array of itself".
    static constexpr int kMaxNesting = 16;

private:
    ~_Caldane_IDL_ArrayType() = default;

    std::atomic<std::int32_t> references_{0};
    _Caldane_ULong length_ = 0;
    _Caldane_TypeRef element_type_;
};

/// An array of such a type. Its elements come into being when they are first asked for, because a length from
/// a message says nothing about how many will come.
class _Caldane_DynamicArray final : public _Caldane_AddressableArray {
public:
    explicit _Caldane_DynamicArray(_Caldane_IDL_ArrayType& type) : handle_(&type), type_(type) {}
    _Caldane_DynamicArray(const _Caldane_DynamicArray&) = default;

    /// References stay valid as long as the array. To nothing beyond the last, and when memory ends.
    _Caldane_AnyConstRef element(_Caldane_ULong index) const override;
    _Caldane_ULong length() const override { return type_.length(); }
    const _Caldane_TypeRef& element_type() const override { return type_.element_type(); }
    const void* _block() const override { return nullptr; }

    _Caldane_Boolean _marshal(_Caldane_Transport_OutStream& out) const override;
    _Caldane_Boolean _demarshal(_Caldane_Transport_InStream& in) override;
    const _Caldane_TypeRef& _get_typeref() const override { return handle_; }
    _Caldane_AnyRef _clone() const override { return _Caldane_clone_of(*this); }

private:
    _Caldane_TypeRef handle_;
    _Caldane_IDL_ArrayType& type_;
    mutable std::deque<_Caldane_Any> elements_;
};
