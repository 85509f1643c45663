// SPDX-License-Identifier: MIT

// Start tags and attributes as they are written; what their prefixes mean stands in
// pull_parser_namespaces.cpp.

#include <algorithm>

#include "xml/name_order.h"
#include "xml/pull_parser_inline.h"

void CXmlPullParser::parseStartTag(bool isXmlDecl) {
    hasHref = hasId = false;
    hrefTarget = namespace_ = prefix = CRefString();
    if (!isXmlDecl) readChar();
    tagName = readName();
    name = tagName.raw;
    attributeCount = 0;
    for (;;) {
        skipWhitespace();
        const int c = peekChar(0);
        bool leave = false;
        if (read_tag_end(isXmlDecl, c, leave)) {
            if (isXmlDecl) return;
            if (leave) break;
            continue;
        }
        if (c == -1) raise(-103, "Unexpected End of file");
        parseAttribute();
    }
    check_duplicates();
    open_element();
    shown = attributes.data();
}

/// Reads what ends a tag, if that is what comes: true then. `leave` stays false where a reference was
/// followed and the tag goes on with the referenced element's attributes.
bool CXmlPullParser::read_tag_end(bool isXmlDecl, int c, bool& leave) {
    if (isXmlDecl) {
        if (c != '?') return false;
        readChar();
        readExpected('>');
        return leave = true;
    }
    if (c == '>') {
        readChar();
        return leave = true;
    }
    if (c != '/') return false;
    emptyElement = true;
    readChar();
    skipWhitespace();
    readExpected('>');
    leave = !hasHref;
    if (hasHref) {
        emptyElement = false;
        followReference();
        hasHref = false;
    }
    return true;
}

void CXmlPullParser::parseAttribute() {
    const XmlName attribute_name = readName();
    skipWhitespace();
    readExpected('=');
    skipWhitespace();
    const int delimiter = readChar();
    if (delimiter != '\'' && delimiter != '"') raise(-130, "Attribute name should  be encolsed in quotes");
    if (attribute_name.role == XmlName::Role::href) {
        if (hrefTarget.length() != 0) raise(-131, "Duplicate attribute defined");
        hasHref = true;
    } else if (attribute_name.role == XmlName::Role::id) {
        hasId = true;
    }
    const CRefString value = read_value(delimiter);
    if (hasHref && hrefTarget.length() == 0) {
        // The first character stands for "in this document", whatever it is. Where an href names nothing the
        // attribute behind it does.
        if (value.length() > 1) hrefTarget = make_text(value.c_str() + 1, value.length() - 1);
    } else {
        store_attribute(attribute_name, value);
    }
    if (readChar() != delimiter) raise(-138, "Quotes enclosing attr value do not match");
    const int behind = peekChar(0);
    if (behind != ' ' && behind != '?' && behind != '/' && behind != '>' && behind != '\n') {
        raise(-137, "No whitespace between two attributes or unexpected char");
    }
}

CRefString CXmlPullParser::read_value(int delimiter) {
    if (peekCount == 0 && plainBytes) {
        // The usual value stands in the buffer, up to its quote, as it is.
        const auto stop = stop_class(true);
        int end = srcPos;
        while (end < srcCount && !is_class(src[end], stop)) ++end;
        if (end < srcCount && src[end] == delimiter) {
            const CRefString value = intern(src + srcPos, end - srcPos);
            pass_text(end - srcPos);
            return value;
        }
    }
    const int start = textLength;
    pushText(delimiter, true);
    const CRefString value = getRange(start);
    textLength = start;
    return value;
}

void CXmlPullParser::store_attribute(const XmlName& attribute_name, const CRefString& value) {
    if (attributeCount == attributeRoom) make_room_for_attribute();
    attributes[attributeCount].set(attribute_name, value);
    if (hasId) {
        captureId(value);
        hasId = false;
    }
    ++attributeCount;
}

void CXmlPullParser::make_room_for_attribute() {
    if (attributeCount == limits.attributes) raise(-108, "More attributes in one tag than the limit");
    reserve(attributes.reserve(attributeCount + 1, 6), "Memory Allocation Error");
    attributeRoom = std::min(attributes.capacity(), limits.attributes);
}

void CXmlPullParser::check_duplicates() {
    bool memory = true;
    const bool found = has_two_alike(
        attributeCount, [this](int i) { return std::uint64_t{attributes[i].name.hash()}; },
        [this](int i, int j) {
            const XmlAttribute& a = attributes[i];
            const XmlAttribute& b = attributes[j];
            return a.written.may_equal(b.written) && a.name == b.name;
        },
        memory);
    reserve(memory);
    if (found) raise(-131, "Duplicate attribute defined");
}

void CXmlPullParser::open_element() {
    if (depth >= limits.depth) raise(-108, "Elements nested deeper than the limit");
    ++depth;
    reserve(elementStack.reserve(depth + 1, 10));
    if (processNamespaces) {
        adjustNamespaces();
    } else {
        namespace_ = CRefString();
    }
    push_element();
}

/// Notes what the element shows, for its end tag and its children.
void CXmlPullParser::push_element() {
    Element& element = elementStack[depth];
    element.rawName = tagName.raw;
    element.ascii = tagName.ascii;
    element.localName = name;
    element.prefix = prefix;
    element.namespace_ = namespace_;
    element.prefixed_ancestor = depth > 1 && elementStack[depth - 1].prefix.length() != 0
                                    ? depth - 1
                                    : elementStack[depth - 1].prefixed_ancestor;
}
