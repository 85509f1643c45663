// SPDX-License-Identifier: MIT
#include <pelthread/thread.h>
#include <sched.h>

#include <cerrno>
#include <cmath>
#include <ctime>

void PEL_Thread::yield() {
    sched_yield();
}

void PEL_Thread::delay(double seconds) {
    if (!(seconds > 0)) return;
    // Longer than any process lives, and within what the clock can count.
    constexpr double kLongest = 1e9;
    const double whole = std::floor(std::fmin(seconds, kLongest));
    timespec left{};
    left.tv_sec = static_cast<time_t>(whole);
    left.tv_nsec = static_cast<long>((std::fmin(seconds, kLongest) - whole) * 1e9);
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {
    }
}
