// SPDX-License-Identifier: MIT
// The incoming half of an HTTP message: start line and headers out of a stream.
#include <vqsys/text.h>

#include <algorithm>
#include <cstring>
#include <limits>

#include "http/http_message.h"
#include "http/http_text.h"
#include "streams/buffered_streams.h"
#include "streams/line_stream.h"

namespace {

constexpr int kFirstBytes = 4;

/// atoi, with numbers that fit `Number`.
template <typename Number>
Number number_in(const char* text) {
    constexpr long long kFarOff = 1'000'000'000'000;
    while (*text == ' ' || (*text >= '\t' && *text <= '\r')) ++text;
    const bool negative = *text == '-';
    if (negative || *text == '+') ++text;
    long long value = 0;
    for (; *text >= '0' && *text <= '9'; ++text) {
        if (value < kFarOff) value = value * 10 + (*text - '0');
    }
    if (negative) value = -value;
    return static_cast<Number>(
        std::clamp<long long>(value, std::numeric_limits<Number>::min(), std::numeric_limits<Number>::max()));
}

std::int16_t digit_in(char c) {
    return c >= '0' && c <= '9' ? static_cast<std::int16_t>(c - '0') : std::int16_t{0};
}

bool is_blank(char c) {
    return c == ' ' || c == '\t';
}

}  // namespace

/// What a head is read from, and how much of it was taken.
struct CHttpMessage::HeadInput {
    template <typename Stream>
    explicit HeadInput(Stream* input) : source(input), lines(input) {
        lines.set_limit(kMaxHeadLineBytes);
    }

    /// The next line; null where it cannot be read or the head goes beyond its limits.
    char* next_line() {
        if (++line_count > kMaxHeadLines) return nullptr;
        char* line = lines.read_line();
        return lines.taken() <= kMaxHeadBytes ? line : nullptr;
    }

    bool read_first_bytes(char* bytes) {
        int count = 0;
        while (count < kFirstBytes) {
            const int more = source->read(bytes + count, kFirstBytes - count);
            if (more <= 0) return false;
            count += more;
        }
        bytes[kFirstBytes] = '\0';
        return true;
    }

    CInputStream* source;
    CLineInputStream lines;
    CBufferedOutputStream pending;  // the header line that the next one may continue
    int line_count = 0;
};

int CHttpMessage::ReadHeader(CInputStream* input) {
    if (header_read) return 1;
    HeadInput head(input);
    return read_head(head);
}

int CHttpMessage::ReadHeader(CBufferedInputStream* input) {
    if (header_read) return 1;
    HeadInput head(input);
    return read_head(head);
}

int CHttpMessage::read_head(HeadInput& input) {
    if (input.lines.status() != kStreamGood || input.pending.status() != kStreamGood) return 0;
    for (;;) {
        if (!read_start_line(input) || !read_header_block(input)) return 0;
        if (!is_client() || status != 100) break;
        response_headers.Clear();
    }
    if (error != 0) return 0;  // a lost field could be the one that frames the body
    header_read = true;
    return 1;
}

bool CHttpMessage::read_start_line(HeadInput& input) {
    char first[kFirstBytes + 1];
    if (!input.read_first_bytes(first)) return false;
    if (is_client()) {
        if (vqOSstricmp(first, kHttpWord) != 0) return false;
        const char* rest = input.next_line();
        return rest != nullptr && parse_status_line(rest);
    }
    if (vqOSstricmp(first, kHttpGet) != 0 && vqOSstricmp(first, kHttpPost) != 0) return false;
    SetMethod(first);
    char* rest = input.next_line();
    return rest != nullptr && parse_request_line(rest);
}

/// The rest of a status line, such as "/1.1 200 OK". The reason phrase is nobody's business.
bool CHttpMessage::parse_status_line(const char* rest) {
    if (std::strlen(rest) < 4 || rest[0] != '/' || rest[2] != '.') return false;
    major_version = digit_in(rest[1]);
    minor_version = digit_in(rest[3]);
    rest += 4;
    while (*rest == ' ') ++rest;
    status = number_in<std::int32_t>(rest);
    return status != 0;
}

/// The rest of a request line, such as " /path?query HTTP/1.1".
bool CHttpMessage::parse_request_line(char* rest) {
    char* target = std::strchr(rest, '/');
    if (target == nullptr) return false;
    char* end = std::strchr(target, ' ');
    if (end == nullptr) return false;
    *end = '\0';
    if (char* question = std::strchr(target, '?')) {
        SetQuery(question + 1);
        *question = '\0';
    }
    SetPath(target);

    const char* version = std::strchr(end + 1, '/');
    if (version == nullptr) return false;
    major_version = number_in<std::int16_t>(version + 1);
    const char* dot = std::strchr(version, '.');
    if (dot == nullptr) return false;
    minor_version = number_in<std::int16_t>(dot + 1);
    return true;
}

bool CHttpMessage::read_header_block(HeadInput& input) {
    CBufferedOutputStream& pending = input.pending;
    pending.flush();
    for (;;) {
        const char* line = input.next_line();
        if (line == nullptr) return false;
        const bool continues = is_blank(*line);
        if (continues && pending.length() == 0) return false;
        if (!continues && pending.length() > 0) {
            char* complete = pending.text();
            if (complete == nullptr) return false;
            AddHeaderLine(complete);
            pending.flush();
        }
        if (*line == '\0') return true;
        const int length = static_cast<int>(std::strlen(line));
        if (pending.write(line, length) != length) return false;
    }
}

void CHttpMessage::AddHeaderLine(char* line) {
    char* colon = std::strchr(line, ':');
    if (colon == nullptr) return;
    *colon = '\0';
    const char* name = line;
    const char* value = colon + 1;
    while (is_blank(*name)) ++name;
    while (is_blank(*value)) ++value;
    if (incoming().Set(name, value) == 0) error = kStreamNoMemory;
}
