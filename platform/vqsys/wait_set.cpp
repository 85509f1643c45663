// SPDX-License-Identifier: MIT
#include "wait_set.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>

#include "last_error.h"
#include "socket_lives.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint64_t kWakeMark = ~std::uint64_t{0};

/// A report carries the number of its watch beside the socket's, so that a late one for a socket that is
/// closed by now is not taken for the new socket of that number.
std::uint64_t mark_of(vqSocket socket, std::uint32_t watch) {
    return std::uint64_t{watch} << 32 | static_cast<std::uint32_t>(socket);
}

/// Milliseconds until `end`, rounded up lest the last one be spent spinning.
int milliseconds_until(Clock::time_point end) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    return static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
}

}  // namespace

vqWaitSet::~vqWaitSet() {
    if (epoll >= 0) close(epoll);
    if (wake >= 0) close(wake);
    PEL_array_delete(entries);
}

int vqWaitSet::open() {
    epoll = epoll_create1(EPOLL_CLOEXEC);
    if (epoll < 0) return errno;
    wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wake < 0) return errno;
    epoll_event event{};
    // Edge-triggered: every write is one report, so nobody need read the counter back to zero.
    event.events = EPOLLIN | EPOLLET;
    event.data.u64 = kWakeMark;
    return epoll_ctl(epoll, EPOLL_CTL_ADD, wake, &event) == 0 ? 0 : errno;
}

void vqWaitSet::clear() {
    const std::lock_guard lock(mutex);
    ++filling;
}

int vqWaitSet::add(vqSocket socket, int mode) {
    const std::lock_guard lock(mutex);
    if (socket < 0) return EBADF;
    Entry* entry = entry_for(socket);
    if (entry == nullptr) {
        if (!grow(static_cast<std::size_t>(socket) + 1)) return ENOMEM;
        entry = entry_for(socket);
    }
    const bool for_writing = mode == kVqWritable;
    if (!is_watched(socket, *entry) || entry->for_writing != for_writing) {
        entry->for_writing = for_writing;
        if (const int failure = watch(socket, *entry)) return failure;
    }
    entry->member = filling;
    return 0;
}

void vqWaitSet::remove(vqSocket socket) {
    const std::lock_guard lock(mutex);
    Entry* entry = entry_for(socket);
    if (entry == nullptr) return;
    entry->member = 0;
    // The socket may be closed next, by whatever means, and its number come back: a later add must ask.
    entry->watched = false;
}

bool vqWaitSet::is_ready(vqSocket socket) {
    const std::lock_guard lock(mutex);
    const Entry* entry = entry_for(socket);
    return entry != nullptr && found(*entry);
}

int vqWaitSet::ready_sockets(vqSocket* out, int capacity) {
    const std::lock_guard lock(mutex);
    int count = 0;
    for (int i = 0; i < ready_count && count < capacity; ++i) {
        const vqSocket socket = ready[static_cast<std::size_t>(i)];
        if (found(*entry_for(socket))) out[count++] = socket;
    }
    return count;
}

int vqWaitSet::wait(int milliseconds) {
    const bool timed = milliseconds > 0;
    const auto end = timed ? Clock::now() + std::chrono::milliseconds(milliseconds) : Clock::time_point();
    begin_wait();
    Events events;
    for (;;) {
        const int limit = timed ? milliseconds_until(end) : milliseconds;
        const int count = epoll_wait(epoll, events.data(), kBatch, limit);
        if (count < 0 && errno != EINTR) return vq_fail(errno), -1;
        if (count == 0) return kVqTimedOut;
        if (const auto result = take(events, std::max(count, 0))) return *result;
    }
}

void vqWaitSet::unblock() {
    if (wake_pending.exchange(true)) return;
    const std::uint64_t one = 1;
    // Cannot fail: the counter would have to be written 2^64 times.
    [[maybe_unused]] const ssize_t written = write(wake, &one, sizeof one);
}

vqWaitSet::Entry* vqWaitSet::entry_for(vqSocket socket) {
    if (socket < 0 || static_cast<std::size_t>(socket) >= entry_count) return nullptr;
    return &entries[socket];
}

bool vqWaitSet::grow(std::size_t needed) {
    const std::size_t wanted = std::max({needed, entry_count * 2, std::size_t{64}});
    auto* larger = static_cast<Entry*>(PEL_array_new(wanted * sizeof(Entry)));
    if (larger == nullptr) return false;
    std::fill(std::copy_n(entries, entry_count, larger), larger + wanted, Entry{});
    PEL_array_delete(entries);
    entries = larger;
    entry_count = wanted;
    return true;
}

bool vqWaitSet::is_watched(vqSocket socket, const Entry& entry) {
    return entry.watched && entry.life == vq_socket_lives(socket);
}

int vqWaitSet::watch(vqSocket socket, Entry& entry) {
    epoll_event event{};
    event.events = (entry.for_writing ? EPOLLOUT : EPOLLIN) | EPOLLONESHOT;
    event.data.u64 = mark_of(socket, ++entry.watch);
    // A closed socket is dropped by the system, so its number's next one is new there; but sockets are
    // closed, or kept open by a copy, in other ways as well.
    const std::uint32_t life = vq_socket_lives(socket);
    const bool known = entry.registered && entry.life == life;
    entry.life = life;
    int result = epoll_ctl(epoll, known ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, socket, &event);
    if (result != 0 && errno == (known ? ENOENT : EEXIST)) {
        result = epoll_ctl(epoll, known ? EPOLL_CTL_ADD : EPOLL_CTL_MOD, socket, &event);
    }
    entry.registered = entry.watched = result == 0;
    return result == 0 ? 0 : errno;
}

/// Sockets of the last batch that are still in the set although nobody added them again wait on.
void vqWaitSet::begin_wait() {
    const std::lock_guard lock(mutex);
    ++waits;
    for (int i = 0; i < ready_count; ++i) {
        const vqSocket socket = ready[static_cast<std::size_t>(i)];
        Entry& entry = *entry_for(socket);
        const bool same = entry.life == vq_socket_lives(socket);
        if (same && entry.member == filling && !entry.watched) watch(socket, entry);
    }
    ready_count = 0;
}

/// Result of the wait, none if every report was out of date.
std::optional<int> vqWaitSet::take(const Events& events, int count) {
    const std::lock_guard lock(mutex);
    bool unblocked = false;
    for (int i = 0; i < count; ++i) {
        const std::uint64_t mark = events[static_cast<std::size_t>(i)].data.u64;
        if (mark == kWakeMark) {
            unblocked = true;
            wake_pending = false;
        } else {
            take_report(mark);
        }
    }
    if (ready_count > 0) return 0;
    return unblocked ? std::optional<int>(kVqUnblocked) : std::nullopt;
}

void vqWaitSet::take_report(std::uint64_t mark) {
    const auto socket = static_cast<vqSocket>(mark & 0xFFFFFFFF);
    Entry& entry = *entry_for(socket);
    if (entry.watch != mark >> 32) return;
    entry.watched = false;
    if (entry.member != filling) return;
    entry.ready = waits;
    ready[static_cast<std::size_t>(ready_count++)] = socket;
}
