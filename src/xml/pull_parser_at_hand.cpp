// SPDX-License-Identifier: MIT

// Events in their usual form, all of whose bytes are in the input buffer: they are taken as they stand. What
// is in any way unusual, errors included, is left untouched for the steps that go character by character.

#include <cstring>

#include "xml/plain_run.h"
#include "xml/pull_parser_inline.h"
#include "xml/same_bytes.h"

namespace {

constexpr bool is_quote(char c) {
    return c == '"' || c == '\'';
}

const char* name_end(const char* at) {
    while (is_ascii_name(*at)) ++at;
    return at;
}

}  // namespace

/// Takes the next event if it is at hand. Blanks that no event tells of may be gone in any case.
bool CXmlPullParser::event_at_hand() {
    if (peekCount != 0 || !plainBytes || emptyElement || reader == nullptr) return false;
    for (;;) {
        Hand hand = skip_blanks_at_hand();
        if (hand == Hand::taken) {
            const char* const at = src + srcPos;
            if (*at != '<') {
                hand = text_at_hand();
            } else if (at[1] == '/') {
                hand = end_tag_at_hand();
            } else if (at[1] == '?') {
                hand = declaration_at_hand();
                if (hand == Hand::taken) continue;
            } else {
                hand = tag_at_hand();
            }
        }
        if (hand == Hand::taken) return true;
        if (hand == Hand::unusual || !more_at_hand()) return false;
    }
}

/// Puts the next block behind what is left of this one; false if that is much already, or no more comes.
bool CXmlPullParser::more_at_hand() {
    const int left = srcCount - srcPos;
    if (references != nullptr || left < 0 || left > kKept) return false;
    if (left > 0) std::memmove(srcBuf, srcBuf + srcPos, static_cast<std::size_t>(left));
    const int count = reader->readBlock(srcBuf + left, CXmlByteReader::kBlockSize);
    ascii = reader->ascii() && (ascii || left == 0);
    src = srcBuf;
    srcPos = 0;
    srcCount = left + (count > 0 ? count : 0);
    return count > 0;
}

/// Steps over ignorable white space: such as stands in front of a tag, unless it is all of an element's
/// content. Taken if two bytes at least are at hand behind what was stepped over.
CXmlPullParser::Hand CXmlPullParser::skip_blanks_at_hand() {
    if (srcPos + 1 < srcCount && !is_white(src[srcPos])) return Hand::taken;
    // A line for each tag is how most documents are written.
    const int line_end = srcPos + (srcPos < srcCount && src[srcPos] == '\r' ? 1 : 0);
    if (line_end + 2 < srcCount && src[line_end] == '\n' && (line_end != srcPos || !wasCR) &&
        src[line_end + 1] == '<' && is_name_start(src[line_end + 2])) {
        ++line;
        column = 1;
        wasCR = false;
        srcPos = line_end + 1;
        return Hand::taken;
    }
    int at = srcPos;
    int lines = 0;
    int line_begin = srcPos - column;  // where column 0 would be
    bool behind_return = wasCR;
    for (; at < srcCount && is_white(src[at]); ++at) {
        const char c = src[at];
        if (c == '\n' && behind_return) {
            ++line_begin;
        } else if (c == '\n' || c == '\r') {
            ++lines;
            line_begin = at;
        }
        behind_return = c == '\r';
    }
    if (at + 1 >= srcCount) return Hand::cut;
    if (src[at] != '<') return Hand::taken;
    if (src[at + 1] == '!' || src[at + 1] == '?') return Hand::unusual;
    if (wasStartTag && src[at + 1] == '/') return Hand::taken;
    line += lines;
    column = at - line_begin;
    wasCR = behind_return;
    srcPos = at;
    return Hand::taken;
}

/// Text up to a tag.
CXmlPullParser::Hand CXmlPullParser::text_at_hand() {
    const char* const begin = src + srcPos;
    const int room = srcCount - srcPos;
    const int length = run_length(begin, room, stop_class(false));
    if (length + 1 >= room) return length > CXmlByteReader::kBlockSize ? Hand::unusual : Hand::cut;
    const char stop = begin[length + 1];
    if (length == 0 || begin[length] != '<' || stop == '!' || stop == '?') return Hand::unusual;
    text = make_text(begin, length);
    if (eventType == XML_END_TAG) --depth;
    attributeCount = -1;
    eventType = TEXT;
    for (int i = 0; isWhitespace_ && i < length; ++i) isWhitespace_ = is_white(begin[i]);
    pass_text(length);
    return Hand::taken;
}

