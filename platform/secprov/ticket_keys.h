// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <chrono>
#include <mutex>

/// The keys that a server seals its session tickets with, made at random and kept in memory alone.
///
/// A key seals for one `kPeriod` and opens for one more, so that a ticket which lives no longer than that can
/// be used to its end. Any thread.
class TicketKeys {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::seconds kPeriod{3600};

    struct Key {
        std::array<unsigned char, 16> name;
        std::array<unsigned char, 32> cipher;
        std::array<unsigned char, 32> mac;
    };

    /// The key to seal with; false if no random bytes can be had.
    [[nodiscard]] bool current(Clock::time_point now, Key& key);

    enum class Found { none, current, old };
    /// The key of that name, if it may still open tickets; `old` tells that the client wants a new ticket.
    [[nodiscard]] Found find(const unsigned char* name, Clock::time_point now, Key& key);

    ~TicketKeys();

private:
    struct Slot {
        Key key{};
        Clock::time_point born{};
        bool used = false;
    };

    std::mutex mutex;
    Slot newest;
    Slot before;
};
