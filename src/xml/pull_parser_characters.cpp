// SPDX-License-Identifier: MIT

// The parser's characters: decoding ahead, line ends, positions, names and the text buffer. Plain ASCII is
// taken straight from the input buffer; everything else goes through the general path, which looks ahead by
// decoded characters. Both give the same characters and positions.

#include <cstring>
#include <limits>

#include "xml/character_classes.h"
#include "xml/pull_parser_inline.h"

bool CXmlPullParser::fetch() {
    if (reader == nullptr) return false;
    if (references != nullptr) return fetch_referenced();
    srcCount = reader->readBlock(srcBuf, CXmlByteReader::kBlockSize);
    src = srcBuf;
    srcPos = 0;
    ascii = reader->ascii();
    if (srcCount <= 0) check_end();
    return srcCount > 0;
}

/// Throws if it is a fault in the input that no more comes.
void CXmlPullParser::check_end() {
    const TextFault fault = reader->fault();
    if (fault == TextFault::malformed) raise(-106, "Bytes that are not valid in the document's encoding");
    if (fault == TextFault::forbidden) raise(-107, "Character that XML does not allow");
}

int CXmlPullParser::nextDecodedChar() {
    if (reader == nullptr) return -1;
    if (encodingCode == XML_SINGLE_BYTE) return static_cast<signed char>(src[srcPos++]);
    return reader->decodeChar(src, srcPos, srcCount);
}

int CXmlPullParser::peek_decoded(int pos) {
    while (pos >= peekCount) {
        const bool more = srcPos < srcCount || fetch();
        append_peeked(more ? nextDecodedChar() : -1);
    }
    return peekChars[pos];
}

void CXmlPullParser::append_peeked(int c) {
    if (c == '\r') {
        wasCR = true;
        peekChars[peekCount++] = '\n';
        return;
    }
    // The line feed of a CR LF pair was given with the carriage return.
    if (c != '\n' || !wasCR) peekChars[peekCount++] = c;
    wasCR = false;
}

int CXmlPullParser::read_decoded() {
    const int c = peekCount > 0 ? peekChars[0] : peek_decoded(0);
    peekChars[0] = peekChars[1];
    --peekCount;
    ++column;
    if (c == '\n') {
        ++line;
        column = 1;
    }
    return c;
}

void CXmlPullParser::readExpected(char expected) {
    const int c = readChar();
    if (c == expected) return;
    if (c == -1) raise(-103, "Unexpected End Of File");
    char message[] = "Did not get expected character: ?";
    message[sizeof message - 2] = expected;
    raise(-114, message);
}

void CXmlPullParser::skipWhitespace() {
    for (int c = peekChar(0); c <= 32 && c != -1; c = peekChar(0)) readChar();
}

void CXmlPullParser::push_run(const char* bytes, int length) {
    const long long needed = static_cast<long long>(textLength) + length;
    if (needed > textCapacity) {
        long long grown = 2LL * textCapacity;
        if (grown < needed) grown = needed;
        if (grown > std::numeric_limits<int>::max() / 2) raise(-102, "Memory allocation error");
        const bool first = textBuffer == firstText;
        constexpr std::size_t kHead = CRefString::kHeadRoom;
        void* const larger =
            PEL_array_resize(first ? nullptr : textBuffer - kHead, kHead + static_cast<std::size_t>(grown));
        reserve(larger != nullptr);
        textBuffer = static_cast<char*>(larger) + kHead;
        if (first) std::memcpy(textBuffer, firstText, static_cast<std::size_t>(textLength));
        textCapacity = static_cast<int>(grown);
    }
    std::memcpy(textBuffer + textLength, bytes, static_cast<std::size_t>(length));
    textLength += length;
}

void CXmlPullParser::push_utf8(int c) {
    char bytes[4];
    isWhitespace_ = false;
    push_run(bytes, static_cast<int>(put_utf8(static_cast<unsigned>(c), bytes)));
}

CRefString CXmlPullParser::getRange(int start) {
    return make_text(textBuffer + start, textLength - start);
}

CRefString CXmlPullParser::intern(const char* bytes, int length) {
    CRefString made;
    reserve(names->text(made, bytes, length));
    return made;
}

/// Valid until the next name is read.
const XmlName& CXmlPullParser::name_of(const char* bytes, int length) {
    const XmlName* const made = names->name(bytes, length);
    reserve(made != nullptr);
    return *made;
}

const XmlName& CXmlPullParser::readName() {
    if (!is_name_start(peekChar(0))) raise(-133, "Naming convention error");
    if (plain_ahead(0)) {
        // A name that lies within the buffer is taken from there.
        int end = srcPos;
        while (end < srcCount && is_ascii_name(src[end])) ++end;
        if (end < srcCount && is_plain(src[end])) {
            const char* const begin = src + srcPos;
            const int length = end - srcPos;
            pass(length);
            isWhitespace_ = false;
            return name_of(begin, length);
        }
    }
    const int start = textLength;
    while (is_name(peekChar(0))) pushChar(readChar());
    const XmlName& read = name_of(textBuffer + start, textLength - start);
    textLength = start;
    return read;
}
