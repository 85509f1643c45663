// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "http/http_message.h"
#include "streams/buffered_streams.h"
#include "support/piecewise_stream.h"

namespace {

std::string told(const CHttpMessage& message, const std::vector<const char*>& names) {
    std::string text;
    for (const char* name : names) {
        const char* value = message.GetIncomingHeader(name);
        text += value != nullptr ? "[" + std::string(value) + "]" : "-";
    }
    return text;
}

std::string text_or_dash(const char* text) {
    return text != nullptr ? text : "-";
}

struct RequestCase {
    const char* name;
    std::string_view head;
    const char* parsed;          // method|path|query|version, null where the head is refused
    const char* headers = "--";  // of "A" and "B"
    const char* left_over = "";
};

const RequestCase kRequestCases[] = {
    {"Post", "POST /a/b?x=1 HTTP/1.1\r\n\r\nbody", "POST|/a/b|x=1|1.1", "--", "body"},
    {"LowerCase", "post /a HTTP/1.0\r\n\r\n", "post|/a|-|1.0"},
    {"GetKeepsItsBlank", "GET /a HTTP/1.1\r\n\r\n", "GET |/a|-|1.1"},
    {"EmptyQuery", "POST /a? HTTP/1.1\r\n\r\n", "POST|/a||1.1"},
    {"SecondQuestionMarkIsQuery", "POST /a?b?c HTTP/1.1\r\n\r\n", "POST|/a|b?c|1.1"},
    {"SlashAfterTheQuery", "POST /a?b/c HTTP/1.1\r\n\r\n", "POST|/a|b/c|1.1"},
    {"AbsoluteTarget", "POST http://h/a HTTP/1.1\r\n\r\n", "POST|//h/a|-|1.1"},
    {"AnyWordBeforeTheVersion", "POST /a X/7.12\r\n\r\n", "POST|/a|-|7.12"},
    {"HugeVersion", "POST /a HTTP/99999999999999999999.1\r\n\r\n", "POST|/a|-|32767.1"},
    {"LfAlone", "POST /a HTTP/1.1\nA: 1\n\nrest", "POST|/a|-|1.1", "[1]-", "rest"},
    {"EmptyFirstLineEndsTheBlock", "POST /a HTTP/1.1\r\n\nA: 1\r\n\r\n", "POST|/a|-|1.1", "--",
     "A: 1\r\n\r\n"},
    {"Headers", "POST /a HTTP/1.1\r\nA: 1\r\nb:2\r\n\r\n", "POST|/a|-|1.1", "[1][2]"},
    {"BlanksAndTabsBeforeAValue", "POST /a HTTP/1.1\r\nA: \t x y \t\r\n\r\n", "POST|/a|-|1.1", "[x y \t]-"},
    {"EmptyValue", "POST /a HTTP/1.1\r\nA:\r\nB: \r\n\r\n", "POST|/a|-|1.1", "[][]"},
    {"ValueWithColons", "POST /a HTTP/1.1\r\nA: b:c:d\r\n\r\n", "POST|/a|-|1.1", "[b:c:d]-"},
    {"CrInsideALine", "POST /a HTTP/1.1\r\nA: x\ry\r\n\r\n", "POST|/a|-|1.1", "[x\ry]-"},
    {"LastOfRepeatedWins", "POST /a HTTP/1.1\r\nA: 1\r\nB: 2\r\na: 3\r\n\r\n", "POST|/a|-|1.1", "[3][2]"},
    {"Continued", "POST /a HTTP/1.1\r\nA: a\r\n b\r\n\tc\r\nB: 2\r\n\r\n", "POST|/a|-|1.1", "[a b\tc][2]"},
    {"NoColonVanishes", "POST /a HTTP/1.1\r\nNoColon\r\nB: 2\r\n\r\n", "POST|/a|-|1.1", "-[2]"},
    {"NoColonContinued", "POST /a HTTP/1.1\r\nNo\r\n A: 2\r\n\r\n", "POST|/a|-|1.1", "--"},
    {"ServerTakesStatusLikeHeaders", "POST /a HTTP/1.1\r\nA: 100\r\n\r\n", "POST|/a|-|1.1", "[100]-"},

    {"UnknownMethod", "PUT /a HTTP/1.1\r\n\r\n", nullptr, "--", " /a HTTP/1.1\r\n\r\n"},
    {"EmptyInput", "", nullptr},
    {"NoSlash", "POST a HTTP\r\n\r\n", nullptr},
    {"NoBlankBehindTheTarget", "POST /a\r\n\r\n", nullptr},
    {"NoVersion", "POST /a \r\n\r\n", nullptr},
    {"VersionWordAlone", "POST /a HTTP\r\n\r\n", nullptr},
    {"VersionWithoutDot", "POST /a HTTP/1\r\n\r\n", nullptr},
    {"BlankFirstLine", "\r\nPOST /a HTTP/1.1\r\n\r\n", nullptr},
    {"ContinuesNothing", "POST /a HTTP/1.1\r\n A: 1\r\n\r\n", nullptr},
    {"ContinuesNothingByTab", "POST /a HTTP/1.1\r\n\tA: 1\r\n\r\n", nullptr},
    {"CutOffInTheBlock", "POST /a HTTP/1.1\r\nA: 1\r\n", nullptr},
};

TEST(HeadReader, ReadsARequestHoweverItsBytesArrive) {
    for (const RequestCase& c : kRequestCases) {
        const int length = std::max(static_cast<int>(c.head.size()), 1);
        for (int step = 1; step <= length; ++step) {
            for (const bool buffered : {false, true}) {
                SCOPED_TRACE(testing::Message() << c.name << " in pieces of " << step);
                PiecewiseInputStream source(c.head, step);
                CBufferedInputStream block(&source);
                CHttpMessage message(HTTP_SERVER_SIDE);
                ASSERT_EQ(buffered ? message.ReadHeader(&block) : message.ReadHeader(&source),
                          c.parsed != nullptr ? 1 : 0);
                EXPECT_EQ(message.IsHeaderRead(), c.parsed != nullptr ? 1 : 0);
                if (c.parsed == nullptr) continue;
                const std::string parsed =
                    text_or_dash(message.GetMethod()) + "|" + text_or_dash(message.GetPath()) + "|" +
                    text_or_dash(message.GetQuery()) + "|" + std::to_string(message.GetMajorVersion()) + "." +
                    std::to_string(message.GetMinorVersion());
                EXPECT_EQ(parsed, c.parsed);
                EXPECT_EQ(told(message, {"A", "B"}), c.headers);
                EXPECT_EQ(buffered ? read_all(block) : source.unread(), c.left_over);
            }
        }
    }
}

TEST(HeadReader, RefusesEveryPrefixOfAHead) {
    const std::string whole = "POST /a?q HTTP/1.1\r\nHost: x\r\nA: 1\r\n 2\r\n\r\n";
    for (std::size_t length = 0; length < whole.size(); ++length) {
        PiecewiseInputStream source(std::string_view(whole).substr(0, length), 512);
        CBufferedInputStream block(&source);
        CHttpMessage message(HTTP_SERVER_SIDE);
        EXPECT_EQ(message.ReadHeader(&block), 0) << length;
    }
}

TEST(HeadReader, StopsAtAMethodThatItDoesNotKnow) {
    PiecewiseInputStream source("PUT /a HTTP/1.1\r\n\r\n", 1);
    CHttpMessage message(HTTP_SERVER_SIDE);
    EXPECT_EQ(message.ReadHeader(&source), 0);
    EXPECT_EQ(source.unread(), "/a HTTP/1.1\r\n\r\n");
}

struct StatusCase {
    const char* name;
    std::string_view head;
    int status;  // 0 where the head is refused
    const char* headers = "--";
    const char* left_over = "";
};

const StatusCase kStatusCases[] = {
    {"Ok", "HTTP/1.1 200 OK\r\nA: 1\r\n\r\nbody", 200, "[1]-", "body"},
    {"LowerCaseWord", "http/1.0 404 Not Found\r\n\r\n", 404},
    {"NoReason", "HTTP/1.1 500\r\n\r\n", 500},
    {"ManyBlanks", "HTTP/1.1    302   Found\r\n\r\n", 302},
    {"NoBlank", "HTTP/1.1200 OK\r\n\r\n", 200},
    {"InterimIsDropped", "HTTP/1.1 100 Continue\r\nA: 0\r\nB: 0\r\n\r\nHTTP/1.1 200 OK\r\nA: 1\r\n\r\n", 200,
     "[1]-"},
    {"TwoInterims", "HTTP/1.1 100\r\n\r\nHTTP/1.1 100 C\r\n\r\nHTTP/1.1 204 N\r\n\r\nx", 204, "--", "x"},
    {"HugeStatus", "HTTP/1.1 99999999999999999999 X\r\n\r\n", 2147483647},
    {"Zero", "HTTP/1.1 0 OK\r\n\r\n", 0},
    {"NoNumber", "HTTP/1.1 OK\r\n\r\n", 0},
    {"NothingBehindTheVersion", "HTTP/1.1\r\n\r\n", 0},
    {"BlanksBehindTheVersion", "HTTP/1.1   \r\n\r\n", 0},
    {"LongMajorVersion", "HTTP/10.1 200 OK\r\n\r\n", 0},
    {"NoSlash", "HTTP 1.1 200 OK\r\n\r\n", 0},
    {"TooShort", "HTTP/1.\r\n\r\n", 0},
    {"AnotherWord", "ICAP/1.1 200 OK\r\n\r\n", 0},
    {"InterimThenEnd", "HTTP/1.1 100 Continue\r\n\r\n", 0},
    {"InterimThenRubbish", "HTTP/1.1 100 Continue\r\n\r\nbody", 0},
};

TEST(HeadReader, ReadsAResponseHoweverItsBytesArrive) {
    for (const StatusCase& c : kStatusCases) {
        for (int step = 1; step <= static_cast<int>(c.head.size()); ++step) {
            SCOPED_TRACE(testing::Message() << c.name << " in pieces of " << step);
            PiecewiseInputStream source(c.head, step);
            CBufferedInputStream block(&source);
            CHttpMessage message(HTTP_CLIENT_SIDE);
            ASSERT_EQ(message.ReadHeader(&block), c.status != 0 ? 1 : 0);
            if (c.status == 0) continue;
            EXPECT_EQ(message.GetStatus(), c.status);
            EXPECT_EQ(told(message, {"A", "B"}), c.headers);
            EXPECT_EQ(read_all(block), c.left_over);
        }
    }
}

TEST(HeadReader, ReadsTheVersionOfAStatusLineDigitByDigit) {
    PiecewiseInputStream source("HTTP/2.x 200 OK\r\n\r\n", 100);
    CHttpMessage message(HTTP_CLIENT_SIDE);
    EXPECT_EQ(message.ReadHeader(&source), 1);
    EXPECT_EQ(message.GetMajorVersion(), 2);
    EXPECT_EQ(message.GetMinorVersion(), 0);
    EXPECT_EQ(message.ReadHeader(&source), 1);
}

constexpr std::string_view kStart = "POST /a HTTP/1.1\r\n";

std::string repeated(std::string_view text, std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) all += text;
    return all;
}

