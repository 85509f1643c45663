// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>

#include <cstdint>
#include <memory>

#include "streams/body_stream.h"
#include "streams/buffered_streams.h"
#include "streams/message_head.h"
#include "streams/stream.h"

/// What a Content-Length field says.
struct DeclaredLength {
    std::int64_t bytes;  ///< 0 where it cannot be used
    bool well_formed;    ///< digits with white space around them, and no more than may be read
    bool too_large;      ///< more than 31 bits or than the limit
};

/// The length that `text` declares; `limit` 0 is none.
[[nodiscard]] DeclaredLength declared_length(const char* text, long long limit);

/// Writes a body whose length stands in the head. Unless the length is declared ahead, the body waits in
/// memory until the first `flush`, which sets Content-Length and sends head and body.
class CContentLengthOutputStream final : public COutputStream {
public:
    PEL_HEAP_OBJECT

    /// `status` is 1 where one of both is null. `head` stays the caller's and must live as long.
    CContentLengthOutputStream(COutputStream* next, CMessageHead* head);
    ~CContentLengthOutputStream() override;

    /// `length`; 0 when memory ends. `status` is 2 then, and unless `discard` takes the rest of the body back
    /// nothing of it is sent.
    int write(const char* data, int length) override;
    int put(char c) override;
    /// Sends head and body; where nothing was written, nothing.
    void flush() override;
    void close() override { flush(); }
    int status() override { return status_code; }
    /// True while the head is not written: the body is empty again.
    bool discard() override;
    void abandon() override;

    void set_owns_sink(int flag) { owns_sink = flag != 0; }

private:
    enum class Declared : std::int8_t { unknown, no, yes };

    COutputStream* target();
    void send_head();

    COutputStream* sink;
    CMessageHead* message;
    std::int16_t status_code;
    std::unique_ptr<CBufferedOutputStream> body;
    bool owns_sink = false;
    bool abandoned = false;
    Declared declared = Declared::unknown;
};

/// Reads a body of the length that the head declares, or, where it declares none, to the end of the input.
/// Nothing more to read: `read` gives -1 at the declared length, below that what its source gives.
class CContentLengthInputStream final : public CBodyInputStream {
public:
    PEL_HEAP_OBJECT

    /// `status` is 1 where one of both is null. `head` stays the caller's and must live as long.
    CContentLengthInputStream(CInputStream* from, CMessageHead* head);
    ~CContentLengthInputStream() override;

    int get() override;
    /// A length that is negative, no number, beyond 31 bits or beyond the head's limit is a body of no bytes.
    int read(char* buffer, int wanted) override;
    int available() override { return source->available(); }
    int status() override { return status_code; }
    BodyEnd end() override;

    void set_owns_source(int flag) { owns_source = flag != 0; }

private:
    void look_up_length();
    int read_unlimited(char* buffer, int wanted);

    CInputStream* source;
    CMessageHead* message;
    std::int16_t status_code;
    bool owns_source = false;
    std::int32_t length = -1;
    std::int32_t consumed = 0;
    bool unlimited = false;
    bool well_formed = true;
    long long total = 0;  // of a body without a declared length
};
