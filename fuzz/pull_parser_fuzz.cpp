// SPDX-License-Identifier: MIT

// Any bytes as an XML document. The first byte says in what pieces they arrive and how they are read, in both
// kinds of text.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "support/piecewise_stream.h"
#include "xml/pull_parser.h"
#include "xml/utf8_text.h"

namespace {

/// What one reading of a document gave: its events and texts, its error, and where they were.
class Reading {
public:
    Reading(std::string_view document, std::uint8_t how, XmlText kind, bool plain_texts = false) {
        PiecewiseInputStream stream(document, (how & 0x3F) == 0 ? 512 : how & 0x3F);
        std::unique_ptr<CXmlPullParser> parser;
        try {
            parser.reset(new CXmlPullParser(&stream, kind));
            if ((how & 0x40) == 0) parser->setProcessNamespaces();
            // References bring in text again and again; what one input may cost is bounded here as well.
            for (int event = 0; event != XML_END_DOCUMENT && seen.size() < 4000000;) {
                event = (how & 0x80) != 0 ? parser->nextToken() : parser->next();
                note(event, *parser, kind);
                std::string_view plain;
                if (plain_texts && parser->takePlainText(plain)) {
                    note_text(plain);
                    note(parser->getEventType(), *parser, kind);
                }
            }
        } catch (const CXmlPullParserException& error) {
            seen += error.message();
            note_place(error.line(), error.column());
        }
    }

    bool operator==(const Reading& other) const = default;

private:
    void note(int event, CXmlPullParser& parser, XmlText kind) {
        if (event == TEXT) return note_text(parser.getText().view());
        seen += static_cast<char>('0' + event);
        note_place(parser.getLineNumber(), parser.getColumnNumber());
        for (const CRefString& text :
             {parser.getText(), parser.getName(), parser.getNamespace(), parser.getPrefix()})
            add(text, kind);
        for (int i = 0; i < parser.getAttributeCount(); ++i) {
            add(parser.getAttributeName(i), kind);
            add(parser.getAttributeValue(i), kind);
            add(parser.getAttributeNamespace(i), kind);
        }
    }
    void note_text(std::string_view text) {
        seen += '[';
        seen += text;
        seen += ']';
    }
    void note_place(int line, int column) {
        seen += std::to_string(line) + ':' + std::to_string(column) + ' ';
    }
    void add(const CRefString& text, XmlText kind) {
        // What is asked to be UTF-8 must be.
        const bool good = check_utf8(text.c_str(), text.view().size()).fault == TextFault::none;
        if (kind == XmlText::utf8 && !good) __builtin_trap();
        seen += text.view();
        seen += '|';
    }

    std::string seen;
};

/// True if a document is the same in sixteen bits a character: it is ASCII, tells no encoding, and has no
/// references, which are looked for by bytes.
bool is_same_when_wide(std::string_view document) {
    if (document.starts_with("<?xm")) return false;
    for (std::size_t i = 0; i < document.size(); ++i) {
        if (document[i] <= 0) return false;
        const auto is_letter = [&](std::size_t at, char c) {
            return at < document.size() && (document[at] | 0x20) == c;
        };
        if (is_letter(i, 'i') && is_letter(i + 1, 'd')) return false;
        if (is_letter(i, 'h') && is_letter(i + 1, 'r')) return false;
    }
    return true;
}

std::string widened(std::string_view document) {
    std::string wide("\xFF\xFE", 2);
    for (const char c : document) {
        wide += c;
        wide += '\0';
    }
    return wide;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::uint8_t how = data[0];
    const std::string_view document(reinterpret_cast<const char*>(data) + 1, size - 1);
    const Reading reading(document, how, XmlText::one_byte);
    const Reading utf8(document, how, XmlText::utf8);
    // Text and end tag in one step are the same as in two. What is no UTF-8 depends on where blocks end.
    const bool tokens = (how & 0x80) != 0;
    const bool regular = check_utf8(document.data(), document.size()).fault == TextFault::none;
    if (!tokens && regular && reading != Reading(document, how, XmlText::one_byte, true)) __builtin_trap();
    if (!tokens && utf8 != Reading(document, how, XmlText::utf8, true)) __builtin_trap();
    // Wide characters take none of the shorter ways that bytes do, and must come to the same.
    if (is_same_when_wide(document) && reading != Reading(widened(document), how, XmlText::one_byte))
        __builtin_trap();
    return 0;
}
