// SPDX-License-Identifier: MIT
#include "server/connection_list.h"

#include <vqsys/net.h>

#include <algorithm>

#include "secure/sspi_credentials.h"
#include "server/server_limits.h"
#include "transport/broker.h"

_SOAP_ConnectionList::_SOAP_ConnectionList() {
    if (vqHandleCreate(&handle_) != VQOK) handle_ = nullptr;
}

_SOAP_ConnectionList::~_SOAP_ConnectionList() {
    while (_SOAP_Connection* const left = close_next(true)) delete left;
    destroyCredentials(credentials);
    PEL_array_delete(slots);
    if (handle_ != nullptr) vqHandleDestroy(handle_);
}

void _SOAP_ConnectionList::release() {
    if (references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

_SOAP_Connection* _SOAP_ConnectionList::of(DeadlineEntry* entry) {
    return entry != nullptr ? entry->owner : nullptr;
}

/// Makes room for the connection's socket number.
bool _SOAP_ConnectionList::index(_SOAP_Connection* connection) {
    if (connection->socket < 0) return false;
    if (connection->socket < slot_count) return true;
    const int wanted = connection->socket * 2 + 64;
    auto* const grown = static_cast<Slot*>(PEL_array_new(static_cast<std::size_t>(wanted) * sizeof(Slot)));
    if (grown == nullptr) return false;
    for (int i = 0; i < wanted; ++i) grown[i] = i < slot_count ? slots[i] : Slot();
    PEL_array_delete(slots);
    slots = grown;
    slot_count = wanted;
    return true;
}

bool _SOAP_ConnectionList::append(_SOAP_Connection* connection) {
    if (connection == nullptr) return false;
    const PEL_Lock lock(mutex_);
    if (closed || !index(connection)) return false;
    // Before it is watched: it may be reported at once, and is then looked for under this lock.
    connection->idle = true;
    connection->back = tail_;
    connection->link = nullptr;
    (tail_ != nullptr ? tail_->link : head_) = connection;
    tail_ = connection;
    ++idle;
    slots[connection->socket] = {connection, false, false};
    if (vqHandleAddResourceMode(handle_, connection->socket, kVqReadable) == VQOK) return true;
    unlink(connection);
    return false;
}

bool _SOAP_ConnectionList::wait(_SOAP_Connection* connection, int mode, std::int64_t deadline) {
    const PEL_Lock lock(mutex_);
    const bool is_reply = connection->phase == Phase::reply;
    if ((closed && !is_reply) || !index(connection)) return false;
    // Whoever waits in the loop does so for long while there are no deadlines, and is to look again soon.
    const bool first = deadlines.size() == 0;
    deadlines.insert(connection->wait, deadline);
    slots[connection->socket] = {connection, false, false};
    if (mode != 0 && vqHandleAddResourceMode(handle_, connection->socket, mode) != VQOK) {
        deadlines.remove(connection->wait);
        slots[connection->socket].waiting = nullptr;
        return false;
    }
    if (is_reply) ++replies;
    if (first) vqUnblock(handle_, 2);
    return true;
}

void _SOAP_ConnectionList::unlink(_SOAP_Connection* connection) {
    (connection->back != nullptr ? connection->back->link : head_) = connection->link;
    (connection->link != nullptr ? connection->link->back : tail_) = connection->back;
    connection->link = connection->back = nullptr;
    connection->idle = false;
    slots[connection->socket].waiting = nullptr;
    --idle;
}

/// Out of whatever it waits in.
void _SOAP_ConnectionList::take_out(_SOAP_Connection* connection) {
    if (connection->idle) {
        unlink(connection);
    } else {
        deadlines.remove(connection->wait);
        slots[connection->socket].waiting = nullptr;
        if (connection->phase == Phase::reply) --replies;
    }
    // Else the next wait would watch it again, although a task has it by then.
    vqHandleClearResourceMode(handle_, connection->socket, kVqReadable);
}

_SOAP_Connection* _SOAP_ConnectionList::remove(vqSocket socket) {
    const PEL_Lock lock(mutex_);
    if (socket < 0 || socket >= slot_count) return nullptr;
    _SOAP_Connection* const found = slots[socket].waiting;
    if (found == nullptr || !found->idle) return nullptr;
    take_out(found);
    return found;
}

_SOAP_Connection* _SOAP_ConnectionList::close_next(bool replies_too) {
    const PEL_Lock lock(mutex_);
    closed = true;
    _SOAP_Connection* next = head_;
    if (next == nullptr) {
        next = of(deadlines.find([replies_too](const DeadlineEntry& entry) {
            return replies_too || entry.owner->phase != Phase::reply;
        }));
    }
    if (next != nullptr) take_out(next);
    return next;
}

int _SOAP_ConnectionList::idle_count() {
    const PEL_Lock lock(mutex_);
    return idle;
}

bool _SOAP_ConnectionList::has_deadlines() {
    const PEL_Lock lock(mutex_);
    return deadlines.size() != 0;
}

bool _SOAP_ConnectionList::has_replies() {
    const PEL_Lock lock(mutex_);
    return replies != 0;
}

_SOAP_Connection* _SOAP_ConnectionList::take_due(std::int64_t now) {
    const PEL_Lock lock(mutex_);
    _SOAP_Connection* const due = of(deadlines.take_due(now));
    if (due == nullptr) return nullptr;
    take_out(due);
    last_task_begins(due);
    return due;
}

_SOAP_Connection* _SOAP_ConnectionList::task_begins(vqSocket socket) {
    const PEL_Lock lock(mutex_);
    if (socket < 0 || socket >= slot_count) return nullptr;
    _SOAP_Connection* const taken = slots[socket].waiting;
    if (taken == nullptr) return nullptr;
    take_out(taken);
    last_task_begins(taken);
    return taken;
}

void _SOAP_ConnectionList::last_task_begins(_SOAP_Connection* connection) {
    const PEL_Lock lock(mutex_);
    tasks_.fetch_add(1, std::memory_order_acq_rel);
    add_ref();
    if (index(connection)) slots[connection->socket].serving = true;
}

void _SOAP_ConnectionList::leaves(_SOAP_Connection* connection) {
    const PEL_Lock lock(mutex_);
    if (connection->socket < slot_count) slots[connection->socket] = Slot();
}

void _SOAP_ConnectionList::task_ends() {
    tasks_.fetch_sub(1, std::memory_order_acq_rel);
    release();
}

StreamTurn _SOAP_ConnectionList::begin_stream(_SOAP_Connection& connection, std::int64_t deadline) {
    const int most = std::max(1, static_cast<int>(Dispatcher::most_workers() / 2));
    const PEL_Lock lock(mutex_);
    if (closed || !index(&connection)) return StreamTurn::refused;
    if (!connection.has_stream_turn) {
        if (streams >= most) return wait(&connection, 0, deadline) ? StreamTurn::waits : StreamTurn::refused;
        ++streams;
        connection.has_stream_turn = true;
    }
    slots[connection.socket].streams = true;
    return StreamTurn::begun;
}

_SOAP_Connection* _SOAP_ConnectionList::end_stream(_SOAP_Connection& connection) {
    const PEL_Lock lock(mutex_);
    slots[connection.socket].streams = false;
    connection.has_stream_turn = false;
    --streams;
    // Those who wait are few, and have waited for a whole body to be read.
    _SOAP_Connection* next = nullptr;
    deadlines.for_each([&next](DeadlineEntry& entry) {
        _SOAP_Connection* const other = entry.owner;
        if (other->phase != Phase::streamed) return;
        if (next == nullptr || other->last_progress < next->last_progress) next = other;
    });
    if (next == nullptr || closed) return nullptr;
    take_out(next);
    last_task_begins(next);
    next->has_stream_turn = true;
    ++streams;
    return next;
}

void _SOAP_ConnectionList::count_memory(_SOAP_Connection& connection) {
    const std::size_t now = connection.memory();
    if (now == connection.counted) return;
    buffered.fetch_add(now - connection.counted, std::memory_order_relaxed);
    connection.counted = now;
}

bool _SOAP_ConnectionList::is_full() const {
    const std::size_t held = buffered.load(std::memory_order_relaxed);
    if (held == 0) return false;
    const std::size_t most = server_limits::max_buffered();
    return most != 0 && held > most;
}

_SOAP_Connection* _SOAP_ConnectionList::take_largest() {
    if (!is_full()) return nullptr;
    const PEL_Lock lock(mutex_);
    const std::int64_t now = wait_clock();
    const auto weight = [now](const _SOAP_Connection& connection) {
        return static_cast<double>(connection.counted) *
               static_cast<double>(std::max<std::int64_t>(now - connection.last_progress, 1));
    };
    _SOAP_Connection* largest = nullptr;
    deadlines.for_each([&](DeadlineEntry& entry) {
        if (entry.owner->counted == 0) return;
        if (largest == nullptr || weight(*entry.owner) > weight(*largest)) largest = entry.owner;
    });
    if (largest == nullptr) return nullptr;
    take_out(largest);
    last_task_begins(largest);
    return largest;
}

bool _SOAP_ConnectionList::admit(_SOAP_Connection& connection, std::int32_t most) {
    if (most <= 0) return true;
    const PEL_Lock lock(mutex_);
    connection.admitted = peers.add(connection.peer_address, most);
    return connection.admitted;
}

void _SOAP_ConnectionList::socket_closed(_SOAP_Connection& connection) {
    if (connection.counted != 0) buffered.fetch_sub(connection.counted, std::memory_order_relaxed);
    connection.counted = 0;
    if (connection.admitted) {
        const PEL_Lock lock(mutex_);
        peers.remove(connection.peer_address);
        connection.admitted = false;
    }
    if (starved.load() && starved.exchange(false)) vqUnblock(handle_, 2);
}

void _SOAP_ConnectionList::stop_streams() {
    const PEL_Lock lock(mutex_);
    closed = true;
    for (vqSocket socket = 0; socket < slot_count; ++socket) {
        if (slots[socket].streams) vqNetShutdownRead(socket);
    }
}

void _SOAP_ConnectionList::cut_tasks() {
    const PEL_Lock lock(mutex_);
    for (vqSocket socket = 0; socket < slot_count; ++socket) {
        if (!slots[socket].serving) continue;
        vqNetShutdownRead(socket);
        vqNetShutdownWrite(socket);
    }
}

void _SOAP_ConnectionList::close_idle(std::int32_t now, std::int32_t longest) {
    _SOAP_Connection* gone = nullptr;
    {
        // The one that has waited longest comes first.
        _SOAP_ConnectionIterator all(*this);
        while (_SOAP_Connection* const connection = all.next()) {
            if (now - connection->last_used <= longest) break;
            take_out(connection);
            connection->link = gone;
            gone = connection;
        }
    }
    close_chain(gone);
}

bool _SOAP_ConnectionList::close_silent() {
    _SOAP_Connection* gone = nullptr;
    {
        _SOAP_ConnectionIterator all(*this);
        while (_SOAP_Connection* const connection = all.next()) {
            if (connection->asks()) continue;
            take_out(connection);
            connection->link = gone;
            gone = connection;
        }
    }
    close_chain(gone);
    return gone != nullptr;
}

/// Not under the lock: the system may take its time over a close.
void _SOAP_ConnectionList::close_chain(_SOAP_Connection* first) {
    while (first != nullptr) {
        _SOAP_Connection* const connection = first;
        first = connection->link;
        connection->close();
        delete connection;
    }
}
