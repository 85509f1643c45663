// SPDX-License-Identifier: MIT
#include "sample_types.h"

namespace Sample {

namespace {

const _Caldane_TypeRegistration registration(Mood::_type(), Receipt::_type(), Everything::_type(),
                                             Tree::_type(), InsufficientFunds::_type(), Reaction::_type());

}  // namespace

const _Caldane_EnumInfo& Mood::_info() {
    static constexpr std::string_view members[] = {"CALM", "NERVOUS", "ANGRY"};
    static constexpr _Caldane_EnumInfo info({"IDL:Sample/Mood:1.0", "Mood", kNamespace}, members);
    return info;
}

const _Caldane_StructInfo& Receipt::_info() {
    static constexpr _Caldane_Member members[] = {
        _Caldane_member<&Receipt::account>("account"),
        _Caldane_member<&Receipt::amount>("amount"),
        _Caldane_member<&Receipt::balance>("balance"),
        _Caldane_member<&Receipt::mood>("mood"),
    };
    static constexpr _Caldane_StructInfo info({"IDL:Sample/Receipt:1.0", "Receipt", kNamespace}, members);
    return info;
}

const _Caldane_StructInfo& Everything::_info() {
    static constexpr _Caldane_Member members[] = {
        _Caldane_member<&Everything::a>("a"), _Caldane_member<&Everything::b>("b"),
        _Caldane_member<&Everything::c>("c"), _Caldane_member<&Everything::d>("d"),
        _Caldane_member<&Everything::e>("e"), _Caldane_member<&Everything::f>("f"),
        _Caldane_member<&Everything::g>("g"), _Caldane_member<&Everything::h>("h"),
    };
    static constexpr _Caldane_StructInfo info({"IDL:Sample/Everything:1.0", "Everything", kNamespace},
                                              members);
    return info;
}

const _Caldane_StructInfo& Nothing::_info() {
    static constexpr _Caldane_StructInfo info({"IDL:Sample/Nothing:1.0", "Nothing", ""});
    return info;
}

const _Caldane_StructInfo& Tree::_info() {
    static constexpr _Caldane_Member members[] = {
        _Caldane_member<&Tree::key>("key"),
        _Caldane_member<&Tree::branches>("branches"),
    };
    static constexpr _Caldane_StructInfo info({"IDL:Sample/Tree:1.0", "Tree", kNamespace}, members);
    return info;
}

const _Caldane_StructInfo& InsufficientFunds::_info() {
    static constexpr _Caldane_Member members[] = {
        _Caldane_member<&InsufficientFunds::balance>("balance"),
        _Caldane_member<&InsufficientFunds::reason>("reason"),
    };
    static constexpr _Caldane_StructInfo info(
        {"IDL:Sample/InsufficientFunds:1.0", "InsufficientFunds", kNamespace}, members);
    return info;
}

const _Caldane_UnionInfo& Reaction::_info() {
    static constexpr std::string_view members[] = {"number", "receipt"};
    static constexpr _Caldane_Case cases[] = {{Mood::CALM, 0}, {Mood::NERVOUS, 1}};
    static constexpr _Caldane_UnionInfo info({"IDL:Sample/Reaction:1.0", "Reaction", kNamespace}, members,
                                             cases);
    return info;
}

const _Caldane_UnionInfo& Choice::_info() {
    static constexpr std::string_view members[] = {"text", "number"};
    static constexpr _Caldane_Case cases[] = {{1, 0}, {2, 0}};
    static constexpr _Caldane_UnionInfo info({"IDL:Sample/Choice:1.0", "Choice", kNamespace}, members, cases,
                                             1);
    return info;
}

}  // namespace Sample
