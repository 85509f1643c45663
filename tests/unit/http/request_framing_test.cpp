// SPDX-License-Identifier: MIT
#include "http/request_framing.h"

#include <gtest/gtest.h>
#include <pelthread/memory.h>

#include <string>
#include <string_view>

namespace {

using Found = RequestFraming::Found;

constexpr long long kMaxBody = 1000;
constexpr long long kMaxGathered = 300;

struct FramingCase {
    const char* name;
    std::string wire;
    Found found;             // of all of it
    std::size_t length = 0;  // where it is whole
};

const std::string kHead = "POST /a HTTP/1.1\r\nHost: x\r\n";

FramingCase counted(const char* name, const char* length, std::size_t bytes, Found found,
                    std::size_t counts) {
    const std::string head = kHead + "Content-Length: " + length + "\r\n\r\n";
    return {name, head + std::string(bytes, 'b'), found, head.size() + counts};
}

FramingCase chunked(const char* name, const std::string& body, Found found, std::size_t behind = 0) {
    const std::string wire = kHead + "Transfer-Encoding: chunked\r\n\r\n" + body;
    return {name, wire, found, wire.size() - behind};
}

const FramingCase kCases[] = {
    counted("Counted", "10", 10, Found::whole, 10),
    counted("CountedWithTheNextBehind", "10", 25, Found::whole, 10),
    counted("CountedButShort", "10", 9, Found::incomplete, 0),
    counted("NoBodyAtAll", "0", 0, Found::whole, 0),
    counted("ALengthThatIsNone", "many", 10, Found::whole, 0),
    counted("ANegativeLength", "-1", 10, Found::whole, 0),
    counted("ALengthAtTheLimit", "1000", 5, Found::large, 0),
    counted("ALengthBeyondTheLimit", "1001", 10, Found::whole, 0),
    counted("AsMuchAsIsGathered", "300", 299, Found::incomplete, 0),
    counted("MoreThanIsGathered", "301", 5, Found::large, 0),
    {"BareLineFeeds", "POST /a HTTP/1.1\nContent-Length: 2\n\nbb", Found::whole, 38},
    {"ToTheEnd", kHead + "\r\n" + std::string(300, 'b'), Found::incomplete},
    {"ToTheEndAndLarge", kHead + "\r\n" + std::string(301, 'b'), Found::large},
    {"HalfALine", "POST /a HT", Found::incomplete},
    {"AHeadWithoutItsLastLineEnd", kHead + "\r", Found::incomplete},
    {"NoMethod", "HELO example", Found::unreadable},
    {"NoVersion", "POST /a\r\n\r\n", Found::unreadable},
    {"AHeadThatNeverEnds", kHead + std::string(70'000, 'x'), Found::unreadable},
    chunked("Chunks", "5\r\nabcde\r\nA\r\n0123456789\r\n0\r\n\r\n", Found::whole),
    chunked("ChunksWithTheNextBehind", "1\r\na\r\n0\r\n\r\nPOST", Found::whole, 4),
    chunked("AChunkThatIsCutOff", "ff\r\nabc", Found::incomplete),
    chunked("ASizeThatIsCutOff", "f", Found::incomplete),
    chunked("ASizeThatNeverEnds", std::string(200, '1'), Found::unreadable),
    chunked("ASizeBeyond31Bits", "80000000\r\n", Found::unreadable),
    chunked("AChunkBeyondTheLimit", "3e9\r\n", Found::unreadable),
    chunked("ChunksBeyondTheLimitTogether", "100\r\n" + std::string(256, 'c') + "\r\n2e9\r\n",
            Found::unreadable),
    chunked("MoreChunksThanAreGathered", "12d\r\n" + std::string(301, 'c'), Found::large),
};

class RequestFramingOf : public testing::TestWithParam<FramingCase> {};

Found look(RequestFraming& framing, std::string_view received) {
    return framing.look(received, kMaxBody, kMaxGathered);
}

TEST_P(RequestFramingOf, IsTheSameHoweverTheBytesArrive) {
    const FramingCase& c = GetParam();
    for (std::size_t step :
         {std::size_t{1}, std::size_t{2}, std::size_t{3}, std::size_t{7}, std::size_t{64}, c.wire.size()}) {
        SCOPED_TRACE(testing::Message() << "in pieces of " << step);
        RequestFraming framing;
        Found found = Found::incomplete;
        std::size_t came = 0;
        while (found == Found::incomplete && came < c.wire.size()) {
            came = std::min(came + step, c.wire.size());
            // A block of just this size shows the sanitizer a look beyond its end.
            const std::string exactly(c.wire, 0, came);
            found = look(framing, exactly);
        }
        EXPECT_EQ(found, c.found);
        if (found == Found::whole) {
            EXPECT_EQ(framing.length(), c.length);
            EXPECT_TRUE(framing.has_head());
            EXPECT_STREQ(framing.take_message()->GetPath(), "/a");
        }
        if (found == Found::large) {
            EXPECT_TRUE(framing.has_head());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Requests, RequestFramingOf, testing::ValuesIn(kCases),
                         [](const auto& tested) { return tested.param.name; });

TEST(RequestFraming, KnowsNoRequestWhenMemoryEnds) {
    const std::string wire = kHead + "Content-Length: 2\r\n\r\nbb";
    for (long nth = 1;; ++nth) {
        RequestFraming framing;
        PEL_Fault::fail_allocation(nth);
        const Found found = look(framing, wire);
        const bool failed = PEL_Fault::happened();
        PEL_Fault::fail_allocation(0);
        if (!failed) break;
        ASSERT_EQ(found, Found::unreadable) << nth;
        framing.reset();
        ASSERT_EQ(look(framing, wire), Found::whole);
    }
}

}  // namespace