struct SizeCase {
    const char* name;
    std::string head;
    bool accepted;
};

TEST(HeadReader, KeepsAHeadWithinItsLimits) {
    constexpr std::size_t kLine = kMaxHeadLineBytes;
    const std::string line_of_8k = "X: " + std::string(8189 - 2, 'x') + "\r\n";  // 8 KiB with its end
    const std::size_t rest = kMaxHeadBytes - 7 * 8192 - (kStart.size() - 4) - 2;
    const SizeCase cases[] = {
        {"LineAtTheLimit", std::string(kStart) + std::string(kLine, 'x') + "\r\n\r\n", true},
        {"LineBeyondTheLimit", std::string(kStart) + std::string(kLine + 1, 'x') + "\r\n\r\n", false},
        {"StartLineBeyondTheLimit", "POST /" + std::string(kLine, 'x') + " HTTP/1.1\r\n\r\n", false},
        {"LinesAtTheLimit", std::string(kStart) + repeated("A: 1\r\n", kMaxHeadLines - 2) + "\r\n", true},
        {"LinesBeyondTheLimit", std::string(kStart) + repeated("A: 1\r\n", kMaxHeadLines - 1) + "\r\n",
         false},
        {"BytesAtTheLimit",
         std::string(kStart) + repeated(line_of_8k, 7) + std::string(rest - 2, 'y') + "\r\n\r\n", true},
        {"BytesBeyondTheLimit",
         std::string(kStart) + repeated(line_of_8k, 7) + std::string(rest - 1, 'y') + "\r\n\r\n", false},
        {"ContinuedForEver", std::string(kStart) + "A: 1\r\n" + repeated(" 2\r\n", 300) + "\r\n", false},
    };
    for (const SizeCase& c : cases) {
        SCOPED_TRACE(c.name);
        PiecewiseInputStream source(c.head, 512);
        CBufferedInputStream block(&source);
        CHttpMessage message(HTTP_SERVER_SIDE);
        EXPECT_EQ(message.ReadHeader(&block), c.accepted ? 1 : 0);
    }
}

