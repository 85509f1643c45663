// SPDX-License-Identifier: MIT

// What the names of a start tag mean: declarations, prefixes of attributes, the element's own namespace
// (Namespaces in XML, but that names ignore case and scopes are replaced by depth).

#include "xml/name_order.h"
#include "xml/pull_parser_inline.h"

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
        const XmlAttribute& attribute = attributes[i];
        const bool has_colon = attribute.written.colon >= 0;
        if (attribute.written.role != XmlName::Role::declaration) {
            has_prefixed = has_prefixed || has_colon;
            continue;
        }
        const CRefString suffix = has_colon ? attribute.written.local : CRefString();
        if (suffix.length() != 0 && attribute.value.length() == 0) raise(-122, "Illegal Empty namespace");
        if (first) scopes.begin(depth);
        first = false;
        if (scopes.declarations() >= 10LL * limits.attributes)
            raise(-108, "More namespaces declared at a time than the limit");
        reserve(scopes.declare(depth, suffix, attribute.value));
    }
    return has_prefixed;
}

void CXmlPullParser::resolve_attribute_prefixes() {
    for (int i = 0; i < attributeCount; ++i) {
        XmlAttribute& attribute = attributes[i];
        if (attribute.written.colon == 0) raise(-134, "Attribute name should not start with ':'");
        if (attribute.written.colon < 0) continue;
        attribute.prefix = attribute.written.prefix;
        attribute.namespace_ = uri_of(attribute.prefix);
        if (attribute.namespace_.length() == 0) raise(-113, "Undefined namespace prefix");
        attribute.name = attribute.written.local;
    }
}

void CXmlPullParser::check_qualified_duplicates() {
    bool memory = true;
    const auto key_of = [this](int i) {
        const XmlAttribute& attribute = attributes[i];
        return std::uint64_t{attribute.name.hash()} << 32 | attribute.namespace_.hash();
    };
    const auto same = [this](int i, int j) {
        const XmlAttribute& a = attributes[i];
        const XmlAttribute& b = attributes[j];
        return a.namespace_.length() != 0 && a.written.may_equal(b.written) && a.name == b.name &&
               a.namespace_ == b.namespace_;
    };
    const bool found = has_two_alike(attributeCount, key_of, same, memory);
    reserve(memory);
    if (found) raise(-131, "Duplicate Attribtes defined");
}

void CXmlPullParser::adjustElementName() {
    if (tagName.colon == 0) raise(-132, "Name tag should not start with a ':'");
    if (tagName.colon > 0) {
        prefix = tagName.prefix;
        name = tagName.local;
    }
    namespace_ = uri_of(prefix);
    if (namespace_.length() != 0) return;
    if (prefix.length() != 0) raise(-113, "Undefined namespace prefix");
    // Without a default namespace the nearest open element with a prefix lends its own. What its prefix meant
    // when it was read it means still, so one look-up is enough.
    const Element& parent = elementStack[depth - 1];
    const int ancestor = parent.prefix.length() == 0 ? parent.prefixed_ancestor : depth - 1;
    if (ancestor > 0) namespace_ = uri_of(elementStack[ancestor].prefix);
}