bool CXmlPullParser::takePlainText(std::string_view& plain) {
    if (eventType != START_TAG || emptyElement || peekCount != 0 || !plainBytes || reader == nullptr ||
        !tagName.ascii)
        return false;
    const int tag_length = tagName.raw.length() + 3;
    for (;;) {
        const char* const begin = src + srcPos;
        const int room = srcCount - srcPos;
        const int length = run_length(begin, room, stop_class(false));
        if (length + tag_length <= room) {
            if (length == 0 || !ends_with_tag(begin + length)) return false;
            plain = {begin, static_cast<std::size_t>(length)};
            pass_text(length);
            pass(tag_length);
            attributeCount = -1;
            eventType = XML_END_TAG;
            hasPeekedEvent = wasStartTag = unpushed = tokenMode = false;
            return true;
        }
        if (length < room && begin[length] != '<') return false;
        if (room > CXmlByteReader::kBlockSize || !more_at_hand()) return false;
    }
}

/// The end tag of the element whose start tag is current.
bool CXmlPullParser::ends_with_tag(const char* at) const {
    const auto length = static_cast<std::size_t>(tagName.raw.length());
    return at[0] == '<' && at[1] == '/' && at[length + 2] == '>' &&
           same_bytes(at + 2, tagName.raw.c_str(), length);
}

/// An end tag that is written like its start tag, without a blank.
CXmlPullParser::Hand CXmlPullParser::end_tag_at_hand() {
    const int open = eventType == XML_END_TAG ? depth - 1 : depth;
    if (open < 1) return Hand::unusual;
    const Element& element = elementStack[open];
    const int length = element.rawName.length();
    if (!element.ascii || length > CXmlByteReader::kBlockSize) return Hand::unusual;
    if (srcCount - srcPos < length + 3) return Hand::cut;
    const char* const at = src + srcPos + 2;
    if (at[length] != '>' || !same_bytes(at, element.rawName.c_str(), static_cast<std::size_t>(length)))
        return Hand::unusual;
    depth = open;
    attributeCount = -1;
    eventType = XML_END_TAG;
    wasStartTag = false;
    pass(length + 3);
    take_names_of_element();
    return Hand::taken;
}

/// A start tag of ASCII names, with no blanks but spaces between attributes, and without references.
CXmlPullParser::Hand CXmlPullParser::tag_at_hand() {
    const char* const begin = src + srcPos;
    const auto room = static_cast<std::size_t>(srcCount - srcPos);
    const TagPlace place = place_of_tag();
    if (RepeatedTag* const tag = repeated.expect({begin, room}, place); tag && means_the_same(*tag, place)) {
        open_repeated(*tag);
        return Hand::taken;
    }
    if (!is_name_start(begin[1])) return Hand::unusual;
    const auto* const end = static_cast<const char*>(std::memchr(begin, '>', room));
    if (end == nullptr) return Hand::cut;
    const std::string_view bytes(begin, static_cast<std::size_t>(end - begin) + 1);
    if (RepeatedTag* const tag = repeated.find(bytes, place); tag && means_the_same(*tag, place)) {
        open_repeated(*tag);
        return Hand::taken;
    }
    const char* const behind_name = name_end(begin + 1);
    if (behind_name != end && *behind_name != ' ' && *behind_name != '/') return Hand::unusual;
    if (const Hand hand = attributes_at_hand(behind_name, end, '/'); hand != Hand::taken) return hand;
    const CRefString lender = place.lender;  // its element may move
    if (eventType == XML_END_TAG) --depth;
    eventType = START_TAG;
    emptyElement = end[-1] == '/';
    hasHref = hasId = false;
    hrefTarget = namespace_ = prefix = CRefString();
    tagName = name_of(begin + 1, static_cast<int>(behind_name - begin - 1));
    name = tagName.raw;
    pass_text(static_cast<int>(bytes.size()));
    check_duplicates();
    open_element();
    shown = attributes.data();
    wasStartTag = true;
    if (scopes.version() == place.scopes_version)
        remember_tag(bytes, {place.depth, place.scopes_version, lender});
    return Hand::taken;
}

