// SPDX-License-Identifier: MIT
#pragma once

#include <caldane/values.h>

// One value class for each construct of IDL, as generated code would have them.
namespace shapes {

class Color final : public _Caldane_Enum<Color> {
public:
    enum _Value : _Caldane_ULong { RED, GREEN, BLUE };
    Color(_Value initial = RED) : _Caldane_Enum(initial) {}
    friend bool operator==(const Color& a, const Color& b) { return a._equals(b); }
    static const _Caldane_EnumInfo& _info() {
        static constexpr std::string_view kMembers[] = {"RED", "GREEN", "BLUE"};
        static constexpr _Caldane_EnumInfo kInfo{{"IDL:t/Color:1.0", "Color", "urn:t"}, kMembers};
        return kInfo;
    }
};

class Point final : public _Caldane_Struct<Point> {
public:
    _Caldane_Long x = 0;
    _Caldane_Long y = 0;
    static const _Caldane_StructInfo& _info() {
        static constexpr _Caldane_Member kMembers[] = {_Caldane_member<&Point::x>("x"),
                                                       _Caldane_member<&Point::y>("y")};
        static constexpr _Caldane_StructInfo kInfo{{"IDL:t/Point:1.0", "Spot", "urn:t"}, kMembers};
        return kInfo;
    }
};

/// A type without a namespace, and without members.
class Empty final : public _Caldane_Struct<Empty> {
public:
    static const _Caldane_StructInfo& _info() {
        static constexpr _Caldane_StructInfo kInfo{{"IDL:t/Empty:1.0", "Empty", ""}};
        return kInfo;
    }
};

class Choice final : public _Caldane_Union<Choice, Color, _Caldane_Long, _Caldane_String> {
public:
    void m(_Caldane_Long value) { set<0>(value); }
    void s(const _Caldane_String& value) { set<1>(value); }
    const _Caldane_Long* m() const { return get<0>(); }
    const _Caldane_String* s() const { return get<1>(); }
    static const _Caldane_UnionInfo& _info() {
        static constexpr std::string_view kMembers[] = {"m", "s"};
        static constexpr _Caldane_Case kCases[] = {{0, 0}, {1, 1}};
        static constexpr _Caldane_UnionInfo kInfo{{"IDL:t/Choice:1.0", "Choice", "urn:t"}, kMembers, kCases};
        return kInfo;
    }
};

/// A union over a number, with a default member and no namespace.
class Numbered final : public _Caldane_Union<Numbered, _Caldane_Long, _Caldane_Long, double> {
public:
    void three(_Caldane_Long value) { set<0>(value); }
    const _Caldane_Long* three() const { return get<0>(); }
    const double* other() const { return get<1>(); }
    static const _Caldane_UnionInfo& _info() {
        static constexpr std::string_view kMembers[] = {"three", "other"};
        static constexpr _Caldane_Case kCases[] = {{3, 0}};
        static constexpr _Caldane_UnionInfo kInfo{
            {"IDL:t/Numbered:1.0", "Numbered", ""}, kMembers, kCases, 1};
        return kInfo;
    }
};

/// A union that has no member for most of its values.
class Bare final : public _Caldane_Union<Bare, _Caldane_Long, _Caldane_Long> {
public:
    static const _Caldane_UnionInfo& _info() {
        static constexpr std::string_view kMembers[] = {"one"};
        static constexpr _Caldane_Case kCases[] = {{1, 0}};
        static constexpr _Caldane_UnionInfo kInfo{{"IDL:t/Bare:1.0", "Bare", "urn:t"}, kMembers, kCases};
        return kInfo;
    }
};

/// A tree: a struct that holds itself through a sequence.
class Node final : public _Caldane_Struct<Node> {
public:
    _Caldane_Long v = 0;
    _Caldane_Sequence<Node> kids;
    static const _Caldane_StructInfo& _info() {
        static constexpr _Caldane_Member kMembers[] = {_Caldane_member<&Node::v>("v"),
                                                       _Caldane_member<&Node::kids>("kids")};
        static constexpr _Caldane_StructInfo kInfo{{"IDL:t/Node:1.0", "Node", "urn:t"}, kMembers};
        return kInfo;
    }
};

/// A struct with a member of every kind.
class Mixed final : public _Caldane_Struct<Mixed> {
public:
    short s = 0;
    unsigned short us = 0;
    _Caldane_Long l = 0;
    _Caldane_ULong ul = 0;
    float f = 0;
    double d = 0;
    _Caldane_Boolean b = _Caldane_FALSE;
    char c = ' ';
    unsigned char o = 0;
    _Caldane_String str;
    Color color;
    Point point;
    Choice choice;
    _Caldane_Any any;
    _Caldane_Sequence<unsigned char> octets;
    _Caldane_Sequence<_Caldane_String> strings;
    _Caldane_Array<short, 3> shorts;
    static const _Caldane_StructInfo& _info() {
        static constexpr _Caldane_Member kMembers[] = {
            _Caldane_member<&Mixed::s>("s"),           _Caldane_member<&Mixed::us>("us"),
            _Caldane_member<&Mixed::l>("l"),           _Caldane_member<&Mixed::ul>("ul"),
            _Caldane_member<&Mixed::f>("f"),           _Caldane_member<&Mixed::d>("d"),
            _Caldane_member<&Mixed::b>("b"),           _Caldane_member<&Mixed::c>("c"),
            _Caldane_member<&Mixed::o>("o"),           _Caldane_member<&Mixed::str>("str"),
            _Caldane_member<&Mixed::color>("color"),   _Caldane_member<&Mixed::point>("point"),
            _Caldane_member<&Mixed::choice>("choice"), _Caldane_member<&Mixed::any>("any"),
            _Caldane_member<&Mixed::octets>("octets"), _Caldane_member<&Mixed::strings>("strings"),
            _Caldane_member<&Mixed::shorts>("shorts")};
        static constexpr _Caldane_StructInfo kInfo{{"IDL:t/Mixed:1.0", "Mixed", "urn:t"}, kMembers};
        return kInfo;
    }
};

class Failure final : public _Caldane_UserException<Failure> {
public:
    _Caldane_Long balance = 0;
    _Caldane_String reason;
    static const _Caldane_StructInfo& _info() {
        static constexpr _Caldane_Member kMembers[] = {_Caldane_member<&Failure::balance>("balance"),
                                                       _Caldane_member<&Failure::reason>("reason")};
        static constexpr _Caldane_StructInfo kInfo{{"IDL:t/Failure:1.0", "Failure", "urn:t"}, kMembers};
        return kInfo;
    }
};

/// One of the structs that stand for simple types of XML Schema; `Which` tells them apart.
template <class Member, int Which>
class Simple final : public _Caldane_Struct<Simple<Member, Which>> {
public:
    Member value{};
    static const _Caldane_StructInfo& _info() {
        static constexpr std::string_view kIds[] = {"IDL:xsd/base64Binary:1.0", "IDL:xsd/hexBinary:1.0",
                                                    "IDL:xsd/dateTime:1.0", "IDL:xsd/decimal:1.0"};
        static constexpr std::string_view kNames[] = {"base64Binary", "hexBinary", "dateTime", "decimal"};
        static constexpr _Caldane_Member kMembers[] = {_Caldane_member<&Simple::value>("value")};
        static constexpr _Caldane_StructInfo kInfo{
            {kIds[Which], kNames[Which], "http://www.w3.org/2001/XMLSchema"}, kMembers};
        return kInfo;
    }
};
using Base64Binary = Simple<_Caldane_Sequence<unsigned char>, 0>;
using HexBinary = Simple<_Caldane_Sequence<unsigned char>, 1>;
using DateTime = Simple<_Caldane_Long, 2>;
using Decimal = Simple<_Caldane_String, 3>;

}  // namespace shapes
