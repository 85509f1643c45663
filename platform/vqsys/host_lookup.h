// SPDX-License-Identifier: MIT
#pragma once

#include <netdb.h>

#include <cstdint>

/// A host's canonical name and its IPv4 addresses in network byte order.
struct FoundHost {
    static constexpr int kMostAddresses = 16;

    char name[NI_MAXHOST];
    std::uint32_t addresses[kMostAddresses];
    int count;
};

/// How a look-up ended: at most one of the two is not 0.
struct LookUp {
    int lookup_failure = 0;  // of `getaddrinfo`
    int error_number = 0;
};

/// Asks the system, which may take as long as it likes. `host` is untouched where it fails.
[[nodiscard]] LookUp look_up(const char* name, FoundHost& host);

/// The same in at most so many seconds; `ETIMEDOUT` beyond. The system cannot be told to give up: a thread
/// goes on waiting for it. All that ask for one name share one thread, and there are at most 32; who needs a
/// further one waits for its turn within its time.
[[nodiscard]] LookUp look_up_within(const char* name, double seconds, FoundHost& host);
