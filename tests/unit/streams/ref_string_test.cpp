// SPDX-License-Identifier: MIT
#include "streams/ref_string.h"

#include <gtest/gtest.h>
#include <pelthread/memory.h>

#include <climits>
#include <string>

#include "support/piecewise_stream.h"

namespace {

TEST(RefString, HoldsAPieceOfAText) {
    struct Case {
        const char* text;
        int begin;
        int end;
        const char* expected;
    };
    constexpr Case kCases[] = {
        {nullptr, 0, 5, ""},    {"", 0, 0, ""},          {"abcdef", 0, 0, "abcdef"}, {"abcdef", 2, 0, "cdef"},
        {"abcdef", 2, 4, "cd"}, {"abcdef", -3, 2, "ab"}, {"abcdef", 2, -1, "cdef"},  {"abcdef", 4, 2, ""},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(testing::Message() << c.begin << " to " << c.end);
        const CRefString piece(c.text, c.begin, c.end);
        EXPECT_STREQ(piece.c_str(), c.expected);
        EXPECT_EQ(piece.length(), static_cast<int>(std::string(c.expected).size()));
    }
}

TEST(RefString, SharesOneTextUntilTheLastHandleGoes) {
    CRefString first("shared text that is too long for a block that is kept in reserve for short ones");
    CRefString second(first);
    CRefString third;
    third = second;
    EXPECT_TRUE(third.shares(first));
    third = first;  // the same text: nothing changes
    second = CRefString("other");
    first = CRefString();
    EXPECT_EQ(first.length(), 0);
    EXPECT_STREQ(second.c_str(), "other");
    EXPECT_EQ(std::string(third.c_str()).substr(0, 11), "shared text");
}

TEST(RefString, IgnoresTheCaseOfAsciiLettersOnly) {
    const char* const kEqual[][2] = {{"", ""}, {"Envelope", "ENVELOPE"}, {"a-B_9.z", "A-b_9.Z"}};
    const char* const kDifferent[][2] = {{"a", ""},  {"a", "ab"},      {"[", "{"},
                                         {"@", "`"}, {"\xC4", "\xE4"}, {"abcdefgh1", "abcdefgh2"}};
    for (const auto& pair : kEqual) {
        EXPECT_TRUE(CRefString(pair[0]) == CRefString(pair[1])) << pair[0];
        EXPECT_EQ(CRefString(pair[0]).hash(), CRefString(pair[1]).hash()) << pair[0];
    }
    for (const auto& pair : kDifferent) {
        const CRefString a(pair[0]);
        const CRefString b(pair[1]);
        EXPECT_FALSE(a == b) << pair[0];
        EXPECT_NE(a.hash(), b.hash()) << pair[0];
        EXPECT_FALSE(a == b) << pair[0] << ", with the numbers known";
    }
}

TEST(RefString, FindsAndCuts) {
    const CRefString text("abcabc");
    EXPECT_EQ(text.find('c', 0), 2);
    EXPECT_EQ(text.find('c', 3), 5);
    EXPECT_EQ(text.find('c', -4), 2);
    EXPECT_EQ(text.find('c', 6), -1);
    EXPECT_EQ(text.find('x', 0), -1);
    EXPECT_EQ(text.find("bc", 2), 4);
    EXPECT_EQ(text.find("cb", 0), -1);
    EXPECT_EQ(text.find(static_cast<const char*>(nullptr), 0), -1);
    EXPECT_STREQ(text.substring(1, 3).c_str(), "bc");
    EXPECT_STREQ(text.substring(4).c_str(), "bc");
    EXPECT_STREQ(text.substring(-2, 99).c_str(), "abcabc");
    EXPECT_STREQ(text.substring(3, 3).c_str(), "");
    EXPECT_STREQ(text.substring(7).c_str(), "");
}

TEST(RefString, ReadsNumbersAsTheCLibraryDoes) {
    struct Case {
        const char* text;
        int hex;
        int decimal;
    };
    constexpr Case kCases[] = {
        {"", 0, 0},     {"g", 0, 0},        {"1f", 31, 1},
        {"1F9", 31, 1}, {" 7", 7, 7},       {"-8", -8, -8},
        {"+a", 10, 0},  {"12 x", 0x12, 12}, {"99999999999", 0x99, INT_MAX},
    };
    for (const Case& c : kCases) {
        EXPECT_EQ(CRefString(c.text).hex_value(), c.hex) << c.text;
        EXPECT_EQ(CRefString(c.text).decimal_value(), c.decimal) << c.text;
    }
}

#if !defined(__SANITIZE_ADDRESS__)
// Texts of up to 47 bytes are made of blocks that earlier ones gave back.
TEST(RefString, ShortTextsUseTheirBlocksAgain) {
    for (const std::size_t length : {1U, 46U, 47U, 48U, 49U}) {
        const std::string text(length, 'x');
        for (const bool again : {false, true}) {
            PEL_Fault::fail_allocation(0);
            CRefString made;
            ASSERT_TRUE(CRefString::create(made, text.data(), length));
            EXPECT_EQ(made.view(), text);
            const long expected = length > 47 ? 1 : 0;
            EXPECT_TRUE(!again || PEL_Fault::allocations() == expected) << length;
        }
    }
}
#endif

TEST(RefString, IsEmptyWhereMemoryEnds) {
    const std::string text(100, 'x');  // no block in reserve would do
    const long tried = with_each_allocation_failing([&] {
        CRefString made("before");
        if (CRefString::create(made, text.data(), text.size())) {
            EXPECT_EQ(made.view(), text);
        } else {
            EXPECT_EQ(made.length(), 0);
        }
        EXPECT_STREQ(CRefString().c_str(), "");
    });
    EXPECT_GE(tried, 1);
    EXPECT_FALSE(([&] {
        CRefString made("before");
        return CRefString::create(made, text.data(), static_cast<std::size_t>(INT_MAX));
    }()));
}

}  // namespace
