// SPDX-License-Identifier: MIT
#include "streams/content_length_streams.h"

#include <gtest/gtest.h>

#include "support/fake_head.h"
#include "support/piecewise_stream.h"

namespace {

TEST(ContentLengthOutputStream, HoldsTheBodyUntilItsLengthIsKnown) {
    RecordingOutputStream sink;
    FakeHead head;
    CContentLengthOutputStream body(&sink, &head);
    EXPECT_EQ(body.write("hello", 5), 5);
    EXPECT_EQ(body.put('!'), 1);
    const std::string large(2000, 'x');
    EXPECT_EQ(body.write(large.data(), 2000), 2000);
    EXPECT_EQ(sink.all, "");
    body.close();
    ASSERT_EQ(sink.writes.size(), 2U);
    EXPECT_EQ(sink.writes[0], "HEAD;Content-Length=2006;");
    EXPECT_EQ(sink.writes[1], "hello!" + large);
    EXPECT_EQ(sink.flushes, 1);
}

TEST(ContentLengthOutputStream, PassesBytesOnWhereTheLengthIsDeclaredAhead) {
    RecordingOutputStream sink;
    FakeHead head;
    head.outgoing["Content-Length"] = "5";
    CContentLengthOutputStream body(&sink, &head);
    EXPECT_EQ(body.write("abcd", 4), 4);
    EXPECT_EQ(sink.all, "HEAD;Content-Length=5;abcd");
    EXPECT_FALSE(body.discard());
    body.put('e');
    body.close();
    EXPECT_EQ(sink.all, "HEAD;Content-Length=5;abcde");
}

TEST(ContentLengthOutputStream, FixesTheLengthAtTheFirstFlush) {
    RecordingOutputStream sink;
    FakeHead head;
    CContentLengthOutputStream body(&sink, &head);
    body.write("abc", 3);
    body.flush();
    body.write("de", 2);
    body.close();
    EXPECT_EQ(sink.all, "HEAD;Content-Length=3;abcde");
}

TEST(ContentLengthOutputStream, WritesNothingForABodyThatWasNeverBegun) {
    RecordingOutputStream sink;
    FakeHead head;
    {
        CContentLengthOutputStream body(&sink, &head);
        body.close();
    }
    EXPECT_TRUE(sink.writes.empty());
    EXPECT_FALSE(head.written);
}

TEST(ContentLengthOutputStream, ReplacesWhatWasDiscarded) {
    RecordingOutputStream sink;
    FakeHead head;
    CContentLengthOutputStream body(&sink, &head);
    EXPECT_TRUE(body.discard());
    body.write("half a reply", 12);
    EXPECT_TRUE(body.discard());
    body.write("fault", 5);
    body.close();
    EXPECT_EQ(sink.all, "HEAD;Content-Length=5;fault");
    EXPECT_FALSE(body.discard());
}

TEST(ContentLengthOutputStream, SendsNothingOnceAbandoned) {
    RecordingOutputStream sink;
    FakeHead head;
    {
        CBufferedOutputStream block(&sink);
        CContentLengthOutputStream body(&block, &head);
        body.write("abc", 3);
        body.abandon();
        EXPECT_EQ(body.write("def", 3), 0);
        EXPECT_EQ(body.put('g'), 0);
        EXPECT_FALSE(body.discard());
    }
    EXPECT_EQ(sink.all, "");
    EXPECT_FALSE(head.written);
}

TEST(ContentLengthOutputStream, CarriesOnOverASinkThatFails) {
    const std::string all = "HEAD;Content-Length=3;abc";
    for (std::size_t room = 0; room <= all.size(); ++room) {
        RecordingOutputStream sink(room);
        FakeHead head;
        {
            CContentLengthOutputStream body(&sink, &head);
            EXPECT_EQ(body.write("abc", 3), 3);
        }
        EXPECT_EQ(sink.all, all.substr(0, room));
    }
}

TEST(ContentLengthOutputStream, SendsAWholeBodyOrNoneWhicheverAllocationFails) {
    // The second fills its buffer exactly, so that the zero byte behind the text wants a larger one.
    for (const int size : {700, 1020}) {
        const std::string large(static_cast<std::size_t>(size), 'x');
        const long tried = with_each_allocation_failing([&] {
            RecordingOutputStream sink;
            FakeHead head;
            CContentLengthOutputStream body(&sink, &head);
            const bool whole =
                body.write("abc", 3) == 3 && body.write(large.data(), size) == size && body.put('z') == 1;
            body.close();
            if (body.status() == kStreamGood) {
                EXPECT_TRUE(whole);
                EXPECT_EQ(sink.all, "HEAD;Content-Length=" + std::to_string(size + 4) + ";abc" + large + "z");
            } else {
                EXPECT_EQ(sink.all, "");
                EXPECT_TRUE(sink.abandoned);
            }
        });
        EXPECT_GE(tried, 3);
    }
}

TEST(ContentLengthOutputStream, CanReplaceABodyThatMemoryDidNotSufficeFor) {
    RecordingOutputStream sink;
    FakeHead head;
    CContentLengthOutputStream body(&sink, &head);
    PEL_Fault::fail_allocation(1);
    EXPECT_EQ(body.write("lost", 4), 0);
    PEL_Fault::fail_allocation(0);
    EXPECT_EQ(body.status(), kStreamNoMemory);
    body.write("behind the gap", 14);
    EXPECT_TRUE(body.discard());
    body.write("fault", 5);
    body.close();
    EXPECT_EQ(sink.all, "HEAD;Content-Length=5;fault");
}

TEST(ContentLengthStreams, NeedStreamAndHead) {
    RecordingOutputStream sink;
    PiecewiseInputStream source("", 1);
    FakeHead head;
    EXPECT_EQ(CContentLengthOutputStream(nullptr, &head).status(), kStreamNullArgument);
    EXPECT_EQ(CContentLengthOutputStream(&sink, nullptr).status(), kStreamNullArgument);
    EXPECT_EQ(CContentLengthInputStream(nullptr, &head).status(), kStreamNullArgument);
    EXPECT_EQ(CContentLengthInputStream(&source, nullptr).status(), kStreamNullArgument);
    EXPECT_EQ(CContentLengthInputStream(&source, &head).status(), kStreamGood);
}

TEST(ContentLengthStreams, DeleteWhatIsBelowOnlyIfToldTo) {
    FakeHead head;
    for (const int owns : {0, 1}) {
        RecordingOutputStream target;
        bool sink_deleted = false;
        bool source_deleted = false;
        auto sink = std::make_unique<MortalOutputStream>(&target, &sink_deleted);
        auto source = std::make_unique<MortalInputStream>("", &source_deleted);
        {
            CContentLengthOutputStream writer(sink.get(), &head);
            writer.set_owns_sink(owns);
            CContentLengthInputStream reader(source.get(), &head);
            reader.set_owns_source(owns);
        }
        EXPECT_EQ(sink_deleted, owns == 1);
        EXPECT_EQ(source_deleted, owns == 1);
        if (sink_deleted) sink.release();
        if (source_deleted) source.release();
    }
}

constexpr const char* kNoHeader = nullptr;

struct LengthCase {
    const char* name;
    const char* length;  // the header's value
    std::string_view wire;
    std::string_view body;
    std::string_view left_over = "";
    BodyEnd end = BodyEnd::exact;
    long long limit = 0;
    bool too_large = false;
};

constexpr BodyEnd kNotClean = BodyEnd::not_clean;

const LengthCase kLengthCases[] = {
    {"Whole", "5", "hello", "hello"},
    {"NextMessageStays", "5", "helloPOST", "hello", "POST"},
    {"NoBytes", "0", "POST", "", "POST"},
    {"BlanksAround", "  5  ", "hello", "hello"},
    {"CutOff", "5", "hel", "hel", "", kNotClean},
    {"NothingAtAll", "5", "", "", "", kNotClean},
    {"NoHeaderReadsToTheEnd", kNoHeader, "hello", "hello", "", kNotClean},
    {"Negative", "-5", "hello", "", "hello", kNotClean},
    {"NoNumber", "abc", "hello", "", "hello", kNotClean},
    {"Empty", "", "hello", "", "hello", kNotClean},
    {"SignAlone", "-", "hello", "", "hello", kNotClean},
    {"PlusIsNoLength", "+2", "hello", "he", "llo", kNotClean},
    {"DigitsThenRubbish", "2x", "hello", "he", "llo", kNotClean},
    {"Listed", "2, 2", "hello", "he", "llo", kNotClean},
    {"Of31Bits", "2147483647", "hello", "hello", "", kNotClean},
    {"Of32Bits", "2147483648", "hello", "", "hello", kNotClean, 0, true},
    {"OverflowsTo5", "18446744073709551621", "hello", "", "hello", kNotClean, 0, true},
    {"HugeNegative", "-99999999999999999999999999", "hello", "", "hello", kNotClean},
    {"BelowTheLimit", "5", "hello", "hello", "", BodyEnd::exact, 6},
    {"AtTheLimit", "5", "hello", "hello", "", BodyEnd::exact, 5},
    {"AboveTheLimit", "5", "hello", "", "hello", kNotClean, 4, true},
    {"UnlimitedBelowTheLimit", kNoHeader, "hello", "hello", "", kNotClean, 6},
    {"UnlimitedAtTheLimit", kNoHeader, "hello", "hello", "", kNotClean, 5},
    {"UnlimitedAboveTheLimit", kNoHeader, "hello", "hell", "", kNotClean, 4, true},
};

TEST(ContentLengthInputStream, GivesTheSameBodyHoweverTheBytesArrive) {
    for (const LengthCase& c : kLengthCases) {
        for (int step = 1; step <= 9; ++step) {
            for (const int wanted : {1, 3, 512}) {
                SCOPED_TRACE(testing::Message()
                             << c.name << " in pieces of " << step << ", reads of " << wanted);
                PiecewiseInputStream source(c.wire, step);
                FakeHead head;
                if (c.length != nullptr) head.incoming["Content-Length"] = c.length;
                head.max_body = c.limit;
                CContentLengthInputStream body(&source, &head);
                EXPECT_EQ(read_all(body, wanted), c.body);
                EXPECT_EQ(source.unread(), c.left_over);
                EXPECT_EQ(body.end(), c.end);
                EXPECT_EQ(head.too_large, c.too_large);
                char byte = 0;
                EXPECT_EQ(body.read(&byte, 1), -1);
                EXPECT_EQ(body.get(), -1);
            }
        }
    }
}

TEST(ContentLengthInputStream, IsNotCleanWithStrayBytesReadAhead) {
    FakeHead head;
    head.incoming["Content-Length"] = "2";
    for (const char* wire : {"ab", "abc"}) {
        PiecewiseInputStream source(wire, 512);
        CBufferedInputStream buffered(&source);
        CContentLengthInputStream body(&buffered, &head);
        EXPECT_EQ(body.end(), BodyEnd::open);
        EXPECT_EQ(body.get(), 'a');
        EXPECT_EQ(body.end(), BodyEnd::open);
        EXPECT_EQ(body.get(), 'b');
        EXPECT_EQ(body.end(), wire[2] == '\0' ? BodyEnd::exact : kNotClean);
    }
}

TEST(ContentLengthInputStream, IsDrainedWithinALimit) {
    const std::string text(5000, 'x');
    for (const long long limit : {0LL, 1LL, 2048LL, 4998LL, 4999LL, 5000LL, 1LL << 40}) {
        SCOPED_TRACE(limit);
        PiecewiseInputStream source(text, 512);
        CBufferedInputStream buffered(&source);
        FakeHead head;
        head.incoming["Content-Length"] = "5000";
        CContentLengthInputStream body(&buffered, &head);
        EXPECT_EQ(body.get(), 'x');
        EXPECT_EQ(body.drain(limit), limit >= 4999);
    }
}

TEST(ContentLengthInputStream, DrainsNothingOfABodyWithoutAnEnd) {
    PiecewiseInputStream source("hello", 512);
    FakeHead head;
    CContentLengthInputStream body(&source, &head);
    EXPECT_FALSE(body.drain(1 << 20));
    EXPECT_EQ(source.reads, 0);
}

}  // namespace