/// True if the prefixes of a tag that was read before stand for what they stood for then. Namespaces that
/// were declared since, as by each of many records, need not concern it.
bool CXmlPullParser::means_the_same(RepeatedTag& tag, const TagPlace& place) {
    if (tag.scopes_version == place.scopes_version) return true;
    const auto is_bound_to = [&](const CRefString& used, const CRefString& uri) {
        return uri_at(used, tag.depth).view() == uri.view();
    };
    const bool has_default = tag.prefix.length() == 0 && uri_at(tag.prefix, tag.depth).length() != 0;
    const bool is_lent = tag.prefix.length() == 0 && !has_default;
    if (is_lent && tag.lender.length() == 0) {
        if (tag.namespace_.length() != 0) return false;
    } else if (!is_bound_to(is_lent ? tag.lender : tag.prefix, tag.namespace_)) {
        return false;
    }
    for (int i = 0; i < tag.attribute_count; ++i) {
        const XmlAttribute& attribute = tag.attributes[i];
        if (attribute.prefix.length() != 0 && !is_bound_to(attribute.prefix, attribute.namespace_))
            return false;
    }
    tag.scopes_version = place.scopes_version;
    return true;
}

/// Where the tag that comes next stands.
TagPlace CXmlPullParser::place_of_tag() const {
    const int parent = eventType == XML_END_TAG ? depth - 1 : depth;
    const Element& above = elementStack[parent];
    const int ancestor = above.prefix.length() != 0 ? parent : above.prefixed_ancestor;
    return {parent + 1, scopes.version(), elementStack[ancestor].prefix};
}

/// Opens an element by a tag that was read before, at the same place.
void CXmlPullParser::open_repeated(const RepeatedTag& tag) {
    pass_text(tag.bytes.length());
    eventType = START_TAG;
    wasStartTag = true;
    emptyElement = tag.bytes.view()[tag.bytes.view().size() - 2] == '/';
    depth = tag.depth;
    reserve(elementStack.reserve(depth + 1, 10));
    name = tag.name;
    prefix = tag.prefix;
    namespace_ = tag.namespace_;
    attributeCount = tag.attribute_count;
    shown = tag.attributes.data();
    tagName.raw = tag.written.raw;
    tagName.ascii = tag.written.ascii;
    unpushed = true;
}

/// Keeps what came of a tag that was seen before. No memory for it is no failure.
void CXmlPullParser::remember_tag(std::string_view bytes, const TagPlace& place) {
    RepeatedTag* const tag = repeated.remember(bytes, place, attributeCount);
    if (tag == nullptr) return;
    tag->written = tagName;
    tag->name = name;
    tag->prefix = prefix;
    tag->namespace_ = namespace_;
    tag->attribute_count = attributeCount;
    for (int i = 0; i < attributeCount; ++i) tag->attributes[i] = attributes[i];
}

/// The declaration of the document. It gives no event, and what it says is checked like any other.
CXmlPullParser::Hand CXmlPullParser::declaration_at_hand() {
    constexpr std::string_view kBegin = "<?xml ";
    const char* const begin = src + srcPos;
    const auto room = static_cast<std::size_t>(srcCount - srcPos);
    const auto* const end = static_cast<const char*>(std::memchr(begin, '>', room));
    if (line != 1 || column != 0 || end == nullptr || end - begin < 8 || end[-1] != '?' ||
        std::memcmp(begin, kBegin.data(), kBegin.size()) != 0)
        return Hand::unusual;
    if (const Hand hand = attributes_at_hand(begin + 5, end, '?'); hand != Hand::taken) return hand;
    name = name_of("l", 1).raw;  // what stands behind "<?xm" is read like a tag
    pass(static_cast<int>(end - begin) + 1);
    take_declaration();
    attributeCount = -1;
    return Hand::taken;
}

/// The attributes between a tag's name and its `>`, which nothing else can be in front of. `mark` may stand
/// before it.
CXmlPullParser::Hand CXmlPullParser::attributes_at_hand(const char* at, const char* end, char mark) {
    const auto stop = stop_class(true);
    attributeCount = 0;
    for (;;) {
        while (*at == ' ') ++at;
        if (at == end || (*at == mark && at + 1 == end)) return Hand::taken;
        if (!is_name_start(*at)) return Hand::unusual;
        const char* const equals = name_end(at);
        if (*equals != '=' || !is_quote(equals[1])) return Hand::unusual;
        const char* const value = equals + 2;
        const char* const closing = value + run_length(value, static_cast<int>(end - value), stop);
        if (*closing != equals[1] || (closing[1] != ' ' && closing[1] != mark && closing[1] != '>'))
            return Hand::unusual;
        const XmlName& attribute_name = name_of(at, static_cast<int>(equals - at));
        if (attribute_name.role == XmlName::Role::href || attribute_name.role == XmlName::Role::id)
            return Hand::unusual;
        if (attributeCount == attributeRoom) {
            if (attributeCount == limits.attributes) return Hand::unusual;
            make_room_for_attribute();
        }
        XmlAttribute& attribute = attributes[attributeCount++];
        attribute.set(attribute_name, intern(value, static_cast<int>(closing - value)));
        at = closing + 1;
    }
}
