// SPDX-License-Identifier: MIT
#pragma once

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
