// SPDX-License-Identifier: MIT
#include "streams/socket_streams.h"

#include <gtest/gtest.h>

#include <chrono>

#include "secure/secure_channel.h"
#include "support/piecewise_stream.h"

namespace {

/// Takes and gives what it is told to, and remembers what it was given.
class ToldChannel final : public CSecureChannel {
public:
    ToldChannel() : CSecureChannel(kVqNoSocket, nullptr) {}
    int read(char* buffer, int length) override {
        ++reads;
        if (read_result > 0)
            std::memset(buffer, 'r', static_cast<std::size_t>(std::min(length, read_result)));
        return read_result;
    }
    int write(const char* data, int length) override {
        written.append(data, static_cast<std::size_t>(length));
        return write_result < 0 ? write_result : std::min(length, write_result);
    }

    int read_result = 0;
    int write_result = 1 << 20;
    int reads = 0;
    std::string written;
};

TEST(SocketOutputStream, SendsEachWriteAtOnceAndLeavesTheSocketOpen) {
    SocketPair pair;
    ASSERT_TRUE(pair.good());
    {
        CSocketOutputStream stream(pair.near, nullptr);
        EXPECT_EQ(stream.status(), kStreamGood);
        EXPECT_EQ(stream.write("abc", 3), 3);
        EXPECT_EQ(pair.received(), "abc");
        EXPECT_EQ(stream.put('d'), 1);
        EXPECT_EQ(pair.received(), "d");
        stream.close();
    }
    CSocketOutputStream later(pair.near, nullptr);
    EXPECT_EQ(later.write("later", 5), 5);
    EXPECT_EQ(pair.received(), "later");
}

TEST(SocketOutputStream, SendsNothingBehindAFailedSend) {
    SocketPair pair;
    ASSERT_TRUE(pair.good());
    pair.close_far();
    CSocketOutputStream stream(pair.near, nullptr);
    EXPECT_FALSE(stream.failed());
    EXPECT_LE(stream.write("abc", 3), 0);
    EXPECT_TRUE(stream.failed());
    EXPECT_EQ(stream.put('d'), 0);
}

TEST(SocketOutputStream, SendsNothingBehindAShortSend) {
    ToldChannel channel;
    channel.write_result = 2;
    CSocketOutputStream stream(kVqNoSocket, &channel);
    EXPECT_EQ(stream.write("abc", 3), 2);
    EXPECT_TRUE(stream.failed());
    channel.write_result = 100;
    EXPECT_EQ(stream.write("def", 3), 0);
    EXPECT_EQ(channel.written, "abc");
}

TEST(SocketOutputStream, SendsNothingOnceAbandoned) {
    SocketPair pair;
    ASSERT_TRUE(pair.good());
    CSocketOutputStream stream(pair.near, nullptr);
    stream.abandon();
    EXPECT_EQ(stream.write("abc", 3), 0);
    EXPECT_EQ(pair.received(), "");
}

TEST(SocketInputStream, GivesWhatCameAndCountsIt) {
    SocketPair pair;
    ASSERT_TRUE(pair.good());
    CSocketInputStream stream(pair.near, nullptr);
    EXPECT_EQ(stream.available(), -1);
    EXPECT_EQ(stream.bytes_received(), 0);
    ASSERT_TRUE(pair.send("ab\xFF"));
    char buffer[8] = "";
    EXPECT_EQ(stream.read(buffer, 2), 2);
    EXPECT_EQ(std::string(buffer, 2), "ab");
    EXPECT_EQ(stream.get(), 0xFF);
    EXPECT_EQ(stream.bytes_received(), 3);
    pair.close_far();
    EXPECT_EQ(stream.read(buffer, 2), 0);
    EXPECT_EQ(stream.get(), -1);
    EXPECT_EQ(stream.bytes_received(), 3);
}

TEST(SocketInputStream, GivesZeroForAnErrorToo) {
    CSocketInputStream stream(kVqNoSocket, nullptr);
    char c = 0;
    EXPECT_EQ(stream.read(&c, 1), 0);
}

TEST(SocketInputStream, GivesTheChannelsOwnResultsAndAsksNoMoreAfterItsEnd) {
    ToldChannel channel;
    channel.read_result = 3;
    CSocketInputStream stream(kVqNoSocket, &channel);
    char buffer[8] = "";
    EXPECT_EQ(stream.read(buffer, 8), 3);
    channel.read_result = -5;
    EXPECT_EQ(stream.read(buffer, 8), -5);
    EXPECT_EQ(stream.read(buffer, 8), 0);
    EXPECT_EQ(channel.reads, 2);
    EXPECT_EQ(stream.bytes_received(), 3);
}

TEST(SocketInputStream, EndsAtItsDeadlineThoughBytesAreThere) {
    ToldChannel channel;
    channel.read_result = 1;
    CSocketInputStream stream(kVqNoSocket, &channel);
    char c = 0;

    stream.set_deadline(3600);
    EXPECT_EQ(stream.read(&c, 1), 1);
    stream.set_deadline(1e300);
    EXPECT_EQ(stream.read(&c, 1), 1);

    stream.set_deadline(1e-9);
    const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (stream.read(&c, 1) == 1 && std::chrono::steady_clock::now() < give_up) continue;
    EXPECT_LT(std::chrono::steady_clock::now(), give_up);

    stream.set_deadline(0);
    EXPECT_EQ(stream.read(&c, 1), 1);
}

}  // namespace
