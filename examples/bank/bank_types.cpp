// SPDX-License-Identifier: MIT
#include "bank.h"

namespace Acme::Bank {

namespace {

constexpr std::string_view kNamespace = "http://acme.example/bank";

constexpr std::string_view kMoodMembers[] = {"CALM", "NERVOUS", "ANGRY"};
constexpr _Caldane_EnumInfo kMood({"IDL:Acme/Bank/Mood:1.0", "Mood", kNamespace}, kMoodMembers);

constexpr _Caldane_Member kReceiptMembers[] = {
    _Caldane_member<&Receipt::account>("account"),
    _Caldane_member<&Receipt::amount>("amount"),
    _Caldane_member<&Receipt::balance>("balance"),
    _Caldane_member<&Receipt::mood>("mood"),
};
constexpr _Caldane_StructInfo kReceipt({"IDL:Acme/Bank/Receipt:1.0", "Receipt", kNamespace}, kReceiptMembers);

constexpr _Caldane_Member kUnknownAccountMembers[] = {
    _Caldane_member<&UnknownAccount::account>("account"),
};
constexpr _Caldane_StructInfo kUnknownAccount({"IDL:Acme/Bank/UnknownAccount:1.0", "UnknownAccount",
                                               kNamespace},
                                              kUnknownAccountMembers);

constexpr _Caldane_Member kInsufficientFundsMembers[] = {
    _Caldane_member<&InsufficientFunds::balance>("balance"),
    _Caldane_member<&InsufficientFunds::reason>("reason"),
};
constexpr _Caldane_StructInfo kInsufficientFunds({"IDL:Acme/Bank/InsufficientFunds:1.0", "InsufficientFunds",
                                                  kNamespace},
                                                 kInsufficientFundsMembers);

}  // namespace

const _Caldane_EnumInfo& Mood::_info() {
    return kMood;
}
const _Caldane_StructInfo& Receipt::_info() {
    return kReceipt;
}
const _Caldane_StructInfo& UnknownAccount::_info() {
    return kUnknownAccount;
}
const _Caldane_StructInfo& InsufficientFunds::_info() {
    return kInsufficientFunds;
}

}  // namespace Acme::Bank
