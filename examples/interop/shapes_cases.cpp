// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdint>
#include <limits>

#include "case_list.h"
#include "shapes_impl.h"

using namespace Figures;

namespace {

constexpr const Shapes Targets::*kTarget = &Targets::shapes;

Shape circle(double radius) {
    Shape made;
    made.radius(radius);
    return made;
}

Shape labelled(Kind kind, std::string_view label) {
    Shape made;
    made.discriminator(kind);
    made.label(label);
    return made;
}

std::vector<Sample<Shape>> shape_samples() {
    Shape rectangle;
    rectangle.corners(Box(0.0, 1.0, -2.5, 1e300));
    Shape polygon;
    polygon.points({Point(0, 0), Point(1, 1), Point(-1, 0.1)});
    Shape no_points;
    no_points.points({});
    return {{"first_member", circle(2.5)},
            {"array_member", rectangle},
            {"sequence_member", polygon},
            {"empty_sequence_member", no_points},
            {"default_member", labelled(Kind::text, "a <label>")},
            {"default_of_another_label", labelled(Kind::unknown, "")}};
}

ShapeList shape_list() {
    ShapeList list;
    for (const auto& sample : shape_samples()) list.push_back(sample.value);
    return list;
}

Node tree_of(int depth, int width) {
    Node node("depth " + std::to_string(depth), {});
    for (int i = 0; depth > 0 && i < width; ++i) node.children.push_back(tree_of(depth - 1, width));
    return node;
}

Grid grid_from(std::int32_t first) {
    Grid grid;
    for (auto& row : grid) {
        for (auto& cell : row) cell = first++;
    }
    return grid;
}

Drawing drawing() {
    Drawing made;
    made.title = "Drawing & more";
    made.style = Style("thick", '<', 255, _Caldane_TRUE, Kind::polygon);
    made.origin = Point(-1, 1);
    made.shapes = shape_list();
    made.grid = grid_from(-3);
    made.rows = {{1, 2, 3}, {}, {-32768, 32767}};
    made.extra = std::int32_t{5};
    return made;
}

template <class Bytes>
Bytes bytes(std::size_t count) {
    Bytes made;
    for (std::size_t i = 0; i < count; ++i) made.push_back(static_cast<unsigned char>(i * 7 + i / 256));
    return made;
}

_Caldane_Object reference_to(const char* url) {
    return Caldane::string_to_object(url);
}

void add_small_values(CaseList& cases) {
    add_echo(cases, kTarget, "echoKind", &Shapes::echoKind,
             {{"first", Kind::circle}, {"last", Kind::unknown}});
    add_echo(cases, kTarget, "echoChar", &Shapes::echoChar,
             {{"letter", 'a'}, {"blank", ' '}, {"less", '<'}, {"quote", '"'}, {"ampersand", '&'}});
    add_echo(cases, kTarget, "echoOctet", &Shapes::echoOctet,
             std::vector<Sample<unsigned char>>{{"zero", 0}, {"highest", 255}});
    add_echo(cases, kTarget, "echoUnsignedShort", &Shapes::echoUnsignedShort,
             std::vector<Sample<std::uint16_t>>{{"zero", 0}, {"highest", 65535}});
    add_echo(cases, kTarget, "echoLabel", &Shapes::echoLabel,
             {{"ordinary", Label("label")}, {"empty", Label("")}, {"full", Label("16 bytes & no <>")}});
    add_echo(cases, kTarget, "echoPoint", &Shapes::echoPoint,
             {{"ordinary", Point(1.5, -2.25)}, {"extremes", Point(1.7976931348623157e308, 5e-324)}});
    Numbers low(-32768, std::numeric_limits<std::int32_t>::min(), 0, 0, -3.4028234e38F, -1e308,
                _Caldane_FALSE, ' ', 0);
    Numbers high(32767, std::numeric_limits<std::int32_t>::max(), 65535, 4294967295U, 1e-45F, 1e308,
                 _Caldane_TRUE, '~', 255);
    add_echo(cases, kTarget, "echoNumbers", &Shapes::echoNumbers, {{"low", low}, {"high", high}});
}

void add_arrays(CaseList& cases) {
    add_echo(cases, kTarget, "echoBox", &Shapes::echoBox, {{"ordinary", Box(1.0, -2.0, 0.1, 1e-300)}});
    add_echo(cases, kTarget, "echoGrid", &Shapes::echoGrid, {{"zeros", Grid()}, {"ordinary", grid_from(-3)}});
    Names names;
    names[0] = "first <&>";
    names[1] = "";
    add_echo(cases, kTarget, "echoNames", &Shapes::echoNames, {{"ordinary", names}});
    Digest digest;
    for (std::size_t i = 0; i < digest.size(); ++i) digest[i] = static_cast<unsigned char>(255 - i * 17);
    add_echo(cases, kTarget, "echoDigest", &Shapes::echoDigest, {{"zeros", Digest()}, {"ordinary", digest}});
}

void add_sequences(CaseList& cases) {
    std::vector<Sample<Octets>> octets;
    for (const std::size_t count : {0U, 1U, 2U, 3U, 4U, 1000U, 100'000U, 1U << 20}) {
        octets.push_back({std::to_string(count), bytes<Octets>(count)});
    }
    add_echo(cases, kTarget, "echoOctets", &Shapes::echoOctets, octets);
    add_echo(cases, kTarget, "echoOctets8", &Shapes::echoOctets8,
             {{"empty", Octets8()}, {"full", bytes<Octets8>(8)}});
    add_echo(cases, kTarget, "echoRow", &Shapes::echoRow, {{"empty", Row()}, {"full", Row{1, -2, 3, -4}}});
    add_echo(cases, kTarget, "echoRows", &Shapes::echoRows,
             {{"empty", Rows()},
              {"even", Rows{{1, 2}, {3, 4}, {5, 6}}},
              {"uneven", Rows{{1}, {2, 3, 4, 5}, {}, {6}}}});
    const Points line = {Point(0, 0), Point(1, 2)};
    add_echo(
        cases, kTarget, "echoOutlines", &Shapes::echoOutlines,
        {{"empty", Outlines()}, {"even", Outlines{line, line}}, {"uneven", Outlines{line, {}, {line[1]}}}});
    add_echo(cases, kTarget, "echoKinds", &Shapes::echoKinds,
             {{"empty", Kinds()}, {"several", Kinds{Kind::unknown, Kind::circle, Kind::text}}});
    add_echo(cases, kTarget, "echoFlags", &Shapes::echoFlags,
             {{"empty", Flags()}, {"several", Flags{_Caldane_TRUE, _Caldane_FALSE, _Caldane_TRUE}}});
    add_echo(cases, kTarget, "echoCounts", &Shapes::echoCounts, {{"several", Counts{0, 1, 65535}}});
    add_echo(cases, kTarget, "echoDoubles", &Shapes::echoDoubles,
             {{"empty", Doubles()},
              {"several", Doubles{0.1, -1e300, std::numeric_limits<double>::infinity()}},
              {"many", Doubles(10'000, 1.0 / 3)}});
}

void add_structures(CaseList& cases) {
    add_echo(cases, kTarget, "echoShape", &Shapes::echoShape, shape_samples());
    add_echo(cases, kTarget, "echoShapeList", &Shapes::echoShapeList,
             {{"empty", ShapeList()}, {"every_member", shape_list()}});
    ByNumber name;
    name.name("by its first label");
    ByNumber other_label = name;
    other_label.discriminator(2);
    ByNumber at;
    at.at(Point(1, 2));
    add_echo(cases, kTarget, "echoByNumber", &Shapes::echoByNumber,
             {{"first_label", name}, {"second_label", other_label}, {"negative_label", at}});
    ByFlag number;
    number.number(-1);
    ByFlag shape;
    shape.shape(circle(1));
    add_echo(cases, kTarget, "echoByFlag", &Shapes::echoByFlag, {{"true", number}, {"false", shape}});
    add_echo(cases, kTarget, "echoNode", &Shapes::echoNode,
             {{"leaf", Node("leaf", {})}, {"wide", tree_of(2, 30)}, {"deep", tree_of(60, 1)}});
    add_echo(cases, kTarget, "echoDrawing", &Shapes::echoDrawing, {{"ordinary", drawing()}});
    const Stamps stamps(xsd::base64Binary(bytes<xsd::octets>(100)), xsd::hexBinary(bytes<xsd::octets>(7)),
                        xsd::dateTime(1'234'567'890), xsd::decimal("-0.5"));
    add_echo(cases, kTarget, "echoStamps", &Shapes::echoStamps, {{"ordinary", stamps}});
    add_echo(cases, kTarget, "echoTimes", &Shapes::echoTimes,
             {{"empty", Times()}, {"several", Times{xsd::dateTime(0), xsd::dateTime(86'399)}}});
}

void add_anys(CaseList& cases) {
    const std::vector<Sample<_Caldane_Any>> samples = {
        {"short", std::int16_t{-5}},
        {"long", std::int32_t{-70'000}},
        {"unsigned_short", std::uint16_t{65'535}},
        {"unsigned_long", std::uint32_t{4'000'000'000U}},
        {"float", 1.5F},
        {"double", -0.1},
        {"boolean", _Caldane_TRUE},
        {"octet", static_cast<unsigned char>(200)},
        {"char", 'c'},
        {"string", "text <&>"},
        {"struct", Style("label", 'm', 1, _Caldane_FALSE, Kind::text)},
        {"union", circle(0.5)},
        {"struct_of_structs", drawing()},
        {"array_of_long", SOAPInterop::ArrayOfint{1, -2, 3}},
        {"array_of_string", SOAPInterop::ArrayOfstring{"a", "", "<c>"}},
        {"array_of_struct", SOAPInterop::ArrayOfSOAPStruct{{"a", 1, 0.5F}, {"b", 2, 0.25F}}},
        {"array_of_double", Doubles{0.1, 1e300}},
        {"even_rows", Rows{{1, 2}, {3, 4}}},
        {"uneven_rows", Rows{{1}, {2, 3}}},
    };
    add_echo(cases, kTarget, "echoAny", &Shapes::echoAny, samples);
}

Difference send_references(const Targets& targets) {
    const _Caldane_Object given = reference_to("http://127.0.0.1:1/some/where");
    _Caldane_Object other = targets.shapes;
    Shapes made;
    targets.shapes.references(given, other, made);
    if (other.url() != given.url()) return {given.url(), other.url(), true};
    // The reference that came back leads to the same object.
    const std::int32_t before = targets.shapes.count();
    const std::int32_t next = made.next();
    return compare(before + 1, next);
}

Difference narrow(const Targets& targets) {
    _Caldane_Object other = targets.shapes;
    Shapes made;
    targets.shapes.references(targets.shapes, other, made);
    const bool base = !Counter::_narrow(made)._is_nil();
    const bool own = !Shapes::_narrow(made)._is_nil();
    const bool foreign = !SOAPInterop::InteropTest::_narrow(made)._is_nil();
    const bool asked = targets.shapes._is_a("IDL:Figures/Counter:1.0");
    return first_of({compare(true, base), compare(true, own), compare(false, foreign), compare(true, asked)});
}

Difference turn_plain(const Targets& targets) {
    Numbers sent(-100, 1'000'000, 300, 3, 0.5F, -0.25, _Caldane_FALSE, 'x', 100);
    Numbers got = sent;
    bool flag = false;
    _Caldane_String text = "abc <def>";
    Label label("label");
    targets.shapes.turnPlain(got.a, got.b, got.c, got.d, got.e, got.f, flag, got.h, got.i, text, label);
    got.g = static_cast<_Caldane_Boolean>(flag);
    const Numbers expected(-200, 2'000'000, 600, 6, 1.0F, -0.5, _Caldane_TRUE, 'X', 200);
    return first_of({compare(expected, got), compare(_Caldane_String(">fed< cba"), text),
                     compare(Label("lebal"), label)});
}

Difference turn(const Targets& targets) {
    Kind kind = Kind::text;
    Points points = {Point(1, 2), Point(3, 4)};
    Grid grid = grid_from(10);
    Shape shape = shape_samples()[2].value;
    Node tree("root", {Node("a", {}), Node("b", {})});
    _Caldane_Any extra(labelled(Kind::text, "more"));
    Octets octets = bytes<Octets>(10);
    Rows rows = {{1, 2}, {3, 4}};
    Drawing drawn = drawing();
    targets.shapes.turn(kind, points, grid, shape, tree, extra, octets, rows, drawn);
    Octets turned = bytes<Octets>(10);
    std::reverse(turned.begin(), turned.end());
    Drawing expected = drawing();
    std::reverse(expected.rows.begin(), expected.rows.end());
    std::reverse(expected.shapes.begin(), expected.shapes.end());
    return first_of({compare(Kind(Kind::text), kind), compare(Points{Point(3, 4), Point(1, 2)}, points),
                     compare(grid_from(10), grid), compare(shape_samples()[2].value, shape),
                     compare(Node("root", {Node("b", {}), Node("a", {})}), tree),
                     compare(_Caldane_Any(labelled(Kind::text, "more")), extra), compare(turned, octets),
                     compare(Rows{{3, 4}, {1, 2}}, rows), compare(expected, drawn)});
}

Difference fail(const Targets& targets, std::int32_t seed) {
    try {
        targets.shapes.fail(seed);
    } catch (const Nothing&) {
        return compare(0, seed);
    } catch (const Everything& caught) {
        return compare(everything_from(seed), caught);
    }
    return {std::to_string(seed), "no exception", true};
}

Difference attributes(const Targets& targets) {
    targets.shapes.title("A <new> title");
    targets.shapes.preferred(Kind::polygon);
    return first_of({compare(_Caldane_String("A <new> title"), targets.shapes.title()),
                     compare(Kind(Kind::polygon), targets.shapes.preferred())});
}

/// Calls under way at the same time, with every kind of outcome.
Difference asynchronous(const Targets& targets) {
    auto label = targets.shapes.echoLabel_async("label");
    auto turned = targets.shapes.turnPlain_async(1, 2, 3, 4, 5, 6, true, 'a', 7, "abc", "de");
    auto failure = targets.shapes.fail_async(5);
    auto none = targets.shapes.fail_async(0);
    const auto [a, b, c, d, e, f, g, h, i, j, k] = turned.get();
    const Numbers got(a, b, c, d, e, f, static_cast<_Caldane_Boolean>(g), h, i);
    const Difference first = first_of(
        {compare(Label("label"), label.get()), compare(_Caldane_String("cba"), j),
         compare(Numbers(2, 4, 6, 8, 10, 12, _Caldane_FALSE, 'A', 14), got), compare(Label("ed"), k)});
    if (first.found) return first;
    try {
        failure.get();
    } catch (const Everything& caught) {
        if (caught != everything_from(5)) return compare(everything_from(5), caught);
    }
    try {
        none.get();
    } catch (const Nothing&) {
        return {};
    }
    return {"0", "no exception", true};
}

Difference nudge(const Targets& targets) {
    const std::int32_t before = targets.shapes.count();
    targets.shapes.nudge("go on");
    return compare(before + 2, targets.shapes.next());
}

}  // namespace

void add_shapes_cases(CaseList& cases, bool encoded) {
    add_small_values(cases);
    add_arrays(cases);
    add_sequences(cases);
    add_structures(cases);
    add_anys(cases);
    cases.push_back({"references.round_trip", &send_references});
    cases.push_back({"references.narrow", &narrow});
    cases.push_back({"turnPlain", &turn_plain});
    cases.push_back({"turn", &turn});
    cases.push_back({"fail.without_members", [](const Targets& targets) { return fail(targets, 0); }});
    cases.push_back({"fail.every_member", [](const Targets& targets) { return fail(targets, 77); }});
    cases.push_back({"attributes", &attributes});
    cases.push_back({"asynchronous", &asynchronous});
    cases.push_back({"nudge", &nudge});
    cases.push_back({"echoObject.reference", [](const Targets& targets) {
                         const _Caldane_Object sent = reference_to("http://127.0.0.1:1/x");
                         return compare(sent.url(), targets.shapes.echoObject(sent).url());
                     }});
    // A nil reference is nothing at all on the wire, which only a message without types can say.
    if (!encoded) add_echo(cases, kTarget, "echoObject", &Shapes::echoObject, {{"nil", _Caldane_Object()}});
}
