// SPDX-License-Identifier: MIT
#include "streams/chunked_streams.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "streams/hex.h"

namespace {

constexpr char kLineEnd[] = "\r\n";
constexpr int kLineEndLength = 2;

bool is_hex_number(const char* line) {
    if (*line == 0) return false;
    while (IsHexDigit(*line)) ++line;
    return *line == 0;
}

}  // namespace

std::int32_t chunk_size(const char* line) {
    std::int64_t value = 0;
    for (; *line != 0; ++line) {
        value = value * 16 + HexDigitValue(*line);
        if (value > std::numeric_limits<std::int32_t>::max()) return -1;
    }
    return static_cast<std::int32_t>(value);
}

CChunkedOutputStream::CChunkedOutputStream(COutputStream* next, CMessageHead* head)
    : sink(next), message(head) {
    status_code = next == nullptr || head == nullptr ? kStreamNullArgument : kStreamGood;
}

CChunkedOutputStream::~CChunkedOutputStream() {
    if (sink != nullptr) sink->flush();
    if (owns_sink) delete sink;
}

int CChunkedOutputStream::write(const char* data, int length) {
    if (length <= 0 || abandoned) return 0;
    if (!message->IsHeaderWritten()) message->WriteHeader(sink);
    char line[16];
    char* end = std::to_chars(line, line + sizeof line, static_cast<unsigned>(length), 16).ptr;
    *end++ = kLineEnd[0];
    *end++ = kLineEnd[1];
    sink->write(line, static_cast<int>(end - line));
    const int count = sink->write(data, length);
    sink->write(kLineEnd, kLineEndLength);
    return count;
}

void CChunkedOutputStream::flush() {
    sink->flush();
}

void CChunkedOutputStream::close() {
    if (!abandoned) {
        sink->write("0", 1);
        sink->write(kLineEnd, kLineEndLength);
        sink->write(kLineEnd, kLineEndLength);
    }
    flush();
}

void CChunkedOutputStream::abandon() {
    abandoned = true;
    if (sink != nullptr) sink->abandon();
}

CChunkedInputStream::CChunkedInputStream(CInputStream* from, CBufferedInputStream* from_buffer,
                                         CMessageHead* head)
    : source(from), buffered(from_buffer), message(head) {
    status_code = from == nullptr || head == nullptr ? kStreamNullArgument : kStreamGood;
}

CChunkedInputStream::~CChunkedInputStream() {
    if (owns_source) delete source;
}

int CChunkedInputStream::get() {
    char c = 0;
    return read(&c, 1) == 1 ? static_cast<unsigned char>(c) : -1;
}

int CChunkedInputStream::read(char* buffer, int wanted) {
    if (ended || wanted <= 0) return 0;
    if (remaining == 0 && !next_chunk()) return 0;
    const int count = source->read(buffer, std::min(wanted, remaining));
    if (count <= 0) {
        well_formed = false;
        return count;
    }
    remaining -= count;
    if (remaining == 0) skip_line_end();
    return count;
}

/// Reads a size line into `remaining`; false when there is no chunk behind it.
bool CChunkedInputStream::next_chunk() {
    char line[kChunkSizeLineRoom];
    if (!read_size_line(line)) return end_badly();
    const std::int32_t size = chunk_size(line);
    if (size < 0) return end_badly();
    const long long limit = message->GetMaxBody();
    if (limit > 0 && size > limit - total) {
        message->SetBodyTooLarge();
        return end_badly();
    }
    if (!is_hex_number(line)) well_formed = false;
    if (size == 0) {
        skip_line_end();
        ended = true;
        return false;
    }
    remaining = size;
    total += size;
    return true;
}

/// Gathers the bytes before the next LF, CRs left out. False where the line is cut off or too long.
bool CChunkedInputStream::read_size_line(char* line) {
    int length = 0;
    for (int taken = 0; taken < 2 * kChunkSizeLineRoom; ++taken) {
        const int c = next_byte();
        if (c < 0) return false;
        if (c == kLineEnd[0]) continue;
        if (c == kLineEnd[1]) {
            line[length] = '\0';
            return true;
        }
        if (length == kChunkSizeLineRoom - 1) return false;
        line[length++] = static_cast<char>(c);
    }
    return false;
}

/// Takes two bytes, whatever they are: the end of a chunk's data, or of the body.
void CChunkedInputStream::skip_line_end() {
    for (int i = 0; i < kLineEndLength; ++i) {
        const int c = next_byte();
        if (c != kLineEnd[i]) well_formed = false;
        if (c < 0) return;
    }
}

bool CChunkedInputStream::end_badly() {
    ended = true;
    well_formed = false;
    return false;
}

int CChunkedInputStream::next_byte() {
    if (buffered != nullptr) return buffered->get();
    char c = 0;
    return source->read(&c, 1) == 1 ? static_cast<unsigned char>(c) : -1;
}

BodyEnd CChunkedInputStream::end() {
    if (!well_formed) return BodyEnd::not_clean;
    if (!ended) return BodyEnd::open;
    // Two framings in one head: the peer, or someone between, may have meant the other one (RFC 9112 6.3).
    if (message->GetIncomingHeader("Content-Length") != nullptr) return BodyEnd::not_clean;
    return source->available() > 0 ? BodyEnd::not_clean : BodyEnd::exact;
}
