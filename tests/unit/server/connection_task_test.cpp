// SPDX-License-Identifier: MIT
#include "server/connection_task.h"

#include <caldane/dispatcher.h>
#include <gtest/gtest.h>

#include <string>

#include "running_server.h"

using namespace soap_test;

namespace {

enum class Answer { none, reply, fault };
enum class Then {
    closed,
    kept,      // and the next call on it is answered
    kept_mute  // answered by nothing, but the next call is
};

struct RequestCase {
    const char* name;
    std::string request;  // "$" stands for the object's path
    Answer answer;
    Then then;
    bool finish = false;  // the client ends its sending behind it
};

std::string framed(const std::string& head, const std::string& body) {
    return head + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}
std::string in_envelope(const std::string& content,
                        const std::string& uri = "http://schemas.xmlsoap.org/soap/envelope/") {
    return "<e:Envelope xmlns:e=\"" + uri + "\"><e:Body>" + content + "</e:Body></e:Envelope>";
}

std::string chunk(const std::string& text) {
    char size[24];
    std::snprintf(size, sizeof size, "%zx\r\n", text.size());
    return size + text + "\r\n";
}

const std::string kCount = in_envelope("<count><number>5</number></count>");
const std::string kPost = "POST /$ HTTP/1.1\r\n";
const std::string kKept = kPost + kKeep;
const std::string kBig(100'000, ' ');

const RequestCase kRequests[] = {
    {"KeptByTheHeader", framed(kKept, kCount), Answer::reply, Then::kept},
    {"KeptWhateverItsCase", framed(kPost + "CONNECTION: keep-alive\r\n", kCount), Answer::reply, Then::kept},
    {"TheWholeValueCounts", framed(kPost + "Connection: Keep-Alive, foo\r\n", kCount), Answer::reply,
     Then::closed},
    {"TheVersionDoesNot", framed(kPost, kCount), Answer::reply, Then::closed},
    {"OldVersionKept", framed("POST /$ HTTP/1.0\r\nConnection: Keep-Alive\r\n", kCount), Answer::reply,
     Then::kept},
    {"GetIsServedLikePost", framed("GET /$ HTTP/1.1\r\n" + std::string(kKeep), kCount), Answer::reply,
     Then::kept},
    {"Chunked",
     kKept + "Transfer-Encoding: chunked\r\n\r\n" + chunk(kCount.substr(0, 1)) + chunk(kCount.substr(1)) +
         chunk(""),
     Answer::reply, Then::kept},
    {"UnknownHeadersAndAQuery",
     framed("POST /$?a=b HTTP/1.1\r\nExpect: 100-continue\r\nSOAPAction: \"other\"\r\nHost: x\r\n", kCount),
     Answer::reply, Then::closed},
    {"UnknownObject", framed("POST /nobody HTTP/1.1\r\n" + std::string(kKeep), kCount), Answer::fault,
     Then::kept},
    {"OneSlashIsLostOnly", framed("POST //$ HTTP/1.1\r\n", kCount), Answer::fault, Then::closed},
    {"EmptyPath", framed("POST / HTTP/1.1\r\n" + std::string(kKeep), kCount), Answer::fault, Then::kept},
    {"UnknownOperation", framed(kKept, in_envelope("<explode/>")), Answer::fault, Then::kept},
    {"TooFewArguments", framed(kKept, in_envelope("<count/>")), Answer::fault, Then::kept},
    {"UnreadRestIsReadOff", framed(kKept, in_envelope("<explode/>") + kBig.substr(0, 40'000)), Answer::fault,
     Then::kept},
    {"TooMuchUnreadCloses", framed(kKept, in_envelope("<explode/>") + kBig), Answer::fault, Then::closed},
    {"UnreadAndNotKept", framed(kPost, in_envelope("<explode/>") + kBig), Answer::fault, Then::closed},
    {"BodyBrokenOff", framed(kKept, kCount).substr(0, 150), Answer::none, Then::closed, true},
    {"NoBodyChild", framed(kKept, in_envelope("")), Answer::none, Then::kept_mute},
    {"AnotherEnvelope", framed(kKept, in_envelope("<count/>", "urn:other")), Answer::none, Then::kept_mute},
    {"NoXml", framed(kKept, "hello"), Answer::none, Then::kept_mute},
    {"BadlyNestedArguments", framed(kKept, in_envelope("<count><number>5</count></number>")), Answer::none,
     Then::kept_mute},
    {"MarkupBehindTheEnvelope", framed(kKept, kCount + "<<<"), Answer::none, Then::kept_mute},
    {"NotKeptAndUnreadable", framed(kPost, "hello"), Answer::none, Then::closed},
    {"HeadBrokenOffBehindKeepAlive", kKept + "Content-", Answer::none, Then::closed, true},
    {"HeadTooLongBehindKeepAlive", kKept + "X: " + kBig + "\r\n\r\n", Answer::none, Then::closed},
    {"OtherMethod", "PUT /$ HTTP/1.1\r\n" + std::string(kKeep) + "\r\n", Answer::none, Then::closed},
    {"MalformedRequestLine", "POST\r\n" + std::string(kKeep) + "\r\n", Answer::none, Then::closed},
    {"GetWithoutABody", "GET /$ HTTP/1.1\r\n\r\n", Answer::none, Then::closed, true},
    {"NothingAtAll", "", Answer::none, Then::closed, true},
    {"NegativeLengthIsNoFrame", kKept + "Content-Length: -5\r\n\r\n" + kCount, Answer::none, Then::closed},
    {"BadChunkIsNoFrame", kKept + "Transfer-Encoding: chunked\r\n\r\nxyz\r\n" + kCount, Answer::none,
     Then::closed},
};

class ConnectionTask : public RunningServer, public testing::WithParamInterface<RequestCase> {
protected:
    std::string with_path(std::string text) const {
        const std::size_t at = text.find('$');
        return at == std::string::npos ? text : text.replace(at, 1, path);
    }
};

TEST_P(ConnectionTask, AnswersAndKeepsOrCloses) {
    const RequestCase& c = GetParam();
    RawClient client(port);
    client.send(with_path(c.request));
    if (c.finish) client.finish();
    if (c.answer != Answer::none) {
        const std::string answer = client.read_message();
        const bool is_fault = c.answer == Answer::fault;
        EXPECT_EQ(answer.find(is_fault ? " 500 Internal Server Error\r\n" : " 200 OK\r\n"), 8U) << answer;
        EXPECT_NE(answer.find("Content-Type: text/xml; charset=\"utf-8\"\r\n"), std::string::npos) << answer;
        EXPECT_EQ(answer.find(result(5)) == std::string::npos, is_fault) << answer;
        // That a connection stays open is not said in words; one that is to stay closes all the same when
        // the request cannot be read off.
        const bool says_close = answer.find("Connection: Close\r\n") != std::string::npos;
        EXPECT_EQ(says_close, c.request.find(kKeep) == std::string::npos && c.then == Then::closed) << answer;
    }
    if (c.then == Then::closed) {
        EXPECT_TRUE(client.ended());
        EXPECT_FALSE(client.was_reset() && c.answer != Answer::none) << "the reply could have been lost";
    } else {
        if (c.then == Then::kept_mute) {
            // Bytes that come before the server is done with the request would be part of the same read.
            EXPECT_TRUE(serves());
            EXPECT_TRUE(Dispatcher::drain(10));
        }
        ASSERT_TRUE(client.send(call(6)));
        EXPECT_NE(client.read_to_end().find(result(6)), std::string::npos);
    }
    EXPECT_TRUE(serves());
    EXPECT_TRUE(Dispatcher::drain(10)) << "a task did not end";
}

INSTANTIATE_TEST_SUITE_P(Requests, ConnectionTask, testing::ValuesIn(kRequests),
                         [](const auto& param) { return param.param.name; });

// Its peer may be waiting for an answer that never comes, and the sweep of idle connections is a minute away.
TEST_F(RunningServer, ClosesAKeptConnectionSoonWhoseRequestGotNoAnswer) {
    RawClient served(port);
    ASSERT_TRUE(served.send(call(1, kKeep)));
    EXPECT_NE(served.read_message().find(result(1)), std::string::npos);
    for (const char* behind : {"<<<", "<!-- "}) {
        RawClient mute(port);
        ASSERT_TRUE(mute.send(framed("POST /" + path + " HTTP/1.1\r\n" + kKeep, kCount + behind)));
        EXPECT_TRUE(mute.ended());
    }
    ASSERT_TRUE(served.send(call(2)));
    EXPECT_NE(served.read_to_end().find(result(2)), std::string::npos);
}

TEST_F(RunningServer, DoesNotShowTheHeaderOfOneRequestToTheNext) {
    const std::string header =
        "<e:Envelope xmlns:e=\"http://schemas.xmlsoap.org/soap/envelope/\""
        " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
        "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\">"
        "<e:Header><ticket xsi:type=\"xsd:string\">mine</ticket>"
        "</e:Header><e:Body><ping/></e:Body></e:Envelope>";
    RawClient client(port);
    ASSERT_TRUE(client.send(post(header, kKeep)));
    EXPECT_NE(client.read_message().find("mine"), std::string::npos);
    for (int i = 0; i < 10; ++i) {
        ASSERT_TRUE(client.send(call(i, kKeep)));
        EXPECT_EQ(client.read_message().find("mine"), std::string::npos);
    }
}

TEST_F(RunningServer, FindsThePathWhateverItsCaseButTheLast) {
    ASSERT_EQ(
        server->add_endpoint("key of " + path, ":" + std::to_string(port) + "/Mixed" + path, _Caldane_FALSE),
        -3);
    const std::string body = envelope("<ping/>");
    for (const char* first : {"/MIXED", "/mixed"}) {
        RawClient client(port);
        client.send(framed("POST " + std::string(first) + path + " HTTP/1.1\r\n", body));
        EXPECT_NE(client.read_to_end().find("pingResponse"), std::string::npos) << first;
    }
    std::string other = path;
    other.back() = 'X';
    RawClient client(port);
    client.send(framed("POST /Mixed" + other + " HTTP/1.1\r\n", body));
    EXPECT_NE(client.read_to_end().find("Fault"), std::string::npos);
}

TEST_F(RunningServer, OutlivesClientsThatResetInTheMiddle) {
    for (int i = 0; i < 30; ++i) {
        RawClient client(port);
        servant.hold(true);
        client.send(call(1, kKeep));
        ASSERT_TRUE(servant.await_call());
        client.reset();
        servant.hold(false);
    }
    EXPECT_TRUE(serves());
}

TEST_F(RunningServer, GivesEverythingBackWhicheverAllocationOfARequestFails) {
    // The failing allocation is set on the worker itself, by the call before it.
    class Saboteur final : public _Caldane_ImplBase {
    public:
        void arm(std::int32_t nth) { PEL_Fault::fail_allocation(nth); }
        const Caldane::OperationTable& _operations() const override {
            static const Caldane::OperationTable table(
                "IDL:Saboteur:1.0",
                {Caldane::method<&Saboteur::arm>("arm", {{"nth", _Caldane_Parameter::IN}})});
            return table;
        }
    } saboteur;
    const std::string address = "saboteur" + path;
    SOA::publish(saboteur, address, "127.0.0.1:0/" + address);
    int answered = 0;
    int lost = 0;
    for (int nth = 1; nth <= 60; ++nth) {
        const std::string arm = in_envelope("<arm><nth>" + std::to_string(nth) + "</nth></arm>");
        for (const std::string& request : {framed("POST /" + address + " HTTP/1.1\r\n", arm), call(nth)}) {
            RawClient client(port);
            client.send(request);
            client.finish();
            const std::string answer = client.read_to_end();
            ++(answer.find(result(nth)) != std::string::npos ? answered : lost);
            if (answer.empty()) continue;
            EXPECT_EQ(answer.substr(answer.size() - 24), "</SOAP-ENV:Envelope>\r\n\r\n") << answer;
        }
    }
    EXPECT_TRUE(Dispatcher::stop(10));  // with the threads end the failures that have not come yet
    SOA::withdraw(saboteur);
    EXPECT_GT(answered, 0);
    EXPECT_GT(lost, 60);
    EXPECT_TRUE(serves());
}

}  // namespace
