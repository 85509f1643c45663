// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>
#include <sys/epoll.h>
#include <vqsys/handle.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>

/// The set behind a wait handle. Sockets are watched one-shot: a report also ends the watch, and adding the
/// socket again renews it. Who belongs to the set is told by the number of its filling, so that emptying it
/// is one increment and a socket still under watch joins the next filling for free. A socket that was left
/// behind under watch reports once at most, and that report is dropped.
class vqWaitSet {
public:
    PEL_HEAP_OBJECT

    vqWaitSet() = default;
    ~vqWaitSet();
    vqWaitSet(const vqWaitSet&) = delete;
    vqWaitSet& operator=(const vqWaitSet&) = delete;

    /// To be called once, before all others; 0 or the system's error number.
    [[nodiscard]] int open();

    void clear();
    [[nodiscard]] int add(vqSocket socket, int mode);
    void remove(vqSocket socket);
    [[nodiscard]] bool is_ready(vqSocket socket);
    [[nodiscard]] int ready_sockets(vqSocket* out, int capacity);
    [[nodiscard]] int wait(int milliseconds);
    void unblock();

private:
    static constexpr int kBatch = 256;
    using Events = std::array<epoll_event, kBatch>;

    /// What is known of one socket number. All zero: nothing.
    struct Entry {
        std::uint64_t member;  ///< the filling to which it belongs
        std::uint64_t ready;   ///< the wait that found it readable
        std::uint32_t watch;   ///< number of its watch, which every report carries
        std::uint32_t life;    ///< of the socket that was watched last
        bool registered;       ///< epoll had it when last asked
        bool watched;          ///< the watch stands: neither reported nor given up
        bool for_writing;      ///< what the watch is for, or was last
    };

    Entry* entry_for(vqSocket socket);
    bool grow(std::size_t needed);
    int watch(vqSocket socket, Entry& entry);
    static bool is_watched(vqSocket socket, const Entry& entry);
    bool found(const Entry& entry) const { return entry.member == filling && entry.ready == waits; }
    void begin_wait();
    std::optional<int> take(const Events& events, int count);
    void take_report(std::uint64_t mark);

    int epoll = kVqNoSocket;
    int wake = kVqNoSocket;
    std::atomic<bool> wake_pending = false;

    std::mutex mutex;  ///< guards all below; never held while waiting
    Entry* entries = nullptr;
    std::size_t entry_count = 0;
    std::uint64_t filling = 1;
    std::uint64_t waits = 1;
    std::array<vqSocket, kBatch> ready{};
    int ready_count = 0;
};
