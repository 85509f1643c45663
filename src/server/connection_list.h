// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>
#include <pelthread/mutex.h>
#include <pelthread/spin_judge.h>
#include <vqsys/handle.h>
#include <vqsys/types.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "server/connection.h"
#include "server/deadline_wheel.h"
#include "server/peer_counts.h"
#include "server/ready_batch.h"
#include "server/wait_turn.h"

enum class StreamTurn {
    begun,   ///< `end_stream` is to follow
    waits,   ///< the list has it, and will give it its turn
    refused  ///< it stays the caller's
};

/// The connections of a server: those that are idle, those that wait for something else until a deadline, and
/// those that tasks are working on. All operations lock, and none waits for a peer.
///
/// The list owns the wait handle in which waiting connections are watched: one that is put back is watched at
/// once, also while the server waits. Server and tasks hold references, the last of which deletes the list,
/// so that a task that outlives its server touches nothing that is gone.
class _SOAP_ConnectionList {
public:
    PEL_HEAP_OBJECT

    _SOAP_ConnectionList();
    _SOAP_ConnectionList(const _SOAP_ConnectionList&) = delete;
    _SOAP_ConnectionList& operator=(const _SOAP_ConnectionList&) = delete;

    /// False when the system had no wait handle left; only `release` may follow.
    bool usable() const { return handle_ != nullptr; }
    vqHandle handle() const { return handle_; }

    void add_ref() { references.fetch_add(1, std::memory_order_relaxed); }
    void release();

    /// Puts a connection at the tail of the idle ones and watches it; from then on it is the list's. False if
    /// it is null, cannot be watched, or the list was closed: it stays the caller's then.
    bool append(_SOAP_Connection* connection);
    /// The same for one that waits in another way, readable or writable as `mode` says, or for neither if
    /// that is 0, until `deadline`. When the list was closed only replies are waited for.
    bool wait(_SOAP_Connection* connection, int mode, std::int64_t deadline);

    /// Takes the idle connection with this socket out and watches it no longer; null if there is none.
    _SOAP_Connection* remove(vqSocket socket);

    /// Ends the list: takes out all connections, one after the other, until null comes; but those whose reply
    /// is on its way only with `replies_too`.
    _SOAP_Connection* close_next(bool replies_too = false);

    int idle_count();
    /// True if some wait until a deadline.
    bool has_deadlines();
    /// True if a reply is on its way to a peer that takes it slowly.
    bool has_replies();
    /// Takes out one whose deadline is over; null if there is none. It is the caller's then, as if for a
    /// task.
    _SOAP_Connection* take_due(std::int64_t now);
    /// Closes the connections that have been idle for more than `longest` seconds at the time `now` of
    /// `idle_clock`.
    void close_idle(std::int32_t now, std::int32_t longest);
    /// Closes the idle connections from which nothing has come; false if there was none.
    bool close_silent();

    /// Takes the waiting connection with this socket out for a task; null if there is none. Neither is it
    /// watched any more.
    _SOAP_Connection* task_begins(vqSocket socket);
    /// The same for a connection that was taken out before, or never put in.
    void last_task_begins(_SOAP_Connection* connection);
    /// The task is about to close the connection.
    void leaves(_SOAP_Connection* connection);
    /// The task has nothing to do with the list any more; the list may be gone then.
    void task_ends();

    /// A worker asks to read a large body as it comes. Where as many workers as may are doing so, the
    /// connection waits for its turn from then on, until `deadline`.
    StreamTurn begin_stream(_SOAP_Connection& connection, std::int64_t deadline);
    /// Gives the next one its turn, which is then the caller's as if for a task; null if nobody waits.
    _SOAP_Connection* end_stream(_SOAP_Connection& connection);

    /// Counts the connection's memory anew.
    void count_memory(_SOAP_Connection& connection);
    /// True where no more is to be read from peers than what the connections hold already.
    bool is_full() const;
    /// Takes out, for as long as too many bytes wait, the connection with the most bytes and the longest
    /// time without progress; null when there is room or nobody waits with bytes. The caller's then.
    _SOAP_Connection* take_largest();

    /// Counts a connection of this address; false if it has `most` of them already. 0 is no limit.
    bool admit(_SOAP_Connection& connection, std::int32_t most);

    /// New clients are kept waiting until a socket is closed: `socket_closed` is then to wake the server.
    void await_socket() { starved.store(true); }
    void socket_closed(_SOAP_Connection& connection);

    /// Ends the reading of bodies by tasks: those who wait for bytes find the end of input.
    void stop_streams();
    /// Ends all traffic of connections that tasks are working on.
    void cut_tasks();
    int tasks() const { return tasks_.load(std::memory_order_acquire); }
    /// True while somebody besides the server holds a reference: a task that has just ended.
    bool is_shared() const { return references.load(std::memory_order_acquire) > 1; }

    /// Takes over the credentials of the connections' sessions, which it destroys when it goes itself.
    void keep_credentials(CSspiCredentials* of_sessions) { credentials = of_sessions; }

    /// Whose turn it is to wait on the handle.
    WaitTurn& turn() { return turn_; }
    /// Whether a worker that is done looks for the next connection for a moment.
    PEL_SpinJudge& linger() { return linger_; }
    /// What waits for the worker that has the turn.
    ReadyBatch& batch() { return batch_; }

    PEL_Mutex& mutex() { return mutex_; }
    _SOAP_Connection* head() const { return head_; }

private:
    ~_SOAP_ConnectionList();
    bool index(_SOAP_Connection* connection);
    void unlink(_SOAP_Connection* connection);
    void take_out(_SOAP_Connection* connection);
    static _SOAP_Connection* of(DeadlineEntry* entry);
    static void close_chain(_SOAP_Connection* first);

    struct Slot {
        _SOAP_Connection* waiting = nullptr;
        bool serving = false;  ///< a task has it
        bool streams = false;  ///< which reads its body
    };

    _SOAP_Connection* head_ = nullptr;
    _SOAP_Connection* tail_ = nullptr;
    PEL_Mutex mutex_;
    WaitTurn turn_;
    ReadyBatch batch_;
    PEL_SpinJudge linger_;
    vqHandle handle_ = nullptr;
    CSspiCredentials* credentials = nullptr;
    Slot* slots = nullptr;  ///< by socket number
    int slot_count = 0;
    int idle = 0;
    int replies = 0;
    bool closed = false;
    DeadlineWheel deadlines{wait_clock()};
    int streams = 0;
    PeerCounts peers;
    std::atomic<std::size_t> buffered = 0;
    std::atomic<bool> starved = false;
    std::atomic<int> tasks_ = 0;
    std::atomic<int> references = 1;
};

/// Stands at the head of the idle connections and keeps the list locked while it lives. The connection given
/// last may be removed.
class _SOAP_ConnectionIterator {
public:
    explicit _SOAP_ConnectionIterator(_SOAP_ConnectionList& list)
        : lock(list.mutex()), current(list.head()) {}

    /// The current connection, null at the end; steps on before it returns.
    _SOAP_Connection* next() {
        _SOAP_Connection* const given = current;
        if (given != nullptr) current = given->link;
        return given;
    }

private:
    PEL_Lock lock;
    _SOAP_Connection* current;
};
