// SPDX-License-Identifier: MIT
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <pelthread/memory.h>
#include <vqsys/names.h>
#include <vqsys/net.h>
#include <vqsys/text.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "support/slow_names.h"

namespace {

TEST(Names, OnlyFourDecimalNumbersAreADottedAddress) {
    EXPECT_EQ(vqInet_addr("127.0.0.1"), htonl(0x7F000001));
    EXPECT_EQ(vqInet_addr("0.0.0.0"), 0U);
    EXPECT_EQ(vqInet_addr("10.20.30.255"), htonl(0x0A141EFF));
    for (const char* other : {"", "localhost", "127.1", "127.0.0", "127.0.0.1.", "127.0.0.256", " 127.0.0.1",
                              "127.0.0.1 ", "0x7f.0.0.1", "127.0.0.-1", "::1", "2130706433"}) {
        EXPECT_EQ(vqInet_addr(other), kVqNoAddress) << other;
    }
    EXPECT_EQ(vqInet_addr(nullptr), kVqNoAddress);
}

TEST(Names, DottedTextIsPerThread) {
    const char* mine = vqInet_ntoa(htonl(0x0A141EFF));
    EXPECT_STREQ(mine, "10.20.30.255");
    std::thread([] { EXPECT_STREQ(vqInet_ntoa(0xFFFFFFFF), "255.255.255.255"); }).join();
    EXPECT_STREQ(mine, "10.20.30.255");
    EXPECT_STREQ(vqInet_ntoa(0), "0.0.0.0");
}

TEST(Names, OwnNameFitsOrTheCallFails) {
    char name[256];
    ASSERT_EQ(vqNetIPGetHostname(name, sizeof name), VQOK);
    const int length = static_cast<int>(std::strlen(name));
    ASSERT_GT(length, 0);
    char exact[256];
    EXPECT_EQ(vqNetIPGetHostname(exact, length + 1), VQOK);
    EXPECT_STREQ(exact, name);
    EXPECT_NE(vqNetIPGetHostname(exact, length), VQOK);
    EXPECT_NE(vqNetIPGetHostname(exact, 0), VQOK);
    EXPECT_NE(vqNetIPGetHostname(nullptr, 10), VQOK);
}

TEST(Names, ALookUpGivesCanonicalNameAndAddresses) {
    vqHostEntry record;
    vqHostEntry* result = nullptr;
    ASSERT_EQ(vqNetIPGetHostByName("localhost", &result, &record, 20), VQOK) << vqNetErrorText();
    ASSERT_EQ(result, &record);
    EXPECT_NE(std::string(record.name), "");
    EXPECT_EQ(record.aliases[0], nullptr);
    EXPECT_EQ(record.type, 2);
    EXPECT_EQ(record.length, 4);
    ASSERT_NE(record.addresses[0], nullptr);
    EXPECT_EQ(ntohl(*record.addresses[0]) >> 24, 127U);
    // Another thread's look-up leaves this one's record alone.
    const std::string name = record.name;
    std::thread([] {
        vqHostEntry other;
        vqHostEntry* found = nullptr;
        ASSERT_EQ(vqNetIPGetHostByName("10.20.30.40", &found, &other, 20), VQOK);
        EXPECT_EQ(*other.addresses[0], vqInet_addr("10.20.30.40"));
        EXPECT_EQ(other.addresses[1], nullptr);
    }).join();
    EXPECT_EQ(record.name, name);
    EXPECT_EQ(ntohl(*record.addresses[0]) >> 24, 127U);
}

TEST(Names, AFailedLookUpTouchesNothingAndHasWords) {
    vqHostEntry record;
    vqHostEntry* result = nullptr;
    const std::string endless(2000, 'a');
    for (const char* name : {"", "no such host", endless.c_str()}) {
        EXPECT_NE(vqNetIPGetHostByName(name, &result, &record, 20), VQOK);
        EXPECT_STRNE(vqNetErrorText(), "");
        EXPECT_EQ(result, nullptr);
        EXPECT_EQ(record.name, nullptr);
    }
    EXPECT_NE(vqNetIPGetHostByName("localhost", &result, &record, 19), VQOK);
    EXPECT_NE(vqNetIPGetHostByName(nullptr, &result, &record, 20), VQOK);
    EXPECT_NE(vqNetIPGetHostByName("localhost", nullptr, &record, 20), VQOK);
    EXPECT_NE(vqNetIPGetHostByName("localhost", &result, nullptr, 20), VQOK);
}

int look_up(const std::string& name, double seconds) {
    vqHostEntry record;
    vqHostEntry* found = nullptr;
    const int failure = vqNetIPGetHostByName(name.c_str(), &found, &record, 20, seconds);
    if (failure != VQOK) return failure;
    EXPECT_EQ(*found->addresses[0], vqInet_addr("127.0.0.1"));
    return VQOK;
}

TEST(Names, ALookUpEndsWithItsTimeAndIsSharedByAllWhoAsk) {
    constexpr int kMostAtOnce = 32;
    look_ups_stall = true;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(look_up("one.slow.test", 0.1), ETIMEDOUT);
    EXPECT_STREQ(vqNetErrorText(), std::strerror(ETIMEDOUT));
    EXPECT_EQ(look_up("one.slow.test", 0.1), ETIMEDOUT);
    EXPECT_EQ(slow_look_ups, 1);
    for (int i = 1; i < kMostAtOnce; ++i) {
        EXPECT_EQ(look_up(std::to_string(i) + ".slow.test", 1e-3), ETIMEDOUT);
    }
    EXPECT_EQ(look_up("none.left.slow.test", 0.1), ETIMEDOUT);
    EXPECT_LE(slow_look_ups, kMostAtOnce);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    std::atomic<int> good = 0;
    std::vector<std::thread> waiting;
    for (const char* name : {"one.slow.test", "one.slow.test", "none.left.slow.test"}) {
        waiting.emplace_back([&good, name] { good += look_up(name, 20) == VQOK; });
    }
    look_ups_stall = false;
    for (std::thread& thread : waiting) thread.join();
    EXPECT_EQ(good, 3);
    EXPECT_GT(slow_look_ups, kMostAtOnce) << "whoever waited for its turn";
    EXPECT_EQ(look_up("1.slow.test", 0), VQOK);
    EXPECT_NE(look_up("no such host", 10), VQOK);
}

TEST(Text, CaseOfLettersAndOfNothingElseIsDisregarded) {
    struct Row {
        const char* a;
        const char* b;
        int order;
    };
    constexpr Row kRows[] = {{"", "", 0},      {"Keep-Alive", "kEEP-aLIVE", 0},
                             {"a", "b", -1},   {"B", "a", 1},
                             {"a", "ab", -1},  {"", "a", -1},
                             {"@", "`", -1},   {"[", "{", -1},
                             {"Z", "[", 1},    {"\xC4", "\xE4", -1},
                             {"\xFF", "a", 1}, {"1", "A", -1}};
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << row.a << " and " << row.b);
        const int forward = vqOSstricmp(row.a, row.b);
        const int backward = vqOSstricmp(row.b, row.a);
        EXPECT_EQ((forward > 0) - (forward < 0), row.order);
        EXPECT_EQ((backward > 0) - (backward < 0), -row.order);
    }
}

TEST(Text, MemoryForTextsComesFromTheLibrarysStore) {
    PEL_Fault::fail_allocation(1);
    EXPECT_EQ(vqOSMalloc(10), nullptr);
    PEL_Fault::fail_allocation(0);
    void* text = vqOSMalloc(10);
    ASSERT_NE(text, nullptr);
    std::memset(text, 1, 10);
    vqOSFree(text);
    vqOSFree(nullptr);
}

}  // namespace
