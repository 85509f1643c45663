// SPDX-License-Identifier: MIT
#include <pelthread/memory.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vqsys/handle.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <memory>
#include <set>
#include <vector>

#include "connection.h"

namespace {

std::atomic<int> control_calls = 0;

}  // namespace

/// Stands before the system library's own, so that the calls can be counted.
extern "C" int epoll_ctl(int epoll, int operation, int socket, epoll_event* event) noexcept {
    ++control_calls;
    return static_cast<int>(syscall(SYS_epoll_ctl, epoll, operation, socket, event));
}

namespace {

using Clock = std::chrono::steady_clock;

constexpr vqTimeout kAtOnce{0, 0};
constexpr vqTimeout kLong{20, 0};

class Handle : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(vqHandleCreate(&handle), VQOK); }
    void TearDown() override { EXPECT_EQ(vqHandleDestroy(handle), VQOK); }

    void add(vqSocket socket) {
        EXPECT_EQ(vqHandleAddResourceMode(handle, socket, kVqReadable), VQOK) << vqNetErrorText();
    }
    void take_out(vqSocket socket) {
        EXPECT_EQ(vqHandleClearResourceMode(handle, socket, kVqReadable), VQOK);
    }
    bool is_ready(vqSocket socket) { return vqHandleQueryResource(handle, socket, kVqReadable) == 1; }

    /// What a wait that may take no time finds; the result of the wait must fit.
    std::set<vqSocket> found_now() {
        const int result = vqBlock(handle, &kAtOnce);
        vqSocket sockets[300];
        const int count = vqHandleReady(handle, sockets, 300);
        EXPECT_EQ(result == 0, count > 0);
        for (int i = 0; i < count; ++i) EXPECT_TRUE(is_ready(sockets[i]));
        return {sockets, sockets + count};
    }

    vqHandle handle = nullptr;
};

using Found = std::set<vqSocket>;

/// A descriptor that can be made readable without a peer: cheap enough for thousands.
struct Bell {
    Bell() : socket(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) { EXPECT_GE(socket, 0); }
    ~Bell() { close(); }
    Bell(const Bell&) = delete;
    Bell& operator=(const Bell&) = delete;
    void ring() const { EXPECT_EQ(eventfd_write(socket, 1), 0); }
    void silence() const {
        eventfd_t count = 0;
        EXPECT_EQ(eventfd_read(socket, &count), 0);
    }
    void close() {
        if (socket >= 0) vqNetClose(&socket);
    }
    vqSocket socket;
};

TEST_F(Handle, FindsBytesEndsAndErrorsButNotTheQuiet) {
    const Listener listener;
    Connection speaking(listener);
    Connection ended(listener);
    Connection lost(listener);
    Connection quiet(listener);
    for (const Connection* each : {&speaking, &ended, &lost, &quiet}) add(each->server);
    add(listener.socket);
    EXPECT_EQ(found_now(), Found{});
    speaking.say("x");
    vqNetClose(&ended.client);
    lost.reset();
    vqSocket caller = listener.connect();
    const Found expected{speaking.server, ended.server, lost.server, listener.socket};
    Found found;
    EXPECT_TRUE(becomes([&] { return (found = found_now()) == expected; }));
    EXPECT_FALSE(is_ready(quiet.server));
    vqNetClose(&caller);
}

TEST_F(Handle, WhatWasNotReadIsFoundAgainWhileItIsInTheSet) {
    const Bell bell;
    add(bell.socket);
    bell.ring();
    for (int i = 0; i < 3; ++i) EXPECT_EQ(found_now(), Found{bell.socket});
    bell.silence();
    EXPECT_EQ(found_now(), Found{});
    bell.ring();
    EXPECT_EQ(found_now(), Found{bell.socket});
}

TEST_F(Handle, SocketsNotAddedSinceTheClearAreNotFound) {
    const Bell kept;
    const Bell dropped;
    add(kept.socket);
    add(dropped.socket);
    vqHandleClearAllResources(handle);
    add(kept.socket);
    kept.ring();
    dropped.ring();
    EXPECT_EQ(found_now(), Found{kept.socket});
    vqHandleClearAllResources(handle);
    EXPECT_FALSE(is_ready(kept.socket));
    EXPECT_EQ(found_now(), Found{});
    kept.silence();
    add(kept.socket);
    vqHandleClearAllResources(handle);
    kept.ring();
    EXPECT_EQ(vqBlock(handle, &kAtOnce), kVqTimedOut) << "still watched, but in no set";
    add(dropped.socket);
    EXPECT_EQ(found_now(), Found{dropped.socket}) << "its report was dropped, its bytes were not";
}

