// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "client/client_line.h"

/// The lines of a client: those that calls are on, and those that wait for the next one. Safe for any thread;
/// nothing here waits for the network.
///
/// Plain and encrypted lines are apart, and each kind has its own number. Who finds all of them taken waits,
/// first come, first served.
class ConnectionPool {
public:
    using Clock = std::chrono::steady_clock;

    /// Lines write requests in SOAP section 5 encoding with `rpc_encoding`.
    ConnectionPool(const _Caldane_String& address, bool rpc_encoding)
        : endpoint(address), encodes(rpc_encoding) {}
    ConnectionPool(const ConnectionPool&) = delete;
    ConnectionPool& operator=(const ConnectionPool&) = delete;

    /// A call's right to one line, given back at its end: a line that is spoiled by then is closed.
    class Turn {
    public:
        /// Waits until `deadline` while `most` lines of the kind are taken.
        Turn(ConnectionPool& of, bool secure, int most, Clock::time_point deadline);
        ~Turn();
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

        /// Null where the time ended first, or memory.
        ClientLine* line() const { return own.get(); }
        bool timed_out() const { return late; }

    private:
        ConnectionPool& pool;
        const bool is_secure;
        bool late = false;
        std::unique_ptr<ClientLine> own;
    };

    /// False if a line that no call is on has been closed by its peer.
    bool is_fresh();

    /// Lines beyond the first that no call was on for so long are closed with the next call.
    static constexpr std::chrono::seconds kIdleTime{60};

private:
    struct Waiter {
        std::condition_variable changed;
        std::unique_ptr<ClientLine> line;
        bool served = false;  ///< with a line, or the right to make one
        Waiter* next = nullptr;
    };

    struct Lines {
        std::vector<std::unique_ptr<ClientLine>> idle;  ///< the one used last at the end
        int taken = 0;                                  ///< calls that have a line or are about to make one
        Waiter* first = nullptr;
        Waiter* last = nullptr;
    };

    using Lock = std::unique_lock<std::mutex>;

    Lines& lines(bool secure) { return of_kind[secure ? 1 : 0]; }
    static std::unique_ptr<ClientLine> take_idle(Lines& kind, bool may_make);
    static bool await_turn(Lock& lock, Lines& kind, Clock::time_point deadline,
                           std::unique_ptr<ClientLine>& line);
    static void leave(Lines& kind, const Waiter& waiter);
    void give_back(bool secure, std::unique_ptr<ClientLine> line);
    static std::unique_ptr<ClientLine> take_stale(Lines& kind);

    const _Caldane_String endpoint;
    const bool encodes;
    std::mutex mutex;
    Lines of_kind[2];
};
