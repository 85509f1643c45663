// SPDX-License-Identifier: MIT
#include "server/wait_turn.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

TEST(WaitTurn, IsOneWorkersAtATime) {
    WaitTurn turn;
    const auto first = turn.try_take();
    ASSERT_NE(first, 0U);
    EXPECT_EQ(turn.try_take(), 0U);
    EXPECT_FALSE(turn.take_for_loop(true)) << "it is being looked with";
    turn.serve(first);
    EXPECT_EQ(turn.try_take(), 0U);
    EXPECT_TRUE(turn.look_again(first));
    turn.give_back(first, false);
    EXPECT_NE(turn.try_take(), 0U);
}

TEST(WaitTurn, IsTakenFromAWorkerWhoseCallTakesLong) {
    WaitTurn turn;
    const auto slow = turn.try_take();
    turn.serve(slow);
    EXPECT_FALSE(turn.take_for_loop(true)) << "there was progress since the loop looked last";
    EXPECT_TRUE(turn.take_for_loop(true));
    EXPECT_FALSE(turn.look_again(slow));
    turn.give_back(slow, true);
    EXPECT_EQ(turn.try_take(), 0U) << "it is the loop's";
    turn.offer();
    EXPECT_NE(turn.try_take(), 0U);
}

TEST(WaitTurn, StaysAWorkersWhileThereIsProgress) {
    WaitTurn turn;
    const auto busy = turn.try_take();
    for (int i = 0; i < 5; ++i) {
        turn.serve(busy);
        EXPECT_FALSE(turn.take_for_loop(true)) << i;
        EXPECT_TRUE(turn.look_again(busy)) << i;
    }
}

TEST(WaitTurn, GoesToTheLoopThatIsCalled) {
    WaitTurn turn;
    const auto done = turn.try_take();
    turn.give_back(done, true);
    EXPECT_EQ(turn.try_take(), 0U) << "the loop is wanted";
    EXPECT_TRUE(turn.take_for_loop(false));
    turn.offer();
    const auto last = turn.try_take();
    turn.serve(last);
    turn.end();
    EXPECT_FALSE(turn.look_again(last));
    EXPECT_EQ(turn.try_take(), 0U);
    EXPECT_TRUE(turn.take_for_loop(false));
}

TEST(WaitTurn, NeverBelongsToTwo) {
    WaitTurn turn;
    std::atomic<int> looking = 0;
    std::atomic<bool> stop = false;
    const auto look = [&looking] {
        EXPECT_EQ(looking.fetch_add(1), 0);
        looking.fetch_sub(1);
    };
    std::vector<std::thread> workers;
    for (int i = 0; i < 3; ++i) {
        workers.emplace_back([&] {
            while (!stop.load()) {
                auto number = turn.try_take();
                if (number == 0) continue;
                int served = 0;
                do {
                    look();
                    turn.serve(number);
                } while (++served < 10 && turn.look_again(number));
                turn.give_back(number, true);
            }
        });
    }
    for (int taken = 0; taken < 50;) {
        if (!turn.take_for_loop(false)) continue;
        look();
        ++taken;
        turn.offer();
    }
    stop = true;
    turn.end();
    for (std::thread& worker : workers) worker.join();
}

}  // namespace
