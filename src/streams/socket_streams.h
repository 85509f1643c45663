// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>
#include <vqsys/types.h>

#include <cstdint>

#include "streams/stream.h"

class CSecureChannel;

/// Bytes to a connection, in the clear or through its channel. Owns neither and closes neither.
///
/// Holds nothing back: every `write` is one send, so a buffered stream belongs on top.
class CSocketOutputStream final : public COutputStream {
public:
    PEL_HEAP_OBJECT

    /// `secure_channel` may be null: a connection in the clear.
    CSocketOutputStream(vqSocket connection, CSecureChannel* secure_channel)
        : socket(connection), channel(secure_channel) {}

    /// What the one send gave. A send that failed or was cut short is not repeated, and from then on nothing
    /// is sent and every `write` gives 0: the peer must not get later bytes behind a gap.
    int write(const char* data, int length) override;
    int put(char c) override { return write(&c, 1); }
    void flush() override {}
    /// The connection stays open.
    void close() override { flush(); }
    int status() override { return status_code; }
    void abandon() override { has_failed = true; }
    void more_follows() override { more = true; }

    /// True once a send failed or was cut short, or the stream was abandoned.
    bool failed() const { return has_failed; }

private:
    vqSocket socket;
    CSecureChannel* channel;
    std::int16_t status_code = kStreamGood;
    bool has_failed = false;
    bool more = false;
};

/// Bytes from a connection, in the clear or through its channel. Owns neither and closes neither.
class CSocketInputStream final : public CInputStream {
public:
    PEL_HEAP_OBJECT

    /// `secure_channel` may be null: a connection in the clear.
    CSocketInputStream(vqSocket connection, CSecureChannel* secure_channel)
        : socket(connection), channel(secure_channel) {}

    int get() override;
    /// Blocks until something is there. 0 when nothing more comes: the peer closed, an error, the socket's
    /// own time limit, or the deadline; these are not told apart.
    int read(char* buffer, int length) override;
    /// Always -1.
    int available() override { return -1; }
    int status() override { return status_code; }

    /// From `seconds_from_now` on every `read` gives 0, however well the bytes flow; 0 or less takes the
    /// deadline away. A read that waits already is ended by the socket's own limit, not by this.
    void set_deadline(double seconds_from_now);

    /// Bytes that reads have given so far.
    long long bytes_received() const { return received; }

private:
    vqSocket socket;
    CSecureChannel* channel;
    std::int16_t status_code = kStreamGood;
    std::int64_t deadline = 0;  // nanoseconds of the monotonic clock, 0 none
    long long received = 0;
    bool ended = false;
};
