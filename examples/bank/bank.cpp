// SPDX-License-Identifier: MIT
#include "bank.h"

#include <caldane/caldane.h>

namespace Acme::Bank {

namespace {

constexpr char kTeller[] = "IDL:Acme/Bank/Teller:1.0";
using Caldane::in;
using Caldane::inout;
using Caldane::out;

}  // namespace

bool Teller::exists(const _Caldane_String& account) const {
    static const Caldane::Operation operation("exists", kTeller);
    return Caldane::call<bool>(*this, operation, in("account", account));
}

std::int32_t Teller::deposit(const _Caldane_String& account, std::int32_t amount) const {
    static const Caldane::Operation operation("deposit", kTeller);
    return Caldane::call<std::int32_t>(*this, operation, in("account", account), in("amount", amount));
}

Receipt Teller::withdraw(const _Caldane_String& account, std::int32_t amount) const {
    static const Caldane::Operation operation("withdraw", kTeller,
                                              Caldane::raises<UnknownAccount, InsufficientFunds>);
    return Caldane::call<Receipt>(*this, operation, in("account", account), in("amount", amount));
}

void Teller::transfer(const _Caldane_String& source, const _Caldane_String& target, std::int32_t amount,
                      std::int32_t& source_balance, std::int32_t& target_balance) const {
    static const Caldane::Operation operation("transfer", kTeller,
                                              Caldane::raises<UnknownAccount, InsufficientFunds>);
    Caldane::call<void>(*this, operation, in("source", source), in("target", target), in("amount", amount),
                        out("source_balance", source_balance), out("target_balance", target_balance));
}

double Teller::convert(double amount, float& rate) const {
    static const Caldane::Operation operation("convert", kTeller);
    return Caldane::call<double>(*this, operation, in("amount", amount), inout("rate", rate));
}

void Teller::limits(std::int16_t& a, std::uint16_t& b, std::uint32_t& c, unsigned char& d, char& e,
                    bool& f) const {
    static const Caldane::Operation operation("limits", kTeller);
    Caldane::call<void>(*this, operation, out("a", a), out("b", b), out("c", c), out("d", d), out("e", e),
                        out("f", f));
}

void Teller::echo(const _Caldane_String& text, _Caldane_String& copy) const {
    static const Caldane::Operation operation("echo", kTeller);
    Caldane::call<void>(*this, operation, in("text", text), out("copy", copy));
}

void Teller::note(const _Caldane_String& text) const {
    static const Caldane::Operation operation("note", kTeller, {}, Caldane::Operation::ONE_WAY);
    Caldane::call<void>(*this, operation, in("text", text));
}

std::int32_t Teller::sleep(std::int32_t milliseconds) const {
    static const Caldane::Operation operation("sleep", kTeller);
    return Caldane::call<std::int32_t>(*this, operation, in("milliseconds", milliseconds));
}

const Caldane::OperationTable& POA_Teller::_operations() const {
    using enum _Caldane_Parameter::Direction;
    constexpr Caldane::Raises kMoneyErrors = Caldane::raises<UnknownAccount, InsufficientFunds>;
    static const Caldane::OperationTable table(
        kTeller, {
                     Caldane::method<&POA_Teller::exists>("exists", {{"account", IN}}),
                     Caldane::method<&POA_Teller::deposit>("deposit", {{"account", IN}, {"amount", IN}}),
                     Caldane::method<&POA_Teller::withdraw>("withdraw", {{"account", IN}, {"amount", IN}},
                                                            kMoneyErrors),
                     Caldane::method<&POA_Teller::transfer>("transfer",
                                                            {{"source", IN},
                                                             {"target", IN},
                                                             {"amount", IN},
                                                             {"source_balance", OUT},
                                                             {"target_balance", OUT}},
                                                            kMoneyErrors),
                     Caldane::method<&POA_Teller::convert>("convert", {{"amount", IN}, {"rate", INOUT}}),
                     Caldane::method<&POA_Teller::limits>(
                         "limits", {{"a", OUT}, {"b", OUT}, {"c", OUT}, {"d", OUT}, {"e", OUT}, {"f", OUT}}),
                     Caldane::method<&POA_Teller::echo>("echo", {{"text", IN}, {"copy", OUT}}),
                     Caldane::method<&POA_Teller::note>("note", {{"text", IN}}),
                     Caldane::method<&POA_Teller::sleep>("sleep", {{"milliseconds", IN}}),
                 });
    return table;
}

}  // namespace Acme::Bank
