// SPDX-License-Identifier: MIT
#include "streams/line_stream.h"

#include <gtest/gtest.h>

#include "support/piecewise_stream.h"

namespace {

struct LineCase {
    const char* name;
    std::string_view text;
    std::vector<std::string> lines;
};

const std::string kLongLine(5000, 'L');
const std::string kLongText = kLongLine + "\r\n" + kLongLine + "\n";

const LineCase kLineCases[] = {
    {"CrLfEnds", "abc\r\n", {"abc"}},
    {"LfEnds", "abc\n", {"abc"}},
    {"OnlyOneCrGoes", "abc\r\r\n", {"abc\r"}},
    {"CrInsideStays", "a\rb\r\n", {"a\rb"}},
    {"EmptyLines", "\n\r\n\n", {"", "", ""}},
    {"CutOffLineIsDropped", "abc\r\ndef", {"abc"}},
    {"NothingAtAll", "", {}},
    {"OnlyCr", "\r", {}},
    {"ZeroByteEndsTheText", std::string_view("a\0b\n", 4), {"a"}},
    {"LongerThanABlock", kLongText, {kLongLine, kLongLine}},
};

std::vector<std::string> lines_of(CLineInputStream& stream) {
    std::vector<std::string> lines;
    while (const char* line = stream.read_line()) lines.emplace_back(line);
    return lines;
}

TEST(LineInputStream, GivesTheSameLinesHoweverTheBytesArrive) {
    for (const LineCase& c : kLineCases) {
        for (const int step : {1, 2, 3, 5, 511, 512, 513}) {
            SCOPED_TRACE(testing::Message() << c.name << " in pieces of " << step);
            PiecewiseInputStream bytes(c.text, step);
            CLineInputStream by_byte(&bytes);
            EXPECT_EQ(lines_of(by_byte), c.lines);

            PiecewiseInputStream blocks(c.text, step);
            CBufferedInputStream buffered(&blocks);
            CLineInputStream by_block(&buffered);
            EXPECT_EQ(lines_of(by_block), c.lines);
            EXPECT_EQ(by_block.taken(), by_byte.taken());
        }
    }
}

TEST(LineInputStream, LeavesWhatFollowsTheLineToItsSource) {
    PiecewiseInputStream bytes("one\r\ntwo", 8);
    CBufferedInputStream buffered(&bytes);
    {
        CLineInputStream lines(&buffered);
        EXPECT_STREQ(lines.read_line(), "one");
        EXPECT_EQ(lines.taken(), 5);
    }
    EXPECT_EQ(buffered.available(), 3);
    EXPECT_EQ(read_all(buffered), "two");
}

TEST(LineInputStream, EndsAtALineBeyondItsLimit) {
    struct LimitCase {
        std::string_view text;
        bool accepted;
    };
    const LimitCase cases[] = {{"1234\n", true},    {"12345\n", true},     {"12345\r\n", true},
                               {"123456\n", false}, {"123456\r\n", false}, {"12345\rx\n", false}};
    for (const LimitCase& c : cases) {
        SCOPED_TRACE(c.text);
        PiecewiseInputStream bytes(c.text, 3);
        CLineInputStream by_byte(&bytes);
        by_byte.set_limit(5);
        EXPECT_EQ(by_byte.read_line() != nullptr, c.accepted);

        PiecewiseInputStream blocks(c.text, 3);
        CBufferedInputStream buffered(&blocks);
        CLineInputStream by_block(&buffered);
        by_block.set_limit(5);
        EXPECT_EQ(by_block.read_line() != nullptr, c.accepted);
    }
}

TEST(LineInputStream, StopsReadingALineThatNeverEnds) {
    PiecewiseInputStream bytes(std::string(100000, 'x'), 512);
    CBufferedInputStream buffered(&bytes);
    CLineInputStream lines(&buffered);
    lines.set_limit(1000);
    EXPECT_EQ(lines.read_line(), nullptr);
    EXPECT_LE(bytes.reads, 3);
}

TEST(LineInputStream, GivesNullWhenMemoryEndsNotPartOfALine) {
    const std::string text = std::string(300, 'x') + "\nrest";
    with_each_allocation_failing([&] {
        PiecewiseInputStream bytes(text, 64);
        CLineInputStream lines(&bytes);
        if (lines.status() != kStreamGood) {
            EXPECT_EQ(lines.status(), kStreamNoMemory);
            return;
        }
        const char* line = lines.read_line();
        if (line != nullptr) {
            EXPECT_EQ(std::string(line), std::string(300, 'x'));
        }
    });
}

TEST(LineInputStream, TellsBytesOfALineAsAvailable) {
    CLineInputStream none(static_cast<CInputStream*>(nullptr));
    EXPECT_EQ(none.status(), kStreamNullArgument);
    PiecewiseInputStream bytes("abc\n", 4);
    CLineInputStream lines(&bytes);
    EXPECT_EQ(lines.available(), -1);
    lines.read_line();
    EXPECT_EQ(lines.available(), 3);
    char c = 0;
    EXPECT_EQ(lines.get(), 0);
    EXPECT_EQ(lines.read(&c, 1), 0);
}

}  // namespace
