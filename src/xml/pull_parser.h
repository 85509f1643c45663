// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "streams/ref_string.h"
#include "xml/byte_reader.h"
#include "xml/character_classes.h"
#include "xml/growing_array.h"
#include "xml/multi_references.h"
#include "xml/name_table.h"
#include "xml/namespace_scopes.h"
#include "xml/pull_parser_exception.h"
#include "xml/repeated_tags.h"

class CInputStream;

/// What a step of the parser found.
enum XmlEvent : int {
    XML_START_DOCUMENT = 1,
    XML_END_DOCUMENT = 2,
    START_TAG = 3,
    XML_END_TAG = 4,
    TEXT = 5,
    XML_CDSECT = 6,
    XML_ENTITY_REF = 7,
    XML_IGNORABLE_WHITESPACE = 8,
    XML_PROCESSING_INSTRUCTION = 9,
    XML_COMMENT = 10,
    XML_DOCDECL = 11,
    XML_LEGACY = 12,
    XML_DECL = 13,
};

/// What bytes stand for the characters of text, values and names.
enum class XmlText {
    one_byte,  ///< the low eight bits of each character
    utf8,      ///< UTF-8, of which nothing is lost
};

/// How much of a document may be open at a time, far above what anybody writes: what is beyond would only
/// take memory, many times its size. 0 is no limit.
struct XmlLimits {
    int depth = 5000;       ///< of elements
    int attributes = 1000;  ///< of one tag; ten times as many namespaces may be declared at a time
};

/// A source of XML events that its user pulls one at a time.
///
/// Names are compared without regard to case throughout. Text is held one byte a character, a decoded
/// character being stored as its low eight bits, unless its user asks for UTF-8. Whatever cannot be read
/// throws `CXmlPullParserException`, after which only the position, the error code and the texts of the
/// current element may be asked for.
class CXmlPullParserBase {
public:
    virtual ~CXmlPullParserBase() = default;

    /// Makes `&key;` stand for `value`. The first of two equal keys counts, the five predefined ones first.
    virtual void defineEntityReplacementText(const CRefString& key, const CRefString& value) = 0;
    virtual CRefString getInputEncoding() = 0;
    /// Switches on prefixes and namespaces; before the first step.
    virtual void setProcessNamespaces() = 0;
    /// Code of the last error, 0 if there was none.
    virtual int getErrorCode() = 0;
    /// Attributes of the current start tag; -1 at every other event.
    virtual int getAttributeCount() = 0;
    /// Empty beyond the last attribute, like the three that follow.
    virtual CRefString getAttributeName(int index) = 0;
    virtual CRefString getAttributeNamespace(int index) = 0;
    virtual CRefString getAttributePrefix(int index) = 0;
    /// Value of the first attribute of that name, in that namespace unless `namespaceUri` is empty.
    virtual CRefString getAttributeValue(const CRefString& namespaceUri, const CRefString& name) = 0;
    virtual CRefString getAttributeValue(int index) = 0;
    /// Position of the last character read.
    virtual int getColumnNumber() = 0;
    /// Elements now open; an element counts until its end tag was left.
    virtual int getDepth() = 0;
    virtual int getLineNumber() = 0;
    virtual CRefString getName() = 0;
    /// The URI that a prefix is bound to here; an empty prefix asks for the default namespace.
    virtual CRefString getNamespace(const CRefString& prefix) = 0;
    virtual CRefString getNamespace() = 0;
    virtual CRefString getPrefix() = 0;
    virtual CRefString getText() = 0;
    virtual int getEventType() = 0;
    /// Throws unless the event is a start tag.
    virtual bool isEmptyElementTag() = 0;
    /// Throws unless the event is text.
    virtual bool isWhitespace() = 0;
    /// The next start tag, end tag, text or end of document: adjacent text is one event, comments, processing
    /// instructions and the document type declaration are left out.
    virtual int next() = 0;
    /// The next token as it stands.
    virtual int nextToken() = 0;
    /// What `next` would give, without consuming it; the getters describe it from now on.
    virtual int peekEvent() = 0;
};

/// The one implementation: reads the stream only forward, in blocks of 512 bytes, and keeps nothing but the
/// current token, the open elements, and the text of elements that bear an `id`.
///
/// One thread at a time; the stream is borrowed and must outlive the parser. What is beyond its limits throws
/// code -108, the end of memory -102. Nothing recurses.
class CXmlPullParser final : public CXmlPullParserBase {
public:
    PEL_HEAP_OBJECT

