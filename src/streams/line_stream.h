// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>

#include <cstdint>
#include <memory>

#include "streams/buffered_streams.h"
#include "streams/stream.h"

/// Cuts a stream into lines, which end with LF or CR LF. Does not own its source, and takes no byte behind
/// the line it gives, so that a body can be read from where the head ended.
class CLineInputStream final : public CInputStream {
public:
    PEL_HEAP_OBJECT

    /// `status` is 1 where `from` is null, 2 when there is no memory.
    explicit CLineInputStream(CInputStream* from) : CLineInputStream(from, nullptr) {}
    /// The same, with lines found a block at a time.
    explicit CLineInputStream(CBufferedInputStream* from) : CLineInputStream(from, from) {}

    /// The next line without its LF and without one CR right before that; null at the end of input (what
    /// there was of a line is dropped then), when memory ends, or for a line beyond the limit. May be
    /// changed; valid until the next call.
    char* read_line();

    /// Lines of more than `bytes`, their end not counted, end the input; 0 is no limit, which is the default.
    void set_limit(int bytes) { limit = bytes; }
    /// Bytes taken from the source by `read_line` so far.
    long long taken() const { return taken_bytes; }

    int get() override { return 0; }
    int read(char*, int) override { return 0; }
    /// Bytes held of a line, or else what the source says.
    int available() override;
    int status() override { return status_code; }

private:
    CLineInputStream(CInputStream* from, CBufferedInputStream* from_blocks);
    bool gather_by_block();
    bool gather_by_byte();
    bool store(const char* data, int length);

    CInputStream* source;
    CBufferedInputStream* blocks;  // `source` where it is one that can be scanned, else null
    std::int16_t status_code;
    int limit = 0;
    long long taken_bytes = 0;
    std::unique_ptr<CBufferedOutputStream> line;
};
