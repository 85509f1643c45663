// SPDX-License-Identifier: MIT
#include "server/connection.h"

#include <pelthread/thread.h>
#include <vqsys/net.h>

#include <ctime>

#include "secure/secure_channel.h"
#include "secure/sspi_credentials.h"
#include "transport/broker.h"

std::int32_t idle_clock() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return static_cast<std::int32_t>(now.tv_sec);
}

_SOAP_Connection::_SOAP_Connection(vqSocket accepted, std::uint16_t listener_port,
                                   _SOAP_ConnectionList* owner)
    : last_used(idle_clock()),
      socket(accepted),
      block_handle(owner->handle()),
      list(owner),
      port(listener_port) {}

void _SOAP_Connection::stop_tls() {
    if (channel == nullptr) return;
    channel->closeServer();
    delete channel;
    channel = nullptr;
}

bool _SOAP_Connection::has_unread() const {
    return channel != nullptr && channel->hasUnread();
}

bool _SOAP_Connection::asks() const {
    return has_unread() || vqNetPeek(socket) == vqNetState::readable;
}

void _SOAP_Connection::close() {
    stop_tls();
    vqNetClose(&socket);
    SOA::socketResource().release();
    list->socket_closed();
}

_SOAP_ConnectionList::_SOAP_ConnectionList() {
    if (vqHandleCreate(&handle_) != VQOK) handle_ = nullptr;
}

_SOAP_ConnectionList::~_SOAP_ConnectionList() {
    while (_SOAP_Connection* const left = close_next()) delete left;
    destroyCredentials(credentials);
    PEL_array_delete(slots);
    if (handle_ != nullptr) vqHandleDestroy(handle_);
}

void _SOAP_ConnectionList::release() {
    if (references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
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
    connection->back = tail_;
    connection->link = nullptr;
    (tail_ != nullptr ? tail_->link : head_) = connection;
    tail_ = connection;
    ++idle;
    slots[connection->socket].idle = connection;
    slots[connection->socket].serving = false;
    if (vqHandleAddResourceMode(handle_, connection->socket, kVqReadable) != VQOK) {
        unlink(connection);
        return false;
    }
    // Whoever waits in the loop does so for long, and is to look again soon.
    if (connection->unanswered && !unanswered.exchange(true)) vqUnblock(handle_, 2);
    return true;
}

void _SOAP_ConnectionList::unlink(_SOAP_Connection* connection) {
    (connection->back != nullptr ? connection->back->link : head_) = connection->link;
    (connection->link != nullptr ? connection->link->back : tail_) = connection->back;
    connection->link = connection->back = nullptr;
    slots[connection->socket].idle = nullptr;
    --idle;
}

_SOAP_Connection* _SOAP_ConnectionList::remove(vqSocket socket) {
    const PEL_Lock lock(mutex_);
    if (socket < 0 || socket >= slot_count) return nullptr;
    _SOAP_Connection* const found = slots[socket].idle;
    if (found == nullptr) return nullptr;
    unlink(found);
    // Else the next wait would watch it again, although a task reads from it by then.
    vqHandleClearResourceMode(handle_, socket, kVqReadable);
    return found;
}

_SOAP_Connection* _SOAP_ConnectionList::close_next() {
    const PEL_Lock lock(mutex_);
    closed = true;
    return head_ != nullptr ? remove(head_->socket) : nullptr;
}

int _SOAP_ConnectionList::idle_count() {
    const PEL_Lock lock(mutex_);
    return idle;
}

_SOAP_Connection* _SOAP_ConnectionList::task_begins(vqSocket socket) {
    const PEL_Lock lock(mutex_);
    _SOAP_Connection* const taken = remove(socket);
    if (taken != nullptr) last_task_begins(taken);
    return taken;
}

void _SOAP_ConnectionList::last_task_begins(_SOAP_Connection* connection) {
    const PEL_Lock lock(mutex_);
    tasks.fetch_add(1, std::memory_order_acq_rel);
    add_ref();
    slots[connection->socket].serving = slots[connection->socket].reading = true;
}

void _SOAP_ConnectionList::leaves(_SOAP_Connection* connection) {
    const PEL_Lock lock(mutex_);
    slots[connection->socket].serving = false;
}

void _SOAP_ConnectionList::read_begins(_SOAP_Connection* connection) {
    const PEL_Lock lock(mutex_);
    slots[connection->socket].reading = true;
    if (closed) vqNetShutdownRead(connection->socket);
}

void _SOAP_ConnectionList::read_ends(_SOAP_Connection* connection) {
    const PEL_Lock lock(mutex_);
    slots[connection->socket].reading = false;
}

void _SOAP_ConnectionList::task_ends() {
    tasks.fetch_sub(1, std::memory_order_acq_rel);
    release();
}

void _SOAP_ConnectionList::socket_closed() {
    if (starved.load() && starved.exchange(false)) vqUnblock(handle_, 2);
}

void _SOAP_ConnectionList::stop_reading() {
    const PEL_Lock lock(mutex_);
    closed = true;
    for (vqSocket socket = 0; socket < slot_count; ++socket) {
        if (slots[socket].reading) vqNetShutdownRead(socket);
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

bool _SOAP_ConnectionList::await_tasks(double seconds) {
    constexpr double kStep = 0.002;
    for (double waited = 0; tasks.load(std::memory_order_acquire) != 0; waited += kStep) {
        if (waited >= seconds) return false;
        PEL_Thread::delay(kStep);
    }
    return true;
}

void _SOAP_ConnectionList::close_idle(std::int32_t now, std::int32_t longest) {
    _SOAP_Connection* gone = nullptr;
    {
        _SOAP_ConnectionIterator all(*this);
        bool left_unanswered = false;
        while (_SOAP_Connection* const connection = all.next()) {
            const std::int32_t most = connection->unanswered ? kUnansweredSeconds : longest;
            if (now - connection->last_used <= most) {
                left_unanswered = left_unanswered || connection->unanswered;
                continue;
            }
            remove(connection->socket);
            connection->link = gone;
            gone = connection;
        }
        unanswered.store(left_unanswered, std::memory_order_release);
    }
    close_chain(gone);
}

bool _SOAP_ConnectionList::close_silent() {
    _SOAP_Connection* gone = nullptr;
    {
        _SOAP_ConnectionIterator all(*this);
        while (_SOAP_Connection* const connection = all.next()) {
            if (connection->asks()) continue;
            remove(connection->socket);
            connection->link = gone;
            gone = connection;
        }
    }
    close_chain(gone);
    return gone != nullptr;
}

/// Not to be called under the lock: a session's goodbye may have to wait for its peer.
void _SOAP_ConnectionList::close_chain(_SOAP_Connection* first) {
    while (first != nullptr) {
        _SOAP_Connection* const connection = first;
        first = connection->link;
        connection->close();
        delete connection;
    }
}
