// SPDX-License-Identifier: MIT

// The server's loop: waiting, accepting, handing readable connections to tasks, closing idle ones.

#include <pelthread/thread.h>
#include <vqsys/handle.h>
#include <vqsys/net.h>

#include <arpa/inet.h>

#include <algorithm>
#include <cerrno>

#include "addressing/secure_options.h"
#include "server/connection_list.h"
#include "server/connection_task.h"
#include "server/server_limits.h"
#include "server/soap_server.h"

void _SOAP_Transport_Server::run() {
    if (run_entered.exchange(true)) return;
    if (core != nullptr && core->usable()) {
        last_sweep = idle_clock();
        bool tasks_begun = false;
        while (server_running == 1) {
            // Workers that have just got something to do look for more themselves, unless that takes long.
            if (core->turn().take_for_loop(!tasks_begun || !core->batch().calls_are_short())) {
                hand_on_batch(*core);
                tasks_begun = wait_once(longest_wait());
                core->turn().offer();
            }
            end_overdue();
        }
        core->turn().end();
        hand_on_batch(*core);
        accept_waiting();
    }
    close_all();
}

/// Milliseconds after which the loop has to look whose time is over.
int _SOAP_Transport_Server::longest_wait() {
    if (core->has_deadlines()) return static_cast<int>(DeadlineWheel::kTick);
    return std::clamp(server_limits::idle_timeout(), 1, kWaitSeconds) * 1000;
}

/// Waits until something happens, and sees to it; true if tasks have begun.
bool _SOAP_Transport_Server::wait_once(int milliseconds) {
    // A worker that had the turn may have met the call that was meant to end the wait below.
    if (server_running == 0) return false;
    watch_listeners();
    const int woken = vqBlockFor(core->handle(), milliseconds);
    if (server_running == 0) return false;
    if (woken == 0) return serve_ready();
    // The system is short of something: not at full speed then.
    if (woken < 0) PEL_Thread::delay(0.01);
    return false;
}

/// Sees to the connections whose time is over.
void _SOAP_Transport_Server::end_overdue() {
    const std::int64_t now = wait_clock();
    if (now - last_tick >= DeadlineWheel::kTick) {
        last_tick = now;
        while (_SOAP_Connection* const connection = core->take_due(now)) expire_connection(connection);
    }
    const std::int32_t longest = server_limits::idle_timeout();
    const std::int32_t seconds = idle_clock();
    if (longest == 0 || seconds - last_sweep <= std::min(longest, kSweepSeconds)) return;
    last_sweep = seconds;
    core->close_idle(seconds, longest);
}

/// Listeners are watched only while a further socket may be had; new clients wait in the system's queue then.
/// One that is watched already costs nothing here.
void _SOAP_Transport_Server::watch_listeners() {
    bool available = SOA::socketResource().available();
    if (!available) {
        core->await_socket();
        available = SOA::socketResource().available();  // one may have been closed just before
    }
    if (!available && !watching) return;
    const vqHandle handle = core->handle();
    const PEL_Lock lock(listeners_mutex);
    for (int i = 0; i < listener_count; ++i) {
        if (available) {
            static_cast<void>(vqHandleAddResourceMode(handle, listeners[i].socket, kVqReadable));
        } else {
            vqHandleClearResourceMode(handle, listeners[i].socket, kVqReadable);
        }
    }
    watching = available;
}

bool _SOAP_Transport_Server::serve_ready() {
    constexpr int kMost = 256;
    vqSocket ready[kMost];
    const int count = vqHandleReady(core->handle(), ready, kMost);
    bool may_accept = true;
    bool tasks_begun = false;
    for (int i = 0; i < count; ++i) {
        if (_SOAP_Connection* const connection = core->task_begins(ready[i])) {
            Dispatcher::new_task(&serve_connection, connection);
            tasks_begun = true;
        } else if (may_accept) {
            may_accept = accept_from(ready[i]);
        }
    }
    return tasks_begun;
}

/// Accepts what waits at the listener with this socket; false when no further socket can be had.
bool _SOAP_Transport_Server::accept_from(vqSocket socket) {
    constexpr int kMostAtOnce = 64;
    _SOAP_Listener listener;
    {
        const PEL_Lock lock(listeners_mutex);
        for (int i = 0; i < listener_count; ++i) {
            if (listeners[i].socket == socket) listener = listeners[i];
        }
    }
    if (listener.socket == kVqNoSocket) return true;
    return accept_many(listener, kMostAtOnce);
}

