// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include <caldane/values.h>

// Classes as the IDL compiler would make them, one of each kind.
namespace Sample {

inline constexpr char kNamespace[] = "http://sample.example/types";

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

class Everything final : public _Caldane_Struct<Everything> {
public:
    std::int16_t a = 0;
    std::uint16_t b = 0;
    std::uint32_t c = 0;
    float d = 0;
    double e = 0;
    _Caldane_Boolean f{};
    char g = 0;
    unsigned char h = 0;
    static const _Caldane_StructInfo& _info();
};

class Nothing final : public _Caldane_Struct<Nothing> {
public:
    static const _Caldane_StructInfo& _info();
};

/// Holds values of its own type.
class Tree final : public _Caldane_Struct<Tree> {
public:
    std::int32_t key = 0;
    _Caldane_Sequence<Tree> branches;
    static const _Caldane_StructInfo& _info();
};

class InsufficientFunds final : public _Caldane_UserException<InsufficientFunds> {
public:
    InsufficientFunds() = default;
    InsufficientFunds(std::int32_t initial_balance, _Caldane_String initial_reason)
        : balance(initial_balance), reason(std::move(initial_reason)) {}
    std::int32_t balance = 0;
    _Caldane_String reason;
    static const _Caldane_StructInfo& _info();
};

/// By mood: CALM a number, NERVOUS a receipt, ANGRY no member.
class Reaction final : public _Caldane_Union<Reaction, Mood, std::int32_t, Receipt> {
public:
    const std::int32_t* number() const { return get<0>(); }
    void number(std::int32_t value) { set<0>(value); }
    const Receipt* receipt() const { return get<1>(); }
    void receipt(const Receipt& value) { set<1>(value); }
    static const _Caldane_UnionInfo& _info();
};

/// By number: 1 and 2 a text, any other a number.
class Choice final : public _Caldane_Union<Choice, std::int16_t, _Caldane_String, double> {
public:
    const _Caldane_String* text() const { return get<0>(); }
    void text(const _Caldane_String& value) { set<0>(value); }
    const double* number() const { return get<1>(); }
    void number(double value) { set<1>(value); }
    static const _Caldane_UnionInfo& _info();
};

using Numbers = _Caldane_Sequence<std::int32_t>;
using FewNumbers = _Caldane_Sequence<std::int32_t, 3>;
using Octets = _Caldane_Sequence<unsigned char>;
using Receipts = _Caldane_Sequence<Receipt>;
using Table = _Caldane_Sequence<Numbers>;
using Triple = _Caldane_Array<std::int16_t, 3>;
using Matrix = _Caldane_Array<_Caldane_Array<double, 2>, 2>;

inline Receipt receipt() {
    Receipt made;
    made.account = "alice";
    made.amount = 100;
    made.balance = -5;
    made.mood = Mood::ANGRY;
    return made;
}

}  // namespace Sample
