// SPDX-License-Identifier: MIT
#include "xml/pull_parser.h"

#include <limits>

#include "streams/stream.h"
#include "xml/character_classes.h"

namespace {

constexpr int kFirstElements = 10;
constexpr int kFirstAttributes = 6;
constexpr char kNoMemory[] = "Memory allocation error";

int or_none(int limit) {
    return limit == 0 ? std::numeric_limits<int>::max() / 16 : limit;
}

}  // namespace

CXmlPullParser::CXmlPullParser(CInputStream* stream, XmlText bytes_of_text, XmlLimits open_at_a_time)
    : textBytes(bytes_of_text), limits{or_none(open_at_a_time.depth), or_none(open_at_a_time.attributes)} {
    setInput(stream);
}

CXmlPullParser::~CXmlPullParser() {
    close();
}

void CXmlPullParser::setInput(CInputStream* stream) {
    alive = true;
    if (stream == nullptr) raise(-101, "No Underlying Input Stream");
    names = NameTable::take();
    reserve(names != nullptr);
    reserve(elementStack.reserve(kFirstElements, kFirstElements));
    reserve(attributes.reserve(kFirstAttributes, kFirstAttributes));
    detectEncoding(stream);
    open_reader(stream);
}

void CXmlPullParser::open_reader(CInputStream* stream) {
    if (encoding == "Unsupported") raise(-105, "Unsupported Encoding");
    reader.reset(new CXmlByteReader(stream, encoding.c_str(), CXmlByteReader::kBlockSize));
    if (reader == nullptr) raise(-102, "Memory Allocation Error");
    if (textBytes == XmlText::utf8 && reader->status() == 0) {
        // What was read to find the encoding is read again, now as text.
        const bool converts = reader->convert_to_utf8(encoding.c_str(), srcBuf, srcCount);
        if (!converts && reader->status() == 0) raise(-105, "Unsupported Encoding");
        srcCount = 0;
    }
    errorCode = reader->status();
    if (errorCode == -101) raise(-101, "No Underlying source");
    if (errorCode == -102) raise(-102, "Memory Allocation Error");
    encodingCode = reader->encoding();
    plainBytes = encodingCode != XML_UTF_16BE && encodingCode != XML_UTF_16LE;
}

void CXmlPullParser::reserve(bool done, const char* message) {
    if (!done) raise(-102, message);
}

CRefString CXmlPullParser::make_text(const char* bytes, int length) {
    CRefString made;
    if (!CRefString::create(made, bytes, static_cast<std::size_t>(length))) raise(-102, kNoMemory);
    return made;
}

void CXmlPullParser::forget_text() noexcept {
    textBuffer = firstText;
    textCapacity = kFirstText;
    textLength = 0;
}

/// What was pushed since the event began. A long text takes its memory along instead of being copied.
CRefString CXmlPullParser::take_text() {
    constexpr int kLong = 64 * 1024;
    if (textLength < kLong || textLength == textCapacity) return getRange(0);
    CRefString taken = CRefString::adopt(textBuffer - CRefString::kHeadRoom, textLength);
    forget_text();
    return taken;
}

void CXmlPullParser::raise(int code, const char* message) {
    errorCode = code;
    close();
    failure_.emplace(message, getLineNumber(), getColumnNumber());
    throw CXmlPullParserException(*failure_);
}

void CXmlPullParser::close() noexcept {
    if (!alive) return;
    alive = false;
    reader.reset();
    unpushed = hasPeekedEvent = false;
    if (textBuffer != firstText) PEL_array_delete(textBuffer - CRefString::kHeadRoom);
    forget_text();
    elementStack.clear();
    attributes.clear();
    attributeCount = -1;
    references.reset();
    scopes.clear();
    repeated.clear();
    if (names) NameTable::give_back(std::move(names));
    entities.clear();
}

void CXmlPullParser::defineEntityReplacementText(const CRefString& key, const CRefString& value) {
    reserve(entities.reserve(entityCount + 1, 4));
    entities[entityCount++] = Entity{key, value};
}

CRefString CXmlPullParser::getAttributeName(int index) {
    return index >= 0 && index < attributeCount ? shown[index].name : CRefString();
}

CRefString CXmlPullParser::getAttributeNamespace(int index) {
    return index >= 0 && index < attributeCount ? shown[index].namespace_ : CRefString();
}

CRefString CXmlPullParser::getAttributePrefix(int index) {
    return index >= 0 && index < attributeCount ? shown[index].prefix : CRefString();
}

CRefString CXmlPullParser::getAttributeValue(const CRefString& namespaceUri, const CRefString& wanted) {
    for (int i = 0; i < attributeCount; ++i) {
        const XmlAttribute& attribute = shown[i];
        if (!(attribute.name == wanted)) continue;
        if (namespaceUri.length() == 0 || attribute.namespace_ == namespaceUri) return attribute.value;
    }
    return {};
}

CRefString CXmlPullParser::getAttributeValue(int index) {
    return index >= 0 && index < attributeCount ? shown[index].value : CRefString();
}

CRefString CXmlPullParser::getNamespace(const CRefString& wanted) {
    return uri_of(wanted);
}

const CRefString& CXmlPullParser::uri_at(const CRefString& wanted, int at) {
    const auto constant = [this](CRefString& kept, std::string_view uri) -> const CRefString& {
        if (kept.length() == 0) kept = make_text(uri.data(), static_cast<int>(uri.size()));
        return kept;
    };
    if (is_word(wanted.view(), "xml")) return constant(xmlUri, "http://www.w3.org/XML/1998/namespace");
    if (is_word(wanted.view(), "xmlns")) return constant(xmlnsUri, "http://www.w3.org/2000/xmlns/");
    return scopes.find(wanted, at);
}

CRefString CXmlPullParser::getText() {
    if (eventType < TEXT || (eventType == XML_ENTITY_REF && unresolvedEntity)) return {};
    return text;
}

bool CXmlPullParser::isEmptyElementTag() {
    if (eventType != START_TAG) raise(-104, "Should be START_TAG to check for empty element");
    return emptyElement;
}

bool CXmlPullParser::isWhitespace() {
    if (eventType != TEXT && eventType != XML_CDSECT && eventType != XML_IGNORABLE_WHITESPACE) {
        raise(-104, "Illegal current event type to check for whitespace. Should be TEXT");
    }
    return isWhitespace_;
}
