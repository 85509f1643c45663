// SPDX-License-Identifier: MIT
#include "streams/string_map.h"

#include <gtest/gtest.h>

#include <memory>

#include "support/piecewise_stream.h"

namespace {

std::string told(const CStringMap& map) {
    std::string text;
    const PEL_Lock lock(map.GetMutex());
    CStringMapIterator entries = map.Walk();
    const char* key = nullptr;
    const char* value = nullptr;
    while (entries.Next(&key, &value))
        text += std::string(key) + "=" + (value != nullptr ? value : "(null)") + ";";
    return text;
}

TEST(StringMap, KeepsTheOrderOfFirstInsertionAndTheFirstSpelling) {
    CStringMap map;
    EXPECT_EQ(map.Get("x"), nullptr);
    EXPECT_EQ(map.Set("Content-Type", "text/xml"), 1);
    EXPECT_EQ(map.Set("Host", "a"), 1);
    EXPECT_EQ(map.Set("Hos", "b"), 1);
    EXPECT_EQ(map.Set("content-TYPE", "text/plain; longer than before"), 1);
    EXPECT_EQ(map.Set("", "empty"), 1);
    EXPECT_EQ(map.Set("Host", ""), 1);
    EXPECT_EQ(told(map), "Content-Type=text/plain; longer than before;Host=;Hos=b;=empty;");
    EXPECT_STREQ(map.Get("CONTENT-type"), "text/plain; longer than before");
    EXPECT_EQ(map.Get("Content-Typ"), nullptr);
    EXPECT_EQ(map.Get(nullptr), nullptr);
    EXPECT_EQ(map.Set(nullptr, "x"), 0);
    EXPECT_EQ(map.Set("x", nullptr), 0);
    map.Clear();
    EXPECT_EQ(told(map), "");
    EXPECT_EQ(map.Set("again", "1"), 1);
    EXPECT_EQ(told(map), "again=1;");
}

TEST(StringMap, TakesItsOwnValueAsANewOne) {
    CStringMap map;
    map.Set("a", "value");
    EXPECT_EQ(map.Set("a", map.Get("a")), 1);
    EXPECT_EQ(map.Set("a", map.Get("a")), 1);
    EXPECT_STREQ(map.Get("a"), "value");
}

TEST(StringMap, IsWalkedByAnIteratorOfTheCallers) {
    CStringMap map;
    map.Set("a", "1");
    map.Set("b", "2");
    const std::unique_ptr<CStringMapIterator> keys(map.Iterate());
    ASSERT_NE(keys, nullptr);
    EXPECT_STREQ(keys->Next(), "a");
    EXPECT_STREQ(keys->Next(), "b");
    EXPECT_EQ(keys->Next(), nullptr);
    EXPECT_EQ(keys->Next(), nullptr);
    PEL_Fault::fail_allocation(1);
    EXPECT_EQ(map.Iterate(), nullptr);
    PEL_Fault::fail_allocation(0);
}

TEST(StringMap, StaysAsItWasWhenThereIsNoMemoryForAPair) {
    CStringMap map;
    map.Set("a", "1");
    PEL_Fault::fail_allocation(1);
    EXPECT_EQ(map.Set("b", "2"), 0);
    EXPECT_EQ(told(map), "a=1;");
    PEL_Fault::fail_allocation(1);
    EXPECT_EQ(map.Set("a", "new"), 0);
    PEL_Fault::fail_allocation(0);
    EXPECT_EQ(map.Get("a"), nullptr);
    EXPECT_EQ(map.Set("a", "newer"), 1);
    EXPECT_EQ(map.Set("c", "3"), 1);
    EXPECT_EQ(told(map), "a=newer;c=3;");
}

TEST(StringMap, TakesOneAllocationForAPair) {
    CStringMap map;
    PEL_Fault::fail_allocation(0);
    map.Set("Content-Length", "123");
    EXPECT_EQ(PEL_Fault::allocations(), 1);
}

}  // namespace
