// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>

#include <cstdint>
#include <memory>

#include "streams/ref_string.h"
#include "streams/stream.h"
#include "xml/byte_reader.h"
#include "xml/entity_list.h"
#include "xml/growing_table.h"
#include "xml/name_table.h"
#include "xml/namespace_table.h"
#include "xml/pull_parser_exception.h"
#include "xml/text_buffer.h"
#include "xml/xml_chars.h"

class MultiReferences;

/// What a reader of XML asks of a parser: one event at a time, and what belongs to the current event.
class CXmlPullParserBase {
public:
    /// Events. `next` gives only `XML_END_DOCUMENT`, `START_TAG`, `XML_END_TAG` and `TEXT`.
    enum Event : int {
        XML_START_DOCUMENT = 1,  ///< before the first step
        XML_END_DOCUMENT = 2,    ///< input ended with no element open
        START_TAG = 3,
        XML_END_TAG = 4,  ///< also the second half of an empty element
        TEXT = 5,
        XML_CDSECT = 6,
        XML_ENTITY_REF = 7,
        XML_IGNORABLE_WHITESPACE = 8,
        XML_PROCESSING_INSTRUCTION = 9,
        XML_COMMENT = 10,
        XML_DOCDECL = 11,
        XML_LEGACY = 12,  ///< inside: markup that opens with `<!` or `<?` and is not yet told apart
        XML_DECL = 13     ///< inside: an XML declaration was read
    };

    virtual ~CXmlPullParserBase() = default;
    CXmlPullParserBase(const CXmlPullParserBase&) = delete;
    CXmlPullParserBase& operator=(const CXmlPullParserBase&) = delete;

    /// Makes `&key;` stand for `value`. The first of two equal keys wins; an empty value counts as none.
    virtual void defineEntityReplacementText(const CRefString& key, const CRefString& value) = 0;
    /// The encoding, detected or declared.
    virtual CRefString getInputEncoding() const = 0;
    /// From now on names are split and prefixes resolved. To be called before the first step.
    virtual void setProcessNamespaces() = 0;
    /// Code of the last error, 0 if none.
    virtual int getErrorCode() const = 0;
    /// Attributes of the current start tag, declarations of namespaces included; -1 at every other event.
    virtual int getAttributeCount() const = 0;
    /// The parts of attribute `index`; empty if there is no such attribute.
    virtual CRefString getAttributeName(int index) const = 0;
    virtual CRefString getAttributeNamespace(int index) const = 0;
    virtual CRefString getAttributePrefix(int index) const = 0;
    /// Value of the first attribute of that name and, unless `namespaceUri` is empty, that namespace.
    virtual CRefString getAttributeValue(const CRefString& namespaceUri, const CRefString& name) const = 0;
    virtual CRefString getAttributeValue(int index) const = 0;
    /// Column and line of the last character read.
    virtual int getColumnNumber() const = 0;
    /// Elements open; one counts during its own start and end tag.
    virtual int getDepth() const = 0;
    virtual int getLineNumber() const = 0;
    /// Local name of the current element, or its raw name while namespaces are not processed.
    virtual CRefString getName() const = 0;
    /// URI bound to `prefix` where the parser stands; empty if none. An empty prefix asks for the default.
    virtual CRefString getNamespace(const CRefString& prefix) const = 0;
    /// URI and prefix of the current element.
    virtual CRefString getNamespace() const = 0;
    virtual CRefString getPrefix() const = 0;
    /// Text of the current event, empty for tags.
    virtual CRefString getText() const = 0;
    virtual int getEventType() const = 0;
    /// Whether the current start tag ended in `/>`; throws (-104) at another event.
    virtual bool isEmptyElementTag() = 0;
    /// Whether the current text is all blanks; throws (-104) where there is no text.
    virtual bool isWhitespace() = 0;
    /// The next event; adjacent texts, CDATA and references are one `TEXT`, comments and the like dropped.
    virtual int next() = 0;
    /// The next token as it stands in the document.
    virtual int nextToken() = 0;
    /// What `next` will give. The getters describe that event from now on.
    virtual int peekEvent() = 0;

protected:
    CXmlPullParserBase() = default;
};

/// Pulls events out of a byte stream. Builds no tree and never recurses; its memory is that of the largest
/// token, of the open elements, and, once an element bears an `id`, of the text from there on.
///
/// The stream stays the caller's and must outlive the parser. Every failure is thrown as a
/// `CXmlPullParserException`, and the first one is final: the tables are gone, only the error's code and
/// position, depth, event, name, prefix, namespace and text may still be asked. One thread at a time.
///
/// Names are compared without regard to case. A character is kept as its low eight bits.
class CXmlPullParser final : public CXmlPullParserBase {
public:
    PEL_HEAP_OBJECT

    /// Detects the encoding, for which it reads the first bytes. Throws as told above.
    explicit CXmlPullParser(CInputStream* stream);
    ~CXmlPullParser() override;

