// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

#include "support/named_row.h"
#include "support/piecewise_stream.h"
#include "xml/pull_parser.h"

/// How a document is read: with prefixes resolved or not, as merged events or as single tokens; `plain_texts`
/// are events of which text and end tag are taken in one step where that is possible.
enum class Reading { events, plain_texts, raw_names, tokens };

inline std::string qualified(const CRefString& prefix, const CRefString& name, const CRefString& uri) {
    std::string text(name.view());
    if (prefix.length() > 0) text = std::string(prefix.view()) + ':' + text;
    if (uri.length() > 0) text += '{' + std::string(uri.view()) + '}';
    return text;
}

inline std::string trace_start_tag(CXmlPullParser& parser) {
    std::string text = '<' + qualified(parser.getPrefix(), parser.getName(), parser.getNamespace());
    for (int i = 0; i < parser.getAttributeCount(); ++i) {
        text += ' ' + qualified(parser.getAttributePrefix(i), parser.getAttributeName(i),
                                parser.getAttributeNamespace(i));
        text += '=' + std::string(parser.getAttributeValue(i).view());
    }
    return text + (parser.isEmptyElementTag() ? "/>" : ">");
}

inline std::string trace_event(CXmlPullParser& parser, int event) {
    switch (event) {
        case XML_END_DOCUMENT:
            return ".";
        case START_TAG:
            return trace_start_tag(parser);
        case XML_END_TAG:
            return "</" + qualified(parser.getPrefix(), parser.getName(), parser.getNamespace()) + '>';
        case TEXT:
            return '[' + std::string(parser.getText().view()) + ']';
        default:
            return std::to_string(event) + '[' + std::string(parser.getText().view()) + ']';
    }
}

/// The same text in sixteen bits a character, for which the parser has no shorter ways.
inline std::string widened(std::string_view text) {
    std::string wide("\xFF\xFE", 2);
    for (const char c : text) {
        wide += c;
        wide += '\0';
    }
    return wide;
}

/// True if a document means the same in any encoding: it is ASCII and does not name one.
inline bool is_plain_ascii(std::string_view text) {
    return text.size() >= 4 && !text.starts_with("<?xm") &&
           std::all_of(text.begin(), text.end(), [](char c) { return c > 0; });
}

/// All events in one line, `.` at the end of the document; an error is `!code message @line:column`, where
/// the code is left out if there is no parser to ask.
inline std::string trace(std::string_view document, int step = 1 << 20, Reading reading = Reading::events,
                         XmlText bytes_of_text = XmlText::one_byte) {
    PiecewiseInputStream stream(document, step);
    std::string text;
    std::unique_ptr<CXmlPullParser> parser;
    try {
        parser.reset(new CXmlPullParser(&stream, bytes_of_text));
        if (!parser) return "no memory";
        if (reading != Reading::raw_names) parser->setProcessNamespaces();
        for (int event = 0; event != XML_END_DOCUMENT;) {
            event = reading == Reading::tokens ? parser->nextToken() : parser->next();
            text += trace_event(*parser, event);
            std::string_view plain;
            if (reading == Reading::plain_texts && parser->takePlainText(plain)) {
                text += '[' + std::string(plain) + ']' + trace_event(*parser, parser->getEventType());
            }
        }
    } catch (const CXmlPullParserException& error) {
        text += '!';
        if (parser) text += std::to_string(parser->getErrorCode()) + ' ';
        text += error.message();
        text += " @" + std::to_string(error.line()) + ':' + std::to_string(error.column());
    }
    return text;
}

/// A document and the events that it gives.
struct Document : soap_test::NamedRow {
    std::string_view text;
    std::string_view events;
    Reading reading = Reading::events;
};

/// The document gives its events in whatever pieces it arrives, and cut off anywhere it ends with an error
/// or, outside the root, in peace. Blocks of exact size show a sanitizer each byte that is read too many.
inline void expect_events(const Document& document, XmlText bytes_of_text = XmlText::one_byte) {
    const bool merged = document.reading == Reading::events;
    for (int step = static_cast<int>(document.text.size()) + 1; step > 0; --step) {
        SCOPED_TRACE(testing::Message() << "in pieces of " << step);
        ASSERT_EQ(trace(document.text, step, document.reading, bytes_of_text), document.events);
        if (!merged) continue;
        ASSERT_EQ(trace(document.text, step, Reading::plain_texts, bytes_of_text), document.events);
    }
    for (std::size_t length = 0; length < document.text.size(); ++length) {
        for (const Reading reading : {document.reading, Reading::tokens}) {
            const std::string events =
                trace(document.text.substr(0, length), 1 << 20, reading, bytes_of_text);
            const bool ended = events.ends_with('.') || events.find('!') != std::string::npos;
            ASSERT_TRUE(ended) << "after " << length << " bytes: " << events;
        }
    }
    if (bytes_of_text != XmlText::one_byte || document.text.find("id=") != std::string_view::npos ||
        document.text.find("href") != std::string_view::npos || !is_plain_ascii(document.text))
        return;
    EXPECT_EQ(trace(widened(document.text), 1 << 20, document.reading), document.events);
}
