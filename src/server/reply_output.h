// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>

#include <cstddef>
#include <string_view>

#include "streams/stream.h"

struct _SOAP_Connection;

/// The bottom of a reply's streams: sends what the socket takes at once, and leaves the rest in the
/// connection's outbox. Never waits for the peer.
class ReplyOutput final : public COutputStream {
public:
    PEL_HEAP_OBJECT

    explicit ReplyOutput(_SOAP_Connection& to) : connection(to) {}

    /// `length`, also for what waits; 0 once the connection is broken or memory has ended, and for ever then.
    int write(const char* data, int length) override;
    int put(char c) override { return write(&c, 1); }
    void flush() override {}
    void close() override {}
    int status() override { return kStreamGood; }
    /// What was written before counts as cut off.
    void abandon() override;
    void more_follows() override { more = true; }

private:
    bool send(std::string_view text);
    bool send_plain(std::string_view text);
    bool send_sealed(std::string_view text);

    _SOAP_Connection& connection;
    bool more = false;
    bool abandoned = false;
    std::size_t held = 0;
    char head[kStreamBlock];  // what came with the word that more follows, for one send of both
};
