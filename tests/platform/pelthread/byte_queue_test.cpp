// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <pelthread/byte_queue.h>

#include <algorithm>
#include <string>

namespace {

TEST(ByteQueue, GivesWhatWasAppendedInOrderAndHoldsMemoryInProportion) {
    for (std::size_t in = 1; in < 2000; in += 131) {
        for (std::size_t out = 1; out < 2000; out += 97) {
            ByteQueue queue;
            std::string model;
            char next = 0;
            for (int round = 0; round < 60; ++round) {
                const std::string piece(in, ++next);
                ASSERT_TRUE(queue.append(piece));
                model += piece;
                ASSERT_EQ(queue.view(), model);
                ASSERT_LE(queue.capacity(),
                          std::max(2 * model.size(), model.size() + in + out) + ByteQueue::kFirstRoom);
                queue.consume(out);
                model.erase(0, out);
                ASSERT_EQ(queue.view(), model);
                if (model.empty()) {
                    ASSERT_EQ(queue.capacity(), 0U);
                }
            }
        }
    }
}

TEST(ByteQueue, IsAsItWasWhenMemoryEnds) {
    ByteQueue queue;
    PEL_Fault::fail_allocation(1);
    EXPECT_FALSE(queue.append("lost"));
    ASSERT_TRUE(queue.append("kept"));
    PEL_Fault::fail_allocation(1);
    EXPECT_FALSE(queue.append(std::string(5000, 'x')));
    PEL_Fault::fail_allocation(0);
    EXPECT_EQ(queue.view(), "kept");
    ByteQueue other(std::move(queue));
    EXPECT_EQ(other.view(), "kept");
    EXPECT_TRUE(queue.empty());
}

}  // namespace
