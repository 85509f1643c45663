// SPDX-License-Identifier: MIT

// The server's loop: waiting, accepting, handing readable connections to tasks, closing idle ones.

#include <pelthread/thread.h>
#include <vqsys/handle.h>
#include <vqsys/net.h>

#include "server/connection.h"
#include "server/connection_task.h"
#include "server/read_timeout.h"
#include "server/soap_server.h"

void _SOAP_Transport_Server::run() {
    if (run_entered.exchange(true)) return;
    _SOAP_ConnectionList* const list = connections.load();
    if (list != nullptr && list->usable()) {
        std::int32_t last_sweep = idle_clock();
        while (server_running == 1) {
            watch_listeners();
            const vqTimeout wait = {kWaitSeconds, 0};
            const int woken = vqBlock(list->handle(), &wait);
            if (server_running == 0) break;
            if (woken == 0) {
                serve_ready();
            } else if (woken < 0) {
                PEL_Thread::delay(0.01);  // the system is short of something: not at full speed
            }
            if (idle_clock() - last_sweep > kSweepSeconds) {
                sweep();
                last_sweep = idle_clock();
            }
        }
    }
    close_all();
}

/// Listeners are watched only while a further socket may be had; new clients wait in the system's queue then.
/// One that is watched already costs nothing here.
void _SOAP_Transport_Server::watch_listeners() {
    const bool available = SOA::socketResource().available();
    if (!available && !watching) return;
    const vqHandle handle = connections.load()->handle();
    const PEL_Lock lock(listeners_mutex);
    for (int i = 0; i < listener_count; ++i) {
        if (available) {
            static_cast<void>(vqHandleAddResourceMode(handle, listeners[i].socket, 1));
        } else {
            vqHandleClearResourceMode(handle, listeners[i].socket, 1);
        }
    }
    watching = available;
}

void _SOAP_Transport_Server::serve_ready() {
    constexpr int kMost = 256;
    vqSocket ready[kMost];
    _SOAP_ConnectionList& list = *connections.load();
    const int count = vqHandleReady(list.handle(), ready, kMost);
    bool may_accept = true;
    for (int i = 0; i < count; ++i) {
        if (_SOAP_Connection* const connection = list.remove(ready[i])) {
            vqHandleClearResourceMode(list.handle(), ready[i], 1);
            list.task_begins(connection);
            Dispatcher::new_task(&serve_connection, connection);
        } else if (may_accept) {
            may_accept = accept_from(ready[i]);
        }
    }
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
    for (int i = 0; i < kMostAtOnce; ++i) {
        if (!SOA::socketResource().acquire()) return false;
        if (!accept_one(listener)) {
            SOA::socketResource().release();
            break;
        }
    }
    return true;
}

/// True if a connection was accepted, whose unit is then its own or given back.
bool _SOAP_Transport_Server::accept_one(const _SOAP_Listener& listener) {
    vqSocket accepted = kVqNoSocket;
    if (vqNetAccept(listener.socket, &accepted, nullptr, nullptr) != VQOK) return false;
    vqNetSetTimeout(accepted, read_timeout());
    _SOAP_ConnectionList* const list = connections.load();
    auto* const connection = new _SOAP_Connection(accepted, listener.port, list);
    if (connection == nullptr) {
        vqNetClose(&accepted);
        SOA::socketResource().release();
        return true;
    }
    // A secure listener has no credentials here, and its connections cannot be served.
    if (listener.secure != 0 || !list->append(connection)) {
        connection->close();
        delete connection;
    }
    return true;
}

void _SOAP_Transport_Server::sweep() {
    _SOAP_ConnectionList& list = *connections.load();
    const std::int32_t now = idle_clock();
    _SOAP_ConnectionIterator idle(list);
    while (_SOAP_Connection* const connection = idle.next()) {
        if (now - connection->last_used <= kIdleSeconds) continue;
        vqHandleClearResourceMode(list.handle(), connection->socket, 1);
        list.remove(connection->socket);
        connection->close();
        delete connection;
    }
}

/// Ends listening and closes what is idle; requests that are being read are cut short, calls that are running
/// are waited for. Leaves `connections` null, and touches nothing of this object behind that.
void _SOAP_Transport_Server::close_all() {
    _SOAP_ConnectionList* const list = connections.load();
    {
        const PEL_Lock lock(listeners_mutex);
        for (int i = 0; i < listener_count; ++i) {
            if (list != nullptr && list->usable())
                vqHandleClearResourceMode(list->handle(), listeners[i].socket, 1);
            vqNetClose(&listeners[i].socket);
            SOA::socketResource().release();
        }
        PEL_array_delete(listeners);
        listeners = nullptr;
        listener_count = 0;
    }
    if (list != nullptr) {
        while (_SOAP_Connection* const connection = list->close_next()) {
            connection->close();
            delete connection;
        }
        list->stop_reading();
        static_cast<void>(list->await_tasks(kShutdownSeconds));
        list->release();
    }
    connections.store(nullptr, std::memory_order_release);
}
