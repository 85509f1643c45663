// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "streams/stream.h"

struct _SOAP_Connection;

/// The bytes of a request as its reader sees them: what was gathered, and behind that, where the body is read
/// as it comes, what the peer still sends.
class RequestSource final : public CInputStream {
public:
    PEL_HEAP_OBJECT

    /// `gathered` must stay as it is while this reads from it.
    explicit RequestSource(std::string_view gathered) : at_hand(gathered) {}
    /// Reads on from the connection, at most `more` bytes, until `deadline` (see `wait_clock`). Each read
    /// waits for the peer as long as SOAP_READ_TIMEOUT says.
    RequestSource(std::string_view gathered, _SOAP_Connection& from, std::size_t more, std::int64_t deadline);

    int get() override;
    /// 0 at the end, which is also where the time is over or the connection fails.
    int read(char* buffer, int length) override;
    /// Always -1.
    int available() override { return -1; }
    int status() override { return kStreamGood; }

    /// Nothing is known of where the peer's next request begins.
    static constexpr std::size_t kNoLimit = SIZE_MAX;

private:
    int receive(char* buffer, std::size_t length);
    int receive_sealed(char* buffer, std::size_t length);

    std::string_view at_hand;
    _SOAP_Connection* connection = nullptr;
    std::size_t left = 0;
    std::int64_t end = 0;
};
