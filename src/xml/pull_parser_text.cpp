// SPDX-License-Identifier: MIT

// Character data, attribute values and references (XML 1.0, 2.4 and 4.1).

#include <charconv>

#include "xml/plain_run.h"
#include "xml/pull_parser_inline.h"
#include "xml/utf8_text.h"

namespace {

bool is_quote(int c) {
    return c == '"' || c == '\'';
}

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
        if (peekCount == 0 && plainBytes) push_plain_run(delimiter, resolveEntities);
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

/// Takes what the input buffer holds, up to the first character that needs a closer look.
void CXmlPullParser::push_plain_run(int delimiter, bool resolveEntities) {
    const auto stop = stop_class(is_quote(delimiter));
    for (;;) {
        const char* const begin = src + srcPos;
        const int length = srcPos < srcCount ? run_length(begin, srcCount - srcPos, stop) : 0;
        if (length > 0) {
            for (int i = 0; isWhitespace_ && i < length; ++i) isWhitespace_ = is_white(begin[i]);
            push_run(begin, length);
            pass_text(length);
        }
        if (srcPos >= srcCount || !push_special(resolveEntities)) return;
    }
}

/// The character that ended a run, if it is one of those that are quickly dealt with.
bool CXmlPullParser::push_special(bool resolveEntities) {
    const char byte = src[srcPos];
    if (byte == '\n' && wasCR) {
        wasCR = false;
        ++srcPos;
        return true;
    }
    if (byte == '\n' || byte == '\r') {
        wasCR = byte == '\r';
        ++srcPos;
        ++line;
        column = 1;
        pushChar(eventType == START_TAG ? ' ' : '\n');
        return true;
    }
    if (byte == '&') return resolveEntities && push_entity_at_hand();
    return static_cast<signed char>(byte) < 0 && push_high_character();
}

/// A character beyond ASCII all of whose bytes are at hand.
bool CXmlPullParser::push_high_character() {
    const auto* bytes = reinterpret_cast<const unsigned char*>(src + srcPos);
    if (encodingCode == XML_SINGLE_BYTE) {
        if (bytes[0] == 0xFF) return false;
        pushChar(static_cast<signed char>(bytes[0]));
        ++srcPos;
    } else {
        const int length = bytes[0] < 0xC2 ? 0 : bytes[0] < 0xE0 ? 2 : bytes[0] < 0xF0 ? 3 : 0;
        if (length == 0 || srcCount - srcPos < length || (bytes[1] & 0xC0) != 0x80) return false;
        unsigned character = bytes[0] & (length == 2 ? 0x1Fu : 0x0Fu);
        character = (character << 6) | (bytes[1] & 0x3Fu);
        if (length == 3) {
            if ((bytes[2] & 0xC0) != 0x80) return false;
            character = (character << 6) | (bytes[2] & 0x3Fu);
            if (character < 0x80) return false;
        }
        pushChar(static_cast<int>(character));
        srcPos += length;
    }
    ++column;
    wasCR = false;
    return true;
}

/// One of the five entities of XML, when all of it is at hand.
bool CXmlPullParser::push_entity_at_hand() {
    const char* at = src + srcPos + 1;
    const int room = srcCount - srcPos - 1;
    const auto is = [at, room](const char* lower_case, int length) {
        return room > length && at[length] == ';' &&
               is_word({at, static_cast<std::size_t>(length)}, lower_case);
    };
    struct {
        const char* key;
        int length;
        char value;
    } constexpr kEntities[] = {
        {"lt", 2, '<'}, {"gt", 2, '>'}, {"amp", 3, '&'}, {"quot", 4, '"'}, {"apos", 4, '\''}};
    for (const auto& entity : kEntities) {
        if (!is(entity.key, entity.length)) continue;
        isWhitespace_ = false;
        unresolvedEntity = false;
        wasCR = false;
        pushChar(entity.value);
        srcPos += entity.length + 2;
        column += entity.length + 2;
        return true;
    }
    return false;
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
    const int begin = hexadecimal ? 2 : 1;
    const CRefString digits = make_text(bytes.data() + begin, code.length() - begin);
    if (textBytes == XmlText::utf8) {
        push_number(digits, hexadecimal);
    } else {
        pushChar(hexadecimal ? digits.hex_value() : digits.decimal_value());
    }
    isWhitespace_ = false;
}

/// The character of XML that a numeric reference (XML 1.0, 4.1) names in full.
void CXmlPullParser::push_number(const CRefString& digits, bool hexadecimal) {
    const std::string_view bytes = digits.view();
    const char* const end = bytes.data() + bytes.size();
    unsigned number = 0;
    const auto [stop, error] = std::from_chars(bytes.data(), end, number, hexadecimal ? 16 : 10);
    if (error != std::errc() || stop != end || !is_xml_character(number))
        raise(-107, "Reference to what is no character of XML");
    pushChar(static_cast<int>(number));
}

void CXmlPullParser::push_named_entity(const CRefString& code) {
    unresolvedEntity = false;
    for (const Predefined& entity : kPredefined) {
        if (same_letters(code.c_str(), entity.key)) return pushChar(entity.value);
    }
    for (int i = 0; i < entityCount; ++i) {
        if (entities[i].value.length() == 0 || !(entities[i].key == code)) continue;
        const std::string_view value = entities[i].value.view();
        for (const char c : value) isWhitespace_ = isWhitespace_ && is_white(c);
        push_run(value.data(), static_cast<int>(value.size()));
        return;
    }
    unresolvedEntity = true;
    if (!tokenMode) raise(-111, "Not a predefined entity");
}
