// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

/// A recursive mutex: the thread that holds it may lock it again and must unlock it as often.
class PEL_Mutex {
public:
    PEL_Mutex() = default;
    PEL_Mutex(const PEL_Mutex&) = delete;
    PEL_Mutex& operator=(const PEL_Mutex&) = delete;

    void lock() { mutex.lock(); }
    void unlock() { mutex.unlock(); }

private:
    std::recursive_mutex mutex;
};

/// Holds a `PEL_Mutex` from its construction to its destruction.
class PEL_Lock {
public:
    explicit PEL_Lock(PEL_Mutex& locked_mutex) : mutex(locked_mutex) { mutex.lock(); }
    ~PEL_Lock() { mutex.unlock(); }
    PEL_Lock(const PEL_Lock&) = delete;
    PEL_Lock& operator=(const PEL_Lock&) = delete;

private:
    PEL_Mutex& mutex;
};

/// A mutex of which one may tire: held by one thread at a time, which must not lock it again.
class PEL_TimedMutex {
public:
    PEL_TimedMutex() = default;
    PEL_TimedMutex(const PEL_TimedMutex&) = delete;
    PEL_TimedMutex& operator=(const PEL_TimedMutex&) = delete;

    /// False if it could not be had until `end`; `max()` waits for ever.
    [[nodiscard]] bool lock_until(std::chrono::steady_clock::time_point end) {
        std::unique_lock guard(mutex);
        const auto is_free = [this] { return !held; };
        if (end == std::chrono::steady_clock::time_point::max()) {
            freed.wait(guard, is_free);
        } else if (!freed.wait_until(guard, end, is_free)) {
            return false;
        }
        held = true;
        return true;
    }
    void unlock() {
        {
            const std::lock_guard guard(mutex);
            held = false;
        }
        freed.notify_one();
    }

private:
    std::mutex mutex;
    std::condition_variable freed;
    bool held = false;
};

/// Holds a `PEL_TimedMutex` while it lives, if it was to be had in time.
class PEL_TimedLock {
public:
    PEL_TimedLock(PEL_TimedMutex& wanted, std::chrono::steady_clock::time_point end)
        : mutex(wanted), held(wanted.lock_until(end)) {}
    ~PEL_TimedLock() {
        if (held) mutex.unlock();
    }
    PEL_TimedLock(const PEL_TimedLock&) = delete;
    PEL_TimedLock& operator=(const PEL_TimedLock&) = delete;

    explicit operator bool() const { return held; }

private:
    PEL_TimedMutex& mutex;
    const bool held;
};
