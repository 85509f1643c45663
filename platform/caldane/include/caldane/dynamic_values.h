// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <vector>

#include <caldane/addressable.h>
#include <caldane/any_value.h>
#include <caldane/dynamic_types.h>
#include <caldane/user_exception.h>

// Values of types made at run time (`TypeLibrary`). They are made by their type's `_new_value` or by
// `_Caldane_Any::make`, and used through the views.
namespace Caldane {

/// The members of a struct or exception.
class DynamicMembers {
public:
    /// Initial content. Throws `std::bad_alloc`, as copies do.
    explicit DynamicMembers(const DynamicRecordType& type);
    DynamicMembers(const DynamicMembers& other);
    DynamicMembers& operator=(DynamicMembers&& other) noexcept = default;

    _Caldane_ULong count() const { return static_cast<_Caldane_ULong>(type_->members().size()); }
    _Caldane_String name(_Caldane_ULong index) const;
    _Caldane_AnyRef at(_Caldane_ULong index) const;
    _Caldane_Boolean marshal(_Caldane_Transport_OutStream& out) const;
    _Caldane_Boolean demarshal(_Caldane_Transport_InStream& in);
    const DynamicRecordType& type() const { return *type_; }

private:
    const DynamicRecordType* type_;
    std::vector<_Caldane_Any> values_;
};

class DynamicStruct final : public _Caldane_AddressableStruct {
public:
    explicit DynamicStruct(const DynamicRecordType& type) : members_(type) {}

    _Caldane_AnyConstRef member(_Caldane_ULong index) const override { return members_.at(index); }
    _Caldane_String repository_id() const override;
    _Caldane_String type_name() const override;
    _Caldane_String type_namespace() const override;
    _Caldane_ULong member_count() const override { return members_.count(); }
    _Caldane_String member_name(_Caldane_ULong index) const override { return members_.name(index); }
    _Caldane_Boolean demarshal_member(_Caldane_ULong index, _Caldane_Transport_InStream& in) override;

    _Caldane_Boolean _marshal(_Caldane_Transport_OutStream& out) const override {
        return members_.marshal(out);
    }
    _Caldane_Boolean _demarshal(_Caldane_Transport_InStream& in) override { return members_.demarshal(in); }
    const _Caldane_TypeRef& _get_typeref() const override { return members_.type().handle(); }
    _Caldane_Boolean _convert_from(_Caldane_AnyConstRef source) override;
    _Caldane_AnyRef _clone() const override { return _Caldane_clone_of(*this); }

private:
    DynamicMembers members_;
};

/// Thrown by a `DynamicCall` for an exception that its operation declares.
class DynamicException final : public _Caldane_ExceptionBase,
                               public _Caldane_AddressableException,
                               public std::exception {
public:
    explicit DynamicException(const DynamicRecordType& type) : members_(type) {}

    _Caldane_String repository_id() const override;
    [[noreturn]] void _raise() const override { throw DynamicException(*this); }
    _Caldane_String namespace_text() const override;
    _Caldane_ULong member_count() const override { return members_.count(); }
    _Caldane_String member_name(_Caldane_ULong index) const override { return members_.name(index); }
    _Caldane_AnyConstRef member(_Caldane_ULong index) const override { return members_.at(index); }
    const char* what() const noexcept override;

    _Caldane_Boolean _marshal(_Caldane_Transport_OutStream& out) const override {
        return members_.marshal(out);
    }
    _Caldane_Boolean _demarshal(_Caldane_Transport_InStream& in) override { return members_.demarshal(in); }
    const _Caldane_TypeRef& _get_typeref() const override { return members_.type().handle(); }
    void* _safe_cast(const _Caldane_Representation& wanted) const override;
    _Caldane_AnyRef _clone() const override { return _Caldane_clone_of(*this); }

private:
    DynamicMembers members_;
};

class DynamicEnum final : public _Caldane_AddressableEnum {
public:
    explicit DynamicEnum(const DynamicEnumType& type) : type_(&type) {}

    void value(_Caldane_ULong new_value) override { value_ = new_value; }
    _Caldane_ULong value() const override { return value_; }
    _Caldane_String type_name() const override;
    _Caldane_String member_name(_Caldane_ULong member_value) const override {
        return type_->member_name(member_value);
    }

    _Caldane_Boolean _marshal(_Caldane_Transport_OutStream& out) const override {
        return _Caldane_AnyConstRef(value_)._marshal(out);
    }
    _Caldane_Boolean _demarshal(_Caldane_Transport_InStream& in) override {
        return _Caldane_AnyRef(value_)._demarshal(in);
    }
    const _Caldane_TypeRef& _get_typeref() const override { return type_->handle(); }
    _Caldane_AnyRef _clone() const override { return _Caldane_clone_of(*this); }

private:
    const DynamicEnumType* type_;
    _Caldane_ULong value_ = 0;
};

class DynamicUnion final : public _Caldane_AddressableUnion {
public:
    explicit DynamicUnion(const DynamicUnionType& type) : type_(&type) { discriminator(0); }
    DynamicUnion(const DynamicUnion& other);

    void discriminator(_Caldane_Long value) override;
    _Caldane_Long discriminator() const override { return discriminator_; }
    _Caldane_AnyConstRef active_member() const override { return held_.value(); }
    _Caldane_String repository_id() const override;
    _Caldane_String type_name() const override;
    _Caldane_String type_namespace() const override;
    const _Caldane_TypeRef& discriminator_type() const override { return type_->discriminator(); }
    _Caldane_String member_name(_Caldane_ULong index) const override;
    _Caldane_ULong active_index() const override { return active_; }
    _Caldane_Boolean demarshal_member(_Caldane_ULong index, _Caldane_Transport_InStream& in) override;

    _Caldane_Boolean _marshal(_Caldane_Transport_OutStream& out) const override;
    _Caldane_Boolean _demarshal(_Caldane_Transport_InStream& in) override;
    const _Caldane_TypeRef& _get_typeref() const override { return type_->handle(); }
    _Caldane_AnyRef _clone() const override { return _Caldane_clone_of(*this); }

private:
    const DynamicUnionType* type_;
    _Caldane_Long discriminator_ = 0;
    _Caldane_ULong active_ = 0xFFFFFFFF;
    _Caldane_Any held_;
};

}  // namespace Caldane
