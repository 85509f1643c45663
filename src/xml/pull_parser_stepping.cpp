// SPDX-License-Identifier: MIT

// The parser's steps: what the next token is, and how tokens become events.

#include <algorithm>

#include "xml/pull_parser_inline.h"

int CXmlPullParser::peekType() {
    const int c = peekChar(0);
    if (c == -1) return XML_END_DOCUMENT;
    if (c == '&') return XML_ENTITY_REF;
    if (c != '<') return TEXT;
    const int second = peekChar(1);
    if (second == '!' || second == '?') return XML_LEGACY;
    return second == '/' ? XML_END_TAG : START_TAG;
}

void CXmlPullParser::nextImpl() {
    if (reader == nullptr) raise(-101, "No Underlying source");
    if (eventType == XML_END_TAG) --depth;
    do {
        attributeCount = -1;
        if (emptyElement) {
            emptyElement = false;
            eventType = XML_END_TAG;
            wasStartTag = false;
            return;
        }
        eventType = peekType();
        switch (eventType) {
            case XML_END_DOCUMENT:
                if (depth != 0) raise(-139, "End tag missing");
                return;
            case START_TAG:
                parseStartTag(false);
                wasStartTag = true;
                return;
            case XML_END_TAG:
                parseEndTag();
                wasStartTag = false;
                return;
            case TEXT:
                pushText('<', !tokenMode);
                classify_whitespace();
                return;
            case XML_ENTITY_REF:
                pushEntity();
                return;
            default:
                eventType = parseLegacy();
        }
    } while (eventType == XML_DECL);
}

void CXmlPullParser::parseEndTag() {
    readChar();
    readChar();
    name = readName().raw;
    skipWhitespace();
    readExpected('>');
    if (depth == 0) raise(-121, "No Root Element. Must Contain atleast one root element");
    if (!(name == elementStack[depth].rawName))
        raise(-129, "Well Formedness Error. End Tag does not match start tag.");
    take_names_of_element();
}

/// An end tag shows what its start tag showed.
void CXmlPullParser::take_names_of_element() {
    const Element& element = elementStack[depth];
    namespace_ = element.namespace_;
    prefix = element.prefix;
    name = element.localName;
}

int CXmlPullParser::next() {
    if (hasPeekedEvent) {
        hasPeekedEvent = false;
        return eventType;
    }
    push_opened();
    textLength = 0;
    isWhitespace_ = true;
    tokenMode = false;
    if (event_at_hand()) return eventType;
    int minType = 9999;
    do {
        nextImpl();
        minType = std::min(minType, eventType);
    } while (minType > XML_ENTITY_REF || (minType >= TEXT && peekType() >= TEXT));
    eventType = minType;
    if (eventType >= TEXT) {
        eventType = TEXT;
        text = take_text();
    }
    return eventType;
}

int CXmlPullParser::nextToken() {
    textLength = 0;
    isWhitespace_ = true;
    tokenMode = true;
    if (hasPeekedEvent) {
        hasPeekedEvent = false;
        return eventType;
    }
    push_opened();
    nextImpl();
    if (eventType >= TEXT) text = getRange(0);
    return eventType;
}

int CXmlPullParser::peekEvent() {
    if (!hasPeekedEvent) {
        eventType = next();
        hasPeekedEvent = true;
    }
    return eventType;
}
