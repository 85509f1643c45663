// SPDX-License-Identifier: MIT
#include "xml/byte_reader.h"

#include <vqsys/text.h>

#include <algorithm>
#include <cstring>

#include "streams/stream.h"

namespace {

/// How many bytes follow a lead byte, and which of its bits count; -1 for a byte that leads nothing.
struct Lead {
    int remaining;
    int bits;
};

Lead lead_of(int byte) {
    if ((byte & 0xE0) == 0xC0) return {1, byte & 0x1F};
    if ((byte & 0xF0) == 0xE0) return {2, byte & 0x0F};
    if ((byte & 0xF8) == 0xF0) return {3, byte & 0x07};
    if ((byte & 0xFC) == 0xF8) return {4, byte & 0x03};
    if ((byte & 0xFE) == 0xFC) return {5, byte & 0x01};
    return {-1, 0};
}

int unsigned_byte(char c) {
    return static_cast<unsigned char>(c);
}

/// The next six bits; what no longer fits is shifted out.
int append_bits(int accumulated, int byte) {
    return static_cast<int>((static_cast<unsigned>(accumulated) << 6) | static_cast<unsigned>(byte & 0x3F));
}

}  // namespace

CXmlByteReader::CXmlByteReader(CInputStream* input, const char* encoding_name, int block_size)
    : capacity(block_size < 1 ? kBlockSize : block_size), stream(input) {
    if (stream == nullptr) {
        status_ = -101;
        return;
    }
    block = static_cast<char*>(PEL_array_new(static_cast<std::size_t>(capacity)));
    if (block == nullptr) {
        status_ = -102;
        return;
    }
    cursor = blockEnd = block;
    if (vqOSstricmp(encoding_name, "UTF-8") == 0) {
        code = XML_UTF_8;
    } else if (vqOSstricmp(encoding_name, "UTF-16BE") == 0) {
        code = XML_UTF_16BE;
    } else if (vqOSstricmp(encoding_name, "UTF-16LE") == 0) {
        code = XML_UTF_16LE;
    }
}

CXmlByteReader::~CXmlByteReader() {
    PEL_array_delete(block);
}

bool CXmlByteReader::convert_to_utf8(const char* encoding_name, const char* begin, int count) {
    Utf8Input::Source source{};
    if (!Utf8Input::find(encoding_name, source)) return false;
    converted.reset(new Utf8Input(stream, source));
    if (!converted) {
        status_ = -102;
        return false;
    }
    converted->put_back(begin, count);
    code = XML_UTF_8;
    return true;
}

int CXmlByteReader::readBlock(char* destination, int wanted) {
    const int count = next_block(destination, wanted);
    if (count > 0) given_ += count;
    return count;
}

int CXmlByteReader::next_block(char* destination, int wanted) {
    if (converted) return converted->read(destination);
    if (cursor == blockEnd) {
        if (stream == nullptr) return -1;
        // With room for a whole block its bytes need not stand in between.
        if (wanted >= capacity) return stream->read(destination, capacity);
        const int count = stream->read(block, capacity);
        if (count <= 0) return count;
        cursor = block;
        blockEnd = block + count;
    }
    const int count = std::min(wanted, static_cast<int>(blockEnd - cursor));
    std::memcpy(destination, cursor, static_cast<std::size_t>(count));
    cursor += count;
    return count;
}

bool CXmlByteReader::refill() {
    if (cursor != blockEnd) return true;
    if (stream == nullptr) return false;
    const int count = stream->read(block, capacity);
    if (count <= 0) return false;
    cursor = block;
    blockEnd = block + count;
    return true;
}

int CXmlByteReader::readByte() {
    return refill() ? unsigned_byte(*cursor++) : -1;
}

int CXmlByteReader::decodeChar(const char* buffer, int& position, int count) {
    return code == XML_UTF_8 ? decode_utf8(buffer, position, count) : decode_utf16(buffer, position, count);
}

int CXmlByteReader::decode_utf8(const char* buffer, int& position, int count) {
    const int first = unsigned_byte(buffer[position++]);
    if (first < 0x80) return first;
    const Lead lead = lead_of(first);
    if (lead.remaining < 0) return -1;
    int accumulated = lead.bits;
    for (int remaining = lead.remaining; remaining > 0; --remaining) {
        if (position < count) {
            const int byte = unsigned_byte(buffer[position++]);
            if ((byte & 0xC0) != 0x80) return -1;
            accumulated = append_bits(accumulated, byte);
        } else {
            const int byte = readByte();
            if (byte < 0) return -1;
            accumulated = append_bits(accumulated, byte);
        }
    }
    return accumulated;
}

int CXmlByteReader::decode_utf16(const char* buffer, int& position, int count) {
    const int first = unsigned_byte(buffer[position]);
    const int second = position + 1 < count ? unsigned_byte(buffer[position + 1]) : readByte();
    position += 2;
    if (second < 0) return -1;
    return code == XML_UTF_16BE ? first << 8 | second : second << 8 | first;
}