TEST_F(Handle, ASocketTakenOutIsSilentUntilItIsAddedAgain) {
    const Bell bell;
    add(bell.socket);
    take_out(bell.socket);
    bell.ring();
    EXPECT_EQ(found_now(), Found{});
    add(bell.socket);
    EXPECT_EQ(found_now(), Found{bell.socket});
    take_out(bell.socket);
    EXPECT_FALSE(is_ready(bell.socket));
    vqSocket out = kVqNoSocket;
    EXPECT_EQ(vqHandleReady(handle, &out, 1), 0);
    EXPECT_EQ(found_now(), Found{});
    take_out(12345);  // never seen
}

TEST_F(Handle, TheWaitEndsWithItsTime) {
    const Bell bell;
    add(bell.socket);
    constexpr vqTimeout kSecond{1, 0};
    constexpr vqTimeout kNegative{-5, 0};
    const auto start = Clock::now();
    EXPECT_EQ(vqBlock(handle, &kNegative), kVqTimedOut);
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(900));
    EXPECT_EQ(vqBlock(handle, &kSecond), kVqTimedOut);
    EXPECT_GE(Clock::now() - start, std::chrono::seconds(1));
    constexpr vqTimeout kBeyondTheClock{2147483647, 0};
    vqUnblock(handle, 1);
    EXPECT_EQ(vqBlock(handle, &kBeyondTheClock), kVqUnblocked);
}

TEST_F(Handle, AnUnblockEndsOneWaitWheneverItComes) {
    for (int i = 0; i < 5; ++i) EXPECT_EQ(vqUnblock(handle, 2), VQOK);
    EXPECT_EQ(vqBlock(handle, nullptr), kVqUnblocked);
    EXPECT_EQ(vqBlock(handle, &kAtOnce), kVqTimedOut) << "five calls before it are one";
    for (int i = 0; i < 200; ++i) {
        std::thread waker([&] { vqUnblock(handle, 1); });
        EXPECT_EQ(vqBlock(handle, &kLong), kVqUnblocked);
        waker.join();
    }
    const Bell bell;
    add(bell.socket);
    bell.ring();
    vqUnblock(handle, 1);
    EXPECT_EQ(vqBlock(handle, &kLong), 0) << "a socket that is ready tells more than the unblock";
}

TEST_F(Handle, AddingFromAnotherThreadTakesEffectInTheWaitThatIsUnderWay) {
    const Bell before;
    add(before.socket);
    for (int round = 0; round < 100; ++round) {
        const Bell bell;
        bell.ring();
        std::thread adder([&] { add(bell.socket); });
        EXPECT_EQ(vqBlock(handle, &kLong), 0);
        EXPECT_TRUE(is_ready(bell.socket));
        adder.join();
        take_out(bell.socket);
    }
}

enum class Leave { taken_out, reported, reported_and_kept, in_the_set, left_behind };
constexpr const char* kLeaveNames[] = {"TakenOut", "Reported", "ReportedAndKept", "InTheSet", "LeftBehind"};

class ReusedNumber : public Handle, public testing::WithParamInterface<Leave> {};

INSTANTIATE_TEST_SUITE_P(Ways, ReusedNumber,
                         testing::Values(Leave::taken_out, Leave::reported, Leave::reported_and_kept,
                                         Leave::in_the_set, Leave::left_behind),
                         [](const auto& test) { return kLeaveNames[static_cast<int>(test.param)]; });

TEST_P(ReusedNumber, StandsForTheNewSocket) {
    for (int round = 0; round < 3; ++round) {
        Bell first;
        const vqSocket number = first.socket;
        add(number);
        const bool report = GetParam() == Leave::reported || GetParam() == Leave::reported_and_kept;
        if (report) {
            first.ring();
            EXPECT_EQ(found_now(), Found{number});
        }
        if (GetParam() == Leave::taken_out || GetParam() == Leave::reported) take_out(number);
        if (GetParam() == Leave::left_behind) vqHandleClearAllResources(handle);
        first.close();
        const Bell second;
        ASSERT_EQ(second.socket, number) << "the system gives the lowest free number";
        second.ring();
        EXPECT_EQ(found_now(), Found{}) << "nobody added the new socket";
        add(number);
        EXPECT_EQ(found_now(), Found{number});
        take_out(number);
    }
}

// Closed without a word to the OS layer, as when another library owned it.
TEST_F(Handle, ANumberReusedBehindItsBackWorksAfterItWasTakenOut) {
    const Bell first;
    add(first.socket);
    take_out(first.socket);
    const Bell other;
    ASSERT_EQ(dup2(other.socket, first.socket), first.socket);
    other.ring();
    add(first.socket);
    EXPECT_EQ(found_now(), Found{first.socket});
}

TEST_F(Handle, MoreThanABatchIsFoundInTurns) {
    std::vector<std::unique_ptr<Bell>> bells;
    for (int i = 0; i < 300; ++i) {
        bells.push_back(std::make_unique<Bell>());
        bells.back()->ring();
        add(bells.back()->socket);
    }
    Found all;
    const Found first = found_now();
    EXPECT_EQ(first.size(), 256U);
    vqSocket some[10];
    EXPECT_EQ(vqHandleReady(handle, some, 10), 10);
    for (const vqSocket socket : first) take_out(socket);
    all = found_now();
    EXPECT_EQ(all.size(), 44U);
    all.insert(first.begin(), first.end());
    EXPECT_EQ(all.size(), 300U);
}