TEST(HeadReader, CountsInterimResponsesIntoTheLimits) {
    const std::string head =
        repeated("HTTP/1.1 100 Continue\r\n\r\n", kMaxHeadLines) + "HTTP/1.1 200 OK\r\n\r\n";
    PiecewiseInputStream source(head, 512);
    CHttpMessage message(HTTP_CLIENT_SIDE);
    EXPECT_EQ(message.ReadHeader(&source), 0);
}

TEST(HeadReader, StopsReadingSoonInAHeadWithoutEnd) {
    for (const std::string_view unit :
         {std::string_view("x"), std::string_view("A: b\r\n"), std::string_view("\0", 1)}) {
        const std::string head = std::string(kStart) + repeated(unit, 600'000 / unit.size());
        PiecewiseInputStream source(head, 512);
        CBufferedInputStream block(&source);
        CHttpMessage message(HTTP_SERVER_SIDE);
        EXPECT_EQ(message.ReadHeader(&block), 0);
        EXPECT_GE(source.unread().size(), head.size() - kMaxHeadBytes - 2 * kStreamBlock);
    }
}

TEST(HeadReader, FailsOrReadsAllWhicheverAllocationFails) {
    const std::string head = "POST /a?q HTTP/1.1\r\nA: " + std::string(800, 'x') + "\r\nB: 2\r\nB: 3\r\n\r\n";
    const long tried = with_each_allocation_failing([&] {
        PiecewiseInputStream source(head, 100);
        CHttpMessage message(HTTP_SERVER_SIDE);
        if (!message.ReadHeader(&source)) return;
        EXPECT_STREQ(message.GetMethod(), "POST");
        EXPECT_STREQ(message.GetPath(), "/a");
        EXPECT_STREQ(message.GetQuery(), "q");
        EXPECT_NE(message.GetRequestHeader("A"), nullptr);
        EXPECT_STREQ(message.GetRequestHeader("B"), "3");
        EXPECT_EQ(message.GetError(), 0);
    });
    EXPECT_GE(tried, 8);
}

}  // namespace
