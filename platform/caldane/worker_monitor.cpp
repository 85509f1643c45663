// SPDX-License-Identifier: MIT
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <system_error>
#include <thread>

#include <signal.h>

#include <caldane/soa.h>

#include "worker_pool.h"

namespace {

// All in milliseconds.
/// From tick to tick, and where workers are blocked: a task that waits for one of those waits for a tick.
constexpr int kTick = 5;
constexpr int kTickAmongBlocked = 1;
/// Without a waiting task the monitor rests after so long.
constexpr int kQuiet = 100;
/// Each time that tasks have waited too long for so long it is asked whether the workers use the processors.
constexpr int kLate = 20;
/// A task that has run for so long is made up for even if it computes all the time.
constexpr int kLong = 50;
/// How many workers are added for each there is while all are stuck: from 2 to 250 in three steps, since on a
/// loaded machine each step waits for its threads to be scheduled.
constexpr std::size_t kGrowth = 4;
constexpr double kDefaultLimit = 256;

/// The state letter of a thread as the system tells it, 'R' for one that runs or could; 0 if unknown.
char thread_state(pid_t thread_id) {
    char name[64];
    std::snprintf(name, sizeof name, "/proc/self/task/%d/stat", static_cast<int>(thread_id));
    std::FILE* file = std::fopen(name, "re");
    if (file == nullptr) return 0;
    char text[256];
    const std::size_t length = std::fread(text, 1, sizeof text - 1, file);
    std::fclose(file);
    text[length] = '\0';
    const char* end_of_name = std::strrchr(text, ')');
    return end_of_name != nullptr && end_of_name[1] == ' ' ? end_of_name[2] : '\0';
}

}  // namespace

std::size_t WorkerPool::most_threads() {
    return static_cast<std::size_t>(
        std::max(1.0, SOA::getProperties().number("dispatcher_threads", kDefaultLimit)));
}

void WorkerPool::arm_monitor(Lock&) {
    if (monitor_armed) return;
    monitor_armed = true;
    if (monitor_exists) {
        monitor_wake.notify_one();
        return;
    }
    sigset_t every;
    sigset_t before;
    sigfillset(&every);
    pthread_sigmask(SIG_BLOCK, &every, &before);
    try {
        std::thread([this] { monitor(); }).detach();
        monitor_exists = true;
    } catch (const std::system_error&) {
        monitor_armed = false;
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void WorkerPool::monitor() {
    Lock lock(mutex);
    for (;;) {
        monitor_wake.wait(lock, [this] { return monitor_armed; });
        int quiet = 0;
        queued_then = 0;
        late = 0;
        while (quiet < kQuiet) {
            const int time = stuck != 0 ? kTickAmongBlocked : kTick;
            monitor_wake.wait_for(lock, std::chrono::milliseconds(time));
            const std::size_t fresh = tick(time);
            quiet = queued_then == 0 ? quiet + time : 0;
            if (fresh == 0) continue;
            lock.unlock();
            start_threads(fresh);
            lock.lock();
        }
        monitor_armed = false;
    }
}

/// Marks the stuck workers, wakes what sleeps if hands are missing, and gives the number of threads to start,
/// which are counted already.
std::size_t WorkerPool::tick(int time) {
    for (Worker* worker : all) {
        const bool same_task = worker->has_task && worker->begun == worker->begun_then;
        worker->same_time = same_task ? worker->same_time + time : 0;
        worker->begun_then = worker->begun;
        if (!same_task || worker->stuck) continue;
        // One that only waits for its turn on a busy processor would not be helped by further threads.
        worker->stuck = worker->same_time >= kLong || thread_state(worker->thread_id) != 'R';
        if (worker->stuck) ++stuck;
    }
    std::size_t missing = hands_missing(time);
    popped_then = popped;
    queued_then = queued.load(std::memory_order_relaxed);
    while (missing != 0 && wake_one()) --missing;
    if (missing == 0) return 0;
    const std::size_t most = most_threads();
    const std::size_t now = threads.load(std::memory_order_relaxed);
    missing = std::min(missing, most > now ? most - now : 0);
    threads += missing;
    return missing;
}

/// How many more workers the waiting tasks need, if some have waited for a whole tick.
std::size_t WorkerPool::hands_missing(int time) {
    const std::size_t count = queued.load(std::memory_order_relaxed);
    const std::uint64_t taken = popped - popped_then;
    const std::size_t now = threads.load(std::memory_order_relaxed);
    if (now == 0) return std::min(count, processors);
    if (count == 0 || taken >= queued_then) {
        late = 0;
        return 0;
    }
    if (free_hands() == 0) return std::min(count, kGrowth * now);
    const std::size_t hands = free_hands();
    if (hands < processors) return std::min(count, processors - hands);
    late += time;
    if (late < kLate) return 0;
    late = 0;
    if (!workers_rest()) return 0;
    return std::min(count, std::max<std::size_t>(1, now / 2));
}

/// True if the workers leave processors idle: their tasks are short but wait for something. Only then do more
/// threads help.
bool WorkerPool::workers_rest() const {
    const auto runs = [](const Worker* worker) { return thread_state(worker->thread_id) == 'R'; };
    return static_cast<std::size_t>(std::count_if(all.begin(), all.end(), runs)) < processors / 2;
}
