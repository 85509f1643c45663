// SPDX-License-Identifier: MIT
#include "client/connection_pool.h"

#include <algorithm>
#include <new>
#include <utility>

ConnectionPool::Turn::Turn(ConnectionPool& of, bool secure, int most, Clock::time_point deadline)
    : pool(of), is_secure(secure) {
    Lock lock(pool.mutex);
    Lines& kind = pool.lines(secure);
    if (kind.taken < most && kind.first == nullptr) {
        ++kind.taken;
        const bool may_make = kind.taken + static_cast<int>(kind.idle.size()) <= most;
        own = take_idle(kind, may_make);
    } else if (!await_turn(lock, kind, deadline, own)) {
        late = true;
        return;
    }
    lock.unlock();
    if (!own) own.reset(new ClientLine(pool.endpoint, secure, pool.encodes));
}

ConnectionPool::Turn::~Turn() {
    if (late) return;
    if (own && own->is_spoiled()) own.reset();
    pool.give_back(is_secure, std::move(own));
}

/// The idle line used last, of those that can be used at once. One whose one-way reply is still to come is
/// taken only where no further line may be made. Null where there is none.
std::unique_ptr<ClientLine> ConnectionPool::take_idle(Lines& kind, bool may_make) {
    const auto at_once = [](const std::unique_ptr<ClientLine>& line) { return !line->awaits_reply(); };
    auto found = std::find_if(kind.idle.rbegin(), kind.idle.rend(), at_once);
    if (found == kind.idle.rend()) {
        if (may_make || kind.idle.empty()) return nullptr;
        found = kind.idle.rbegin();
    }
    std::unique_ptr<ClientLine> line = std::move(*found);
    kind.idle.erase(std::next(found).base());
    return line;
}

/// True with a line, or with the right to make one, which `line` being null says.
bool ConnectionPool::await_turn(Lock& lock, Lines& kind, Clock::time_point deadline,
                                std::unique_ptr<ClientLine>& line) {
    Waiter self;
    (kind.last != nullptr ? kind.last->next : kind.first) = &self;
    kind.last = &self;
    const auto is_served = [&self] { return self.served; };
    if (deadline == Clock::time_point::max()) {
        self.changed.wait(lock, is_served);
    } else if (!self.changed.wait_until(lock, deadline, is_served)) {
        leave(kind, self);
        return false;
    }
    line = std::move(self.line);
    return true;
}

void ConnectionPool::leave(Lines& kind, const Waiter& waiter) {
    Waiter* before = nullptr;
    for (Waiter* at = kind.first; at != &waiter; at = at->next) before = at;
    (before != nullptr ? before->next : kind.first) = waiter.next;
    if (kind.last == &waiter) kind.last = before;
}

void ConnectionPool::give_back(bool secure, std::unique_ptr<ClientLine> line) {
    std::unique_ptr<ClientLine> stale;  // closed when the lock is gone
    const Lock lock(mutex);
    Lines& kind = lines(secure);
    if (Waiter* const next = kind.first) {
        // The place goes on with the line, or without it.
        kind.first = next->next;
        if (kind.first == nullptr) kind.last = nullptr;
        next->line = std::move(line);
        next->served = true;
        next->changed.notify_one();
        return;
    }
    --kind.taken;
    if (line) {
        line->idle_since = Clock::now();
        try {
            kind.idle.push_back(std::move(line));
        } catch (const std::bad_alloc&) {
            stale = std::move(line);
            return;
        }
    }
    stale = take_stale(kind);
}

/// The line that has been idle longest, where it is one of several and that was long.
std::unique_ptr<ClientLine> ConnectionPool::take_stale(Lines& kind) {
    if (kind.idle.size() < 2 || Clock::now() - kind.idle.front()->idle_since < kIdleTime) return nullptr;
    std::unique_ptr<ClientLine> line = std::move(kind.idle.front());
    kind.idle.erase(kind.idle.begin());
    return line;
}

bool ConnectionPool::is_fresh() {
    const Lock lock(mutex);
    for (const Lines& kind : of_kind) {
        for (const auto& line : kind.idle) {
            if (!line->is_fresh()) return false;
        }
    }
    return true;
}
