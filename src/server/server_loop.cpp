// SPDX-License-Identifier: MIT

// The server's loop: waiting, accepting, handing readable connections to tasks, closing idle ones.

#include <pelthread/thread.h>
#include <vqsys/handle.h>
#include <vqsys/net.h>

#include <cerrno>

#include "server/connection.h"
#include "server/connection_task.h"
#include "server/read_timeout.h"
#include "server/soap_server.h"

void _SOAP_Transport_Server::run() {
    if (run_entered.exchange(true)) return;
    if (core != nullptr && core->usable()) {
        std::int32_t last_sweep = idle_clock();
        bool tasks_begun = false;
        while (server_running == 1) {
            // Workers that have just got something to do look for more themselves.
            if (core->turn().take_for_loop(!tasks_begun)) {
                tasks_begun = wait_once();
                core->turn().offer();
            }
            const std::int32_t now = idle_clock();
            const std::int32_t between = core->has_unanswered() ? 0 : kSweepSeconds;
            if (now - last_sweep > between) {
                core->close_idle(now, kIdleSeconds);
                last_sweep = now;
            }
        }
        core->turn().end();
        accept_waiting();
    }
    close_all();
}

/// Waits until something happens, and sees to it; true if tasks have begun.
bool _SOAP_Transport_Server::wait_once() {
    // A worker that had the turn may have met the call that was meant to end the wait below.
    if (server_running == 0) return false;
    watch_listeners();
    const vqTimeout wait = {core->has_unanswered() ? 1 : kWaitSeconds, 0};
    const int woken = vqBlock(core->handle(), &wait);
    if (server_running == 0) return false;
    if (woken == 0) return serve_ready();
    // The system is short of something: not at full speed then.
    if (woken < 0) PEL_Thread::delay(0.01);
    return false;
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
    // A handshake may take its time: connections that wait for a task come in between.
    return accept_many(listener, listener.secure != 0 ? 1 : kMostAtOnce);
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
    if (const int failure = vqNetAccept(listener.socket, &accepted, nullptr, nullptr); failure != VQOK) {
        // Out of descriptors or memory: the listener stays readable, and asking at full speed helps nobody.
        if (failure != EAGAIN && failure != ECONNABORTED) PEL_Thread::delay(0.01);
        return false;
    }
    vqNetSetTimeout(accepted, read_timeout());
    auto* const connection = new _SOAP_Connection(accepted, listener.port, core);
    if (connection == nullptr) {
        vqNetClose(&accepted);
        SOA::socketResource().release();
        return true;
    }
    const bool stands = listener.secure == 0 || start_tls(*connection);
    // Its first request may have come with the end of the handshake: nothing would show at the socket then.
    const bool asks_already = stands && connection->has_unread();
    if (!stands || !core->append(connection)) {
        connection->close();
        delete connection;
    } else if (asks_already && core->task_begins(accepted) != nullptr) {
        Dispatcher::new_task(&serve_connection, connection);
    }
    return true;
}

/// Ends listening and closes what is idle. Requests that have arrived are served, those that are arriving are
/// cut short, calls that are running are waited for. Leaves `connections` null, and touches nothing of this
/// object behind that.
void _SOAP_Transport_Server::close_all() {
    {
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
    if (core != nullptr) {
        while (_SOAP_Connection* const connection = core->close_next()) {
            if (connection->asks()) {
                core->last_task_begins(connection);
                Dispatcher::new_task(&serve_connection, connection);
                continue;
            }
            connection->close();
            delete connection;
        }
        core->stop_reading();
        if (!core->await_tasks(kShutdownSeconds)) {
            // Peers that do not read their replies hold up nobody any longer.
            core->cut_tasks();
            static_cast<void>(core->await_tasks(kCutSeconds));
        }
    }
    connections.store(nullptr, std::memory_order_release);
}
