// SPDX-License-Identifier: MIT
#include <caldane/side_by_side.h>

#include <gtest/gtest.h>

#include <atomic>
#include <sstream>
#include <stdexcept>
#include <thread>

#include <caldane/soa.h>

namespace {

TEST(SideBySide, MakesEachCallOnceByAllThreads) {
    std::atomic<int> inside = 0;
    std::atomic<int> most = 0;
    std::atomic<int> calls = 0;
    const Caldane::CallTimes times = Caldane::call_side_by_side(4, 41, [&] {
        const int now = ++inside;
        for (int seen = most; now > seen && !most.compare_exchange_weak(seen, now);) {
        }
        ++calls;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        --inside;
    });
    EXPECT_EQ(calls, 41);
    EXPECT_EQ(times.calls, 41U);
    EXPECT_EQ(most, 4);
    EXPECT_GE(times.least, std::chrono::milliseconds(2));
    EXPECT_LE(times.middle, times.most_of_100);
    EXPECT_LE(times.most_of_100, times.longest);
    EXPECT_GE(times.in_all, std::chrono::milliseconds(22));
    EXPECT_EQ(std::string(SOA::getProperties().get("SOAP_CLIENT_CONNECTIONS")), "4");
    SOA::getProperties().remove("SOAP_CLIENT_CONNECTIONS");
    std::ostringstream line;
    line << times;
    EXPECT_TRUE(line.str().starts_with("41 calls, ")) << line.str();
}

TEST(SideBySide, EndsAllWithTheFirstFailure) {
    std::atomic<int> calls = 0;
    EXPECT_THROW(Caldane::call_side_by_side(1, 1000,
                                            [&] {
                                                if (++calls == 3) throw std::runtime_error("no");
                                            }),
                 std::runtime_error);
    EXPECT_EQ(calls, 3);
}

}  // namespace
