// SPDX-License-Identifier: MIT
#include "xml/name_table.h"

#include <algorithm>
#include <cstring>

#include "xml/character_classes.h"
#include "xml/text_place.h"

namespace {

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

namespace {

thread_local std::unique_ptr<NameTable> spare_table;

}  // namespace

std::unique_ptr<NameTable> NameTable::take() {
    if (spare_table) return std::move(spare_table);
    return std::unique_ptr<NameTable>(new NameTable);
}

void NameTable::give_back(std::unique_ptr<NameTable> table) {
    spare_table = std::move(table);
}

const XmlName* NameTable::name(const char* bytes, int length) {
    const auto size = static_cast<std::size_t>(length);
    if (length > kLongest) return make(unplaced, bytes, length) ? &unplaced : nullptr;
    XmlName& found = names[text_place({bytes, size}) % kPlaces];
    if (is(found.raw, bytes, size) || make(found, bytes, length)) return &found;
    found = XmlName();  // half a name must not be found again
    return nullptr;
}

bool NameTable::make(XmlName& made, const char* bytes, int length) {
    made = XmlName();
    const auto size = static_cast<std::size_t>(length);
    if (!CRefString::create(made.raw, bytes, size)) return false;
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
    CRefString& place = texts[text_place({bytes, size}) % kPlaces];
    if (!is(place, bytes, size) && !CRefString::create(place, bytes, size)) return false;
    out = place;
    return true;
}
