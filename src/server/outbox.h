// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/byte_queue.h>
#include <vqsys/types.h>

#include <cstddef>
#include <string_view>

class CSecureChannel;

/// What a connection has to send and its socket has not taken yet, in order. On a secure connection text is
/// sealed when its turn comes, a record at a time.
///
/// Bytes in, bytes out: it knows no socket. One thread at a time.
class Outbox {
public:
    /// Text is sealed by this session from now on; null: it goes as it is.
    void seal_with(CSecureChannel* session) { channel = session; }

    /// Text of the application, behind what waits. False when memory ends; the connection is then of no more
    /// use, since the peer must not get later bytes behind a gap.
    [[nodiscard]] bool put(std::string_view text);
    /// Seals a record of `text`, when nothing waits, and gives how much of it that took; 0 on failure.
    [[nodiscard]] std::size_t seal(std::string_view text);
    /// Where the session puts bytes of its own: tokens, alerts, goodbyes. Ahead of text that is not sealed.
    ByteQueue& tokens() { return ready; }

    /// The bytes that are next for the socket; none when nothing waits, or `failed`.
    std::string_view next();
    /// So many of them are gone.
    void taken(std::size_t count) { ready.consume(count); }

    bool empty() const { return ready.empty() && plain.empty(); }
    bool failed() const { return has_failed; }
    /// Bytes of memory held.
    std::size_t memory() const { return ready.capacity() + plain.capacity(); }

private:
    CSecureChannel* channel = nullptr;
    ByteQueue ready;  // as it goes over the wire
    ByteQueue plain;  // behind that
    bool has_failed = false;
};

enum class Flushed {
    all,
    some,    ///< the socket takes no more at the moment, or this one has had its share of it
    broken,  ///< nothing more can be sent
};

/// Sends of the outbox what the socket takes now. Never waits.
[[nodiscard]] Flushed flush(Outbox& outbox, vqSocket socket);
