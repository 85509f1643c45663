// SPDX-License-Identifier: MIT

// What the names of a start tag mean: declarations, prefixes of attributes, the element's own namespace
// (Namespaces in XML, but that names ignore case and scopes are replaced by depth).

#include "xml/name_order.h"
#include "xml/pull_parser_inline.h"

namespace {

bool is_xmlns(std::string_view text) {
    return is_word(text, "xmlns");
}

}  // namespace

void CXmlPullParser::adjustNamespaces() {
    if (declare_namespaces()) {
        resolve_attribute_prefixes();
        check_qualified_duplicates();
    }
    adjustElementName();
}

/// Enters the tag's declarations; true if some attribute has another prefix.
bool CXmlPullParser::declare_namespaces() {
    bool has_prefixed = false;
    bool first = true;
    for (int i = 0; i < attributeCount; ++i) {
        const Attribute& attribute = attributes[i];
        const int colon = attribute.name.find(':', 0);
        const std::string_view raw = attribute.name.view();
        if (colon < 0 ? !is_xmlns(raw) : !is_xmlns(raw.substr(0, static_cast<std::size_t>(colon)))) {
            has_prefixed = has_prefixed || colon >= 0;
            continue;
        }
        CRefString suffix;
        if (colon >= 0) suffix = intern(raw.data() + colon + 1, attribute.name.length() - colon - 1);
        if (suffix.length() != 0 && attribute.value.length() == 0) raise(-122, "Illegal Empty namespace");
        if (first) scopes.begin(depth);
        first = false;
        reserve(scopes.declare(depth, suffix, attribute.value));
    }
    return has_prefixed;
}

void CXmlPullParser::resolve_attribute_prefixes() {
    for (int i = 0; i < attributeCount; ++i) {
        Attribute& attribute = attributes[i];
        const CRefString raw = attribute.name;
        const int colon = raw.find(':', 0);
        if (colon == 0) raise(-134, "Attribute name should not start with ':'");
        if (colon < 0) continue;
        attribute.prefix = intern(raw.c_str(), colon);
        attribute.namespace_ = getNamespace(attribute.prefix);
        if (attribute.namespace_.length() == 0) raise(-113, "Undefined namespace prefix");
        attribute.name = intern(raw.c_str() + colon + 1, raw.length() - colon - 1);
    }
}

void CXmlPullParser::check_qualified_duplicates() {
    bool memory = true;
    const auto key_of = [this](int i) {
        const Attribute& attribute = attributes[i];
        return std::uint64_t{attribute.name.hash()} << 32 | attribute.namespace_.hash();
    };
    const auto same = [this](int i, int j) {
        const Attribute& a = attributes[i];
        const Attribute& b = attributes[j];
        return a.namespace_.length() != 0 && a.name == b.name && a.namespace_ == b.namespace_;
    };
    const bool found = has_two_alike(attributeCount, key_of, same, memory);
    reserve(memory);
    if (found) raise(-131, "Duplicate Attribtes defined");
}

void CXmlPullParser::adjustElementName() {
    const CRefString raw = name;
    const int colon = raw.find(':', 0);
    if (colon == 0) raise(-132, "Name tag should not start with a ':'");
    if (colon > 0) {
        prefix = intern(raw.c_str(), colon);
        name = intern(raw.c_str() + colon + 1, raw.length() - colon - 1);
    }
    namespace_ = getNamespace(prefix);
    if (namespace_.length() != 0) return;
    if (prefix.length() != 0) raise(-113, "Undefined namespace prefix");
    // Without a default namespace the nearest open element with a prefix lends its own. What its prefix meant
    // when it was read it means still, so one look-up is enough.
    const Element& parent = elementStack[depth - 1];
    const int ancestor = parent.prefix.length() == 0 ? parent.prefixed_ancestor : depth - 1;
    if (ancestor > 0) namespace_ = getNamespace(elementStack[ancestor].prefix);
}
