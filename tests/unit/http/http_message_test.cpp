// SPDX-License-Identifier: MIT
#include "http/http_message.h"

#include <gtest/gtest.h>

#include <memory>

#include "streams/socket_streams.h"
#include "support/piecewise_stream.h"

namespace {

/// Bytes of a message with its Date line taken out.
std::string without_date(std::string text) {
    const std::size_t at = text.find("Date: ");
    return at == std::string::npos ? text : text.erase(at, text.find("\r\n", at) + 2 - at);
}

struct ReaderCase {
    const char* name;
    std::string_view wire;
    const char* body;  // null where there is no reader
    bool clean = true;
};

const ReaderCase kReaderCases[] = {
    {"ByLength", "POST /a HTTP/1.1\r\nContent-Length: 5\r\n\r\nhello", "hello"},
    {"Chunked", "POST /a HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n", "hello"},
    {"ChunkedWhateverItSays", "POST /a HTTP/1.1\r\nTransfer-Encoding: x\r\n\r\n5\r\nhello\r\n0\r\n\r\n",
     "hello"},
    {"ChunkedGoesBeforeLength",
     "POST /a HTTP/1.1\r\nTransfer-Encoding: chunked\r\nContent-Length: 3\r\n\r\n5\r\nhello\r\n0\r\n\r\n",
     "hello", false},
    {"ToTheEnd", "GET /a HTTP/1.1\r\n\r\nhello", "hello", false},
    {"StrayBytes", "POST /a HTTP/1.1\r\nContent-Length: 2\r\n\r\nhello", "he", false},
    {"NegativeLength", "POST /a HTTP/1.1\r\nContent-Length: -2\r\n\r\nhello", "", false},
    {"BadHead", "POST\r\n\r\nhello", nullptr},
    {"NoHead", "", nullptr},
};

TEST(HttpMessage, ChoosesTheReaderOfTheBodyByTheHead) {
    for (const ReaderCase& c : kReaderCases) {
        for (int step = 1; step <= std::max(static_cast<int>(c.wire.size()), 1); ++step) {
            SCOPED_TRACE(testing::Message() << c.name << " in pieces of " << step);
            PiecewiseInputStream source(c.wire, step);
            CHttpMessage message(HTTP_SERVER_SIDE);
            const std::unique_ptr<CBodyInputStream> body(message.OpenBodyReader(&source, 0));
            ASSERT_EQ(body != nullptr, c.body != nullptr);
            if (!body) continue;
            EXPECT_EQ(read_all(*body), c.body);
            // Stray bytes show only if they came along with the body.
            if (step == static_cast<int>(c.wire.size()) || c.clean) {
                EXPECT_EQ(body->drain(100), c.clean);
            }
        }
    }
}

TEST(HttpMessage, KeepsABodyWithinItsLimit) {
    const char* const heads[] = {"Content-Length: 5\r\n\r\nhello", "\r\nhello",
                                 "Transfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n"};
    for (const char* head : heads) {
        for (const long long limit : {0LL, 4LL, 5LL, 6LL}) {
            SCOPED_TRACE(testing::Message() << head << " within " << limit);
            const std::string wire = std::string("HTTP/1.1 200 OK\r\n") + head;
            PiecewiseInputStream source(wire, 512);
            CHttpMessage message(HTTP_CLIENT_SIDE);
            message.SetMaxBody(limit);
            const std::unique_ptr<CBodyInputStream> body(message.OpenBodyReader(&source, 0));
            ASSERT_NE(body, nullptr);
            EXPECT_LE(read_all(*body).size(), limit == 0 ? 5U : static_cast<std::size_t>(limit));
            EXPECT_EQ(message.BodyTooLarge(), limit == 4);
        }
    }
}

TEST(HttpMessage, WritesABodyWithItsLengthInOneBlock) {
    RecordingOutputStream sink;
    CHttpMessage message(HTTP_SERVER_SIDE);
    {
        const std::unique_ptr<COutputStream> body(message.OpenBodyWriter(&sink, 0));
        ASSERT_NE(body, nullptr);
        body->write("half", 4);
        EXPECT_TRUE(body->discard());
        message.SetStatus(500);
        body->write("fault", 5);
        body->close();
    }
    ASSERT_EQ(sink.writes.size(), 1U);
    EXPECT_EQ(without_date(sink.all),
              "HTTP/1.0 500 Internal Server Error\r\nServer: ZOLT http version 1.0\r\nConnection: Close\r\n"
              "Content-Length: 5\r\n\r\nfault");
}

TEST(HttpMessage, WritesAChunkedBodyWhereItsHeadersSaySo) {
    RecordingOutputStream sink;
    CHttpMessage message(HTTP_CLIENT_SIDE);
    message.AddRequestHeader("transfer-encoding", "chunked");
    message.SetMethod("POST");
    message.SetPath("a");
    {
        const std::unique_ptr<COutputStream> body(message.OpenBodyWriter(&sink, 0));
        ASSERT_NE(body, nullptr);
        body->write("hello", 5);
        body->close();
    }
    EXPECT_EQ(without_date(sink.all),
              "POST /a HTTP/1.0\r\ntransfer-encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n");
}

TEST(HttpMessage, ReadsWhatTheOtherSideWrote) {
    const std::string text(3000, 't');
    for (const bool chunked : {false, true}) {
        SocketPair pair;
        ASSERT_TRUE(pair.good());
        CHttpMessage request(HTTP_CLIENT_SIDE);
        if (chunked) request.AddRequestHeader("Transfer-Encoding", "chunked");
        request.SetMethod("POST");
        request.SetPath("bank");
        {
            auto sink = std::make_unique<CSocketOutputStream>(pair.near, nullptr);
            const std::unique_ptr<COutputStream> body(request.OpenBodyWriter(sink.get(), 1));
            ASSERT_NE(body, nullptr);
            sink.release();
            for (std::size_t at = 0; at < text.size(); at += 100) body->write(text.data() + at, 100);
            body->close();
        }
        CSocketInputStream source(pair.far, nullptr);
        CHttpMessage received(HTTP_SERVER_SIDE);
        const std::unique_ptr<CBodyInputStream> body(received.OpenBodyReader(&source, 0));
        ASSERT_NE(body, nullptr);
        EXPECT_STREQ(received.GetPath(), "/bank");
        std::string got;
        for (int c = body->get(); c >= 0; c = body->get()) got += static_cast<char>(c);
        EXPECT_EQ(got, text);
        EXPECT_EQ(body->end(), BodyEnd::exact);
    }
}

TEST(HttpMessage, OwnsTheStreamsBelowAsToldAndOnlyWithABodyStream) {
    for (const int own : {0, 1}) {
        for (const bool good_head : {true, false}) {
            bool deleted = false;
            auto input =
                std::make_unique<MortalInputStream>(good_head ? "GET / HTTP/1.1\r\n\r\n" : "x", &deleted);
            CHttpMessage message(HTTP_SERVER_SIDE);
            delete message.OpenBodyReader(input.get(), own);
            EXPECT_EQ(deleted, own == 1 && good_head);
            if (deleted) input.release();
        }
        RecordingOutputStream target;
        bool deleted = false;
        auto output = std::make_unique<MortalOutputStream>(&target, &deleted);
        CHttpMessage message(HTTP_SERVER_SIDE);
        delete message.OpenBodyWriter(output.get(), own);
        EXPECT_EQ(deleted, own == 1);
        if (deleted) output.release();
        EXPECT_EQ(target.all, "");
    }
}

TEST(HttpMessage, SendsAWholeMessageOrNoneWhicheverAllocationFails) {
    const std::string text(700, 'x');
    const long tried = with_each_allocation_failing([&] {
        RecordingOutputStream sink;
        bool whole = true;
        {
            bool deleted = false;
            auto output = std::make_unique<MortalOutputStream>(&sink, &deleted);
            CHttpMessage message(HTTP_SERVER_SIDE);
            // A header that memory does not suffice for is missing; the message is whole all the same.
            message.AddResponseHeader("A", std::string(600, 'a').c_str());
            const std::unique_ptr<COutputStream> body(message.OpenBodyWriter(output.get(), 1));
            EXPECT_FALSE(deleted);
            if (!body) return;
            output.release();
            whole = body->write(text.data(), 700) == 700;
            body->close();
            whole = whole && body->status() == kStreamGood;
        }
        if (whole) {
            EXPECT_NE(sink.all.find("Content-Length: 700\r\n\r\n" + text), std::string::npos);
        } else {
            EXPECT_EQ(sink.all, "");
        }
    });
    EXPECT_GE(tried, 6);
}

TEST(HttpMessage, ReadsABodyOrNoneWhicheverAllocationFails) {
    for (const char* field :
         {"Content-Length: 5\r\n\r\nhello", "Transfer-Encoding: c\r\n\r\n5\r\nhello\r\n0\r\n\r\n"}) {
        const std::string wire = std::string("POST /a HTTP/1.1\r\n") + field;
        with_each_allocation_failing([&] {
            PiecewiseInputStream source(wire, 512);
            CHttpMessage message(HTTP_SERVER_SIDE);
            const std::unique_ptr<CBodyInputStream> body(message.OpenBodyReader(&source, 0));
            if (body && body->drain(100)) {
                EXPECT_EQ(source.unread(), "");
            }
        });
    }
}

}  // namespace
