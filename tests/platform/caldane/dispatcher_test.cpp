// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include <caldane/any_ref.h>
#include <caldane/async.h>
#include <caldane/dispatcher.h>
#include <caldane/soa.h>

namespace {

using Clock = std::chrono::steady_clock;

/// A second, as promised, but where a sanitizer makes each new thread cost many times its price.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr auto kSoon = std::chrono::seconds(10);
#else
constexpr auto kSoon = std::chrono::seconds(1);
#endif

/// A gate that tasks wait at until it is opened.
class Gate {
public:
    ~Gate() { open(); }
    void pass() {
        std::unique_lock lock(mutex);
        ++arrived_;
        changed.notify_all();
        changed.wait(lock, [this] { return is_open; });
    }
    void open() {
        const std::lock_guard lock(mutex);
        is_open = true;
        changed.notify_all();
    }
    bool await_arrivals(int count) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(20), [&] { return arrived_ >= count; });
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    int arrived_ = 0;
    bool is_open = false;
};

void pass_gate(void* gate) {
    static_cast<Gate*>(gate)->pass();
}

void count_up(void* counter) {
    ++*static_cast<std::atomic<int>*>(counter);
}

template <class Condition>
bool await(Condition condition) {
    const auto end = Clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (Clock::now() > end) return false;
        std::this_thread::yield();
    }
    return true;
}

}  // namespace

TEST(Dispatcher, RunsEveryTaskOnceFromManyProducers) {
    std::atomic<int> done{0};
    std::vector<std::thread> producers;
    for (int i = 0; i < 3; ++i) {
        producers.emplace_back([&] {
            for (int n = 0; n < 5000; ++n) Dispatcher::new_task(&count_up, &done);
        });
    }
    for (std::thread& producer : producers) producer.join();
    EXPECT_TRUE(Dispatcher::drain(20));
    EXPECT_EQ(done, 15000);
    EXPECT_EQ(Dispatcher::waiting(), 0U);
    EXPECT_EQ(Dispatcher::running(), 0U);
}

