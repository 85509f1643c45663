// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>

#include <caldane/addressable.h>
#include <caldane/idl_types.h>
#include <caldane/value_support.h>

/// One member of a struct or exception: its IDL name, and how to get at it.
struct _Caldane_Member {
    std::string_view name;
    _Caldane_AnyRef (*access)(void* object);
};

namespace Caldane::detail {

template <class>
struct MemberPointer;
template <class Owner, class T>
struct MemberPointer<T Owner::*> {
    using Object = Owner;
};

template <auto Pointer>
_Caldane_AnyRef member_of(void* object) {
    using Object = typename MemberPointer<decltype(Pointer)>::Object;
    return _Caldane_AnyRef(static_cast<Object*>(object)->*Pointer);
}

}  // namespace Caldane::detail

/// An entry of a member table: `_Caldane_member<&Receipt::amount>("amount")`.
template <auto Pointer>
constexpr _Caldane_Member _Caldane_member(std::string_view name) {
    return {name, &Caldane::detail::member_of<Pointer>};
}

/// What generated code tells of a struct or exception, as constant data.
struct _Caldane_StructInfo : _Caldane_TypeInfo {
    const _Caldane_Member* members = nullptr;
    _Caldane_ULong count = 0;

    constexpr explicit _Caldane_StructInfo(const _Caldane_TypeInfo& type) : _Caldane_TypeInfo(type) {}
    template <std::size_t N>
    constexpr _Caldane_StructInfo(const _Caldane_TypeInfo& type, const _Caldane_Member (&table)[N])
        : _Caldane_TypeInfo(type), members(table), count(N) {}

    /// An empty name beyond the last.
    _Caldane_String name_of(_Caldane_ULong index) const {
        return _Caldane_String::constant(index < count ? members[index].name : std::string_view(""));
    }
    /// A reference to nothing beyond the last.
    _Caldane_AnyRef member_of(void* object, _Caldane_ULong index) const {
        return index < count ? members[index].access(object) : _Caldane_AnyRef();
    }
    _Caldane_Boolean demarshal_member(void* object, _Caldane_ULong index,
                                      _Caldane_Transport_InStream& in) const {
        return index < count ? members[index].access(object)._demarshal(in) : _Caldane_FALSE;
    }
    /// All members in order; 0 as soon as one fails.
    _Caldane_Boolean marshal_members(const void* object, _Caldane_Transport_OutStream& out) const;
    _Caldane_Boolean demarshal_members(void* object, _Caldane_Transport_InStream& in) const;
};

/// What all structs do alike, by their table.
class _Caldane_StructValue : public _Caldane_AddressableStruct {
public:
    _Caldane_AnyConstRef member(_Caldane_ULong index) const override;
    _Caldane_String repository_id() const override;
    _Caldane_String type_name() const override;
    _Caldane_String type_namespace() const override;
    _Caldane_ULong member_count() const override;
    _Caldane_String member_name(_Caldane_ULong index) const override;
    _Caldane_Boolean demarshal_member(_Caldane_ULong index, _Caldane_Transport_InStream& in) override;

    _Caldane_Boolean _marshal(_Caldane_Transport_OutStream& out) const override;
    _Caldane_Boolean _demarshal(_Caldane_Transport_InStream& in) override;
    _Caldane_AnyRef _clone() const override;

protected:
    /// The table, and the object as its accessors want it.
    struct Described {
        const _Caldane_StructInfo* info;
        const void* object;
    };

private:
    virtual Described _described() const = 0;
};

/// Base of the class of an IDL struct. The class has public members and a static `_info()`:
///
///     class Receipt final : public _Caldane_Struct<Receipt> {
///     public:
///         _Caldane_String account;
///         std::int32_t amount = 0;
///         static const _Caldane_StructInfo& _info();
///     };
template <class Self>
class _Caldane_Struct : public _Caldane_StructValue {
public:
    const _Caldane_TypeRef& _get_typeref() const override { return _static_typeref(); }
    _Caldane_Boolean _convert_from(_Caldane_AnyConstRef source) override {
        return _Caldane_assign_from(static_cast<Self&>(*this), source);
    }

    static _Caldane_IDL_Type& _type() { return Types::type; }
    static const _Caldane_TypeRef& _static_typeref() { return Types::handle.object; }

    friend bool operator==(const Self& a, const Self& b) {
        return static_cast<const _Caldane_TxType&>(a)._equals(b);
    }

private:
    using Types = _Caldane_NamedTypeOf<Self, _Caldane_TypeRef::tk_struct>;
    Described _described() const override { return {&Self::_info(), static_cast<const Self*>(this)}; }
};
