// SPDX-License-Identifier: MIT

// Character data, attribute values and references (XML 1.0, 2.4 and 4.1).

#include "xml/character_classes.h"
#include "xml/pull_parser.h"

namespace {

bool is_quote(int c) { return c == '"' || c == '\''; }

bool stops(int c, int delimiter, bool resolveEntities) {
    if (c == -1 || c == delimiter) return true;
    if (is_quote(delimiter) && (is_quote(c) || c == '<' || c == '?' || c == '>')) return true;
    return c == '&' && !resolveEntities;
}

struct Predefined {
    std::string_view key;
    char value;
};
constexpr Predefined kPredefined[] = {{"amp", '&'}, {"apos", '\''}, {"gt", '>'}, {"lt", '<'}, {"quot", '"'}};

bool same_letters(std::string_view a, std::string_view lower) {
    if (a.size() != lower.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const char c = a[i] >= 'A' && a[i] <= 'Z' ? static_cast<char>(a[i] + ('a' - 'A')) : a[i];
        if (c != lower[i]) return false;
    }
    return true;
}

}  // namespace

void CXmlPullParser::pushText(int delimiter, bool resolveEntities) {
    for (;;) {
        if (plain_ahead(0)) push_plain_run(delimiter);
        const int c = peekChar(0);
        if (stops(c, delimiter, resolveEntities)) return;
        if (c == '&') {
            pushEntity();
        } else if (c == '\n' && eventType == START_TAG) {
            readChar();
            pushChar(' ');
        } else {
            pushChar(readChar());
        }
    }
}

/// Takes as much as the input buffer holds of text that stands for itself.
void CXmlPullParser::push_plain_run(int delimiter) {
    const auto stop = is_quote(delimiter) ? xml_characters::VALUE_STOP : xml_characters::TEXT_STOP;
    const char* const begin = src + srcPos;
    const char* const end = src + srcCount;
    const char* at = begin;
    int line_feeds = 0;
    const char* last_line_feed = nullptr;
    for (; at != end && !is_class(*at, stop); ++at) {
        if (*at == '\n') {
            ++line_feeds;
            last_line_feed = at;
        }
    }
    const int length = static_cast<int>(at - begin);
    if (length == 0) return;
    for (const char* c = begin; isWhitespace_ && c != at; ++c) isWhitespace_ = is_white(*c);
    push_run(begin, length);
    srcPos += length;
    line += line_feeds;
    column = last_line_feed != nullptr ? static_cast<int>(at - last_line_feed) : column + length;
}

void CXmlPullParser::classify_whitespace() {
    if (!isWhitespace_) return;
    // White space that is all of an element's content is its text.
    if (!wasStartTag || (peekChar(0) == '<' && peekChar(1) != '/')) eventType = XML_IGNORABLE_WHITESPACE;
}

void CXmlPullParser::pushEntity() {
    readChar();
    const int start = textLength;
    for (int c = readChar(); c != ';'; c = readChar()) {
        if (c == -1) raise(-103, "Unexpected end of file");
        pushChar(c);
    }
    const CRefString code = getRange(start);
    textLength = start;
    if (tokenMode && eventType == XML_ENTITY_REF) name = code;
    const std::string_view bytes = code.view();
    if (bytes.empty() || bytes[0] != '#') return push_named_entity(code);
    const bool hexadecimal = bytes.size() > 1 && bytes[1] == 'x';
    pushChar(hexadecimal ? code.substring(2).hex_value() : code.substring(1).decimal_value());
    isWhitespace_ = false;
}

void CXmlPullParser::push_named_entity(const CRefString& code) {
    unresolvedEntity = false;
    for (const Predefined& entity : kPredefined) {
        if (same_letters(code.c_str(), entity.key)) return pushChar(entity.value);
    }
    for (int i = 0; i < entityCount; ++i) {
        if (entities[i].value.length() == 0 || !(entities[i].key == code)) continue;
        for (const char c : entities[i].value.view()) pushChar(c);
        return;
    }
    unresolvedEntity = true;
    if (!tokenMode) raise(-111, "Not a predefined entity");
}
