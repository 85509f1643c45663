// SPDX-License-Identifier: MIT
#include <limits>

#include "case_list.h"

using namespace SOAPInterop;

namespace {

constexpr const InteropTest Targets::*kTarget = &Targets::interop;

template <class Number>
std::vector<Sample<Number>> number_samples() {
    using Limits = std::numeric_limits<Number>;
    std::vector<Sample<Number>> samples = {
        {"zero", 0}, {"ordinary", 42}, {"largest", Limits::max()}, {"least", Limits::lowest()}};
    if constexpr (std::floating_point<Number>) {
        samples.push_back({"fraction", static_cast<Number>(-3.1415926535897932)});
        samples.push_back({"smallest", Limits::min()});
        samples.push_back({"denormal", Limits::denorm_min()});
        samples.push_back({"minus_zero", -Number{}});
        samples.push_back({"infinity", Limits::infinity()});
        samples.push_back({"minus_infinity", -Limits::infinity()});
        samples.push_back({"nan", Limits::quiet_NaN()});
    }
    return samples;
}

std::string every_byte() {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) bytes.push_back(static_cast<char>(byte));
    return bytes;
}

xsd::octets octets(std::string_view bytes) {
    return {bytes.begin(), bytes.end()};
}

template <class Binary>
std::vector<Sample<Binary>> binary_samples() {
    const std::string all = every_byte();
    return {{"empty", Binary(octets(""))},       {"one", Binary(octets("a"))},
            {"two", Binary(octets("ab"))},       {"three", Binary(octets("abc"))},
            {"every_byte", Binary(octets(all))}, {"many", Binary(octets(std::string(100'000, '\xa5')))}};
}

template <class Sequence, class Make>
Sequence filled(std::size_t count, Make make) {
    Sequence made;
    for (std::size_t i = 0; i < count; ++i) made.push_back(make(static_cast<int>(i)));
    return made;
}

template <class Sequence, class Make>
std::vector<Sample<Sequence>> sequence_samples(Make make) {
    return {{"empty", Sequence()},
            {"one", filled<Sequence>(1, make)},
            {"three", filled<Sequence>(3, make)},
            {"many", filled<Sequence>(10'000, make)}};
}

_Caldane_String text_at(int index) {
    return "text " + std::to_string(index) + (index % 3 == 0 ? " <&>" : "");
}

SOAPStruct struct_at(int index) {
    return {text_at(index), index, static_cast<float>(index) / 8};
}

/// A null text comes back as absent or, in a message without types, as empty.
bool is_nothing(const _Caldane_String& text) {
    return text.is_nil() || text.empty();
}

Difference null_member(const Targets& targets) {
    const SOAPStruct sent(_Caldane_String(), 1, 2);
    SOAPStruct got = targets.interop.echoStruct(sent);
    if (is_nothing(got.varString)) got.varString = _Caldane_String();
    return compare(sent, got);
}

Difference null_element(const Targets& targets) {
    const ArrayOfstring sent = {"a", _Caldane_String(), "c"};
    ArrayOfstring got = targets.interop.echoStringArray(sent);
    if (got.size() == 3 && is_nothing(got[1])) got[1] = _Caldane_String();
    return compare(sent, got);
}

void add_texts(CaseList& cases, bool utf8) {
    add_echo(cases, kTarget, "echoString", &InteropTest::echoString, text_samples(utf8));
    ArrayOfstring awkward;
    std::vector<Sample<SOAPStruct>> structs = {{"ordinary", struct_at(5)}};
    for (const auto& sample : text_samples(utf8)) {
        awkward.push_back(sample.value);
        structs.push_back({"text_" + sample.name, SOAPStruct(sample.value, -1, 0.5F)});
    }
    auto arrays = sequence_samples<ArrayOfstring>(&text_at);
    arrays.push_back({"awkward", awkward});
    add_echo(cases, kTarget, "echoStringArray", &InteropTest::echoStringArray, arrays);
    add_echo(cases, kTarget, "echoStruct", &InteropTest::echoStruct, structs);
}

void add_numbers(CaseList& cases) {
    add_echo(cases, kTarget, "echoInteger", &InteropTest::echoInteger, number_samples<std::int32_t>());
    add_echo(cases, kTarget, "echoShort", &InteropTest::echoShort, number_samples<std::int16_t>());
    add_echo(cases, kTarget, "echoUnsignedInt", &InteropTest::echoUnsignedInt,
             number_samples<std::uint32_t>());
    add_echo(cases, kTarget, "echoFloat", &InteropTest::echoFloat, number_samples<float>());
    add_echo(cases, kTarget, "echoDouble", &InteropTest::echoDouble, number_samples<double>());
    add_echo(cases, kTarget, "echoBoolean", &InteropTest::echoBoolean, {{"true", true}, {"false", false}});
    add_echo(cases, kTarget, "echoEnum", &InteropTest::echoEnum,
             {{"red", Color::red}, {"green", Color::green}, {"blue", Color::blue}});
    auto integers = sequence_samples<ArrayOfint>([](int i) { return i * 1000 - 5000; });
    integers.push_back(
        {"extremes",
         {std::numeric_limits<std::int32_t>::min(), 0, std::numeric_limits<std::int32_t>::max()}});
    add_echo(cases, kTarget, "echoIntegerArray", &InteropTest::echoIntegerArray, integers);
    auto floats = sequence_samples<ArrayOffloat>([](int i) { return static_cast<float>(i) / 8; });
    floats.push_back(
        {"infinities", {std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity(), 0}});
    add_echo(cases, kTarget, "echoFloatArray", &InteropTest::echoFloatArray, floats);
}

void add_simple_types(CaseList& cases) {
    add_echo(cases, kTarget, "echoBase64", &InteropTest::echoBase64, binary_samples<xsd::base64Binary>());
    add_echo(cases, kTarget, "echoHexBinary", &InteropTest::echoHexBinary, binary_samples<xsd::hexBinary>());
    using Date = xsd::dateTime;
    add_echo(cases, kTarget, "echoDate", &InteropTest::echoDate,
             {{"epoch", Date(0)},
              {"ordinary", Date(1'000'000'000)},
              {"leap_day", Date(951'782'400)},
              {"before_1970", Date(-1)},
              {"last", Date(std::numeric_limits<std::int32_t>::max())},
              {"first", Date(std::numeric_limits<std::int32_t>::min())}});
    using Decimal = xsd::decimal;
    add_echo(cases, kTarget, "echoDecimal", &InteropTest::echoDecimal,
             {{"ordinary", Decimal("123.45")},
              {"long", Decimal("-123456789012345678901234567890.123456789")},
              {"zero", Decimal("0")}});
}

void add_structures(CaseList& cases) {
    add_echo(cases, kTarget, "echoStructArray", &InteropTest::echoStructArray,
             sequence_samples<ArrayOfSOAPStruct>(&struct_at));
    add_echo(cases, kTarget, "echoNestedStruct", &InteropTest::echoNestedStruct,
             {{"ordinary", SOAPStructStruct("outer", 1, 2.5F, struct_at(3))}});
    add_echo(cases, kTarget, "echoNestedArray", &InteropTest::echoNestedArray,
             {{"ordinary", SOAPArrayStruct("outer", 1, 2.5F, {"a", "b", "<c>"})},
              {"empty", SOAPArrayStruct("", 0, 0, {})},
              {"many", SOAPArrayStruct("many", 1, 1, filled<ArrayOfstring>(10'000, &text_at))}});
    const std::vector<Sample<ArrayOfstring2D>> tables = {{"rectangle", {{"a", "b", "c"}, {"d", "e", "f"}}},
                                                         {"one", {{"only"}}},
                                                         {"uneven", {{"a"}, {"b", "c"}, {"d", "e", "f"}}},
                                                         {"empty", {}},
                                                         {"empty_rows", {{}, {"a"}, {}}},
                                                         {"many", filled<ArrayOfstring2D>(100, [](int i) {
                                                              return filled<ArrayOfstring>(
                                                                  100, [i](int k) { return text_at(i * k); });
                                                          })}};
    add_echo(cases, kTarget, "echo2DStringArray", &InteropTest::echo2DStringArray, tables);
    add_echo(cases, kTarget, "echoStringArrayArray", &InteropTest::echoStringArrayArray, tables);
}

Difference break_up(const Targets& targets, const SOAPStruct& value) {
    SOAPStruct got;
    targets.interop.echoStructAsSimpleTypes(value, got.varString, got.varInt, got.varFloat);
    return compare(value, got);
}

Difference in_and_out(const Targets& targets, const _Caldane_String& text, const _Caldane_String& upper,
                      std::int32_t number, std::int32_t twice) {
    _Caldane_String changed = text;
    std::int32_t got = 0;
    const _Caldane_String result = targets.interop.echoInOut(changed, number, got);
    const _Caldane_String expected = std::string(text.view()) + "/" + std::to_string(number);
    return first_of({compare(expected, result), compare(upper, changed), compare(twice, got)});
}

Difference fault(const Targets& targets, const _Caldane_String& reason) {
    try {
        return {shown(reason), "the result " + shown(targets.interop.raiseFault(reason)), true};
    } catch (const InteropFault& caught) {
        return compare(reason, caught.reason);
    }
}

}  // namespace

void add_interop_cases(CaseList& cases, bool utf8) {
    add_texts(cases, utf8);
    add_numbers(cases);
    add_simple_types(cases);
    add_structures(cases);
    cases.push_back({"echoStruct.null_member", &null_member});
    cases.push_back({"echoStringArray.null_element", &null_element});
    cases.push_back({"echoVoid", [](const Targets& targets) {
                         targets.interop.echoVoid();
                         return Difference();
                     }});
    for (const auto& sample : text_samples(utf8)) {
        const SOAPStruct value(sample.value, 7, -0.25F);
        cases.push_back({"echoStructAsSimpleTypes." + sample.name,
                         [value](const Targets& targets) { return break_up(targets, value); }});
        cases.push_back({"echoSimpleTypesAsStruct." + sample.name, [value](const Targets& targets) {
                             return compare(value, targets.interop.echoSimpleTypesAsStruct(
                                                       value.varString, value.varInt, value.varFloat));
                         }});
        cases.push_back({"raiseFault." + sample.name,
                         [text = sample.value](const Targets& targets) { return fault(targets, text); }});
    }
    cases.push_back({"echoInOut.ordinary", [](const Targets& targets) {
                         return in_and_out(targets, "Some & Text", "SOME & TEXT", 21, 42);
                     }});
    cases.push_back({"echoInOut.extremes", [](const Targets& targets) {
                         return in_and_out(targets, "", "", std::numeric_limits<std::int32_t>::min(), 0);
                     }});
}
