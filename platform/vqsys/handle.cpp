// SPDX-License-Identifier: MIT
#include <vqsys/handle.h>

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <mutex>
#include <new>
#include <vector>

#include <pelthread/memory.h>

/// A set of sockets over epoll. Each socket is registered one-shot: once reported it is silent until it is
/// added again, which arms it by one system call. What belongs to the set is told by generations: emptying
/// the set only begins a new one, and a socket that is added while still armed joins it for free.
class vqWaitSet {
public:
    PEL_HEAP_OBJECT
    vqWaitSet() : epoll(::epoll_create1(EPOLL_CLOEXEC)), wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        epoll_event event = {};
        event.events = EPOLLIN;
        event.data.fd = wake;
        usable = epoll >= 0 && wake >= 0 && ::epoll_ctl(epoll, EPOLL_CTL_ADD, wake, &event) == 0;
    }
    ~vqWaitSet() {
        if (epoll >= 0) ::close(epoll);
        if (wake >= 0) ::close(wake);
    }
    vqWaitSet(const vqWaitSet&) = delete;
    vqWaitSet& operator=(const vqWaitSet&) = delete;

    bool is_usable() const { return usable; }

    void clear_all() {
        const std::lock_guard lock(mutex);
        ++generation;
        ready_count = 0;
    }

    int add(vqSocket socket) {
        const std::lock_guard lock(mutex);
        Entry* entry = entry_of(socket);
        if (entry == nullptr) return -1;
        if (entry->registered && entry->armed) {
            entry->generation = generation;
            return VQOK;
        }
        if (!arm(socket, *entry)) return -1;
        entry->generation = generation;
        return VQOK;
    }

    int remove(vqSocket socket) {
        const std::lock_guard lock(mutex);
        if (socket < 0 || static_cast<std::size_t>(socket) >= entries.size()) return VQOK;
        Entry& entry = entries[static_cast<std::size_t>(socket)];
        entry.generation = 0;
        entry.reported = 0;
        // A one-shot socket that was reported is silent already: only an armed one needs the system's ear.
        if (!entry.registered || !entry.armed) return VQOK;
        entry.armed = false;
        epoll_event event = {};
        event.data.fd = socket;
        if (::epoll_ctl(epoll, EPOLL_CTL_MOD, socket, &event) != 0) entry.registered = false;
        return VQOK;
    }

    bool is_ready(vqSocket socket) {
        const std::lock_guard lock(mutex);
        if (socket < 0 || static_cast<std::size_t>(socket) >= entries.size()) return false;
        const Entry& entry = entries[static_cast<std::size_t>(socket)];
        return entry.reported == wait_number && entry.reported != 0;
    }

    int ready_sockets(vqSocket* out, int capacity) {
        const std::lock_guard lock(mutex);
        int count = 0;
        for (int i = 0; i < ready_count && count < capacity; ++i) {
            const vqSocket socket = ready[static_cast<std::size_t>(i)];
            if (entries[static_cast<std::size_t>(socket)].reported == wait_number) out[count++] = socket;
        }
        return count;
    }

    int wait(int milliseconds) {
        std::array<epoll_event, kVqReadyAtOnce> events;
        int count = 0;
        do {
            count = ::epoll_wait(epoll, events.data(), kVqReadyAtOnce, milliseconds);
        } while (count < 0 && errno == EINTR);
        const std::lock_guard lock(mutex);
        ++wait_number;
        ready_count = 0;
        bool woken = false;
        for (int i = 0; i < count; ++i) {
            const vqSocket socket = events[static_cast<std::size_t>(i)].data.fd;
            if (socket == wake) {
                woken = true;
                drain_wake();
            } else {
                note_ready(socket);
            }
        }
        if (ready_count > 0) return 0;
        return woken ? 2 : 1;
    }

    int unblock() {
        const std::uint64_t one = 1;
        return ::write(wake, &one, sizeof one) == sizeof one || errno == EAGAIN ? VQOK : -1;
    }

private:
    struct Entry {
        std::uint64_t generation = 0;  ///< the set's generation that it belongs to; 0 for none
        std::uint64_t reported = 0;    ///< number of the wait that last found it readable
        bool registered = false;       ///< known to epoll
        bool armed = false;            ///< will be reported when it becomes readable
    };

    Entry* entry_of(vqSocket socket) {
        if (socket < 0) return nullptr;
        const auto index = static_cast<std::size_t>(socket);
        if (index >= entries.size()) {
            try {
                entries.resize(index + index / 2 + 16);
            } catch (const std::bad_alloc&) {
                return nullptr;
            }
        }
        return &entries[index];
    }

    bool arm(vqSocket socket, Entry& entry) {
        epoll_event event = {};
        event.events = EPOLLIN | EPOLLRDHUP | EPOLLONESHOT;
        event.data.fd = socket;
        // The number may stand for another socket by now, of which epoll knows nothing, or the reverse.
        int done = ::epoll_ctl(epoll, entry.registered ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, socket, &event);
        if (done != 0 && errno == ENOENT) done = ::epoll_ctl(epoll, EPOLL_CTL_ADD, socket, &event);
        if (done != 0 && errno == EEXIST) done = ::epoll_ctl(epoll, EPOLL_CTL_MOD, socket, &event);
        entry.registered = entry.armed = done == 0;
        return done == 0;
    }

    void note_ready(vqSocket socket) {
        Entry& entry = entries[static_cast<std::size_t>(socket)];
        entry.armed = false;
        if (entry.generation != generation) return;  // taken out by emptying the set
        entry.reported = wait_number;
        ready[static_cast<std::size_t>(ready_count++)] = socket;
    }

    void drain_wake() {
        std::uint64_t count = 0;
        while (::read(wake, &count, sizeof count) > 0) {
        }
    }

    const int epoll;
    const int wake;
    bool usable = false;
    std::mutex mutex;
    std::vector<Entry> entries;  ///< by socket number
    std::uint64_t generation = 1;
    std::uint64_t wait_number = 0;
    std::array<vqSocket, kVqReadyAtOnce> ready = {};
    int ready_count = 0;
};

int vqHandleCreate(vqHandle* handle) {
    *handle = new vqWaitSet;
    if (*handle != nullptr && (*handle)->is_usable()) return VQOK;
    delete *handle;
    *handle = nullptr;
    return -1;
}

int vqHandleDestroy(vqHandle* handle) {
    delete *handle;
    *handle = nullptr;
    return VQOK;
}

int vqHandleClearAllResources(vqHandle handle) {
    handle->clear_all();
    return VQOK;
}

int vqHandleAddResourceMode(vqHandle handle, vqSocket socket, int) {
    return handle->add(socket);
}

int vqHandleClearResourceMode(vqHandle handle, vqSocket socket, int) {
    return handle->remove(socket);
}

int vqHandleQueryResource(vqHandle handle, vqSocket socket, int) {
    return handle->is_ready(socket) ? 1 : 0;
}

int vqHandleReady(vqHandle handle, vqSocket* out, int capacity) {
    return handle->ready_sockets(out, capacity);
}

int vqBlock(vqHandle handle, const vqTimeout* timeout) {
    return handle->wait(timeout == nullptr ? -1 : timeout->seconds * 1000);
}

int vqUnblock(vqHandle handle, int) {
    return handle->unblock();
}
