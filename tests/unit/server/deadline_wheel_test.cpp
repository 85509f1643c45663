// SPDX-License-Identifier: MIT
#include "server/deadline_wheel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <vector>

namespace {

constexpr std::int64_t kStart = 1'000'000'123;
constexpr std::int64_t kTick = DeadlineWheel::kTick;

// Against the plainest model there is: nobody comes early, nobody more than a tick late, nobody is forgotten.
TEST(DeadlineWheel, GivesEachWithinATickOfItsDeadline) {
    std::mt19937 random(7);
    const auto upto = [&random](std::int64_t most) {
        return std::uniform_int_distribution<std::int64_t>(0, most)(random);
    };
    std::vector<DeadlineEntry> entries(300, DeadlineEntry{nullptr});
    std::map<DeadlineEntry*, std::int64_t> waiting;
    std::int64_t now = kStart;
    DeadlineWheel wheel(now);
    for (int round = 0; round < 5000; ++round) {
        DeadlineEntry& entry = entries[static_cast<std::size_t>(upto(299))];
        if (waiting.erase(&entry) != 0) {
            wheel.remove(entry);
        } else {
            const std::int64_t far = round % 5 == 0 ? 1'000'000 : 3000;
            const std::int64_t deadline = round % 17 == 0 ? DeadlineWheel::kNever : now - 100 + upto(far);
            wheel.insert(entry, deadline);
            waiting[&entry] = std::max(deadline, now);  // what is due already comes with the next tick
        }
        if (round % 3 != 0) continue;
        now += upto(round % 100 == 0 ? 200'000 : 2 * kTick);
        while (DeadlineEntry* const due = wheel.take_due(now)) {
            ASSERT_EQ(waiting.count(due), 1U);
            ASSERT_LE(waiting[due], now);
            waiting.erase(due);
        }
        ASSERT_EQ(wheel.size(), waiting.size());
        for (const auto& [late, deadline] : waiting) ASSERT_GT(deadline, now - kTick);
    }
    EXPECT_GT(waiting.size(), 30U);
}

TEST(DeadlineWheel, FindsAndVisitsWhatIsIn) {
    DeadlineWheel wheel(kStart);
    std::vector<DeadlineEntry> entries(5, DeadlineEntry{nullptr});
    for (DeadlineEntry& entry : entries) wheel.insert(entry, kStart + 1000);
    int seen = 0;
    wheel.for_each([&](DeadlineEntry& entry) {
        ++seen;
        if (&entry != &entries[3]) wheel.remove(entry);
    });
    EXPECT_EQ(seen, 5);
    EXPECT_EQ(wheel.find([](const DeadlineEntry&) { return true; }), &entries[3]);
    EXPECT_EQ(wheel.find([](const DeadlineEntry&) { return false; }), nullptr);
    wheel.remove(entries[0]);
    EXPECT_EQ(wheel.size(), 1U);
}

}  // namespace
