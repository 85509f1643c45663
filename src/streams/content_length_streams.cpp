// SPDX-License-Identifier: MIT
#include "streams/content_length_streams.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace {

constexpr char kContentLength[] = "Content-Length";
constexpr std::int64_t kHugeLength = std::int64_t{1} << 40;

bool is_space(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// The number at the start of `text` as atoi takes it, but for its range.
DeclaredLength parse_length(const char* text) {
    while (is_space(*text)) ++text;
    const bool negative = *text == '-';
    bool well_formed = !negative && *text != '+';
    if (!well_formed) ++text;
    if (*text < '0' || *text > '9') return {0, false, false};
    std::int64_t value = 0;
    for (; *text >= '0' && *text <= '9'; ++text) {
        if (value < kHugeLength) value = value * 10 + (*text - '0');
    }
    while (is_space(*text)) ++text;
    if (*text != '\0') well_formed = false;
    return {negative ? -value : value, well_formed, false};
}

}  // namespace

DeclaredLength declared_length(const char* text, long long limit) {
    DeclaredLength declared = parse_length(text);
    declared.too_large =
        declared.bytes > std::numeric_limits<std::int32_t>::max() || (limit > 0 && declared.bytes > limit);
    if (declared.too_large) declared.well_formed = false;
    if (declared.too_large || declared.bytes < 0) declared.bytes = 0;
    return declared;
}

CContentLengthOutputStream::CContentLengthOutputStream(COutputStream* next, CMessageHead* head)
    : sink(next), message(head) {
    status_code = next == nullptr || head == nullptr ? kStreamNullArgument : kStreamGood;
}

CContentLengthOutputStream::~CContentLengthOutputStream() {
    if (sink != nullptr && message != nullptr) flush();
    if (owns_sink) delete sink;
}

/// Where bytes go: straight on if the length was declared ahead, else into memory. Null when memory ends.
COutputStream* CContentLengthOutputStream::target() {
    if (abandoned) return nullptr;
    if (declared == Declared::unknown) {
        declared = message->GetOutgoingHeader(kContentLength) != nullptr ? Declared::yes : Declared::no;
    }
    if (declared == Declared::yes) {
        if (!message->IsHeaderWritten()) message->WriteHeader(sink);
        return sink;
    }
    if (!body) {
        body.reset(new CBufferedOutputStream());
        if (body && body->status() != kStreamGood) body.reset();
        if (!body) status_code = kStreamNoMemory;
    }
    return body.get();
}

int CContentLengthOutputStream::write(const char* data, int length) {
    COutputStream* stream = target();
    if (stream == nullptr || length <= 0) return 0;
    const int count = stream->write(data, length);
    if (stream == body.get() && count != length) status_code = kStreamNoMemory;
    return count;
}

int CContentLengthOutputStream::put(char c) {
    COutputStream* stream = target();
    if (stream == nullptr) return 0;
    const int count = stream->put(c);
    if (stream == body.get() && count != 1) status_code = kStreamNoMemory;
    return count;
}

void CContentLengthOutputStream::flush() {
    // The zero byte behind the text may want memory as well: that is to show before the head goes out.
    const char* const text = body ? body->text() : nullptr;
    if (body && text == nullptr) status_code = kStreamNoMemory;
    if (status_code == kStreamNoMemory) abandon();  // a body with a gap would be read as a whole one
    if (body && !abandoned) {
        if (!message->IsHeaderWritten()) send_head();
        if (!abandoned) sink->write(text, body->length());
        body->flush();
    }
    sink->flush();
}

/// Declares the length of `body` and sends the head in one write. A head that memory does not suffice for is
/// not sent in part: the stream is given up.
void CContentLengthOutputStream::send_head() {
    char digits[16];
    *std::to_chars(digits, digits + sizeof digits - 1, body->length()).ptr = '\0';
    message->AddOutgoingHeader(kContentLength, digits);
    declared = Declared::yes;

    CBufferedOutputStream head;
    if (head.status() == kStreamGood && message->GetOutgoingHeader(kContentLength) != nullptr) {
        message->WriteHeader(&head);
        if (char* text = head.text(); text != nullptr && head.status() == kStreamGood) {
            sink->write(text, head.length());
            return;
        }
    }
    status_code = kStreamNoMemory;
    abandon();
}

bool CContentLengthOutputStream::discard() {
    if (abandoned || message->IsHeaderWritten()) return false;
    if (body) body->flush();
    status_code = kStreamGood;
    return true;
}

void CContentLengthOutputStream::abandon() {
    abandoned = true;
    if (body) body->flush();
    if (sink != nullptr) sink->abandon();
}

CContentLengthInputStream::CContentLengthInputStream(CInputStream* from, CMessageHead* head)
    : source(from), message(head) {
    status_code = from == nullptr || head == nullptr ? kStreamNullArgument : kStreamGood;
}

CContentLengthInputStream::~CContentLengthInputStream() {
    if (owns_source) delete source;
}

int CContentLengthInputStream::get() {
    char c = 0;
    return read(&c, 1) == 1 ? static_cast<unsigned char>(c) : -1;
}

int CContentLengthInputStream::read(char* buffer, int wanted) {
    if (!unlimited && length < 0) look_up_length();
    if (unlimited) return read_unlimited(buffer, wanted);
    if (consumed == length) return -1;
    const int count = source->read(buffer, std::min(wanted, length - consumed));
    if (count > 0) {
        consumed += count;
    } else if (wanted > 0) {
        well_formed = false;
    }
    return count;
}

void CContentLengthInputStream::look_up_length() {
    const char* text = message->GetIncomingHeader(kContentLength);
    if (text == nullptr) {
        // RFC 9112 6.3: replies of these statuses have no body.
        const std::int32_t status = message->GetIncomingStatus();
        if (status == 204 || status == 304) {
            length = 0;
            return;
        }
        unlimited = true;
        return;
    }
    const DeclaredLength declared = declared_length(text, message->GetMaxBody());
    if (declared.too_large) message->SetBodyTooLarge();
    well_formed = declared.well_formed;
    length = static_cast<std::int32_t>(declared.bytes);
}

/// Reads of a body that ends with the connection. Whether one at the limit goes on shows only in its next
/// byte.
int CContentLengthInputStream::read_unlimited(char* buffer, int wanted) {
    const long long limit = message->GetMaxBody();
    if (limit > 0 && total >= limit) {
        char beyond = 0;
        if (source->read(&beyond, 1) > 0) message->SetBodyTooLarge();
        return -1;
    }
    const long long room = limit > 0 ? limit - total : wanted;
    const int count = source->read(buffer, static_cast<int>(std::min<long long>(wanted, room)));
    if (count > 0) total += count;
    return count;
}

BodyEnd CContentLengthInputStream::end() {
    if (!unlimited && length < 0) look_up_length();
    if (unlimited || !well_formed) return BodyEnd::not_clean;
    if (consumed < length) return BodyEnd::open;
    return source->available() > 0 ? BodyEnd::not_clean : BodyEnd::exact;
}
