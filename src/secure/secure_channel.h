// SPDX-License-Identifier: MIT
#pragma once

/// The encrypted side of one connection, as the streams above a socket see it.
///
/// A channel belongs to the client or the connection that made it; streams only borrow it. One thread
/// at a time. Where a stream has no channel it talks to the socket in the clear.
class CSecureChannel {
public:
    virtual ~CSecureChannel() = default;

    /// Up to `length` decrypted bytes into `buffer`. Blocks until some are there; 0 when no more come.
    virtual int read(char* buffer, int length) = 0;

    /// Encrypts and sends `length` bytes; gives the count taken, 0 or less on failure.
    virtual int write(const char* data, int length) = 0;

    /// Says goodbye to the peer (close notify) before the socket is closed, from the side that connected.
    virtual void closeClient() = 0;

    /// The same from the side that accepted.
    virtual void closeServer() = 0;
};
