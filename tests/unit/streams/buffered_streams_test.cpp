// SPDX-License-Identifier: MIT
#include "streams/buffered_streams.h"

#include <gtest/gtest.h>

#include <limits>

#include "support/piecewise_stream.h"

namespace {

std::string pattern(std::size_t length) {
    std::string text;
    for (std::size_t i = 0; i < length; ++i) text += static_cast<char>('a' + i % 26);
    return text;
}

void write_text(COutputStream& stream, std::string_view text) {
    stream.write(text.data(), static_cast<int>(text.size()));
}

TEST(MemoryBuffer, HoldsEveryByteAcrossItsGrowth) {
    for (const int step : {1, 2, 7, 511, 512, 513, 1000, 5000}) {
        SCOPED_TRACE(step);
        const std::string all = pattern(5000);
        CBufferedOutputStream buffer;
        for (std::size_t at = 0; at < all.size(); at += static_cast<std::size_t>(step)) {
            const std::string_view piece = std::string_view(all).substr(at, static_cast<std::size_t>(step));
            const int length = static_cast<int>(piece.size());
            ASSERT_EQ(length == 1 ? buffer.put(piece[0]) : buffer.write(piece.data(), length), length);
        }
        ASSERT_EQ(buffer.length(), 5000);
        EXPECT_EQ(std::string(buffer.text()), all);
        EXPECT_EQ(buffer.length(), 5000);
    }
}

TEST(MemoryBuffer, GrowsOnlyForTheByteBeyondItsCapacity) {
    PEL_Fault::fail_allocation(0);
    CBufferedOutputStream buffer;
    EXPECT_EQ(PEL_Fault::allocations(), 1);
    write_text(buffer, pattern(512));
    EXPECT_EQ(PEL_Fault::allocations(), 1);
    EXPECT_EQ(buffer.put('!'), 1);
    EXPECT_EQ(PEL_Fault::allocations(), 2);
    write_text(buffer, pattern(511));
    EXPECT_EQ(PEL_Fault::allocations(), 2);
    EXPECT_EQ(std::string(buffer.text()), pattern(512) + "!" + pattern(511));
}

TEST(MemoryBuffer, IsEmptyAfterFlushWithItsCapacityKept) {
    CBufferedOutputStream buffer(nullptr, 4);
    write_text(buffer, pattern(100));
    PEL_Fault::fail_allocation(0);
    buffer.flush();
    EXPECT_EQ(buffer.length(), 0);
    EXPECT_STREQ(buffer.text(), "");
    write_text(buffer, pattern(100));
    EXPECT_EQ(buffer.length(), 100);
    EXPECT_EQ(PEL_Fault::allocations(), 0);
}

TEST(MemoryBuffer, TakesABlockOf512ForASizeThatIsNone) {
    for (const int size : {0, -1, std::numeric_limits<int>::min()}) {
        PEL_Fault::fail_allocation(0);
        CBufferedOutputStream buffer(nullptr, size);
        write_text(buffer, pattern(512));
        EXPECT_EQ(PEL_Fault::allocations(), 1);
    }
}

TEST(MemoryBuffer, KeepsWhatItHeldWhenItCannotGrow) {
    CBufferedOutputStream buffer(nullptr, 4);
    write_text(buffer, "abcd");
    PEL_Fault::fail_allocation(1);
    EXPECT_EQ(buffer.put('e'), 0);
    EXPECT_EQ(buffer.status(), kStreamNoMemory);
    PEL_Fault::fail_allocation(1);
    EXPECT_EQ(buffer.write("efgh", 4), 0);
    PEL_Fault::fail_allocation(1);
    EXPECT_EQ(buffer.text(), nullptr);
    PEL_Fault::fail_allocation(0);
    EXPECT_STREQ(buffer.text(), "abcd");
    buffer.flush();
    EXPECT_EQ(buffer.status(), kStreamGood);
}

TEST(MemoryBuffer, RefusesToGrowBeyond31Bits) {
    CBufferedOutputStream buffer;
    write_text(buffer, "abc");
    EXPECT_EQ(buffer.write("", std::numeric_limits<int>::max()), 0);
    EXPECT_EQ(buffer.write("", -1), 0);
    EXPECT_STREQ(buffer.text(), "abc");
}

TEST(MemoryBuffer, SaysSoWhenThereIsNoMemoryForItsFirstBlock) {
    PEL_Fault::fail_allocation(1);
    CBufferedOutputStream buffer;
    PEL_Fault::fail_allocation(0);
    EXPECT_EQ(buffer.status(), kStreamNoMemory);
}

struct BlockCase {
    const char* name;
    std::vector<std::size_t> pieces;
    std::vector<std::size_t> writes;          // lengths of the writes that reach the sink
    std::vector<std::size_t> announced = {};  // those of which the sink is told that another follows at once
};

// A piece that does not fit beside what is held pushes that out; one larger than a block goes straight
// through.
const BlockCase kBlockCases[] = {
    {"NothingWritten", {}, {}},
    {"FitsExactly", {512}, {512}},
    {"OneByteMore", {512, 1}, {512, 1}},
    {"HeldThenStraight", {10, 1000}, {10, 1000}, {0}},
    {"HeldTwiceThenStraight", {10, 600, 10, 600}, {10, 600, 10, 600}, {0, 2}},
    {"StraightFromEmpty", {513}, {513}},
    {"GathersAfterStraight", {513, 3, 4}, {513, 7}},
    {"FullBlockBehindHeld", {1, 512}, {1, 512}},
    {"ManySmall", {200, 200, 200, 200}, {400, 400}},
};

TEST(BlockBuffer, CutsWritesIntoBlocks) {
    for (const BlockCase& c : kBlockCases) {
        SCOPED_TRACE(c.name);
        RecordingOutputStream sink;
        std::string expected;
        {
            CBufferedOutputStream buffer(&sink);
            for (const std::size_t length : c.pieces) {
                const std::string piece = pattern(length);
                EXPECT_EQ(buffer.write(piece.data(), static_cast<int>(length)), static_cast<int>(length));
                expected += piece;
            }
            buffer.close();
            EXPECT_EQ(buffer.length(), 0);
        }
        std::vector<std::size_t> lengths;
        for (const std::string& write : sink.writes) lengths.push_back(write.size());
        EXPECT_EQ(lengths, c.writes);
        EXPECT_EQ(sink.announced, c.announced);
        EXPECT_EQ(sink.all, expected);
        EXPECT_EQ(sink.flushes, 0);
    }
}

TEST(BlockBuffer, SendsABlockAtThePutBehindIt) {
    RecordingOutputStream sink;
    CBufferedOutputStream buffer(&sink);
    for (int i = 0; i < 512; ++i) buffer.put('x');
    EXPECT_TRUE(sink.writes.empty());
    buffer.put('y');
    ASSERT_EQ(sink.writes.size(), 1U);
    EXPECT_EQ(sink.writes[0].size(), 512U);
}

TEST(BlockBuffer, HoldsAWriteOfExactlyABlock) {
    RecordingOutputStream sink;
    CBufferedOutputStream buffer(&sink);
    buffer.put('x');
    write_text(buffer, pattern(512));
    EXPECT_EQ(sink.all, "x");
    EXPECT_EQ(buffer.length(), 512);
}

TEST(BlockBuffer, GivesTheSinksResultForWhatGoesStraightThrough) {
    for (std::size_t room = 0; room < 40; ++room) {
        RecordingOutputStream sink(room);
        CBufferedOutputStream buffer(&sink, 8);
        EXPECT_EQ(buffer.write("abc", 3), 3);
        const int left = static_cast<int>(room > 3 ? room - 3 : 0);
        EXPECT_EQ(buffer.write("0123456789", 10), std::min(10, left));
        buffer.put('z');
        buffer.flush();
        EXPECT_EQ(sink.all, std::string("abc0123456789z").substr(0, room));
    }
}

TEST(BlockBuffer, SendsNothingOnceAbandoned) {
    RecordingOutputStream sink;
    {
        CBufferedOutputStream buffer(&sink, 8);
        buffer.write("abc", 3);
        buffer.abandon();
        buffer.write("defgh", 5);
        EXPECT_EQ(buffer.write("0123456789", 10), 0);
        for (int i = 0; i < 20; ++i) buffer.put('z');
    }
    EXPECT_TRUE(sink.abandoned);
    EXPECT_TRUE(sink.writes.empty());
}

TEST(BlockBuffer, DeletesItsSinkOnlyIfToldTo) {
    for (const int owns : {0, 1}) {
        RecordingOutputStream target;
        bool deleted = false;
        auto sink = std::make_unique<MortalOutputStream>(&target, &deleted);
        {
            CBufferedOutputStream buffer(sink.get());
            buffer.set_owns_sink(owns);
            buffer.put('x');
        }
        EXPECT_EQ(target.all, "x");
        EXPECT_EQ(deleted, owns == 1);
        if (deleted) sink.release();
    }
}

TEST(BufferedInputStream, GivesTheSameBytesHoweverTheyArrive) {
    const std::string all = pattern(1300) + std::string("\0\xFF", 2);
    for (const int step : {1, 2, 3, 5, 8, 511, 512, 513, 4000}) {
        for (const int wanted : {1, 3, 512, 2000}) {
            SCOPED_TRACE(testing::Message() << "pieces of " << step << ", reads of " << wanted);
            PiecewiseInputStream source(all, step);
            CBufferedInputStream stream(&source);
            EXPECT_EQ(read_all(stream, wanted), all);
            EXPECT_EQ(stream.get(), -1);
            char c = 0;
            EXPECT_EQ(stream.read(&c, 1), -1);
        }
        PiecewiseInputStream source(all, step);
        CBufferedInputStream stream(&source);
        std::string got;
        for (int c = stream.get(); c >= 0; c = stream.get()) got += static_cast<char>(c);
        EXPECT_EQ(got, all);
    }
}

TEST(BufferedInputStream, ReadsAtMostOneBlockAndNothingWhileBytesAreHeld) {
    PiecewiseInputStream source(pattern(1000), 1000);
    CBufferedInputStream stream(&source);
    char buffer[1000];
    EXPECT_EQ(stream.available(), 0);
    EXPECT_EQ(stream.read(buffer, 1000), 512);
    EXPECT_EQ(stream.read(buffer, 485), 485);
    EXPECT_EQ(stream.available(), 3);
    EXPECT_EQ(source.reads, 2);
    EXPECT_EQ(stream.read(buffer, 10), 3);
    EXPECT_EQ(source.reads, 2);
    EXPECT_EQ(stream.read(buffer, 0), 0);
    EXPECT_EQ(stream.read(buffer, -1), 0);
    EXPECT_EQ(source.reads, 2);
}

TEST(BufferedInputStream, TakesAZeroCountForTheEnd) {
    PiecewiseInputStream source("ab", 2);
    source.end_of_input = 0;
    CBufferedInputStream stream(&source);
    EXPECT_EQ(read_all(stream), "ab");
    char c = 0;
    EXPECT_EQ(stream.read(&c, 1), -1);
}

TEST(BufferedInputStream, SaysWhatWasWrongWithItsMaking) {
    CBufferedInputStream none(nullptr);
    EXPECT_EQ(none.status(), kStreamNullArgument);
    PiecewiseInputStream source("", 1);
    PEL_Fault::fail_allocation(1);
    CBufferedInputStream poor(&source);
    PEL_Fault::fail_allocation(0);
    EXPECT_EQ(poor.status(), kStreamNoMemory);
}

TEST(BufferedInputStream, DeletesItsSourceOnlyIfToldTo) {
    for (const int owns : {0, 1}) {
        bool deleted = false;
        auto source = std::make_unique<MortalInputStream>("abc", &deleted);
        {
            CBufferedInputStream stream(source.get());
            stream.set_owns_source(owns);
            EXPECT_EQ(stream.get(), 'a');
        }
        EXPECT_EQ(deleted, owns == 1);
        if (deleted) source.release();
    }
}

}  // namespace