    /// Reads the first bytes to find the encoding; throws for a null stream, an encoding that is not read,
    /// and when memory ends. With `XmlText::utf8` the document is checked as it is read: bytes that are not
    /// valid in its encoding throw code -106, characters and references to such that XML does not allow
    /// -107, and encodings beside UTF-8, UTF-16, US-ASCII and ISO-8859-1 are not read.
    explicit CXmlPullParser(CInputStream* stream, XmlText bytes_of_text = XmlText::one_byte,
                            XmlLimits open_at_a_time = {});
    ~CXmlPullParser() override;
    CXmlPullParser(const CXmlPullParser&) = delete;
    CXmlPullParser& operator=(const CXmlPullParser&) = delete;

    void defineEntityReplacementText(const CRefString& key, const CRefString& value) override;
    CRefString getInputEncoding() override { return encoding; }
    void setProcessNamespaces() override { processNamespaces = true; }
    int getErrorCode() override { return errorCode; }
    /// Bytes of the document that were read so far, to the end of a block.
    long long bytes_read() const { return reader ? reader->given() + CXmlByteReader::kBlockSize : 0; }
    /// What was thrown when reading failed; null before.
    const CXmlPullParserException* failure() const { return failure_ ? &*failure_ : nullptr; }
    int getAttributeCount() override { return attributeCount; }
    CRefString getAttributeName(int index) override;
    CRefString getAttributeNamespace(int index) override;
    CRefString getAttributePrefix(int index) override;
    CRefString getAttributeValue(const CRefString& namespaceUri, const CRefString& wanted) override;
    CRefString getAttributeValue(int index) override;
    int getColumnNumber() override { return column; }
    int getDepth() override { return depth; }
    int getLineNumber() override { return line; }
    CRefString getName() override { return name; }
    CRefString getNamespace(const CRefString& wanted) override;
    CRefString getNamespace() override { return namespace_; }
    CRefString getPrefix() override { return prefix; }
    CRefString getText() override;
    int getEventType() override { return eventType; }
    bool isEmptyElementTag() override;
    bool isWhitespace() override;
    int next() override;
    int nextToken() override;
    int peekEvent() override;

    /// The text of an element that holds nothing else and the element's end tag, in one step: what two of
    /// `next` would give. Only where the current event is its start tag and both stand at hand in their usual
    /// form; false, with nothing taken, anywhere else. The text lives until the next step, and is followed by
    /// the end tag's `<` instead of a zero.
    bool takePlainText(std::string_view& plain);

private:
    struct Element {
        CRefString namespace_;
        CRefString prefix;
        CRefString localName;
        CRefString rawName;
        bool ascii = true;          ///< the raw name is
        int prefixed_ancestor = 0;  ///< depth of the nearest open element above with a prefix; 0 for none
    };
    struct Entity {
        CRefString key;
        CRefString value;
    };
    // Construction and end: pull_parser.cpp
    void setInput(CInputStream* stream);
    void open_reader(CInputStream* stream);
    [[noreturn]] void raise(int code, const char* message);
    void close() noexcept;
    void reserve(bool done, const char* message = "Memory allocation error");
    CRefString make_text(const char* bytes, int length);
    CRefString take_text();
    void forget_text() noexcept;

    // Encoding: encoding_detection.cpp
    void detectEncoding(CInputStream* stream);
    bool signature_is_unsupported(unsigned signature) const;
    void scanDeclaration(CInputStream* stream);
    void read_declared_encoding(std::string_view declaration);

    // Characters: pull_parser_characters.cpp
    int peekChar(int pos);
    int peek_decoded(int pos);
    bool fetch();
    void check_end();
    int nextDecodedChar();
    void append_peeked(int c);
    int readChar();
    int read_decoded();
    void pass(int length);
    void pass_text(int length);
    xml_characters::Class stop_class(bool in_value) const;
    void readExpected(char expected);
    void skipWhitespace();
    void pushChar(int c);
    void push_utf8(int c);
    void push_run(const char* bytes, int length);
    CRefString getRange(int start);
    const XmlName& readName();
    const XmlName& name_of(const char* bytes, int length);
    CRefString intern(const char* bytes, int length);
    bool plain_ahead(int pos) const;

    // Stepping: pull_parser_stepping.cpp
    int peekType();
    void nextImpl();
    void parseEndTag();
    void take_names_of_element();

