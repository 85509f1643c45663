// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <new>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>

#include <caldane/addressable.h>
#include <caldane/idl_types.h>
#include <caldane/transport_stream.h>
#include <caldane/value_support.h>

/// A discriminator value and the index of the member it selects.
struct _Caldane_Case {
    _Caldane_Long label;
    _Caldane_ULong member;
};

/// What generated code tells of a union, as constant data.
struct _Caldane_UnionInfo : _Caldane_TypeInfo {
    static constexpr _Caldane_ULong kNoDefault = 0xFFFFFFFF;

    const std::string_view* members = nullptr;
    _Caldane_ULong count = 0;
    const _Caldane_Case* cases = nullptr;
    std::size_t case_count = 0;
    _Caldane_ULong default_member = kNoDefault;

    template <std::size_t Members, std::size_t Cases>
    constexpr _Caldane_UnionInfo(const _Caldane_TypeInfo& type, const std::string_view (&names)[Members],
                                 const _Caldane_Case (&labels)[Cases],
                                 _Caldane_ULong default_index = kNoDefault)
        : _Caldane_TypeInfo(type),
          members(names),
          count(Members),
          cases(labels),
          case_count(Cases),
          default_member(default_index) {}

    /// All discriminators select the one member.
    template <std::size_t Members>
    constexpr _Caldane_UnionInfo(const _Caldane_TypeInfo& type, const std::string_view (&names)[Members],
                                 _Caldane_ULong default_index)
        : _Caldane_TypeInfo(type), members(names), count(Members), default_member(default_index) {}

    /// The index of the member that a discriminator selects; the number of members if none is.
    _Caldane_ULong select(_Caldane_Long discriminator) const;
    /// The first label of a member; 0 for the default member.
    _Caldane_Long label_of(_Caldane_ULong member) const;
};

/// Base of the class of an IDL union: a discriminator, and the one member that it selects. `Discriminator` is
/// an integer, boolean or char type, or an enum class; `Members` are the types of the members in IDL order.
///
///     class Shape final : public _Caldane_Union<Shape, ShapeKind, double, Box> {
///     public:
///         const double* radius() const { return get<0>(); }      // null if another member is selected
///         void radius(double value) { set<0>(value); }           // selects it by its first label
///         const Box* box() const { return get<1>(); }
///         void box(const Box& value) { set<1>(value); }
///         static const _Caldane_UnionInfo& _info();
///     };
template <class Self, class Discriminator, class... Members>
class _Caldane_Union : public _Caldane_AddressableUnion {
public:
    using _Caldane_AddressableUnion::discriminator;

    void discriminator(_Caldane_Long value) override {
        discriminator_ = value;
        select(Self::_info().select(value));
    }
    /// The same for discriminators that are enumerations.
    template <class Value, class Enum = Discriminator>
    requires std::convertible_to<Value, typename Enum::_Value>
    void discriminator(const Value& value) {
        discriminator(static_cast<_Caldane_Long>(static_cast<typename Enum::_Value>(value)));
    }
    _Caldane_Long discriminator() const override { return discriminator_; }
    _Caldane_AnyConstRef active_member() const override { return active(); }
    _Caldane_String repository_id() const override { return _Caldane_String::constant(Self::_info().id); }
    _Caldane_String type_name() const override { return _Caldane_String::constant(Self::_info().name); }
    _Caldane_String type_namespace() const override {
        return _Caldane_String::constant(Self::_info().name_space);
    }
    const _Caldane_TypeRef& discriminator_type() const override {
        return _Caldane_typeref_of<Discriminator>();
    }
    _Caldane_String member_name(_Caldane_ULong index) const override {
        const _Caldane_UnionInfo& info = Self::_info();
        return _Caldane_String::constant(index < info.count ? info.members[index] : std::string_view(""));
    }
    _Caldane_ULong active_index() const override {
        return value_.index() == 0 ? static_cast<_Caldane_ULong>(sizeof...(Members))
                                   : static_cast<_Caldane_ULong>(value_.index() - 1);
    }
    _Caldane_Boolean demarshal_member(_Caldane_ULong index, _Caldane_Transport_InStream& in) override {
        if (index >= sizeof...(Members) || index != active_index()) return _Caldane_FALSE;
        return active()._demarshal(in);
    }

    _Caldane_Boolean _marshal(_Caldane_Transport_OutStream& out) const override;
    _Caldane_Boolean _demarshal(_Caldane_Transport_InStream& in) override;
    const _Caldane_TypeRef& _get_typeref() const override { return _static_typeref(); }
    _Caldane_Boolean _convert_from(_Caldane_AnyConstRef source) override {
        return _Caldane_assign_from(static_cast<Self&>(*this), source);
    }
    _Caldane_AnyRef _clone() const override { return _Caldane_clone_by_type(*this); }

