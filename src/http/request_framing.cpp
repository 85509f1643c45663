// SPDX-License-Identifier: MIT
#include "http/request_framing.h"

#include <vqsys/text.h>

#include <algorithm>
#include <cstring>

#include "http/http_text.h"
#include "streams/buffered_streams.h"
#include "streams/chunked_streams.h"
#include "streams/content_length_streams.h"
#include "streams/memory_stream.h"

namespace {

constexpr std::size_t kMethodLength = 4;
constexpr std::size_t kLineEndLength = 2;

bool is_method(std::string_view received) {
    char first[kMethodLength + 1] = {};
    std::memcpy(first, received.data(), kMethodLength);
    return vqOSstricmp(first, kHttpGet) == 0 || vqOSstricmp(first, kHttpPost) == 0;
}

}  // namespace

void RequestFraming::reset() {
    *this = RequestFraming();
}

RequestFraming::Found RequestFraming::look(std::string_view received, long long max_body,
                                           long long max_gathered) {
    if (framing == Framing::unknown) {
        if (received.size() >= kMethodLength && !is_method(received)) return Found::unreadable;
        if (!find_end_of_head(received)) {
            return received.size() > kMaxHeadBytes + kMethodLength ? Found::unreadable : Found::incomplete;
        }
        if (!parse_head(received)) return Found::unreadable;
        settle_framing(max_body);
    }
    const auto most = static_cast<std::size_t>(max_gathered);
    const bool limited = max_gathered > 0;
    if (framing == Framing::counted) {
        if (received.size() >= end) return Found::whole;
        return limited && end - body > most ? Found::large : Found::incomplete;
    }
    if (framing == Framing::chunked) {
        const Found found = walk_chunks(received, max_body);
        if (found != Found::incomplete) return found;
    }
    return limited && received.size() - body > most ? Found::large : Found::incomplete;
}

/// True once a line of the head is empty.
bool RequestFraming::find_end_of_head(std::string_view received) {
    for (;;) {
        const std::size_t line_end = received.find('\n', scanned);
        if (line_end == std::string_view::npos) {
            scanned = received.size();
            return false;
        }
        const std::size_t next = line_end + 1;
        const std::size_t after = next < received.size() && received[next] == '\r' ? next + 1 : next;
        if (after >= received.size()) {
            scanned = line_end;  // what follows the end of this line is still to come
            return false;
        }
        if (received[after] == '\n') return true;
        scanned = next;
    }
}

bool RequestFraming::parse_head(std::string_view received) {
    CMemoryInputStream bytes(received);
    CBufferedInputStream input(&bytes);
    message.reset(new CHttpMessage(HTTP_SERVER_SIDE));
    if (!message || input.status() != kStreamGood || message->ReadHeader(&input) == 0) return false;
    body = received.size() - bytes.unread() - static_cast<std::size_t>(input.available());
    return true;
}

void RequestFraming::settle_framing(long long max_body) {
    end = body;
    if (message->GetIncomingHeader(kHttpTransferEncoding) != nullptr) {
        framing = Framing::chunked;
    } else if (const char* const length = message->GetIncomingHeader(kHttpContentLength)) {
        framing = Framing::counted;
        end += static_cast<std::size_t>(declared_length(length, max_body).bytes);
    } else {
        framing = Framing::to_the_end;
    }
}

/// Steps from chunk to chunk as their reader does. Where that one would stop, there is nothing to wait for.
RequestFraming::Found RequestFraming::walk_chunks(std::string_view received, long long max_body) {
    while (end < received.size()) {
        const std::string_view rest = received.substr(end, 2 * kChunkSizeLineRoom);
        const std::size_t line_end = rest.find('\n');
        if (line_end == std::string_view::npos) {
            return rest.size() == 2 * kChunkSizeLineRoom ? Found::unreadable : Found::incomplete;
        }
        char line[2 * kChunkSizeLineRoom + 1];
        char* const stop =
            std::remove_copy(rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(line_end), line, '\r');
        *stop = '\0';
        const std::int32_t size = stop - line < kChunkSizeLineRoom ? chunk_size(line) : -1;
        if (size < 0 || (max_body > 0 && size > max_body - brought)) return Found::unreadable;
        const std::size_t next = end + line_end + 1 + static_cast<std::size_t>(size) + kLineEndLength;
        if (next > received.size()) return Found::incomplete;
        end = next;
        brought += size;
        if (size == 0) return Found::whole;
    }
    return Found::incomplete;
}
