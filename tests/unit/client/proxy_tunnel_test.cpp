// SPDX-License-Identifier: MIT
#include "client/proxy_tunnel.h"

#include <gtest/gtest.h>

#include <string>

#include "support/named_row.h"

namespace {

using State = TunnelAnswer::State;

struct AnswerCase : soap_test::NamedRow {
    std::string text;
    State end;
    std::string reason;
};

class Answer : public testing::TestWithParam<AnswerCase> {};

TEST_P(Answer, IsUnderstoodHoweverItComes) {
    const AnswerCase& row = GetParam();
    for (const std::size_t size : {row.text.size(), std::size_t{1}}) {
        TunnelAnswer answer;
        State state = State::incomplete;
        for (std::size_t at = 0; at < row.text.size(); at += size) {
            ASSERT_EQ(state, State::incomplete) << at;
            state = answer.take(std::string_view(row.text).substr(at, size));
            if (size == 1 && row.end == State::failed && state != State::incomplete) break;
        }
        EXPECT_EQ(state, row.end) << size;
        EXPECT_EQ(answer.reason(), row.reason);
    }
}

const AnswerCase kAnswers[] = {
    {{"Open"}, "HTTP/1.1 200 Connection established\r\n\r\n", State::open, ""},
    {{"OpenWithHeaders"}, "HTTP/1.0 200 OK\r\nVia: a\r\nContent-Length: 9\r\n\r\n", State::open, ""},
    {{"AnySuccess"}, "HTTP/1.1 204\r\n\r\n", State::open, ""},
    {{"LineFeedsAlone"}, "HTTP/1.1 200 OK\nVia: a\n\n", State::open, ""},
    {{"AfterInterimOnes"},
     "HTTP/1.1 100 Go\r\n\r\nHTTP/1.1 103 Hints\r\nA: b\r\n\r\nHTTP/1.1 200 OK\r\n\r\n",
     State::open,
     ""},
    {{"Refused"},
     "HTTP/1.1 407 Proxy Authentication Required\r\nA: b\r\n\r\n",
     State::refused,
     "407 Proxy Authentication Required"},
    {{"Unreachable"}, "HTTP/1.1 502 Bad\x1b[2J Gateway\r\n\r\n", State::failed, "502 Bad?[2J Gateway"},
    {{"Moved"}, "HTTP/1.1 302 Found\r\n\r\n", State::failed, "302 Found"},
    {{"LongWords"},
     "HTTP/1.1 500 " + std::string(300, 'x') + "\r\n\r\n",
     State::failed,
     "500 " + std::string(96, 'x')},
    {{"Unfinished"}, "HTTP/1.1 200 OK\r\nVia: a\r\n", State::incomplete, ""},
    {{"NoHttp"}, "SSH-2.0-x\r\n\r\n", State::failed, "its answer is not HTTP/1.1"},
    {{"NoNumber"}, "HTTP/1.1 2x0 OK\r\n\r\n", State::failed, "its answer is not HTTP/1.1"},
    {{"LongNumber"}, "HTTP/1.1 2000 OK\r\n\r\n", State::failed, "its answer is not HTTP/1.1"},
    {{"OtherVersion"}, "HTTP/2.0 200 OK\r\n\r\n", State::failed, "its answer is not HTTP/1.1"},
    {{"WithoutEnd"},
     "HTTP/1.1 200 OK\r\nA: " + std::string(16400, 'a'),
     State::failed,
     "its answer has no end"},
};
INSTANTIATE_TEST_SUITE_P(All, Answer, testing::ValuesIn(kAnswers), soap_test::row_name);

TEST(Answer, IsFollowedByNothing) {
    TunnelAnswer answer;
    EXPECT_EQ(answer.take("HTTP/1.1 200 OK\r\n\r\n\x16"), State::failed);
    EXPECT_EQ(answer.reason(), "more followed its answer");
}

TEST(Answer, OfManyInterimOnesHasAnEnd) {
    TunnelAnswer answer;
    State state = State::incomplete;
    int count = 0;
    for (; state == State::incomplete && count < 10000; ++count)
        state = answer.take("HTTP/1.1 100 Go\r\n\r\n");
    EXPECT_EQ(state, State::failed);
}

}  // namespace