TEST(Dispatcher, StartsTasksInTheirOrder) {
    // With one worker the order of starting is the order of running.
    ASSERT_TRUE(Dispatcher::stop(20));
    SOA::getProperties().set("dispatcher_threads", "1");
    struct Numbered {
        std::vector<int>* order;
        std::mutex* mutex;
        int number;
    };
    std::vector<int> order;
    std::mutex mutex;
    std::vector<Numbered> tasks;
    for (int i = 0; i < 200; ++i) tasks.push_back({&order, &mutex, i});
    Gate gate;
    Dispatcher::new_task(&pass_gate, &gate);
    ASSERT_TRUE(gate.await_arrivals(1));
    for (Numbered& task : tasks) {
        Dispatcher::new_task(
            [](void* argument) {
                const auto* numbered = static_cast<Numbered*>(argument);
                const std::lock_guard lock(*numbered->mutex);
                numbered->order->push_back(numbered->number);
            },
            &task);
    }
    gate.open();
    EXPECT_TRUE(Dispatcher::drain(20));
    SOA::getProperties().remove("dispatcher_threads");
    ASSERT_EQ(order.size(), tasks.size());
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(Dispatcher, GrowsPastStalledTasksSoThatAGoodOneRunsWithinASecond) {
    Gate gate;
    for (int i = 0; i < 200; ++i) Dispatcher::new_task(&pass_gate, &gate);
    std::atomic<int> good{0};
    const auto start = Clock::now();
    Dispatcher::new_task(&count_up, &good);
    ASSERT_TRUE(await([&] { return good == 1; }));
    EXPECT_LT(Clock::now() - start, kSoon);
    EXPECT_GE(Dispatcher::running(), 200U);
    EXPECT_FALSE(Dispatcher::drain(0.01)) << "stuck workers must show";
    gate.open();
    EXPECT_TRUE(Dispatcher::drain(20));
}

TEST(Dispatcher, TasksThatComputeForLongKeepNoOtherWaiting) {
    std::atomic<bool> done{false};
    const auto compute = [](void* flag) {
        while (!*static_cast<std::atomic<bool>*>(flag)) {
        }
    };
    const std::size_t many = std::max(2U, std::thread::hardware_concurrency());
    for (std::size_t i = 0; i < many; ++i) Dispatcher::new_task(compute, &done);
    std::atomic<int> good{0};
    Dispatcher::new_task(&count_up, &good);
    EXPECT_TRUE(await([&] { return good == 1; }));
    done = true;
    EXPECT_TRUE(Dispatcher::drain(20));
}

TEST(Dispatcher, GrowsNoFurtherThanItsLimit) {
    ASSERT_TRUE(Dispatcher::stop(20));
    SOA::getProperties().set("dispatcher_threads", "5");
    Gate gate;
    for (int i = 0; i < 40; ++i) Dispatcher::new_task(&pass_gate, &gate);
    EXPECT_TRUE(gate.await_arrivals(5));
    EXPECT_FALSE(Dispatcher::drain(0.1));
    EXPECT_EQ(Dispatcher::workers(), 5U);
    EXPECT_EQ(Dispatcher::waiting(), 35U);
    gate.open();
    EXPECT_TRUE(Dispatcher::drain(20));
    SOA::getProperties().remove("dispatcher_threads");
}

TEST(Dispatcher, StaysSmallWhileTasksAreShort) {
    ASSERT_TRUE(Dispatcher::stop(20));
    std::atomic<int> done{0};
    for (int i = 0; i < 2000; ++i) {
        Dispatcher::new_task(&count_up, &done);
        if (i % 8 == 0) {
            ASSERT_TRUE(await([&] { return done == i + 1; }));
        }
    }
    EXPECT_TRUE(Dispatcher::drain(20));
    EXPECT_LE(Dispatcher::workers(), std::max(2U, std::thread::hardware_concurrency()));
}

TEST(Dispatcher, NoExceptionLeavesATask) {
    std::atomic<int> done{0};
    for (int i = 0; i < 20; ++i) {
        Dispatcher::new_task([](void*) { throw std::runtime_error("a task's own"); }, nullptr);
        Dispatcher::new_task([](void*) { throw 7; }, nullptr);
        Dispatcher::new_task(&count_up, &done);
    }
    EXPECT_TRUE(Dispatcher::drain(20));
    EXPECT_EQ(done, 20);
}

TEST(Dispatcher, StopEndsAllThreadsAndLaterTasksStartAnew) {
    std::atomic<int> done{0};
    for (int round = 1; round <= 3; ++round) {
        Dispatcher::new_task(&count_up, &done);
        EXPECT_TRUE(Dispatcher::stop(20));
        EXPECT_EQ(done, round);
        EXPECT_EQ(Dispatcher::workers(), 0U);
    }
    Gate gate;
    Dispatcher::new_task(&pass_gate, &gate);
    ASSERT_TRUE(gate.await_arrivals(1));
    EXPECT_FALSE(Dispatcher::stop(0.01)) << "waits no longer than it is told";
    gate.open();
    EXPECT_TRUE(Dispatcher::stop(20));
}

TEST(Dispatcher, TasksMayAddTasks) {
    struct Chain {
        std::atomic<int> left{1000};
        static void step(void* argument) {
            auto* chain = static_cast<Chain*>(argument);
            if (--chain->left > 0) Dispatcher::new_task(&step, chain);
        }
    } chain;
    Dispatcher::new_task(&Chain::step, &chain);
    ASSERT_TRUE(await([&] { return chain.left == 0; }));
    EXPECT_TRUE(Dispatcher::drain(20));
}

TEST(Async, CallsHaveTheirCallersEntriesAndNothingOfWhatTheirWorkerDidBefore) {
    _Caldane_Context& mine = SOA::get_default_context();
    for (int i = 0; i < 50; ++i) {
        _Caldane_String ticket(std::to_string(i));
        if (i % 2 == 1) mine.set_one_value("ticket", _Caldane_AnyRef(ticket));
        auto found = Caldane::run_async([i] {
            _Caldane_Context& here = SOA::get_default_context();
            _Caldane_String got("none");
            here.get_one_value("ticket", _Caldane_AnyRef(got));
            const std::string all = std::to_string(here.size()) + " " + got.c_str();
            here.set_one_value("token", _Caldane_AnyConstRef(i));
            return all;
        });
        mine.delete_values("*");  // too late for the call
        ASSERT_EQ(found.get(), i % 2 == 1 ? "1 " + std::to_string(i) : "0 none");
    }
}