    // Events all of whose bytes are at hand: pull_parser_at_hand.cpp
    enum class Hand { taken, unusual, cut };
    bool event_at_hand();
    bool more_at_hand();
    Hand skip_blanks_at_hand();
    Hand text_at_hand();
    Hand tag_at_hand();
    Hand declaration_at_hand();
    Hand attributes_at_hand(const char* at, const char* end, char mark);
    void open_repeated(const RepeatedTag& tag);
    void remember_tag(std::string_view bytes, const TagPlace& place);
    TagPlace place_of_tag() const;
    bool means_the_same(RepeatedTag& tag, const TagPlace& place);
    Hand end_tag_at_hand();
    bool ends_with_tag(const char* at) const;

    // Tags: pull_parser_tags.cpp
    void parseStartTag(bool isXmlDecl);
    bool read_tag_end(bool isXmlDecl, int c, bool& leave);
    void parseAttribute();
    CRefString read_value(int delimiter);
    void make_room_for_attribute();
    void store_attribute(const XmlName& attribute_name, const CRefString& value);
    void check_duplicates();
    void open_element();
    void push_element();
    void push_opened();
    void adjustNamespaces();
    bool declare_namespaces();
    void resolve_attribute_prefixes();
    void check_qualified_duplicates();
    void adjustElementName();

    // Text, references and other markup: pull_parser_text.cpp, pull_parser_markup.cpp
    void pushText(int delimiter, bool resolveEntities);
    void push_plain_run(int delimiter, bool resolveEntities);
    bool push_special(bool resolveEntities);
    bool push_high_character();
    bool push_entity_at_hand();
    void classify_whitespace();
    void pushEntity();
    void push_number(const CRefString& digits, bool hexadecimal);
    void push_named_entity(const CRefString& code);
    int parseLegacy();
    int parse_declaration();
    void take_declaration();
    void read_markup(int terminator, bool push);
    void parseDoctype();

    // Multi-references: pull_parser_references.cpp
    void captureId(const CRefString& id);
    void followReference();
    bool load_references();
    bool fetch_referenced();

    const CRefString& uri_of(const CRefString& wanted) { return uri_at(wanted, depth); }
    const CRefString& uri_at(const CRefString& wanted, int at);

    static constexpr int kFirstText = 256;
    /// Room for what is left of a block in front of the next one.
    static constexpr int kKept = 1536;

    int line = 1;
    int column = 0;
    int errorCode = 0;
    std::optional<CXmlPullParserException> failure_;
    int depth = 0;
    int peekChars[2] = {};
    int peekCount = 0;
    bool wasCR = false;
    bool plainBytes = false;  ///< a byte below 128 is a character
    bool ascii = true;        ///< all that `src` holds of a text in UTF-8 is
    const XmlText textBytes;
    const XmlLimits limits;
    int encodingCode = XML_UTF_8;
    bool alive = false;
    std::unique_ptr<CXmlByteReader> reader;
    char srcBuf[kKept + CXmlByteReader::kBlockSize];
    const char* src = srcBuf;  ///< what is being read: `srcBuf`, or text that a reference leads to
    int srcPos = 0;
    int srcCount = 0;
    int eventType = XML_START_DOCUMENT;
    bool isWhitespace_ = true;
    bool wasStartTag = false;
    bool tokenMode = false;
    bool emptyElement = false;
    bool hasPeekedEvent = false;
    bool unpushed = false;  ///< the element of the current start tag is not on the stack yet
    CRefString prefix;
    CRefString name;
    CRefString text;
    int attributeCount = -1;
    GrowingArray<XmlAttribute> attributes;
    int attributeRoom = 0;                ///< as many of them may be used without another look
    const XmlAttribute* shown = nullptr;  ///< those of the current tag
    CRefString version;
    CRefString encoding;
    bool standalone = true;
    bool processNamespaces = false;
    CRefString namespace_;
    NamespaceScopes scopes;
    bool unresolvedEntity = false;
    GrowingArray<Entity> entities;
    int entityCount = 0;
    GrowingArray<Element> elementStack;
    char firstText[kFirstText];
    char* textBuffer = firstText;
    int textCapacity = kFirstText;
    int textLength = 0;
    CRefString hrefTarget;
    bool hasHref = false;
    bool hasId = false;
    std::unique_ptr<MultiReferences> references;  ///< from the first `id` or `href` on
    std::unique_ptr<NameTable> names;
    RepeatedTags repeated;
    XmlName tagName;              ///< of the tag that is being read
    CRefString xmlUri, xmlnsUri;  ///< of the prefixes that are always bound
};
