// SPDX-License-Identifier: MIT
#include "server/ready_batch.h"

#include <gtest/gtest.h>

#include "server/connection.h"
#include "server/connection_list.h"

namespace {

using std::chrono::microseconds;

void note(ReadyBatch& batch, int calls, microseconds each) {
    for (int i = 0; i < calls; ++i) batch.note(each);
}

TEST(ReadyBatch, HasRoomForWhatIsServedInAMoment) {
    ReadyBatch batch;
    EXPECT_LE(batch.room(), 1U) << "before anything is known of the calls";
    EXPECT_FALSE(batch.calls_are_short());
    note(batch, 100, microseconds(15));
    EXPECT_NEAR(static_cast<double>(batch.room()), 10, 1);
    EXPECT_TRUE(batch.calls_are_short());
    note(batch, 1, microseconds(20'000'000));
    EXPECT_EQ(batch.room(), 0U) << "behind a call that took long others do not wait";
    note(batch, 100, microseconds(15));
    EXPECT_TRUE(batch.calls_are_short()) << "a single long call is forgotten soon";
    note(batch, 100, microseconds(100));
    EXPECT_FALSE(batch.calls_are_short());
}

TEST(ReadyBatch, GivesWhatWaitedLongestFirst) {
    auto* const list = new _SOAP_ConnectionList;
    {
        ReadyBatch batch;
        _SOAP_Connection one(-1, 80, list);
        _SOAP_Connection two(-1, 80, list);
        EXPECT_EQ(batch.take(), nullptr);
        for (int round = 0; round < 2; ++round) {
            batch.put(&one);
            batch.put(&two);
            EXPECT_EQ(batch.take(), &one);
            batch.put(&one);
            EXPECT_EQ(batch.take(), &two);
            EXPECT_EQ(batch.take(), &one);
            EXPECT_EQ(batch.take(), nullptr);
        }
    }
    list->release();
}

}  // namespace
