// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstring>

#include "http/http_message.h"
#include "support/piecewise_stream.h"

namespace {

/// The head as written, with the text of its date replaced.
std::string written_head(CHttpMessage& message) {
    RecordingOutputStream sink;
    message.WriteHeader(&sink);
    std::string head = sink.all;
    const std::size_t at = head.find("\r\nDate: ");
    if (at == std::string::npos || head.size() < at + 39) return "no date: " + head;
    return head.replace(at + 8, 29, "<date>");
}

struct ResponseCase {
    const char* name;
    const char* request;
    int status;
    const char* head;
};

const ResponseCase kResponseCases[] = {
    {"Version11", "POST /a HTTP/1.1\r\n\r\n", 200,
     "HTTP/1.1 200 OK\r\nDate: <date>\r\nServer: ZOLT http version 1.0\r\nConnection: Close\r\n"
     "Content-Type: text/xml\r\nContent-Length: 5\r\n\r\n"},
    {"Version10Kept", "POST /a HTTP/1.0\r\nConnection: keep-ALIVE\r\n\r\n", 200,
     "HTTP/1.0 200 OK\r\nDate: <date>\r\nServer: ZOLT http version 1.0\r\n"
     "Content-Type: text/xml\r\nContent-Length: 5\r\n\r\n"},
    {"KeepAliveIsTheWholeValue", "POST /a HTTP/1.0\r\nConnection: Keep-Alive, foo\r\n\r\n", 500,
     "HTTP/1.0 500 Internal Server Error\r\nDate: <date>\r\nServer: ZOLT http version 1.0\r\n"
     "Connection: Close\r\nContent-Type: text/xml\r\nContent-Length: 5\r\n\r\n"},
    {"StatusComesFromTheTable", "POST /a HTTP/1.0\r\nConnection: close\r\n\r\n", 999,
     "HTTP/1.0 500 Internal Server Error\r\nDate: <date>\r\nServer: ZOLT http version 1.0\r\n"
     "Connection: Close\r\nContent-Type: text/xml\r\nContent-Length: 5\r\n\r\n"},
    {"VersionsThatFillTheirFields", "POST /a HTTP/-99999.-99999\r\n\r\n", 505,
     "HTTP/-32768.-32768 505 HTTP Version Not Supported\r\nDate: <date>\r\nServer: ZOLT http version 1.0\r\n"
     "Connection: Close\r\nContent-Type: text/xml\r\nContent-Length: 5\r\n\r\n"},
};

TEST(HeadWriter, AnswersARequestInItsVersion) {
    for (const ResponseCase& c : kResponseCases) {
        SCOPED_TRACE(c.name);
        PiecewiseInputStream request(c.request, 512);
        CHttpMessage message(HTTP_SERVER_SIDE);
        ASSERT_EQ(message.ReadHeader(&request), 1);
        message.SetStatus(c.status);
        message.AddResponseHeader("Content-Type", "text/xml");
        message.AddOutgoingHeader("Content-Length", "5");
        message.AddResponseHeader("Ignored", nullptr);
        EXPECT_EQ(written_head(message), c.head);
        EXPECT_EQ(message.IsKeepAlive(), std::strstr(c.head, "Connection: Close") == nullptr ? 1 : 0);
    }
}

TEST(HeadWriter, WritesARequestInTheOrderOfItsHeaders) {
    CHttpMessage message(HTTP_CLIENT_SIDE);
    message.AddRequestHeader("Transfer-Encoding", "chunked");
    message.SetMethod("POST");
    message.SetPath("x");
    message.AddRequestHeader("Host", "h:1");
    message.AddRequestHeader("Connection", "Keep-Alive");
    message.AddRequestHeader("host", "h:2");
    EXPECT_FALSE(message.IsHeaderWritten());
    EXPECT_EQ(written_head(message),
              "POST /x HTTP/1.0\r\nDate: <date>\r\nTransfer-Encoding: chunked\r\nHost: h:2\r\n"
              "Connection: Keep-Alive\r\n\r\n");
    EXPECT_TRUE(message.IsHeaderWritten());
    EXPECT_TRUE(message.IsKeepAlive());

    RecordingOutputStream sink;
    message.AddRequestHeader("Late", "1");
    message.WriteHeader(&sink);
    EXPECT_TRUE(sink.writes.empty());
}

TEST(HeadWriter, WritesAQueryBehindOneQuestionMark) {
    CHttpMessage message(HTTP_CLIENT_SIDE);
    message.SetMethod("POST");
    message.SetPath("a/b");
    message.SetQuery("c=d?e");
    EXPECT_EQ(written_head(message), "POST /a/b?c=d?e HTTP/1.0\r\nDate: <date>\r\n\r\n");
}

TEST(HeadWriter, WritesEveryPieceByItself) {
    CHttpMessage message(HTTP_SERVER_SIDE);
    message.AddResponseHeader("A", "1");
    RecordingOutputStream sink;
    message.WriteHeader(&sink);
    ASSERT_EQ(sink.writes.size(), 1U + 4 * 5 + 1);
    EXPECT_EQ(sink.writes[0], "HTTP/1.0 200 OK\r\n");
    EXPECT_EQ(sink.writes[1] + sink.writes[2] + sink.writes[3], "Date: ");
    EXPECT_EQ(sink.writes[16], "A");
    EXPECT_EQ(sink.writes.back(), "\r\n");
}

TEST(HeadWriter, LeavesOutWhatMemoryDidNotSufficeFor) {
    CHttpMessage message(HTTP_CLIENT_SIDE);
    message.SetPath("old");
    PEL_Fault::fail_allocation(1);
    message.SetPath("new");
    PEL_Fault::fail_allocation(0);
    EXPECT_EQ(message.GetPath(), nullptr);
    EXPECT_EQ(message.GetError(), kStreamNoMemory);
    EXPECT_EQ(written_head(message), " / HTTP/1.0\r\nDate: <date>\r\n\r\n");
}

}  // namespace
