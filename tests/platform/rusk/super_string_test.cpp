// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <rusk/super_string.h>

#include <string>
#include <string_view>
#include <utility>

namespace {

constexpr std::uint32_t kNone = RUSK_SuperString::kNone;

std::string text(const RUSK_SuperString& from) {
    EXPECT_EQ(from.c_str()[from.length()], '\0');
    return {from.c_str(), from.length()};
}

TEST(SuperString, IsMadeFromAllOrTheFirstBytesOfAText) {
    EXPECT_EQ(text(RUSK_SuperString()), "");
    EXPECT_EQ(text(RUSK_SuperString(nullptr)), "");
    EXPECT_EQ(text(RUSK_SuperString("host:80/path")), "host:80/path");
    EXPECT_EQ(text(RUSK_SuperString("host:80/path", 4)), "host");
    EXPECT_EQ(text(RUSK_SuperString("host", 0)), "");
    EXPECT_EQ(text(RUSK_SuperString("a\0b", 3)), std::string("a\0b", 3));
}

TEST(SuperString, PiecesEndWhereTheTextEnds) {
    struct Row {
        std::uint32_t position;
        std::uint32_t length;
        std::string_view piece;
    };
    constexpr Row kRows[] = {{0, kNone, "host:80"},
                             {0, 4, "host"},
                             {5, 2, "80"},
                             {5, kNone, "80"},
                             {5, 9, "80"},
                             {7, 1, ""},
                             {8, kNone, ""},
                             {kNone, kNone, ""},
                             {3, 0, ""},
                             {6, kNone, "0"},
                             {1, kNone - 1, "ost:80"}};
    const RUSK_SuperString whole("host:80");
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << row.position << ", " << row.length);
        EXPECT_EQ(text(whole.substr(row.position, row.length)), row.piece);
        EXPECT_EQ(text(RUSK_SuperString(whole, row.position, row.length)), row.piece);
    }
}

TEST(SuperString, FindsTheFirstMatchAtOrBehindThePosition) {
    const RUSK_SuperString url("http://h:80/p//q");
    struct Row {
        const char* wanted;
        std::uint32_t length;
        std::uint32_t position;
        std::uint32_t found;
    };
    constexpr Row kRows[] = {{"//", kNone, 0, 5},      {"//", kNone, 5, 5},       {"//", kNone, 6, 13},
                             {"//", kNone, 14, kNone}, {"/x", 1, 0, 5},           {"q", kNone, 15, 15},
                             {"q", kNone, 16, kNone},  {"qq", kNone, 0, kNone},   {"", kNone, 16, 16},
                             {"", kNone, 17, kNone},   {"h", kNone, kNone, kNone}};
    for (const Row& row : kRows) {
        EXPECT_EQ(url.find(row.wanted, row.position, row.length), row.found) << row.wanted << row.position;
    }
    EXPECT_EQ(url.find(':'), 4U);
    EXPECT_EQ(url.find(':', 4), 4U);
    EXPECT_EQ(url.find(':', 5), 8U);
    EXPECT_EQ(url.find(':', 9), kNone);
    EXPECT_EQ(url.find('\0'), kNone);
    EXPECT_EQ(url.find(':', kNone), kNone);
}

TEST(SuperString, SingleCharactersAreGuardedByTheLength) {
    RUSK_SuperString changed("a:b");
    changed.put_at(1, '\0');
    changed.put_at(3, 'x');
    changed.put_at(kNone, 'x');
    EXPECT_EQ(text(changed), std::string("a\0b", 3));
    EXPECT_EQ(changed.get_at(2), 'b');
    EXPECT_EQ(changed.get_at(3), '\0');
    EXPECT_EQ(changed.get_at(kNone), '\0');
}

// 23 bytes stay in place and 24 do not: copies and moves of both kinds onto both kinds.
TEST(SuperString, CopiesAndMovesAreWholeAndIndependent) {
    for (std::size_t from_length : {0U, 5U, 23U, 24U, 200U}) {
        for (std::size_t to_length : {0U, 23U, 24U, 100U}) {
            SCOPED_TRACE(testing::Message() << from_length << " onto " << to_length);
            const std::string expected(from_length, 'f');
            RUSK_SuperString source(expected.c_str());
            RUSK_SuperString target(std::string(to_length, 't').c_str());
            target = source;
            source.put_at(0, 'x');
            EXPECT_EQ(text(target), expected);
            RUSK_SuperString copy(target);
            RUSK_SuperString moved(std::move(target));
            EXPECT_EQ(text(moved), expected);
            source = std::move(moved);
            EXPECT_EQ(text(source), expected);
            EXPECT_EQ(text(copy), expected);
            moved = copy;  // what was moved from can be used again
            EXPECT_EQ(text(moved), expected);
        }
    }
    RUSK_SuperString self(std::string(50, 's').c_str());
    const RUSK_SuperString& same = self;
    self = same;
    EXPECT_EQ(text(self), std::string(50, 's'));
}

TEST(SuperString, IsEmptyWhenMemoryEnds) {
    const std::string big(100, 'b');
    const RUSK_SuperString source(big.c_str());
    RUSK_SuperString target(big.c_str());
    PEL_Fault::fail_allocation(1);
    target = source;
    EXPECT_TRUE(PEL_Fault::happened());
    EXPECT_EQ(text(target), "");
    PEL_Fault::fail_allocation(1);
    EXPECT_EQ(text(source.substr(1)), "");
    PEL_Fault::fail_allocation(0);
    target = source;
    EXPECT_EQ(text(target), big);
}

}  // namespace
