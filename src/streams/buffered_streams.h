// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>

#include <cstdint>

#include "streams/stream.h"

/// Gathers bytes: with a sink it hands them on in blocks, without one it is a growing memory buffer.
class CBufferedOutputStream final : public COutputStream {
public:
    PEL_HEAP_OBJECT

    /// A memory buffer that starts at 512 bytes.
    CBufferedOutputStream() : CBufferedOutputStream(nullptr, kStreamBlock) {}
    /// Blocks of 512 bytes to `next`.
    explicit CBufferedOutputStream(COutputStream* next) : CBufferedOutputStream(next, kStreamBlock) {}
    /// Blocks of `size` bytes (512 if not positive) to `next`, or a memory buffer of that first size where
    /// `next` is null. `status` is 2 when there is no memory; nothing may be written then.
    CBufferedOutputStream(COutputStream* next, int size);
    /// Hands on what is held.
    ~CBufferedOutputStream() override;

    /// `length`, or 0 when a memory buffer cannot grow: nothing of `data` is stored then, what was held
    /// stays. Above a sink, bytes that do not fit beside those held push these out first, and data larger
    /// than a block goes straight through, with the sink's result. Other failures of the sink are not looked
    /// at.
    int write(const char* data, int length) override;
    int put(char c) override {
        if (length() == capacity && !free_one()) return 0;
        *cursor++ = c;
        return 1;
    }
    /// Hands on what is held; does not flush the sink. A memory buffer is emptied and keeps its capacity.
    void flush() override;
    void close() override { flush(); }
    int status() override { return status_code; }
    void abandon() override;

    /// The bytes held, with a zero byte behind them that does not count. Valid until the buffer grows. Null
    /// when there was no memory for the zero byte. For memory buffers.
    char* text();
    /// Bytes held.
    int length() const { return static_cast<int>(cursor - buffer); }

    void set_owns_sink(int flag) { owns_sink = flag != 0; }

private:
    bool grow(std::int64_t needed);
    bool free_one();
    void hand_on();

    char* buffer;
    char* cursor;
    std::int32_t capacity;
    COutputStream* sink;
    std::int16_t status_code;
    bool owns_sink = false;
    bool abandoned = false;
};

/// Reads ahead from another stream in blocks of 512 bytes.
class CBufferedInputStream final : public CInputStream {
public:
    PEL_HEAP_OBJECT

    /// `status` is 1 where `from` is null, 2 when there is no memory; only the destructor may follow then.
    explicit CBufferedInputStream(CInputStream* from);
    ~CBufferedInputStream() override;

    int get() override {
        if (cursor == end && !fill()) return -1;
        return static_cast<unsigned char>(*cursor++);
    }
    /// From what is held, or else from one new block; gives what that has, -1 at the end of input.
    int read(char* target, int length) override;
    /// Bytes held.
    int available() override { return static_cast<int>(end - cursor); }
    int status() override { return status_code; }

    void set_owns_source(int flag) { owns_source = flag != 0; }

    // For readers that scan: the block itself, in place of one call per byte.

    /// Reads one block if nothing is held; false at the end of input.
    bool fill();
    /// The `available` bytes held, to be taken with `skip`.
    const char* held() const { return cursor; }
    void skip(int count) { cursor += count; }

private:
    char* buffer;
    char* end;
    char* cursor;
    std::int32_t capacity = kStreamBlock;
    CInputStream* source;
    std::int16_t status_code;
    bool owns_source = false;
};
