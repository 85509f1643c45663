// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>

#include "streams/ref_string.h"
#include "streams/stream.h"

/// Fetches the bytes of a document in blocks and decodes single characters. Never throws.
class CXmlByteReader {
public:
    PEL_HEAP_OBJECT

    /// Encoding codes.
    static constexpr int kBytes = 900;  ///< each byte is a character, as a signed value
    static constexpr int kUtf8 = 902;
    static constexpr int kUtf16LittleEndian = 904;
    static constexpr int kUtf16BigEndian = 905;

    static constexpr int kBlock = 512;

    /// The stream stays the caller's. A block size below 1 means `kBlock`.
    CXmlByteReader(CInputStream* stream, const CRefString& encodingName, int blockSize);
    ~CXmlByteReader();
    CXmlByteReader(const CXmlByteReader&) = delete;
    CXmlByteReader& operator=(const CXmlByteReader&) = delete;

    /// 0, -101 if the stream was null, -102 if there was no memory for the block.
    int getStatus() const { return status; }
    int getCode() const { return code; }

    /// Up to `wanted` bytes into `destination`; what the stream gives at its end, 0 or -1, if there are none.
    int readBlock(char* destination, int wanted);

    /// One byte as 0..255, or -1.
    int readByte();

    /// The character at `position` of `buffer`, which holds `count` bytes; moves `position` behind it. The
    /// tail of a character that crosses the end is read on from the stream. -1 for a malformed sequence.
    int decodeChar(const char* buffer, int& position, int count);

private:
    bool fill();
    int decode_utf8(const char* buffer, int& position, int count);
    int decode_utf16(const char* buffer, int& position, int count);

    char* block = nullptr;  ///< owned
    const char* blockEnd = nullptr;
    const char* cursor = nullptr;
    int capacity = kBlock;
    CInputStream* stream = nullptr;
    int status = 0;
    int code = kBytes;
};