TEST_F(Handle, SystemCallsAreForChangesOnly) {
    std::vector<std::unique_ptr<Bell>> bells;
    for (int i = 0; i < 50; ++i) bells.push_back(std::make_unique<Bell>());
    const auto refill = [&] {
        vqHandleClearAllResources(handle);
        for (const auto& bell : bells) add(bell->socket);
        return control_calls.exchange(0);
    };
    control_calls = 0;
    EXPECT_EQ(refill(), 50);
    EXPECT_EQ(refill(), 0);
    EXPECT_EQ(found_now(), Found{});
    EXPECT_EQ(refill(), 0);
    bells[7]->ring();
    bells[9]->ring();
    EXPECT_EQ(found_now().size(), 2U);
    EXPECT_EQ(control_calls, 0);
    EXPECT_EQ(refill(), 2) << "one for each that was reported";
    bells[7]->silence();
    bells[9]->silence();
    take_out(bells[7]->socket);
    EXPECT_EQ(refill(), 1);
    bells[3]->close();
    bells[3] = std::make_unique<Bell>();
    EXPECT_EQ(refill(), 1) << "a new socket of an old number costs no more than any new one";
}

/// The best of some passes over `sockets`, as a server makes one for each report; in microseconds.
double best_pass(vqHandle handle, const std::vector<vqSocket>& sockets) {
    double best = 1e9;
    for (int i = 0; i < 30; ++i) {
        const auto start = Clock::now();
        vqHandleClearAllResources(handle);
        for (const vqSocket socket : sockets) {
            if (vqHandleAddResourceMode(handle, socket, kVqReadable) != VQOK) return 1e9;
        }
        if (vqBlock(handle, &kAtOnce) != kVqTimedOut) return 1e9;
        best = std::min(best, std::chrono::duration<double, std::micro>(Clock::now() - start).count());
    }
    return best;
}

TEST_F(Handle, APassOverTenThousandQuietSocketsIsQuick) {
    constexpr rlim_t kSockets = 10000;
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit before = limit;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur < kSockets + 100) GTEST_SKIP() << "no more than " << limit.rlim_cur << " sockets here";
    std::vector<std::unique_ptr<Bell>> bells;
    std::vector<vqSocket> sockets;
    while (sockets.size() < kSockets) {
        bells.push_back(std::make_unique<Bell>());
        sockets.push_back(bells.back()->socket);
        add(sockets.back());
    }
    control_calls = 0;
    const double microseconds = best_pass(handle, sockets);
    EXPECT_EQ(control_calls, 0);
    RecordProperty("microseconds", std::to_string(microseconds));
    std::printf("pass over %zu quiet sockets: %.0f us\n", sockets.size(), microseconds);
    EXPECT_LT(microseconds, 10000) << "ten times what is wanted: sanitizers and busy machines pass";
    bells.clear();
    setrlimit(RLIMIT_NOFILE, &before);
}

TEST_F(Handle, BadArgumentsAreRefused) {
    const Bell bell;
    EXPECT_EQ(vqHandleAddResourceMode(handle, kVqNoSocket, kVqReadable), EBADF);
    EXPECT_EQ(vqHandleAddResourceMode(handle, 19999, kVqReadable), EBADF);
    EXPECT_EQ(vqHandleAddResourceMode(handle, bell.socket, 3), EINVAL);
    EXPECT_EQ(vqHandleAddResourceMode(nullptr, bell.socket, kVqReadable), EINVAL);
    EXPECT_EQ(vqHandleClearResourceMode(handle, bell.socket, 3), EINVAL);
    EXPECT_EQ(vqHandleCreate(nullptr), EINVAL);
    EXPECT_EQ(vqHandleReady(handle, nullptr, 10), 0);
    EXPECT_EQ(vqBlock(nullptr, &kAtOnce), -1);
    EXPECT_EQ(vqHandleDestroy(nullptr), VQOK);
    EXPECT_EQ(found_now(), Found{});
}

TEST_F(Handle, MemoryThatEndsLeavesTheSetUsable) {
    vqHandle other = handle;
    PEL_Fault::fail_allocation(1);
    EXPECT_EQ(vqHandleCreate(&other), ENOMEM);
    EXPECT_EQ(other, nullptr);
    const Bell bell;
    bell.ring();
    PEL_Fault::fail_allocation(1);
    EXPECT_EQ(vqHandleAddResourceMode(handle, bell.socket, kVqReadable), ENOMEM);
    PEL_Fault::fail_allocation(0);
    EXPECT_EQ(found_now(), Found{});
    add(bell.socket);
    EXPECT_EQ(found_now(), Found{bell.socket});
}

}  // namespace