    static _Caldane_IDL_Type& _type() { return Types::type; }
    static const _Caldane_TypeRef& _static_typeref() { return Types::handle.object; }

    friend bool operator==(const Self& a, const Self& b) {
        return static_cast<const _Caldane_TxType&>(a)._equals(b);
    }

protected:
    _Caldane_Union() { discriminator(0); }
    // Not inline: copies of a variant are much code.
    [[gnu::noinline]] _Caldane_Union(const _Caldane_Union& other)
        : _Caldane_AddressableUnion(other), discriminator_(other.discriminator_), value_(other.value_) {}
    [[gnu::noinline]] _Caldane_Union(_Caldane_Union&& other) noexcept
        : _Caldane_AddressableUnion(std::move(other)),
          discriminator_(other.discriminator_),
          value_(std::move(other.value_)) {}
    [[gnu::noinline]] _Caldane_Union& operator=(const _Caldane_Union& other) {
        _Caldane_AddressableUnion::operator=(other);
        value_ = other.value_;
        discriminator_ = other.discriminator_;
        return *this;
    }
    [[gnu::noinline]] _Caldane_Union& operator=(_Caldane_Union&& other) noexcept {
        _Caldane_AddressableUnion::operator=(std::move(other));
        value_ = std::move(other.value_);
        discriminator_ = other.discriminator_;
        return *this;
    }
    [[gnu::noinline]] ~_Caldane_Union() override {}

    template <std::size_t Index>
    auto get() const {
        return std::get_if<Index + 1>(&value_);
    }
    template <std::size_t Index, class Value>
    void set(const Value& value) {
        value_.template emplace<Index + 1>(value);
        if (const _Caldane_UnionInfo& info = Self::_info(); info.select(discriminator_) != Index) {
            discriminator_ = info.label_of(Index);
        }
    }

private:
    using Types = _Caldane_NamedTypeOf<Self, _Caldane_TypeRef::tk_union>;
    using Held = std::variant<std::monostate, Members...>;

    void select(_Caldane_ULong index) {
        if (index == active_index()) return;
        value_.template emplace<0>();
        select_from(index, std::index_sequence_for<Members...>());
    }
    template <std::size_t... Index>
    void select_from(_Caldane_ULong index, std::index_sequence<Index...>) {
        ((index == Index ? static_cast<void>(value_.template emplace<Index + 1>()) : void()), ...);
    }
    template <std::size_t... Index>
    _Caldane_AnyRef active_from(std::index_sequence<Index...>) const {
        _Caldane_AnyConstRef found;
        ((value_.index() == Index + 1 ? static_cast<void>(found = *get<Index>()) : void()), ...);
        return found.cast_away_constness();
    }
    _Caldane_AnyRef active() const { return active_from(std::index_sequence_for<Members...>()); }

    _Caldane_Long discriminator_ = 0;
    Held value_;
};

namespace Caldane::detail {

template <class Discriminator>
Discriminator discriminator_from(_Caldane_Long value) {
    if constexpr (std::derived_from<Discriminator, _Caldane_AddressableEnum>) {
        Discriminator made;
        static_cast<_Caldane_AddressableEnum&>(made).value(static_cast<_Caldane_ULong>(value));
        return made;
    } else {
        return static_cast<Discriminator>(value);
    }
}

template <class Discriminator>
_Caldane_Long discriminator_number(const Discriminator& value) {
    if constexpr (std::derived_from<Discriminator, _Caldane_AddressableEnum>) {
        return static_cast<_Caldane_Long>(static_cast<const _Caldane_AddressableEnum&>(value).value());
    } else {
        return static_cast<_Caldane_Long>(value);
    }
}

}  // namespace Caldane::detail

template <class Self, class Discriminator, class... Members>
_Caldane_Boolean _Caldane_Union<Self, Discriminator, Members...>::_marshal(
    _Caldane_Transport_OutStream& out) const {
    const auto value = Caldane::detail::discriminator_from<Discriminator>(discriminator_);
    if (out.marshal(value) == _Caldane_FALSE) return _Caldane_FALSE;
    return active_member()._marshal(out);
}

template <class Self, class Discriminator, class... Members>
_Caldane_Boolean _Caldane_Union<Self, Discriminator, Members...>::_demarshal(
    _Caldane_Transport_InStream& in) {
    auto value = Caldane::detail::discriminator_from<Discriminator>(0);
    if (in.demarshal(value) == _Caldane_FALSE) return _Caldane_FALSE;
    try {
        discriminator(Caldane::detail::discriminator_number(value));
    } catch (const std::bad_alloc&) {
        return _Caldane_FALSE;
    }
    return active()._demarshal(in);
}
