// SPDX-License-Identifier: MIT
#include "streams/chunked_streams.h"

#include <gtest/gtest.h>

#include "support/fake_head.h"
#include "support/piecewise_stream.h"

namespace {

TEST(ChunkedOutputStream, MakesAChunkOfEachWrite) {
    RecordingOutputStream sink;
    FakeHead head;
    CChunkedOutputStream body(&sink, &head);
    EXPECT_EQ(body.write("", 0), 0);
    EXPECT_EQ(sink.all, "");
    EXPECT_EQ(body.write("abc", 3), 3);
    EXPECT_EQ(body.write("de", 2), 2);
    EXPECT_EQ(body.put('f'), 1);
    body.write(std::string(255, 'x').c_str(), 255);
    body.close();
    EXPECT_EQ(sink.all,
              "HEAD;3\r\nabc\r\n2\r\nde\r\n1\r\nf\r\nff\r\n" + std::string(255, 'x') + "\r\n0\r\n\r\n");
    EXPECT_EQ(sink.flushes, 1);
}

TEST(ChunkedOutputStream, ClosesAnEmptyBodyWithoutAHead) {
    RecordingOutputStream sink;
    FakeHead head;
    CChunkedOutputStream body(&sink, &head);
    body.close();
    EXPECT_EQ(sink.all, "0\r\n\r\n");
}

TEST(ChunkedOutputStream, CarriesOnOverASinkThatFails) {
    const std::string all = "HEAD;3\r\nabc\r\n0\r\n\r\n";
    for (std::size_t room = 0; room <= all.size(); ++room) {
        RecordingOutputStream sink(room);
        FakeHead head;
        {
            CChunkedOutputStream body(&sink, &head);
            EXPECT_LE(body.write("abc", 3), 3);
            body.close();
        }
        EXPECT_EQ(sink.all, all.substr(0, room));
    }
}

TEST(ChunkedOutputStream, SendsNothingMoreOnceAbandoned) {
    RecordingOutputStream sink;
    FakeHead head;
    {
        CBufferedOutputStream block(&sink);
        CChunkedOutputStream body(&block, &head);
        body.write("abc", 3);
        EXPECT_FALSE(body.discard());
        body.abandon();
        EXPECT_EQ(body.write("def", 3), 0);
        body.close();
    }
    EXPECT_EQ(sink.all, "");
    EXPECT_TRUE(sink.abandoned);
}

TEST(ChunkedStreams, NeedStreamAndHead) {
    RecordingOutputStream sink;
    PiecewiseInputStream source("", 1);
    FakeHead head;
    EXPECT_EQ(CChunkedOutputStream(nullptr, &head).status(), kStreamNullArgument);
    EXPECT_EQ(CChunkedOutputStream(&sink, nullptr).status(), kStreamNullArgument);
    EXPECT_EQ(CChunkedOutputStream(&sink, &head).status(), kStreamGood);
    EXPECT_EQ(CChunkedInputStream(static_cast<CInputStream*>(nullptr), &head).status(), kStreamNullArgument);
    EXPECT_EQ(CChunkedInputStream(&source, nullptr).status(), kStreamNullArgument);
    EXPECT_EQ(CChunkedInputStream(&source, &head).status(), kStreamGood);
}

TEST(ChunkedStreams, DeleteWhatIsBelowOnlyIfToldTo) {
    FakeHead head;
    for (const int owns : {0, 1}) {
        RecordingOutputStream target;
        bool sink_deleted = false;
        bool source_deleted = false;
        auto sink = std::make_unique<MortalOutputStream>(&target, &sink_deleted);
        auto source = std::make_unique<MortalInputStream>("", &source_deleted);
        {
            CChunkedOutputStream writer(sink.get(), &head);
            writer.set_owns_sink(owns);
            CChunkedInputStream reader(source.get(), &head);
            reader.set_owns_source(owns);
        }
        EXPECT_EQ(sink_deleted, owns == 1);
        EXPECT_EQ(source_deleted, owns == 1);
        if (sink_deleted) sink.release();
        if (source_deleted) source.release();
    }
}

struct ChunkCase {
    const char* name;
    std::string_view wire;
    std::string_view body;       // all that reads give until the first that gives none
    std::string_view left_over;  // must still be there for the next message
    BodyEnd end = BodyEnd::exact;
};

const std::string kBlockEdge =
    "1f3\r\n" + std::string(0x1f3, 'e') + "\r\n" + "8\r\n" + "12345678" + "\r\n0\r\n\r\n";
const std::string kBlockEdgeBody = std::string(0x1f3, 'e') + "12345678";
const std::string kLongestSizeLine = std::string(50, '0') + "1\r\nx\r\n0\r\n\r\n";
const std::string kTooLongSizeLine = std::string(51, '0') + "1\r\nx\r\n0\r\n\r\n";
const std::string kEndlessCr(1000, '\r');
constexpr BodyEnd kNotClean = BodyEnd::not_clean;

const ChunkCase kChunkCases[] = {
    {"OneChunk", "5\r\nhello\r\n0\r\n\r\n", "hello", ""},
    {"EmptyBody", "0\r\n\r\n", "", ""},
    {"UpperAndLowerCaseSizes", "A\r\n0123456789\r\nb\r\n0123456789a\r\n0\r\n\r\n", "01234567890123456789a",
     ""},
    {"NextMessageStays", "1\r\nx\r\n1\r\ny\r\n0\r\n\r\nPOST", "xy", "POST", BodyEnd::exact},
    {"LfAloneEndsTheSizeLine", "1\nx\r\n0\n\r\n", "x", ""},
    {"CrInTheSizeLineIsDropped", "\r1\r\r\nx\r\n0\r\n\r\n", "x", ""},
    {"LineEndAcrossABlock", kBlockEdge, kBlockEdgeBody, ""},
    {"LongestSizeLine", kLongestSizeLine, "x", ""},
    {"SizeLineTooLong", kTooLongSizeLine, "", "\r\nx\r\n0\r\n\r\n", kNotClean},
    {"SizeLineOfEndlessCr", kEndlessCr, "", std::string_view(kEndlessCr).substr(104), kNotClean},
    {"SizeLineCutOff", "5", "", "", kNotClean},
    {"NothingAtAll", "", "", "", kNotClean},
    {"ChunkCutOff", "5\r\nhel", "hel", "", kNotClean},
    {"LineEndCutOff", "3\r\nhel\r", "hel", "", kNotClean},
    {"LastChunkCutOff", "3\r\nhel\r\n0\r\n", "hel", "", kNotClean},
    {"SizeOf31Bits", "7fffffff\r\nabc", "abc", "", kNotClean},
    {"SizeOf32Bits", "80000000\r\nabc", "", "abc", kNotClean},
    {"SizeThatLooksNegative", "ffffffff\r\nabc", "", "abc", kNotClean},
    {"SizeThatOverflowsToOne", "100000001\r\nabc", "", "abc", kNotClean},
    {"NoDigitCountsAsZero", "G\r\n\r\nabc", "", "abc", kNotClean},
    {"EmptySizeLine", "\r\n\r\nabc", "", "abc", kNotClean},
    {"ExtensionChangesTheSize",
     "1;x\r\n"
     "a\r\n0\r\n\r\n",
     "a\r\n0\r\n\r\n", "", kNotClean},
    {"TrailersAreNotSkipped", "1\r\nx\r\n0\r\nA: b\r\n\r\n", "x", " b\r\n\r\n", kNotClean},
    {"DataLongerThanItsSize", "1\r\nxyz0\r\n\r\n", "x", "", kNotClean},
};

TEST(ChunkedInputStream, GivesTheSameBodyHoweverTheBytesArrive) {
    for (const ChunkCase& c : kChunkCases) {
        const int length = static_cast<int>(std::min<std::size_t>(c.wire.size(), 600));
        for (int step = 1; step <= std::max(length, 1); step += step < 20 ? 1 : 37) {
            for (const int wanted : {1, 3, 4096}) {
                SCOPED_TRACE(testing::Message()
                             << c.name << " in pieces of " << step << ", reads of " << wanted);
                PiecewiseInputStream source(c.wire, step);
                FakeHead head;
                CChunkedInputStream body(&source, &head);
                EXPECT_EQ(read_all(body, wanted), c.body);
                EXPECT_EQ(source.unread(), c.left_over);
                EXPECT_EQ(body.end(), c.end);

                PiecewiseInputStream block_source(c.wire, step);
                CBufferedInputStream buffered(&block_source);
                CChunkedInputStream buffered_body(&buffered, &head);
                EXPECT_EQ(read_all(buffered_body, wanted), c.body);
                const bool ahead = buffered.available() > 0;
                EXPECT_EQ(buffered_body.end(), ahead ? kNotClean : c.end);
                EXPECT_EQ(read_all(buffered), c.left_over);
            }
        }
    }
}

TEST(ChunkedInputStream, TakesEveryPrefixOfABodyForUnclean) {
    const std::string whole = "3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n";
    const std::string body_of_whole = "abcde";
    for (std::size_t length = 0; length < whole.size(); ++length) {
        SCOPED_TRACE(length);
        PiecewiseInputStream source(std::string_view(whole).substr(0, length), 512);
        CBufferedInputStream buffered(&source);
        FakeHead head;
        CChunkedInputStream body(&buffered, &head);
        const std::string got = read_all(body);
        EXPECT_EQ(got, body_of_whole.substr(0, got.size()));
        EXPECT_FALSE(body.drain(1000));
    }
}

TEST(ChunkedInputStream, NeverSpansTwoChunksAndStaysAtItsEnd) {
    PiecewiseInputStream source("5\r\nhello\r\n0\r\n\r\nnext", 512);
    FakeHead head;
    CChunkedInputStream body(&source, &head);
    char buffer[16];
    EXPECT_EQ(body.end(), BodyEnd::open);
    EXPECT_EQ(body.read(buffer, 3), 3);
    EXPECT_EQ(body.read(buffer, 3), 2);
    EXPECT_EQ(body.end(), BodyEnd::open);
    EXPECT_EQ(body.read(buffer, 3), 0);
    EXPECT_EQ(body.read(buffer, 3), 0);
    EXPECT_EQ(body.get(), -1);
    EXPECT_EQ(source.unread(), "next");
}

TEST(ChunkedInputStream, HandsOnTheEndOfAChunkThatIsCutOffAndDoesNotCountIt) {
    PiecewiseInputStream source("5\r\nab", 512);
    FakeHead head;
    CChunkedInputStream body(&source, &head);
    char buffer[16];
    EXPECT_EQ(body.read(buffer, 16), 2);
    EXPECT_EQ(body.read(buffer, 16), -1);
    EXPECT_EQ(body.read(buffer, 16), -1);
}

TEST(ChunkedInputStream, EndsBeforeAChunkThatWouldPassTheLimit) {
    struct LimitCase {
        long long limit;
        const char* body;
        bool too_large;
    };
    for (const LimitCase& c :
         {LimitCase{0, "abcde", false}, LimitCase{6, "abcde", false}, LimitCase{5, "abcde", false},
          LimitCase{4, "abc", true}, LimitCase{1, "", true}}) {
        SCOPED_TRACE(c.limit);
        PiecewiseInputStream source("3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n", 512);
        FakeHead head;
        head.max_body = c.limit;
        CChunkedInputStream body(&source, &head);
        EXPECT_EQ(read_all(body), c.body);
        EXPECT_EQ(head.too_large, c.too_large);
        EXPECT_EQ(body.end(), c.too_large ? kNotClean : BodyEnd::exact);
    }
}

TEST(ChunkedInputStream, IsNotCleanWhereTheHeadDeclaresALengthToo) {
    PiecewiseInputStream source("1\r\nx\r\n0\r\n\r\n", 512);
    FakeHead head;
    head.incoming["Content-Length"] = "1";
    CChunkedInputStream body(&source, &head);
    EXPECT_EQ(read_all(body), "x");
    EXPECT_EQ(body.end(), kNotClean);
}

TEST(ChunkedInputStream, IsDrainedWithinALimit) {
    for (long long limit = 0; limit < 8; ++limit) {
        SCOPED_TRACE(limit);
        PiecewiseInputStream source("3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n", 512);
        CBufferedInputStream buffered(&source);
        FakeHead head;
        CChunkedInputStream body(&buffered, &head);
        EXPECT_EQ(body.drain(limit), limit >= 5);
    }
}

}  // namespace
