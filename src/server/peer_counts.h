// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

/// How many connections each address has: a table that grows with the addresses, with constant time for each
/// step. The caller locks.
class PeerCounts {
public:
    PeerCounts() = default;
    ~PeerCounts();
    PeerCounts(const PeerCounts&) = delete;
    PeerCounts& operator=(const PeerCounts&) = delete;

    /// Counts one more, unless the address has `most` of them or memory has ended: then false.
    [[nodiscard]] bool add(std::uint32_t address, std::int32_t most);
    /// One less of an address that was added.
    void remove(std::uint32_t address);

private:
    struct Entry {
        std::uint32_t address;
        std::int32_t count;  // 0: free
    };

    Entry* find(std::uint32_t address) const;
    bool grow();

    Entry* entries = nullptr;
    std::size_t room = 0;  // a power of two
    std::size_t used = 0;
};
