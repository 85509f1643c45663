// SPDX-License-Identifier: MIT
#include "server/connection_task.h"

#include <vqsys/handle.h>
#include <vqsys/net.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "addressing/secure_options.h"
#include "server/connection_list.h"
#include "server/connection_steps.h"
#include "server/server_limits.h"
#include "transport/broker.h"

namespace {

using Next = ConnectionSteps::Next;

/// How long a worker that is done looks for the next connection before the server's loop does: about what it
/// costs to wake a thread.
constexpr auto kLinger = std::chrono::microseconds(50);
/// Steps in a row behind which a connection lets others go first.
constexpr int kStepsInTurn = 32;
/// For a kept connection whose request got no answer: its peer may be waiting for one.
constexpr double kUnansweredSeconds = 1;
/// How long nothing is read from a connection while too many bytes wait.
constexpr double kFullSeconds = 0.25;

/// Until when the connection may wait.
std::int64_t wait_end(_SOAP_Connection& connection, Next next) {
    if (next == Next::room) return deadline_in(kFullSeconds);
    if (next == Next::idle) return deadline_in(kUnansweredSeconds);
    if (connection.phase == Phase::handshake || connection.phase == Phase::parting)
        return connection.last_deadline;
    const double limit = server_limits::read_timeout();
    if (connection.phase == Phase::request && connection.last_deadline == DeadlineWheel::kNever)
        connection.last_deadline = deadline_in(limit * server_limits::kWholeRequestFactor);
    return std::min(deadline_in(limit), connection.last_deadline);
}

int wait_mode(Next next) {
    if (next == Next::room) return 0;
    return next == Next::writable ? kVqWritable : kVqReadable;
}

/// Puts it to wait in its list; false if that takes it no more.
bool put_to_wait(_SOAP_Connection* connection, Next next) {
    if (next == Next::idle && !connection->unanswered) return connection->list->append(connection);
    connection->paused = next == Next::room;
    return connection->list->wait(connection, wait_mode(next), wait_end(*connection, next));
}

/// A worker reads a large body as it comes, and then lets the next one do so. `Next::turn` where this one has
/// to wait for its turn.
Next take_stream_turn(_SOAP_Connection* connection) {
    _SOAP_ConnectionList& list = *connection->list;
    if (connection->last_deadline == DeadlineWheel::kNever)
        connection->last_deadline =
            deadline_in(server_limits::read_timeout() * server_limits::kWholeRequestFactor);
    const StreamTurn turn = list.begin_stream(*connection, connection->last_deadline);
    if (turn != StreamTurn::begun) return turn == StreamTurn::waits ? Next::turn : Next::nothing;
    const Next next = ConnectionSteps(*connection).step();
    if (_SOAP_Connection* const other = list.end_stream(*connection))
        Dispatcher::new_task(&serve_connection, other);
    return next;
}

/// Closes connections while too many bytes wait in memory.
void make_room(_SOAP_ConnectionList& list) {
    while (_SOAP_Connection* const largest = list.take_largest()) {
        end_connection(largest);
        list.task_ends();
    }
}

/// True once the time for a whole handshake or request is over.
bool is_overdue(const _SOAP_Connection& connection) {
    return connection.last_deadline != DeadlineWheel::kNever && wait_clock() >= connection.last_deadline;
}

/// A request whose head has come is served as far as it came, as if its peer had ended its sending; anything
/// else is not worth that.
bool ends_input(_SOAP_Connection& connection) {
    if (connection.phase == Phase::handshake && connection.channel != nullptr)
        std::printf("SSL handshake fail, Couldn't connect\n");
    if (connection.phase != Phase::request || !connection.framing.has_head()) return false;
    connection.input_ended = true;
    return true;
}

/// Goes on with one connection until it waits or is gone.
void advance(_SOAP_Connection* connection) {
    _SOAP_ConnectionList& list = *connection->list;
    bool refused = false;
    for (int steps = 1;; ++steps) {
        const bool streams = connection->phase == Phase::streamed;
        const Next next = streams ? take_stream_turn(connection) : ConnectionSteps(*connection).step();
        if (next == Next::nothing) return end_connection(connection);
        if (next == Next::turn && streams) return;  // the list has it
        if (next == Next::again || next == Next::turn) {
            if (steps % kStepsInTurn != 0) continue;
            list.last_task_begins(connection);
            Dispatcher::new_task(&serve_connection, connection);
            return;
        }
        // One that is never found waiting when the loop looks would otherwise go on for ever.
        if (is_overdue(*connection)) {
            if (!ends_input(*connection)) return end_connection(connection);
            continue;
        }
        list.count_memory(*connection);
        const bool heavy = connection->counted != 0;
        if (put_to_wait(connection, next)) {
            if (heavy) make_room(list);
            return;
        }
        // The server is ending: what has come by now is the last that counts.
        if (connection->phase != Phase::request || connection->input_ended) return end_connection(connection);
        connection->input_ended = refused || !connection->asks();
        refused = true;
    }
}

struct Found {
    _SOAP_Connection* connection = nullptr;
    bool loop_is_needed = false;  ///< a listener, or somebody who called the loop
};

/// Takes what the wait handle has reported: the first connection is the worker's own, and as many more wait
/// for it as it serves in a moment. Others go to the dispatcher.
Found take_ready(_SOAP_ConnectionList& list) {
    constexpr int kMost = 64;
    vqSocket ready[kMost];
    Found found;
    const int count = vqHandleReady(list.handle(), ready, kMost);
    std::size_t room = list.batch().room();
    for (int i = 0; i < count; ++i) {
        _SOAP_Connection* const connection = list.task_begins(ready[i]);
        if (connection == nullptr) {
            found.loop_is_needed = true;
        } else if (found.connection == nullptr) {
            found.connection = connection;
        } else if (room != 0) {
            --room;
            list.batch().put(connection);
        } else {
            Dispatcher::new_task(&serve_connection, connection);
        }
    }
    return found;
}

void serve_one(_SOAP_Connection* connection, _SOAP_ConnectionList& list) {
    const auto begun = std::chrono::steady_clock::now();
    advance(connection);
    list.batch().note(std::chrono::steady_clock::now() - begun);
}

/// Looks for connections that have become ready: for a moment, where that has paid of late.
Found find_next(_SOAP_ConnectionList& list) {
    const bool lingers = list.linger().is_worth_it();
    const auto end = std::chrono::steady_clock::now() + kLinger;
    do {
        const int woken = vqBlockFor(list.handle(), 0);
        if (woken == kVqTimedOut) continue;
        list.linger().looked(woken == 0);
        if (woken == 0) return take_ready(list);
        return {nullptr, true};
    } while (lingers && Dispatcher::waiting() == 0 && std::chrono::steady_clock::now() < end);
    if (lingers) list.linger().looked(false);
    return {};
}

/// True if the peer's system has acknowledged some of the reply since the last look.
bool takes_reply(_SOAP_Connection& connection) {
    const long long before = connection.acknowledged;
    connection.acknowledged = vqNetAcknowledged(connection.socket);
    return connection.acknowledged > before;
}

}  // namespace

