// SPDX-License-Identifier: MIT
#pragma once

#include "xml/character_classes.h"
#include "xml/pull_parser.h"

// The parser's smallest steps, shared by its sources.

/// The next `pos` + 1 characters are bytes of the input that stand for themselves.
inline bool CXmlPullParser::plain_ahead(int pos) const {
    if (peekCount != 0 || !plainBytes || srcPos + pos >= srcCount) return false;
    const char c = src[srcPos];
    if (!is_plain(c) || (wasCR && c == '\n')) return false;
    return pos == 0 || is_plain(src[srcPos + 1]);
}

inline int CXmlPullParser::peekChar(int pos) {
    if (pos < peekCount) return peekChars[pos];
    return plain_ahead(pos) ? src[srcPos + pos] : peek_decoded(pos);
}

inline int CXmlPullParser::readChar() {
    if (!plain_ahead(0)) return read_decoded();
    const int c = src[srcPos++];
    wasCR = false;
    ++column;
    if (c == '\n') {
        ++line;
        column = 1;
    }
    return c;
}

inline void CXmlPullParser::pushChar(int c) {
    if (textBytes == XmlText::utf8 && c >= 0x80) return push_utf8(c);
    isWhitespace_ = isWhitespace_ && is_white(c);
    const char byte = static_cast<char>(c);
    if (textLength < textCapacity) {
        textBuffer[textLength++] = byte;
    } else {
        push_run(&byte, 1);
    }
}

/// What ends a run of text that is taken as it stands, in attribute values or in character data.
inline xml_characters::Class CXmlPullParser::stop_class(bool in_value) const {
    if (textBytes == XmlText::utf8)
        return in_value ? xml_characters::UTF8_VALUE_STOP : xml_characters::UTF8_TEXT_STOP;
    return in_value ? xml_characters::VALUE_STOP : xml_characters::TEXT_STOP;
}

/// Takes `length` bytes of such a run; columns count characters.
inline void CXmlPullParser::pass_text(int length) {
    if (textBytes == XmlText::utf8 && !ascii) column -= continuation_bytes(src + srcPos, length);
    pass(length);
}

/// Most elements hold a plain text only, and never need their place on the stack.
inline void CXmlPullParser::push_opened() {
    if (!unpushed) return;
    unpushed = false;
    push_element();
}

/// Takes `length` plain bytes of the input, none of them a line feed.
inline void CXmlPullParser::pass(int length) {
    if (length > 0) wasCR = false;
    srcPos += length;
    column += length;
}
