// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

#include <caldane/dispatcher.h>
#include <pelthread/spin_judge.h>

/// The threads and the queue behind `Dispatcher`.
///
/// As many workers as there are processors are kept awake for what waits; a worker that has not ended its
/// task within a tick of the monitor counts as stuck and is made up for by another. The monitor ticks only
/// while tasks wait. Threads are detached and counted, and the pool is never destroyed.
class WorkerPool {
public:
    static WorkerPool& instance();

    void push(Dispatcher::Function function, void* argument);
    bool drain(double seconds);
    bool stop(double seconds);

    static std::size_t most_threads();

    std::size_t waiting() const { return queued.load(std::memory_order_relaxed); }
    std::size_t running() const { return busy.load(std::memory_order_relaxed); }
    std::size_t workers() const { return threads.load(std::memory_order_relaxed); }

private:
    struct Task {
        Dispatcher::Function function;
        void* argument;
    };

    struct Worker {
        std::condition_variable wake;
        std::uint64_t begun = 0;       // tasks begun so far
        std::uint64_t begun_then = 0;  // the same at the monitor's last tick
        int same_time = 0;             // milliseconds that found it in the same task
        bool has_task = false;
        bool stuck = false;
        bool awake = true;
        pid_t thread_id = 0;
    };

    using Lock = std::unique_lock<std::mutex>;

    WorkerPool();

    void work();
    bool next_task(Worker& worker, Task& task);
    bool linger(Lock& lock);
    bool sleep(Lock& lock, Worker& worker);
    void end_task(Worker& worker);
    Task pop(Worker& worker);
    std::size_t free_hands() const;
    bool wake_one();
    void start_threads(std::size_t count);
    static void run(const Task& task) noexcept;

    void arm_monitor(Lock& lock);
    void monitor();
    std::size_t tick(int time);
    std::size_t hands_missing(int time);
    bool workers_rest() const;

    const std::size_t processors;
    std::mutex mutex;
    std::vector<Task> ring;  // a power of two
    std::size_t head = 0;
    std::atomic<std::size_t> queued{0};
    std::atomic<std::size_t> busy{0};
    std::atomic<std::size_t> threads{0};
    std::vector<Worker*> all;
    std::vector<Worker*> sleepers;  // the last to sleep is the first to wake: its caches are warm
    std::size_t lingering = 0;
    PEL_SpinJudge lingers;
    std::size_t stuck = 0;
    bool stopping = false;

    std::uint64_t popped = 0;
    std::uint64_t popped_then = 0;
    std::size_t queued_then = 0;
    int late = 0;  // milliseconds for which tasks have waited too long
    bool monitor_exists = false;
    bool monitor_armed = false;
    std::condition_variable monitor_wake;
    std::condition_variable changed;
    std::size_t watchers = 0;  // threads that wait on `changed`
};
