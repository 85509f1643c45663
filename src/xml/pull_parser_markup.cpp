// SPDX-License-Identifier: MIT

// Markup that is neither tag nor text: comments, CDATA sections, processing instructions, the XML declaration
// and the document type declaration (XML 1.0, 2.5 to 2.8).

#include "xml/character_classes.h"
#include "xml/pull_parser_inline.h"

namespace {

bool is_letter(int c, char lower) {
    return c == lower || c == lower - ('a' - 'A');
}

}  // namespace

int CXmlPullParser::parseLegacy() {
    bool push = tokenMode;
    readChar();
    const int kind = readChar();
    if (kind == '?') {
        if (is_letter(peekChar(0), 'x') && is_letter(peekChar(1), 'm')) {
            for (int i = 0; i < 2; ++i) {
                const int c = readChar();
                if (push) pushChar(c);
            }
            if (is_letter(peekChar(0), 'l')) return parse_declaration();
        }
        read_markup('?', push);
        return XML_PROCESSING_INSTRUCTION;
    }
    if (kind != '!') raise(-112, "Illegal legacy character");
    const int c = peekChar(0);
    int result = XML_DOCDECL;
    const char* required = "DOCTYPE";
    if (c == '-') {
        result = XML_COMMENT;
        required = "--";
    } else if (c == '[') {
        result = XML_CDSECT;
        required = "[CDATA[";
        push = true;
    }
    for (; *required != '\0'; ++required) readExpected(*required);
    if (result == XML_DOCDECL) {
        parseDoctype();
    } else {
        read_markup(result == XML_COMMENT ? '-' : ']', push);
    }
    return result;
}

/// Reads up to the end of a comment, CDATA section or processing instruction.
void CXmlPullParser::read_markup(int terminator, bool push) {
    int previous = 0;
    for (;;) {
        const int c = readChar();
        if (c == -1) raise(-103, "Unexpected end of file");
        if (push) pushChar(c);
        if ((terminator == '?' || c == terminator) && peekChar(0) == terminator && peekChar(1) == '>') break;
        previous = c;
    }
    if (terminator == '-' && previous == '-') raise(-124, "Illegal comment delimeter");
    readChar();
    readChar();
    // The first of the two terminators was taken for text.
    if (push && terminator != '?') --textLength;
}

int CXmlPullParser::parse_declaration() {
    if (!is_white(peekChar(1))) raise(-114, "Illegal xml declaration. no whitespace after 'xml'");
    if (line != 1 || column > 4) raise(-127, "Processing Instructions should not start with 'xml'");
    parseStartTag(true);
    take_declaration();
    return XML_DECL;
}

/// Keeps what the attributes of a declaration say.
void CXmlPullParser::take_declaration() {
    const auto is_named = [this](int index, std::string_view wanted) {
        return index < attributeCount && attributes[index].name.view() == wanted;
    };
    if (!is_named(0, "version")) raise(-128, "Version attribute expected");
    version = attributes[0].value;
    int position = 1;
    if (is_named(position, "encoding")) encoding = attributes[position++].value;
    if (is_named(position, "standalone")) {
        const std::string_view value = attributes[position++].value.view();
        if (value != "yes" && value != "no") raise(-126, "Illegal standalone attribute");
        standalone = value == "yes";
    }
    if (position != attributeCount) raise(-125, "Illegal XML Declaration");
    isWhitespace_ = true;
    textLength = 0;
}

void CXmlPullParser::parseDoctype() {
    int nesting = 1;
    bool quoted = false;
    for (;;) {
        const int c = readChar();
        if (c == -1) raise(-103, "Unexpected End Of File");
        if (c == '\'') quoted = !quoted;
        if (!quoted && c == '<') ++nesting;
        if (!quoted && c == '>' && --nesting == 0) return;
        if (tokenMode) pushChar(c);
    }
}