bool _SOAP_Transport_Server::accept_many(const _SOAP_Listener& listener, int most) {
    for (int i = 0; i < most; ++i) {
        if (!SOA::socketResource().acquire()) return false;
        if (!accept_one(listener)) {
            SOA::socketResource().release();
            break;
        }
    }
    return true;
}

/// Accepts, at the end, whom the system has connected already: the request may be there as well, and a oneway
/// call looks done to its caller by then. Encrypted sessions cannot be begun any more.
void _SOAP_Transport_Server::accept_waiting() {
    constexpr int kMost = 4096;  // more than the system keeps waiting, and an end to those who come meanwhile
    const PEL_Lock lock(listeners_mutex);
    for (int i = 0; i < listener_count; ++i) {
        if (listeners[i].secure != 0) continue;
        while (!accept_many(listeners[i], kMost) && core->close_silent()) {
        }
    }
}

/// True if a connection was accepted, whose unit is then its own or given back.
bool _SOAP_Transport_Server::accept_one(const _SOAP_Listener& listener) {
    vqSocket accepted = kVqNoSocket;
    vqAddress peer;
    int length = sizeof peer;
    if (const int failure = vqNetAccept(listener.socket, &accepted, &peer, &length); failure != VQOK) {
        // Out of descriptors or memory: the listener stays readable, and asking at full speed helps nobody.
        if (failure != EAGAIN && failure != ECONNABORTED) PEL_Thread::delay(0.01);
        return false;
    }
    auto* const connection = new _SOAP_Connection(accepted, listener.port, core);
    if (connection == nullptr) {
        vqNetClose(&accepted);
        SOA::socketResource().release();
        return true;
    }
    connection->peer_address = peer.address;
    connection->peer_port = ntohs(peer.port);
    if (!core->admit(*connection, server_limits::connections_per_peer()) || !begin(*connection, listener)) {
        connection->close();
        delete connection;
    }
    return true;
}

/// Has the list wait for the connection's first bytes; false if it cannot.
bool _SOAP_Transport_Server::begin(_SOAP_Connection& connection, const _SOAP_Listener& listener) {
    if (listener.secure == 0) return core->append(&connection);
    {
        const PEL_Lock lock(listeners_mutex);
        connection.credentials = static_cast<CSspiCredentials*>(getSSLContext());
    }
    if (connection.credentials == nullptr) return false;
    connection.phase = Phase::handshake;
    connection.last_deadline = deadline_in(SecureOptions::current().handshake_seconds);
    return core->wait(&connection, kVqReadable, connection.last_deadline);
}

/// Ends listening and closes what is idle. Requests that have arrived are served, those that are arriving are
/// cut short, calls that are running and replies that are on their way are waited for. Leaves `connections`
/// null, and touches nothing of this object behind that.
void _SOAP_Transport_Server::close_all() {
    close_listeners();
    if (core != nullptr) {
        while (_SOAP_Connection* const connection = core->close_next()) {
            core->last_task_begins(connection);
            if (connection->phase == Phase::request && connection->asks()) {
                Dispatcher::new_task(&serve_connection, connection);
                continue;
            }
            end_connection(connection);
            core->task_ends();
        }
        core->stop_streams();
        if (!finish(kShutdownSeconds)) {
            // Peers that do not read their replies hold up nobody any longer.
            core->cut_tasks();
            while (_SOAP_Connection* const slow = core->close_next(true)) {
                core->last_task_begins(slow);
                end_connection(slow);
                core->task_ends();
            }
            static_cast<void>(finish(kCutSeconds));
        }
    }
    connections.store(nullptr, std::memory_order_release);
}

void _SOAP_Transport_Server::close_listeners() {
    const PEL_Lock lock(listeners_mutex);
    for (int i = 0; i < listener_count; ++i) {
        if (core != nullptr && core->usable()) {
            vqHandleClearResourceMode(core->handle(), listeners[i].socket, kVqReadable);
        }
        vqNetClose(&listeners[i].socket);
        SOA::socketResource().release();
    }
    PEL_array_delete(listeners);
    listeners = nullptr;
    listener_count = 0;
}

/// Goes on sending replies until none is left and no task runs, at most so many seconds; true if that came.
bool _SOAP_Transport_Server::finish(double seconds) {
    constexpr int kStep = 2;  // milliseconds
    const std::int64_t end = deadline_in(seconds);
    // The process may end next: the last task is to be done with the list by then.
    while (core->tasks() != 0 || core->has_replies() || core->is_shared()) {
        if (wait_clock() >= end) return false;
        if (core->usable() && vqBlockFor(core->handle(), kStep) == 0) static_cast<void>(serve_ready());
    }
    return true;
}
