// SPDX-License-Identifier: MIT
#include "shapes_impl.h"

#include <algorithm>
#include <string>

using namespace Figures;

namespace {

std::string reversed(std::string_view text) {
    return {text.rbegin(), text.rend()};
}

template <class Number>
void twice(Number& number) {
    number = static_cast<Number>(number * 2);
}

template <class Sequence>
void reverse(Sequence& sequence) {
    std::reverse(sequence.begin(), sequence.end());
}

}  // namespace

Everything everything_from(std::int32_t seed) {
    Everything made;
    made.a = static_cast<std::int16_t>(-seed);
    made.b = seed;
    made.c = static_cast<std::uint16_t>(seed);
    made.d = 0xFFFFFFFFU - static_cast<std::uint32_t>(seed);
    made.e = static_cast<float>(seed) / 4;
    made.f = static_cast<double>(seed) / 3;
    made.g = seed % 2 != 0 ? _Caldane_TRUE : _Caldane_FALSE;
    made.h = static_cast<char>('a' + seed % 26);
    made.i = static_cast<unsigned char>(seed);
    made.name = "<" + std::to_string(seed) + " & \"more\">";
    made.label = std::to_string(seed);
    made.kind = Kind::polygon;
    made.extra = made.name;
    made.at = Point(1, -made.f);
    made.points = {made.at, Point(seed, 0)};
    made.corners = Box(1.0, 2.0, 3.0, made.f);
    made.grid[2][1] = seed;
    made.shape.points(made.points);
    made.tree = Node("root", {Node("left", {}), Node("right", {Node("leaf", {})})});
    made.bytes.assign(static_cast<std::size_t>(seed % 100), 0xFF);
    made.when.value = seed;
    return made;
}

_Caldane_String ShapesImpl::title() {
    const std::lock_guard lock(mutex);
    return title_text;
}

void ShapesImpl::title(const _Caldane_String& value) {
    const std::lock_guard lock(mutex);
    title_text = value;
}

Kind ShapesImpl::preferred() {
    const std::lock_guard lock(mutex);
    return preferred_kind;
}

void ShapesImpl::preferred(const Kind& value) {
    const std::lock_guard lock(mutex);
    preferred_kind = value;
}

void ShapesImpl::references(const _Caldane_Object& given, _Caldane_Object& other, Shapes& made) {
    other = given;
    made = Shapes::_narrow(SOA::reference(*this));
}

void ShapesImpl::turnPlain(std::int16_t& a, std::int32_t& b, std::uint16_t& c, std::uint32_t& d, float& e,
                           double& f, bool& g, char& h, unsigned char& i, _Caldane_String& j, Label& k) {
    twice(a);
    twice(b);
    twice(c);
    twice(d);
    twice(e);
    twice(f);
    g = !g;
    h = static_cast<char>(h ^ 0x20);
    twice(i);
    j = reversed(j);
    k = reversed(k);
}

void ShapesImpl::turn(Kind&, Points& points, Grid&, Shape&, Node& tree, _Caldane_Any&, Octets& bytes,
                      Rows& rows, Drawing& drawing) {
    reverse(points);
    reverse(tree.children);
    reverse(bytes);
    reverse(rows);
    reverse(drawing.rows);
    reverse(drawing.shapes);
}

void ShapesImpl::fail(std::int32_t seed) {
    if (seed == 0) throw Nothing();
    throw everything_from(seed);
}

void ShapesImpl::nudge(const _Caldane_String&) {
    ++counter;
}