    void defineEntityReplacementText(const CRefString& key, const CRefString& value) override;
    CRefString getInputEncoding() const override { return encoding; }
    void setProcessNamespaces() override { processNamespaces = true; }
    int getErrorCode() const override { return errorCode; }
    int getAttributeCount() const override { return attributeCount; }
    CRefString getAttributeName(int index) const override {
        return has_attribute(index) ? attributes[index].name : CRefString();
    }
    CRefString getAttributeNamespace(int index) const override {
        return has_attribute(index) ? attributes[index].namespaceUri : CRefString();
    }
    CRefString getAttributePrefix(int index) const override {
        return has_attribute(index) ? attributes[index].prefix : CRefString();
    }
    CRefString getAttributeValue(const CRefString& namespaceUri, const CRefString& name) const override;
    CRefString getAttributeValue(int index) const override {
        return has_attribute(index) ? attributes[index].value : CRefString();
    }
    int getColumnNumber() const override { return column; }
    int getDepth() const override { return depth; }
    int getLineNumber() const override { return line; }
    CRefString getName() const override { return name; }
    CRefString getNamespace(const CRefString& wanted) const override;
    CRefString getNamespace() const override { return namespaceUri; }
    CRefString getPrefix() const override { return prefix; }
    CRefString getText() const override {
        return eventType < TEXT || (eventType == XML_ENTITY_REF && unresolvedEntity) ? CRefString() : text;
    }
    int getEventType() const override { return eventType; }
    bool isEmptyElementTag() override;
    bool isWhitespace() override;
    int next() override;
    int nextToken() override;
    int peekEvent() override;

private:
    struct Attribute {
        CRefString name, value, namespaceUri, prefix;
        CRefString rawPrefix, rawLocal;  ///< of a name with a colon
        int colon = -1;                  ///< where the first one stands in the raw name
    };
    struct Element {
        CRefString namespaceUri, prefix, localName, rawName;
        int prefixedAncestor = 0;  ///< depth of the nearest element, this included, that has a prefix
    };
    static constexpr int kEndOfInput = -1;

    bool has_attribute(int index) const { return index >= 0 && index < attributeCount; }

    // Failure and ends: pull_parser.cpp.
    [[noreturn]] void raise(int code, const char* message);
    [[noreturn]] void out_of_memory();
    void close() noexcept;

    // Stepping: pull_parser.cpp.
    int peekType();
    void nextImpl();
    void classify_whitespace();
    void take_text();

    // Characters: characters.cpp.
    bool plain_ahead(int count) const;
    int peekChar(int pos);
    int lookAhead(int pos);
    bool refill();
    int nextDecodedChar();
    int readChar();
    int read_looked_at();
    void readExpected(int expected);
    void skipWhitespace();
    void pushChar(int c);
    void push_bytes(const char* bytes, int count);
    CRefString getRange(int start);
    const NameTable::Entry& readName();
    const NameTable::Entry& read_name_by_characters();

    // Encoding: encoding.cpp.
    void detectEncoding(CInputStream* stream);
    void scan_declaration(CInputStream* stream);

    // Tags: tags.cpp, namespaces.cpp.
    void parseStartTag(bool isXmlDecl);
    bool parse_attributes(bool isXmlDecl);
    void finish_empty_tag();
    void parse_attribute();
    void read_attribute_name();
    CRefString read_value(int delimiter);
    void store_value(CRefString value);
    bool value_in_one_run(int delimiter, CRefString& value);
    void push_element();
    void parseEndTag();
    bool end_tag_at_hand();
    void check_duplicate_names();
    void check_duplicate_expanded_names();
    template <typename Hash, typename Same>
    bool any_two_alike(Hash hash_of, Same same);
    void adjustNamespaces();
    bool note_declarations();
    void resolve_attribute_prefixes();
    void adjustElementName();
    const CRefString& resolve(const CRefString& wanted) const;

    // Text: text.cpp, legacy.cpp.
    void pushText(int delimiter, bool resolveEntities);
    void push_run(std::uint8_t stop_class, bool resolveEntities);
    bool push_line_end(char byte);
    bool push_high_character();
    bool push_predefined_entity();
    void pushEntity();
    void push_number(const CRefString& code);
    void push_named(const CRefString& code);
    int parseLegacy();
    int parse_delimited(int result, int terminator, const char* required, bool push);
    int parse_xml_declaration();
    void parseDoctype();

    // References between elements: references.cpp.
    void captureId(const CRefString& id);
    void followReference();
    void loadRest();
    bool retain_input();
    int read_more();
    void check_search_budget();

    int line = 1;
    int column = 0;
    int errorCode = 0;
    int depth = 0;
    int eventType = XML_START_DOCUMENT;
    int peekChars[2] = {0, 0};
    int peekCount = 0;
    int encodingCode = CXmlByteReader::kBytes;
    int attributeCount = -1;
    int srcPos = 0;    ///< next undecoded byte in `srcBuf`
    int srcCount = 0;  ///< bytes valid in `srcBuf`; -1 or 0 once the stream is exhausted
    char* srcBuf = nullptr;
    bool wasCR = false;
    bool alive = false;
    bool plainBytes = false;  ///< a byte below 128 is a character
    bool whitespaceOnly = true;
    bool wasStartTag = false;
    bool tokenMode = false;
    bool emptyElement = false;
    bool hasPeekedEvent = false;
    bool processNamespaces = false;
    bool unresolvedEntity = false;
    bool standalone = true;
    bool hasHref = false;
    bool hasId = false;

    CRefString prefix, name, namespaceUri, text;
    CRefString version, encoding, hrefTarget;
    mutable CRefString xmlUri, xmlnsUri;

    std::unique_ptr<CXmlByteReader> reader;
    std::unique_ptr<MultiReferences> references;  ///< made when the first element has an `id` or is referred to
    XmlTextBuffer textBuffer;
    EntityList entities;
    GrowingTable<Attribute, 6> attributes;
    GrowingTable<Element, 10> elementStack;
    NamespaceTable namespaces;
    NameTable names;
    char firstBlock[CXmlByteReader::kBlock];  ///< `srcBuf`, until references need a longer one
};
