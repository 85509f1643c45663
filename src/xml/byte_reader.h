// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>

#include <memory>

#include "xml/utf8_input.h"

/// Codes of the encodings that are decoded; any other name leaves a byte a character.
enum XmlEncoding : int {
    XML_SINGLE_BYTE = 900,
    XML_UTF_8 = 902,
    XML_UTF_16LE = 904,
    XML_UTF_16BE = 905,
};

/// Fetches blocks of a body for the parser and decodes single characters.
///
/// The stream is borrowed. Nothing throws; `status` tells whether construction succeeded.
class CXmlByteReader {
public:
    PEL_HEAP_OBJECT

    static constexpr int kBlockSize = 512;

    /// A `block_size` below 1 means 512. The name of the encoding is compared without regard to case.
    CXmlByteReader(CInputStream* input, const char* encoding_name, int block_size);
    ~CXmlByteReader();
    CXmlByteReader(const CXmlByteReader&) = delete;
    CXmlByteReader& operator=(const CXmlByteReader&) = delete;

    /// From now on `readBlock` gives the document as UTF-8 (see `Utf8Input`), the `count` bytes at `begin`
    /// first; `encoding` becomes that of UTF-8. False for an encoding that cannot be converted; when memory
    /// ends `status` is -102 besides.
    bool convert_to_utf8(const char* encoding_name, const char* begin, int count);
    /// True if a block of a converted document, the last one given, is ASCII.
    bool ascii() const { return converted && converted->ascii(); }
    /// What ended a converted document.
    TextFault fault() const { return converted ? converted->fault() : TextFault::none; }

    /// Up to `wanted` bytes, at most one block of the stream; -1 or 0 when no more come. `wanted` is a block
    /// at least where the document is converted.
    int readBlock(char* destination, int wanted);

    /// One byte as 0 to 255, or -1.
    int readByte();

    /// The next character of `buffer`, moving `position`; the rest of one that is cut off at `count` comes
    /// from the stream. -1 for a malformed sequence or when that read fails.
    int decodeChar(const char* buffer, int& position, int count);

    /// Bytes of the document that blocks gave so far.
    long long given() const { return given_; }

    /// 0, -101 for a null stream, -102 when the block could not be allocated.
    int status() const { return status_; }
    int encoding() const { return code; }

private:
    int next_block(char* destination, int wanted);
    bool refill();
    int decode_utf8(const char* buffer, int& position, int count);
    int decode_utf16(const char* buffer, int& position, int count);

    char* block = nullptr;
    char* blockEnd = nullptr;
    char* cursor = nullptr;
    int capacity;
    CInputStream* stream;
    int status_ = 0;
    long long given_ = 0;
    int code = XML_SINGLE_BYTE;
    std::unique_ptr<Utf8Input> converted;
};
