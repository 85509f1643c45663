// SPDX-License-Identifier: MIT
#include "xml/name_table.h"

#include <algorithm>
#include <cstring>

#include "xml/character_classes.h"

namespace {

std::uint64_t load(const char* from, std::size_t count) {
    std::uint64_t word = 0;
    std::memcpy(&word, from, count);
    return word;
}

/// Up to eight bytes, each of them once at least.
std::uint64_t load_few(const char* from, std::size_t count) {
    if (count >= 4) return load(from, 4) | load(from + count - 4, 4) << 32;
    const auto byte = [from](std::size_t at) { return std::uint64_t{static_cast<unsigned char>(from[at])}; };
    return byte(0) | byte(count / 2) << 8 | byte(count - 1) << 16;
}

/// A place for a text by its length, first and last bytes. Texts that share one only drive each other out.
unsigned place_of(const char* bytes, std::size_t length) {
    const std::uint64_t first = length >= 8 ? load(bytes, 8) : load_few(bytes, length);
    const std::uint64_t last = length > 8 ? load(bytes + length - 8, 8) : 0;
    return static_cast<unsigned>(((first ^ (last << 1 | last >> 63) ^ length) * 0x9E3779B97F4A7C15u) >> 58);
}

bool is(const CRefString& text, const char* bytes, std::size_t length) {
    return static_cast<std::size_t>(text.length()) == length && std::memcmp(text.c_str(), bytes, length) == 0;
}

XmlName::Role role_of(std::string_view raw, int colon) {
    if (is_word(colon < 0 ? raw : raw.substr(0, static_cast<std::size_t>(colon)), "xmlns"))
        return XmlName::Role::declaration;
    if (is_word(raw, "href")) return XmlName::Role::href;
    return is_word(raw, "id") ? XmlName::Role::id : XmlName::Role::other;
}

}  // namespace

NameTable::~NameTable() {
    for (; used != 0; used &= used - 1) reinterpret_cast<XmlName*>(places[__builtin_ctzll(used)])->~XmlName();
}

const XmlName* NameTable::name(const char* bytes, int length) {
    const auto size = static_cast<std::size_t>(length);
    if (length > kLongest) return make(unplaced, bytes, length) ? &unplaced : nullptr;
    const unsigned place = place_of(bytes, size);
    auto* const found = reinterpret_cast<XmlName*>(places[place]);
    const std::uint64_t bit = std::uint64_t{1} << place;
    if ((used & bit) == 0) {
        new (found) XmlName();
        used |= bit;
    } else if (is(found->raw, bytes, size)) {
        return found;
    }
    return make(*found, bytes, length) ? found : nullptr;
}

bool NameTable::make(XmlName& made, const char* bytes, int length) {
    made = XmlName();
    const auto size = static_cast<std::size_t>(length);
    if (!CRefString::create(made.raw, bytes, size)) return false;
    made.raw.hash();  // unequal names are told apart by it
    const std::string_view view(bytes, size);
    made.colon = made.raw.find(':', 0);
    made.role = role_of(view, made.colon);
    made.ascii = std::all_of(view.begin(), view.end(), is_ascii_name);
    if (made.colon < 0) {
        made.local = made.raw;
        return true;
    }
    if (!text(made.prefix, bytes, made.colon)) return false;
    return text(made.local, bytes + made.colon + 1, length - made.colon - 1);
}

bool NameTable::text(CRefString& out, const char* bytes, int length) {
    const auto size = static_cast<std::size_t>(length);
    if (length == 0 || length > kLongest) return CRefString::create(out, bytes, size);
    CRefString& place = texts[place_of(bytes, size)];
    if (!is(place, bytes, size) && !CRefString::create(place, bytes, size)) return false;
    out = place;
    return true;
}
