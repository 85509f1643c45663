// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>

#include <cstdint>

#include "streams/body_stream.h"
#include "streams/buffered_streams.h"
#include "streams/message_head.h"
#include "streams/stream.h"

/// A size line of this many bytes, its CRs not counted, ends the body.
inline constexpr int kChunkSizeLineRoom = 52;

/// The size that a chunk's size line without its end tells, as `HexToInt` reads it; -1 if it does not fit 31
/// bits.
[[nodiscard]] std::int32_t chunk_size(const char* line);

/// Writes a body in the chunked coding of RFC 9112 7.1: one chunk a write.
class CChunkedOutputStream final : public COutputStream {
public:
    PEL_HEAP_OBJECT

    /// `status` is 1 where one of both is null. `head` stays the caller's and must live as long.
    CChunkedOutputStream(COutputStream* next, CMessageHead* head);
    ~CChunkedOutputStream() override;

    /// One chunk, behind the head if that is not written yet; gives what the sink gave for the data. No
    /// bytes: nothing at all is written.
    int write(const char* data, int length) override;
    int put(char c) override { return write(&c, 1); }
    void flush() override;
    /// Writes the last chunk, without trailers, and flushes.
    void close() override;
    int status() override { return status_code; }
    void abandon() override;

    void set_owns_sink(int flag) { owns_sink = flag != 0; }

private:
    COutputStream* sink;
    CMessageHead* message;
    std::int16_t status_code;
    bool owns_sink = false;
    bool abandoned = false;
};

/// Reads a body in the chunked coding. Nothing more to read: `read` gives 0, also on further calls.
///
/// Trailers and chunk extensions are not supported: a body with either ends without a clean end.
class CChunkedInputStream final : public CBodyInputStream {
public:
    PEL_HEAP_OBJECT

    /// `status` is 1 where one of both is null. `head` stays the caller's and must live as long.
    CChunkedInputStream(CInputStream* from, CMessageHead* head) : CChunkedInputStream(from, nullptr, head) {}
    CChunkedInputStream(CBufferedInputStream* from, CMessageHead* head)
        : CChunkedInputStream(from, from, head) {}
    ~CChunkedInputStream() override;

    int get() override;
    /// Bytes of one chunk at most. 0 at the end of the body, for a size line that is cut off, too long or no
    /// 31-bit number, and beyond the head's limit; -1, as its source gives it, where a chunk is cut off.
    int read(char* buffer, int wanted) override;
    int available() override { return source->available(); }
    int status() override { return status_code; }
    BodyEnd end() override;

    void set_owns_source(int flag) { owns_source = flag != 0; }

private:
    CChunkedInputStream(CInputStream* from, CBufferedInputStream* from_buffer, CMessageHead* head);
    bool next_chunk();
    bool read_size_line(char* line);
    void skip_line_end();
    bool end_badly();
    int next_byte();

    CInputStream* source;
    CBufferedInputStream* buffered;  // `source` where it is one, else null
    CMessageHead* message;
    std::int16_t status_code;
    bool owns_source = false;
    std::int32_t remaining = 0;
    bool ended = false;
    bool well_formed = true;
    long long total = 0;
};
