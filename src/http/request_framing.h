// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "http/http_message.h"

/// Finds out where a request ends while its bytes come in, without reading its body: the head is parsed once,
/// as soon as it is whole, and lengths are counted from there on (RFC 9112 6).
///
/// No byte is looked at twice, however small the pieces are. Bytes in, an answer out: it knows no socket. One
/// request each; `reset` makes it ready for the next. One thread at a time.
class RequestFraming {
public:
    enum class Found {
        incomplete,  ///< more bytes are to come
        whole,       ///< the first `length` bytes are the request
        large,       ///< the body goes beyond the limit for bodies that are gathered; its head is whole
        unreadable,  ///< no further bytes make this a request that can be framed
    };

    /// `received`: all bytes that came since the request began; each call has at least those of the call
    /// before. `max_body` and `max_gathered` bytes, 0 for no limit, must not change from call to call.
    [[nodiscard]] Found look(std::string_view received, long long max_body, long long max_gathered);

    /// Bytes of head and body, once the request is whole.
    std::size_t length() const { return end; }
    /// Bytes of the head, once it was parsed.
    std::size_t head_length() const { return body; }
    /// True once there is a message whose head was parsed to its end.
    bool has_head() const { return message && message->IsHeaderRead() != 0; }
    /// True where `length` counts on what a Content-Length declares, also before all of it is there.
    bool knows_length() const { return framing == Framing::counted; }
    /// The message of the head as far as it could be parsed; null before that. The caller's from then on.
    std::unique_ptr<CHttpMessage> take_message() { return std::move(message); }

    void reset();

private:
    enum class Framing : std::uint8_t { unknown, counted, chunked, to_the_end };

    bool find_end_of_head(std::string_view received);
    bool parse_head(std::string_view received);
    void settle_framing(long long max_body);
    Found walk_chunks(std::string_view received, long long max_body);

    std::unique_ptr<CHttpMessage> message;
    std::size_t scanned = 0;  // of the head
    std::size_t body = 0;     // where it begins
    std::size_t end = 0;      // of what is known: all of it where counted, else the chunks seen so far
    long long brought = 0;    // bytes in the chunks seen so far
    Framing framing = Framing::unknown;
};
