// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <pelthread/host.h>
#include <pelthread/mutex.h>
#include <pelthread/spin_judge.h>
#include <pelthread/thread.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

TEST(Mutex, TheHolderMayLockAgainAndOthersWaitUntilAllIsUnlocked) {
    PEL_Mutex mutex;
    int guarded = 0;
    std::thread other;
    std::atomic<bool> started = false;
    {
        const PEL_Lock outer(mutex);
        { const PEL_Lock inner(mutex); }
        other = std::thread([&] {
            started = true;
            const PEL_Lock lock(mutex);
            EXPECT_EQ(guarded, 1);  // the sanitizer for threads sees it too if the inner end unlocked
            guarded = 2;
        });
        while (!started) PEL_Thread::yield();
        for (int i = 0; i < 1000; ++i) PEL_Thread::yield();
        guarded = 1;
    }
    other.join();
    EXPECT_EQ(guarded, 2);
}

TEST(Thread, DelayIsAtLeastAsLongAsAskedAndNothingForNoTime) {
    for (double seconds : {0.0, 0.002, 0.03}) {
        const auto start = Clock::now();
        PEL_Thread::delay(seconds);
        EXPECT_GE(seconds_since(start), seconds);
    }
    const auto start = Clock::now();
    for (double none : {-1.0, -1e300, std::nan("")}) PEL_Thread::delay(none);
    EXPECT_LT(seconds_since(start), 1.0);
}

TEST(Thread, DelayGoesOnAfterSignals) {
    struct sigaction caught {};
    caught.sa_handler = [](int) {};
    struct sigaction before {};
    sigaction(SIGUSR1, &caught, &before);
    std::atomic<bool> over = false;
    double slept = 0;
    std::thread sleeper([&] {
        const auto start = Clock::now();
        PEL_Thread::delay(0.1);
        slept = seconds_since(start);
        over = true;
    });
    while (!over) {
        pthread_kill(sleeper.native_handle(), SIGUSR1);
        PEL_Thread::delay(0.005);
    }
    sleeper.join();
    sigaction(SIGUSR1, &before, nullptr);
    EXPECT_GE(slept, 0.1);
}

TEST(Host, HasAnAddressThatAPeerCouldCall) {
    const std::uint32_t address = PEL_GetHostID();
    EXPECT_NE(address, 0U);
    EXPECT_NE(address, 0xFFFFFFFFU);
    EXPECT_LT(address >> 28, 0xEU) << "multicast or reserved: in the wrong byte order?";
    EXPECT_EQ(PEL_GetHostID(), address);
}

TEST(SpinJudge, HasLooksMadeThatFindSomethingAndNowAndThenOneThatMight) {
    PEL_SpinJudge judge;
    EXPECT_TRUE(judge.is_worth_it());
    for (int i = 0; i < 10; ++i) judge.looked(false);
    int looks = 0;
    for (int i = 0; i < 1600; ++i) looks += judge.is_worth_it() ? 1 : 0;
    EXPECT_EQ(looks, 100);
    judge.looked(true);
    EXPECT_TRUE(judge.is_worth_it());
    for (int i = 0; i < 100; ++i) judge.looked(i % 2 == 0);
    EXPECT_TRUE(!judge.is_worth_it() || !judge.is_worth_it()) << "half of the looks are too few";
}

}  // namespace
