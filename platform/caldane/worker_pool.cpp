// SPDX-License-Identifier: MIT
#include "worker_pool.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <system_error>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kFirstRing = 64;
/// How long a worker without a task looks for one before it sleeps: about what a wake-up costs.
constexpr auto kLinger = std::chrono::microseconds(25);
/// After so long without a task a worker beyond the processors' number ends.
constexpr auto kIdleLife = std::chrono::seconds(10);

/// Keeps signals away from the threads of the pool, so that they reach the threads that wait for them.
class AllSignalsBlocked {
public:
    AllSignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &before);
    }
    ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
    AllSignalsBlocked(const AllSignalsBlocked&) = delete;
    AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

private:
    sigset_t before;
};

void relax() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#else
    std::this_thread::yield();
#endif
}

Clock::time_point deadline_in(double seconds) {
    return Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

}  // namespace

WorkerPool& WorkerPool::instance() {
    static WorkerPool* const pool = new WorkerPool;
    return *pool;
}

WorkerPool::WorkerPool() : processors(std::max(2U, std::thread::hardware_concurrency())), ring(kFirstRing) {}

void WorkerPool::push(Dispatcher::Function function, void* argument) {
    std::size_t missing = 0;
    {
        Lock lock(mutex);
        const std::size_t count = queued.load(std::memory_order_relaxed);
        if (count == ring.size()) {
            std::rotate(ring.begin(), ring.begin() + static_cast<std::ptrdiff_t>(head), ring.end());
            head = 0;
            ring.resize(2 * count);
        }
        ring[(head + count) & (ring.size() - 1)] = {function, argument};
        queued.store(count + 1, std::memory_order_release);
        if (count < lingering) return;
        // Among many workers that are blocked, some that have just begun are about to be.
        if (free_hands() < processors + stuck / 4 && wake_one()) return;
        if (free_hands() >= processors || workers() >= most_threads()) {
            arm_monitor(lock);
            return;
        }
        missing = 1;
        ++threads;
    }
    start_threads(missing);
}

/// Workers that can be expected to take a task soon: awake, and not stuck in theirs.
std::size_t WorkerPool::free_hands() const {
    return threads.load(std::memory_order_relaxed) - sleepers.size() - stuck;
}

bool WorkerPool::wake_one() {
    if (sleepers.empty()) return false;
    Worker* worker = sleepers.back();
    sleepers.pop_back();
    worker->awake = true;
    worker->wake.notify_one();
    return true;
}

/// Starts threads that are counted already; takes back the count of those that cannot be had.
void WorkerPool::start_threads(std::size_t count) {
    const AllSignalsBlocked blocked;
    for (std::size_t i = 0; i < count; ++i) {
        try {
            std::thread([this] { work(); }).detach();
        } catch (const std::system_error&) {
            Lock lock(mutex);
            threads -= count - i;
            arm_monitor(lock);  // tries again while tasks wait
            return;
        }
    }
}

void WorkerPool::run(const Task& task) noexcept {
    try {
        task.function(task.argument);
    } catch (...) {  // ends with the task: the next one must find its worker
    }
}

void WorkerPool::work() {
    Worker worker;
    worker.thread_id = gettid();
    {
        const Lock lock(mutex);
        all.push_back(&worker);
    }
    Task task;
    while (next_task(worker, task)) run(task);
    const Lock lock(mutex);
    all.erase(std::find(all.begin(), all.end(), &worker));
    --threads;
    changed.notify_all();
}

bool WorkerPool::next_task(Worker& worker, Task& task) {
    Lock lock(mutex);
    end_task(worker);
    while (queued.load(std::memory_order_relaxed) == 0) {
        if (stopping) return false;
        if (linger(lock)) continue;
        if (stopping) return false;
        if (!sleep(lock, worker)) return false;
    }
    task = pop(worker);
    return true;
}

void WorkerPool::end_task(Worker& worker) {
    if (!worker.has_task) return;
    worker.has_task = false;
    if (worker.stuck) --stuck;
    worker.stuck = false;
    if (--busy == 0 && watchers != 0) changed.notify_all();
}

WorkerPool::Task WorkerPool::pop(Worker& worker) {
    const Task task = ring[head];
    head = (head + 1) & (ring.size() - 1);
    ++popped;
    ++worker.begun;
    worker.has_task = true;
    ++busy;
    --queued;
    return task;
}

/// Looks for a task for a moment, without the lock. One worker at a time does: more would only burn time.
bool WorkerPool::linger(Lock& lock) {
    if (lingering != 0 || !lingers.is_worth_it()) return false;
    ++lingering;
    lock.unlock();
    const auto end = Clock::now() + kLinger;
    bool found = false;
    do {
        for (int i = 0; i < 16 && !found; ++i) {
            relax();
            found = queued.load(std::memory_order_acquire) != 0;
        }
    } while (!found && Clock::now() < end);
    lock.lock();
    --lingering;
    lingers.looked(found);
    return queued.load(std::memory_order_relaxed) != 0;
}

/// False when the worker is to end.
bool WorkerPool::sleep(Lock& lock, Worker& worker) {
    worker.awake = false;
    sleepers.push_back(&worker);
    const auto end = Clock::now() + kIdleLife;
    while (!worker.awake) {
        if (worker.wake.wait_until(lock, end) == std::cv_status::no_timeout || worker.awake) continue;
        const auto self = std::find(sleepers.begin(), sleepers.end(), &worker);
        if (self != sleepers.end()) sleepers.erase(self);
        worker.awake = true;
        return threads.load(std::memory_order_relaxed) <= processors;
    }
    return true;
}

bool WorkerPool::drain(double seconds) {
    Lock lock(mutex);
    ++watchers;
    const bool done =
        changed.wait_until(lock, deadline_in(seconds), [this] { return queued == 0 && busy == 0; });
    --watchers;
    return done;
}

bool WorkerPool::stop(double seconds) {
    const auto end = deadline_in(seconds);
    if (!drain(seconds)) return false;
    Lock lock(mutex);
    stopping = true;
    while (wake_one()) {
    }
    ++watchers;
    const bool done = changed.wait_until(lock, end, [this] { return threads == 0; });
    --watchers;
    stopping = false;
    return done;
}
