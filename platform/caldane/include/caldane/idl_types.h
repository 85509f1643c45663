// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <string_view>

#include <caldane/boolean.h>
#include <caldane/type_ref.h>

/// An IDL type. Those of the language and of generated code live as long as the process and never change;
/// those made from a message live as long as the handles (`_Caldane_TypeRef`) to them.
class _Caldane_IDL_BaseType {
public:
    using Kind = _Caldane_TypeRef::_ENUM_TCKind;

    /// Reads the type's parameters: an array type its length as an unsigned long, then its element type as a
    /// `tk_TypeCode` value. Types without parameters ask nothing. 0 for failure.
    virtual _Caldane_Boolean demarshal_parameters(_Caldane_Transport_InStream& in);
    /// Local name, and the namespace it is registered in; empty for types without a name.
    virtual std::string_view name() const;
    virtual std::string_view name_space() const;
    virtual std::string_view repository_id() const;
    /// A new value of the type on the heap with its initial content; null for primitives, for types without
    /// values, and when memory ends.
    virtual _Caldane_TxType* _new_value();
    virtual void _add_ref();
    virtual void _release();

    Kind kind() const { return kind_; }

    /// The registered type of that local name in that namespace, or null. Safe for any thread, without an
    /// allocation.
    static _Caldane_IDL_BaseType* search(const _Caldane_String& name, const _Caldane_String& name_space);

    /// Makes a type known to `search`. It must live as long as the process. Of two with the same name the
    /// first counts. Nothing for a type without a name. May be called from static initialisers.
    static void enter(_Caldane_IDL_BaseType& type);

protected:
    constexpr explicit _Caldane_IDL_BaseType(Kind kind) noexcept : kind_(kind) {}
    ~_Caldane_IDL_BaseType() = default;
    _Caldane_IDL_BaseType(const _Caldane_IDL_BaseType&) = delete;
    _Caldane_IDL_BaseType& operator=(const _Caldane_IDL_BaseType&) = delete;

private:
    Kind kind_;
};

/// What generated code tells of a named type, as constant data.
struct _Caldane_TypeInfo {
    std::string_view id;          ///< repository id: IDL:Acme/Bank/Receipt:1.0
    std::string_view name;        ///< local name
    std::string_view name_space;  ///< XML namespace, may be empty
};

/// A type of the language, or one of generated code.
class _Caldane_IDL_Type final : public _Caldane_IDL_BaseType {
public:
    using Describe = const _Caldane_TypeInfo& (*)();
    using Make = _Caldane_TxType* (*)();

    /// Both may be null: no name, no values.
    constexpr _Caldane_IDL_Type(Kind kind, Describe describe, Make make) noexcept
        : _Caldane_IDL_BaseType(kind), describe_(describe), make_(make) {}

    std::string_view name() const override;
    std::string_view name_space() const override;
    std::string_view repository_id() const override;
    _Caldane_TxType* _new_value() override;

private:
    Describe describe_;
    Make make_;
};

/// What generated code tells of an enum.
struct _Caldane_EnumInfo : _Caldane_TypeInfo {
    const std::string_view* members = nullptr;
    _Caldane_ULong count = 0;

    template <std::size_t N>
    constexpr _Caldane_EnumInfo(const _Caldane_TypeInfo& type, const std::string_view (&names)[N])
        : _Caldane_TypeInfo(type), members(names), count(N) {}
    constexpr _Caldane_EnumInfo(const _Caldane_TypeInfo& type, const std::string_view* names,
                                _Caldane_ULong name_count)
        : _Caldane_TypeInfo(type), members(names), count(name_count) {}
};

/// An enum type: knows the names of its members.
class _Caldane_IDL_EnumType : public _Caldane_IDL_BaseType {
public:
    using Describe = const _Caldane_EnumInfo& (*)();
    using Make = _Caldane_TxType* (*)();

    constexpr _Caldane_IDL_EnumType(Describe describe, Make make) noexcept
        : _Caldane_IDL_BaseType(_Caldane_TypeRef::tk_enum), describe_(describe), make_(make) {}

    /// The enum type that `type` is, null if it is none.
    static const _Caldane_IDL_EnumType* narrow(const _Caldane_IDL_BaseType& type);

    _Caldane_ULong member_count() const;
    /// The name of a member, which lives as long as the type; an empty one beyond the last.
    const _Caldane_String& member_name(_Caldane_ULong index) const;

    std::string_view name() const override;
    std::string_view name_space() const override;
    std::string_view repository_id() const override;
    _Caldane_TxType* _new_value() override;

protected:
    virtual const _Caldane_EnumInfo& info() const { return describe_(); }
    /// For a type that does not live as long as the process.
    void drop_names();

private:
    Describe describe_;
    Make make_;
    mutable std::atomic<const _Caldane_String*> names_{nullptr};
};

/// Enters types into the registry when it is constructed; a constant of generated code.
class _Caldane_TypeRegistration {
public:
    template <class... Types>
    explicit _Caldane_TypeRegistration(Types&... types) {
        (_Caldane_IDL_BaseType::enter(types), ...);
    }
};
