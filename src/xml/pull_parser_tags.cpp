// SPDX-License-Identifier: MIT

// Start tags and attributes as they are written; what their prefixes mean stands in
// pull_parser_namespaces.cpp.

#include <algorithm>

#include "xml/name_order.h"
#include "xml/pull_parser.h"

void CXmlPullParser::parseStartTag(bool isXmlDecl) {
    hasHref = hasId = false;
    hrefTarget = namespace_ = prefix = CRefString();
    if (!isXmlDecl) readChar();
    name = readName();
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
        parseAttribute(isXmlDecl);
    }
    check_duplicates();
    open_element();
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

void CXmlPullParser::parseAttribute(bool) {
    const CRefString attribute_name = readName();
    skipWhitespace();
    readExpected('=');
    skipWhitespace();
    const int delimiter = readChar();
    if (delimiter != '\'' && delimiter != '"') raise(-130, "Attribute name should  be encolsed in quotes");
    const std::string_view bytes = attribute_name.view();
    const bool is_href = bytes.size() == 4 && attribute_name == CRefString("href");
    if (is_href) {
        if (hrefTarget.length() != 0) raise(-131, "Duplicate attribute defined");
        hasHref = true;
    } else if (bytes.size() == 2 && (bytes[0] | 0x20) == 'i' && (bytes[1] | 0x20) == 'd') {
        hasId = true;
    }
    const int start = textLength;
    pushText(delimiter, true);
    if (hasHref && hrefTarget.length() == 0) {
        // The first character stands for "in this document", whatever it is. Where an href names nothing the
        // attribute behind it does.
        hrefTarget =
            textLength > start + 1 ? make_text(textBuffer + start + 1, textLength - start - 1) : CRefString();
        textLength = 0;
    } else {
        store_attribute(attribute_name, hasId, start);
    }
    if (readChar() != delimiter) raise(-138, "Quotes enclosing attr value do not match");
    const int behind = peekChar(0);
    if (behind != ' ' && behind != '?' && behind != '/' && behind != '>' && behind != '\n') {
        raise(-137, "No whitespace between two attributes or unexpected char");
    }
}

void CXmlPullParser::store_attribute(const CRefString& attribute_name, bool is_id, int start) {
    reserve(attributes.reserve(attributeCount + 1, 6), "Memory Allocation Error");
    Attribute& attribute = attributes[attributeCount];
    attribute.name = attribute_name;
    attribute.value = getRange(start);
    attribute.namespace_ = CRefString();
    attribute.prefix = CRefString();
    if (is_id) {
        captureId(attribute.value);
        hasId = false;
    }
    ++attributeCount;
    textLength = start;
}

void CXmlPullParser::check_duplicates() {
    bool memory = true;
    const bool found = has_two_alike(
        attributeCount, [this](int i) { return std::uint64_t{attributes[i].name.hash()}; },
        [this](int i, int j) { return attributes[i].name == attributes[j].name; }, memory);
    reserve(memory);
    if (found) raise(-131, "Duplicate attribute defined");
}

void CXmlPullParser::open_element() {
    ++depth;
    reserve(elementStack.reserve(depth + 1, 10));
    Element& element = elementStack[depth];
    element.rawName = name;
    if (processNamespaces) {
        adjustNamespaces();
    } else {
        namespace_ = CRefString();
    }
    element.localName = name;
    element.prefix = prefix;
    element.namespace_ = namespace_;
    element.prefixed_ancestor = depth > 1 && elementStack[depth - 1].prefix.length() != 0
                                    ? depth - 1
                                    : elementStack[depth - 1].prefixed_ancestor;
}
