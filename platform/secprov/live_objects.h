// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>

/// How many contexts, credentials and certificates of the provider are alive, for tests that look for leaks.
struct LiveObjects {
    static inline std::atomic<long> alive = 0;

    LiveObjects() { alive.fetch_add(1, std::memory_order_relaxed); }
    ~LiveObjects() { alive.fetch_sub(1, std::memory_order_relaxed); }
    LiveObjects(const LiveObjects&) = delete;
    LiveObjects& operator=(const LiveObjects&) = delete;
};