void end_connection(_SOAP_Connection* connection) {
    connection->list->leaves(connection);
    connection->close();
    delete connection;
}

void expire_connection(_SOAP_Connection* connection) {
    _SOAP_ConnectionList* const list = connection->list;
    if (connection->phase == Phase::reply && takes_reply(*connection) &&
        put_to_wait(connection, Next::writable))
        return list->task_ends();
    const bool tries_again = connection->paused && !is_overdue(*connection);
    if (tries_again || ends_input(*connection)) {
        Dispatcher::new_task(&serve_connection, connection);
        return;
    }
    end_connection(connection);
    list->task_ends();
}

void hand_on_batch(_SOAP_ConnectionList& list) {
    while (_SOAP_Connection* const next = list.batch().take()) Dispatcher::new_task(&serve_connection, next);
}

void serve_connection(void* argument) {
    auto* connection = static_cast<_SOAP_Connection*>(argument);
    _SOAP_ConnectionList* const list = connection->list;
    std::uint64_t turn = 0;
    for (;;) {
        serve_one(connection, *list);
        if (turn != 0 && !list->turn().look_again(turn)) {
            turn = 0;
            hand_on_batch(*list);
        }
        _SOAP_Connection* next = turn != 0 ? list->batch().take() : nullptr;
        if (next == nullptr) {
            // What waits in the queue came first.
            if (Dispatcher::waiting() != 0) break;
            if (turn == 0) turn = list->turn().try_take();
            if (turn == 0) break;
            const Found found = find_next(*list);
            if (found.loop_is_needed) {
                list->turn().give_back(turn, true);
                turn = 0;
                hand_on_batch(*list);
            }
            next = found.connection;
            if (next == nullptr) break;
        }
        if (turn != 0) list->turn().serve(turn);
        list->task_ends();  // each connection was counted as a task of its own
        connection = next;
    }
    if (turn != 0) list->turn().give_back(turn, Dispatcher::waiting() == 0);
    list->task_ends();
}
