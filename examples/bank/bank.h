// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <utility>

#include <caldane/caldane.h>

namespace Acme::Bank {

class Mood final : public _Caldane_Enum<Mood> {
public:
    enum _Value : _Caldane_ULong { CALM, NERVOUS, ANGRY };

    Mood(_Value initial = CALM) : _Caldane_Enum(initial) {}
    operator _Value() const { return static_cast<_Value>(value_); }

    static const _Caldane_EnumInfo& _info();
};

class Receipt final : public _Caldane_Struct<Receipt> {
public:
    _Caldane_String account;
    std::int32_t amount = 0;
    std::int32_t balance = 0;
    Mood mood;

    static const _Caldane_StructInfo& _info();
};

class UnknownAccount final : public _Caldane_UserException<UnknownAccount> {
public:
    PEL_HEAP_OBJECT
    UnknownAccount() = default;
    explicit UnknownAccount(_Caldane_String account_) : account(std::move(account_)) {}

    _Caldane_String account;

    static const _Caldane_StructInfo& _info();
};

class InsufficientFunds final : public _Caldane_UserException<InsufficientFunds> {
public:
    PEL_HEAP_OBJECT
    InsufficientFunds() = default;
    InsufficientFunds(std::int32_t balance_, _Caldane_String reason_)
        : balance(balance_), reason(std::move(reason_)) {}

    std::int32_t balance = 0;
    _Caldane_String reason;

    static const _Caldane_StructInfo& _info();
};

/// A reference to a teller; calls on it go to the object that it was made for.
class Teller : public Caldane::Reference<Teller> {
public:
    bool exists(const _Caldane_String& account) const;
    std::int32_t deposit(const _Caldane_String& account, std::int32_t amount) const;
    /// Throws UnknownAccount, InsufficientFunds.
    Receipt withdraw(const _Caldane_String& account, std::int32_t amount) const;
    /// Throws UnknownAccount, InsufficientFunds.
    void transfer(const _Caldane_String& source, const _Caldane_String& target, std::int32_t amount,
                  std::int32_t& source_balance, std::int32_t& target_balance) const;
    double convert(double amount, float& rate) const;
    void limits(std::int16_t& a, std::uint16_t& b, std::uint32_t& c, unsigned char& d, char& e,
                bool& f) const;
    void echo(const _Caldane_String& text, _Caldane_String& copy) const;
    void note(const _Caldane_String& text) const;
    std::int32_t sleep(std::int32_t milliseconds) const;
};

/// Base of the servants that tellers refer to.
class POA_Teller : public _Caldane_ImplBase {
public:
    virtual bool exists(const _Caldane_String& account) = 0;
    virtual std::int32_t deposit(const _Caldane_String& account, std::int32_t amount) = 0;
    virtual Receipt withdraw(const _Caldane_String& account, std::int32_t amount) = 0;
    virtual void transfer(const _Caldane_String& source, const _Caldane_String& target, std::int32_t amount,
                          std::int32_t& source_balance, std::int32_t& target_balance) = 0;
    virtual double convert(double amount, float& rate) = 0;
    virtual void limits(std::int16_t& a, std::uint16_t& b, std::uint32_t& c, unsigned char& d, char& e,
                        bool& f) = 0;
    virtual void echo(const _Caldane_String& text, _Caldane_String& copy) = 0;
    virtual void note(const _Caldane_String& text) = 0;
    virtual std::int32_t sleep(std::int32_t milliseconds) = 0;

    const Caldane::OperationTable& _operations() const override;
};

}  // namespace Acme::Bank
