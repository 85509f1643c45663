// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// What `status` of a stream gives.
inline constexpr std::int16_t kStreamGood = 0;
inline constexpr std::int16_t kStreamNullArgument = 1;  ///< only `status` and the destructor may be called
inline constexpr std::int16_t kStreamNoMemory = 2;

/// The block of the buffered streams, which is also the usual size of one send or receive.
inline constexpr int kStreamBlock = 512;

/// A sink of bytes: a socket, a buffer, the body of an HTTP message.
///
/// Streams stack: a wrapper writes to the stream below it and deletes that stream only if told to by its
/// ownership flag. One thread at a time.
class COutputStream {
public:
    COutputStream() = default;
    virtual ~COutputStream() = default;
    COutputStream(const COutputStream&) = delete;
    COutputStream& operator=(const COutputStream&) = delete;

    /// Hands over `length` bytes; gives the count taken, 0 or less on failure.
    virtual int write(const char* data, int length) = 0;

    /// Hands over one byte; gives 1, or what `write` would.
    virtual int put(char c) = 0;

    /// Pushes what is held on to the stream below.
    virtual void flush() = 0;

    /// Ends the stream; what was written is final.
    virtual void close() = 0;

    /// 0 good, 1 a required constructor argument was null, 2 out of memory.
    virtual int status() = 0;

    /// Forgets everything written so far, so that something else can be written in its place. False, and
    /// nothing is changed, where some of it may have left already.
    virtual bool discard() { return false; }

    /// Gives the stream up: what is held here and below is dropped, later writes and the destructor send
    /// nothing more.
    virtual void abandon() {}

    /// Says that the next `write` will be followed by another right away. Changes nothing of what is written;
    /// a socket may put both into one segment and so wake the peer once.
    virtual void more_follows() {}
};

/// A source of bytes: a socket, a buffer, the body of an HTTP message.
///
/// Streams stack: a wrapper reads from the stream below it and deletes that stream only if told to by its
/// ownership flag. One thread at a time. Nothing here has a time-out unless a class says so; the socket may.
class CInputStream {
public:
    CInputStream() = default;
    virtual ~CInputStream() = default;
    CInputStream(const CInputStream&) = delete;
    CInputStream& operator=(const CInputStream&) = delete;

    /// The next byte as 0..255, or -1 at the end of input. Blocks until one of both is known.
    virtual int get() = 0;

    /// Up to `length` bytes into `buffer`; may give fewer. What "nothing more" looks like, 0 or -1, is told
    /// by each class.
    virtual int read(char* buffer, int length) = 0;

    /// Bytes that can be had without touching the layer below, or what that layer says; -1 if unknown.
    virtual int available() = 0;

    /// 0 good, 1 a required constructor argument was null, 2 out of memory in the constructor.
    virtual int status() = 0;
};
