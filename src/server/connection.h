// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>
#include <pelthread/mutex.h>
#include <vqsys/handle.h>
#include <vqsys/types.h>

#include <atomic>
#include <cstdint>

#include "server/wait_turn.h"

class CSecureChannel;
class CSspiCredentials;
class _SOAP_ConnectionList;

/// One accepted connection: idle in the list, or owned by exactly one task.
struct _SOAP_Connection {
    PEL_HEAP_OBJECT

    _SOAP_Connection(vqSocket accepted, std::uint16_t listener_port, _SOAP_ConnectionList* owner);

    /// Ends the encrypted session, if there is one.
    void stop_tls();
    /// True if bytes of the next request have been received that the socket does not show any more.
    bool has_unread() const;
    /// True if bytes of the next request have arrived.
    bool asks() const;
    /// Closes the socket and gives its unit back; the record itself stays. Not while a list has it.
    void close();

    _SOAP_Connection* link = nullptr;  ///< next in the list
    _SOAP_Connection* back = nullptr;  ///< previous in the list
    std::int32_t last_used;            ///< seconds; when it was accepted or last given back
    vqSocket socket;
    vqHandle block_handle;
    _SOAP_ConnectionList* list;
    std::uint16_t port;  ///< of the listener that accepted it
    /// Its last request could not be read and got no answer; the peer may be waiting for one.
    bool unanswered = false;
    CSecureChannel* channel = nullptr;
};

/// Seconds of the clock by which connections are idle.
std::int32_t idle_clock();

/// The idle connections of a server, and those that tasks are working on. All operations lock.
///
/// The list owns the wait handle in which idle connections are watched: appending a connection watches it at
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

    /// Puts a connection at the tail and watches it; from then on it is the list's. False if it is null,
    /// cannot be watched, or the list was closed: it stays the caller's then.
    bool append(_SOAP_Connection* connection);

    /// Takes the connection with this socket out and watches it no longer; null if there is none.
    _SOAP_Connection* remove(vqSocket socket);

    /// Ends the list: takes out all connections, one after the other, until null comes; `append` fails from
    /// now on.
    _SOAP_Connection* close_next();

    int idle_count();

    /// True if an idle connection may have been left without an answer: it is not to wait for long.
    bool has_unanswered() const { return unanswered.load(std::memory_order_acquire); }
    /// Closes the connections that are idle for more than `longest` seconds at the time `now` of
    /// `idle_clock`, and those without an answer after `kUnansweredSeconds`.
    void close_idle(std::int32_t now, std::int32_t longest);

    static constexpr std::int32_t kUnansweredSeconds = 1;

    /// Closes the idle connections from which nothing has come; false if there was none.
    bool close_silent();

    /// Takes the connection with this socket out for a task, which is going to read a request from it; null
    /// if there is none. Neither is it watched any more.
    _SOAP_Connection* task_begins(vqSocket socket);
    /// The same for a connection that was taken out before.
    void last_task_begins(_SOAP_Connection* connection);
    /// The task is about to read a further request.
    void read_begins(_SOAP_Connection* connection);
    /// The request is there, or will not come. To be called before the connection is closed.
    void read_ends(_SOAP_Connection* connection);
    /// The task is about to close the connection.
    void leaves(_SOAP_Connection* connection);
    /// The task has nothing to do with the list any more; the list may be gone then.
    void task_ends();

    /// New clients are kept waiting until a socket is closed: `socket_closed` is then to wake the server.
    void await_socket() { starved.store(true); }
    void socket_closed();

    /// Ends the reading of requests that are not all there: those who wait for bytes find the end of input.
    void stop_reading();

    /// Ends all traffic of connections that tasks are working on.
    void cut_tasks();

    /// Waits until no task is left, at most `seconds`; true if that came.
    bool await_tasks(double seconds);

    /// Takes over the credentials of the connections' sessions, which it destroys when it goes itself.
    void keep_credentials(CSspiCredentials* of_sessions) { credentials = of_sessions; }

    /// Whose turn it is to wait on the handle.
    WaitTurn& turn() { return turn_; }

    PEL_Mutex& mutex() { return mutex_; }
    _SOAP_Connection* head() const { return head_; }

private:
    ~_SOAP_ConnectionList();
    bool index(_SOAP_Connection* connection);
    void unlink(_SOAP_Connection* connection);
    static void close_chain(_SOAP_Connection* first);

    struct Slot {
        _SOAP_Connection* idle = nullptr;
        bool serving = false;  ///< a task has it
        bool reading = false;
    };

    _SOAP_Connection* head_ = nullptr;
    _SOAP_Connection* tail_ = nullptr;
    PEL_Mutex mutex_;
    WaitTurn turn_;
    vqHandle handle_ = nullptr;
    CSspiCredentials* credentials = nullptr;
    Slot* slots = nullptr;  ///< by socket number
    int slot_count = 0;
    int idle = 0;
    bool closed = false;
    std::atomic<bool> unanswered = false;
    std::atomic<bool> starved = false;
    std::atomic<int> tasks = 0;
    std::atomic<int> references = 1;
};

/// Stands at the head of a list and keeps it locked while it lives. The connection given last may be removed.
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
