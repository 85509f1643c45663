// SPDX-License-Identifier: MIT
// What the client makes of good and of bad answers, and in which state it stands afterwards.
#include <gtest/gtest.h>

#include <caldane/values.h>

#include <string>
#include <vector>

#include "support/client_calls.h"
#include "support/scripted_server.h"

namespace {

using namespace soap_test;
using Kind = _Caldane_SystemException;

enum class Then { keep, close, reset };

std::string chunked(const std::string& body, std::size_t size, const std::string& trailer = "0\r\n\r\n") {
    std::string answer = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
    for (std::size_t at = 0; at < body.size(); at += size) {
        const std::string piece = body.substr(at, size);
        char line[16];
        std::snprintf(line, sizeof line, "%zX\r\n", piece.size());
        answer += line + piece + "\r\n";
    }
    return answer + trailer;
}

const std::string kGoodBody = soap_body("<r><return>41</return></r>");
const std::string kBigGarbage = "<html>" + std::string(100'000, 'x') + "</html>";

struct ResponseCase {
    const char* name;
    std::string answer;
    Then then;
    std::int32_t kind;  // -1: the answer is good and gives 41
    const char* words;  // in the error's text
    int connections;    // made by this call and a good one after it
};

class Response : public testing::TestWithParam<ResponseCase> {
    ClientBroker broker;
};

/// The first request gets the answer in question, all others good ones.
class OneAnswer {
public:
    OneAnswer(const ResponseCase& wanted, std::size_t piece_size) : c(wanted), piece(piece_size) {}

    std::string url() const { return server.url(); }
    void stop() { server.stop(); }
    int connections() const { return server.connections(); }

private:
    void serve(ScriptedConnection& client) {
        for (bool first = client.number() == 1;; first = false) {
            const std::string request = client.read_request();
            if (number_in(request) < 0) return;
            if (!first) {
                client.send(counted(number_in(request)));
                continue;
            }
            client.send_in_pieces(c.answer, piece);
            if (c.then == Then::close) return;
            if (c.then == Then::reset) return client.reset();
        }
    }

    const ResponseCase& c;
    const std::size_t piece;
    ScriptedServer server{[this](ScriptedConnection& client) { serve(client); }};
};

TEST_P(Response, EndsAsToldAndTheNextCallGetsItsOwn) {
    const ResponseCase& c = GetParam();
    for (const std::size_t piece : {c.answer.size() + 1, std::size_t{1}}) {
        if (piece == 1 && c.answer.size() > 2000) continue;
        SCOPED_TRACE(piece);
        OneAnswer server(c, piece);
        {
            const _Caldane_Object object = object_at(server.url());
            const std::int64_t sockets = SOA::socketResource().in_use();
            try {
                EXPECT_EQ(count(object, 41), 41);
                EXPECT_EQ(c.kind, -1);
            } catch (const Caldane::SystemError& error) {
                EXPECT_EQ(error.kind(), c.kind) << error.what();
                EXPECT_NE(std::string(error.what()).find(c.words), std::string::npos) << error.what();
                EXPECT_NE(std::string(error.what()).find(server.url()), std::string::npos) << error.what();
            }
            EXPECT_EQ(count(object, 7), 7);
            EXPECT_EQ(SOA::socketResource().in_use(), sockets + 1);
        }
        server.stop();
        EXPECT_EQ(server.connections(), c.connections);
    }
}

const std::string kFault =
    soap_body("<e:Fault><faultcode>e:Server</faultcode><faultstring>out of order</faultstring></e:Fault>");

const ResponseCase kResponses[] = {
    {"WithLength", http_answer(kGoodBody), Then::keep, -1, "", 1},
    {"InChunks", chunked(kGoodBody, 5), Then::keep, -1, "", 1},
    {"InOneChunkWithTrailer", chunked(kGoodBody, 5000, "0\r\nX: y\r\n\r\n"), Then::keep, -1, "", 2},
    {"WithoutLength", "HTTP/1.0 200 OK\r\n\r\n" + kGoodBody, Then::close, -1, "", 2},
    {"AfterContinue", "HTTP/1.1 100 Continue\r\n\r\n" + http_answer(kGoodBody), Then::keep, -1, "", 1},
    {"OldVersionWithLength", "HTTP/1.0" + http_answer(kGoodBody).substr(8), Then::keep, -1, "", 1},
    {"AnnouncesClose", http_answer(kGoodBody, "200 OK", "Connection: CLOSE\r\n"), Then::keep, -1, "", 2},
    {"AnnouncesCloseAmongOthers", http_answer(kGoodBody, "200 OK", "connection: foo , close\r\n"), Then::keep,
     -1, "", 2},
    {"SpeaksOfClosely", http_answer(kGoodBody, "200 OK", "Connection: closely\r\n"), Then::keep, -1, "", 1},
    {"SpacesBehindEnvelope", http_answer(kGoodBody + "\r\n\r\n"), Then::keep, -1, "", 1},
    {"MoreBytesThanItsLength", http_answer(kGoodBody) + "HTTP/1.1 200 OK\r\n\r\n", Then::keep, -1, "", 2},
    {"FaultWith500", http_answer(kFault, "500 Internal Server Error"), Then::keep, Kind::UNKNOWN,
     "out of order", 1},
    {"FaultWith200", http_answer(kFault), Then::keep, Kind::UNKNOWN, "out of order", 1},
    {"FaultWith404", http_answer(kFault, "404 Not Found"), Then::keep, Kind::UNKNOWN, "out of order", 1},

    {"Nothing", "", Then::close, Kind::BAD_RESPONSE, "closed the connection before a status line", 2},
    {"NothingButAReset", "", Then::reset, Kind::BAD_RESPONSE,
     "broke before a status line came: Connection reset", 2},
    {"HalfAStatusLine", "HTTP/1.", Then::close, Kind::BAD_RESPONSE, "within the response's HTTP head", 2},
    {"HalfAHead", "HTTP/1.1 200 OK\r\nContent-", Then::close, Kind::BAD_RESPONSE,
     "within the response's HTTP head", 2},
    {"AnotherProtocol", "220 smtp.example ESMTP\r\n", Then::keep, Kind::BAD_RESPONSE,
     "HTTP head could not be understood", 2},
    {"HeadTooLong", "HTTP/1.1 200 OK\r\nX: " + std::string(20'000, 'a'), Then::keep, Kind::BAD_RESPONSE,
     "could not be understood", 2},
    {"HalfABody", http_answer(kGoodBody).substr(0, 150), Then::close, Kind::BAD_RESPONSE,
     "within the response's body", 2},
    {"HalfAChunkedBody", chunked(kGoodBody, 60, "").substr(0, 150), Then::close, Kind::BAD_RESPONSE,
     "within the response's body", 2},
    {"ChunksWithoutAnEnd", chunked(kGoodBody, 60, ""), Then::close, -1, "", 2},
    {"BadChunkSizeAtTheEnd", chunked(kGoodBody, 60, "zzz\r\n\r\n"), Then::keep, -1, "", 2},
    {"BadChunkSize", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n-5\r\n" + kGoodBody, Then::keep,
     Kind::BAD_RESPONSE, "", 2},
    {"EndlessChunkSize", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" + std::string(100, '1'),
     Then::keep, Kind::BAD_RESPONSE, "", 2},
    {"EmptyBody", http_answer(""), Then::keep, Kind::BAD_RESPONSE, "not a SOAP envelope;", 1},
    {"NoBodyByItsStatus", "HTTP/1.1 204 No Content\r\n\r\n", Then::keep, Kind::HTTP_STATUS, "HTTP status 204",
     1},
    {"NegativeLength", "HTTP/1.1 200 OK\r\nContent-Length: -5\r\n\r\n" + kGoodBody, Then::keep,
     Kind::BAD_RESPONSE, "", 2},
    {"NoXml", http_answer("hello"), Then::keep, Kind::BAD_RESPONSE, "", 1},
    {"MalformedXml", http_answer(soap_body("<r><return>1</r>")), Then::keep, Kind::BAD_RESPONSE,
     "not well-formed XML: line ", 1},
    {"CutOffXml", http_answer(kGoodBody.substr(0, 100)), Then::keep, Kind::BAD_RESPONSE,
     "not well-formed XML", 1},
    {"MalformedXmlAndMuchMore", http_answer("<a></b>" + std::string(500'000, ' ')), Then::keep,
     Kind::BAD_RESPONSE, "not well-formed", 1},
    {"MalformedXmlAndTooMuchMore", http_answer("<a></b>" + std::string(1'500'000, ' ')), Then::keep,
     Kind::BAD_RESPONSE, "not well-formed", 2},
    {"AnotherEnvelope", http_answer("<Envelope xmlns='urn:x'><Body/></Envelope>"), Then::keep,
     Kind::BAD_RESPONSE, "not a SOAP envelope", 1},
    {"EmptySoapBody", http_answer(soap_body("")), Then::keep, Kind::BAD_RESPONSE, "does not hold the values",
     1},
    {"NoResult", http_answer(soap_body("<r/>")), Then::keep, Kind::BAD_RESPONSE, "does not hold the values",
     1},
    {"FaultWithoutText", http_answer(soap_body("<e:Fault><faultcode>x</faultcode></e:Fault>")), Then::keep,
     Kind::BAD_RESPONSE, "does not hold", 1},
    {"NotFound", http_answer("<html/>", "404 Not Found"), Then::keep, Kind::HTTP_STATUS,
     "HTTP status 404 Not Found", 1},
    {"NotFoundMuch", http_answer(kBigGarbage, "404 Not Found"), Then::keep, Kind::HTTP_STATUS,
     "404 Not Found", 1},
    {"NotFoundInBadHtml", http_answer("<p>x<p>", "404 Not Found"), Then::keep, Kind::HTTP_STATUS,
     "HTTP status 404 Not Found;", 1},
    {"BadGatewayCutOff", http_answer("<html><hr>", "502 Bad Gateway"), Then::close, Kind::HTTP_STATUS,
     "HTTP status 502;", 2},
    {"ErrorInBadHtml", http_answer("<p>x<p>", "500 Internal Server Error"), Then::keep, Kind::BAD_RESPONSE,
     "not well-formed XML", 1},
    {"LengthBeyondAWholeEnvelope", "HTTP/1.1 200 OK\r\nContent-Length: 900\r\n\r\n" + kGoodBody, Then::close,
     -1, "", 2},
    {"Redirection", http_answer("", "302 Found", "Location: http://127.0.0.1:1/\r\n"), Then::keep,
     Kind::HTTP_STATUS, "302", 1},
    {"StatusNobodyKnows", http_answer("", "299 Odd"), Then::keep, Kind::HTTP_STATUS, "HTTP status 299", 1},
    {"NotAllowed", http_answer("<html/>", "405 Method Not Allowed"), Then::keep, Kind::BAD_RESPONSE,
     "not a SOAP envelope", 1},
    {"ErrorWithoutFault", http_answer("<html/>", "500 Internal Server Error"), Then::keep, Kind::BAD_RESPONSE,
     "500 Internal", 1},
};
INSTANTIATE_TEST_SUITE_P(All, Response, testing::ValuesIn(kResponses),
                         [](const auto& test) { return test.param.name; });

class ResponseOf : public testing::Test {
    ClientBroker broker;
};

TEST_F(ResponseOf, AllPrefixesFailAndLeaveNothingBehind) {
    const std::string whole = http_answer(kGoodBody);
    for (std::size_t size = 0; size < whole.size(); size += 7) {
        const ResponseCase c = {"Prefix", whole.substr(0, size), Then::close, Kind::BAD_RESPONSE, "", 2};
        OneAnswer server(c, size + 1);
        const _Caldane_Object object = object_at(server.url());
        EXPECT_THROW(count(object, 41), Caldane::SystemError) << size;
        EXPECT_EQ(count(object, 7), 7) << size;
    }
}

TEST_F(ResponseOf, ABodyBeyondTheLimitIsRefused) {
    const WithProperty limit("SOAP_MAX_BODY", "50");
    ScriptedServer server([](ScriptedConnection& client) {
        client.read_request();
        client.send(counted(1));
        client.wait_for_end();
    });
    try {
        count(object_at(server.url()), 1);
        ADD_FAILURE();
    } catch (const Caldane::SystemError& error) {
        EXPECT_EQ(error.kind(), Kind::BAD_RESPONSE);
        EXPECT_NE(std::string(error.what()).find("SOAP_MAX_BODY"), std::string::npos) << error.what();
    }
}

/// The replies to one-way calls are those of `count`, so that one which reached the wrong call would show.
class OneWayCall : public testing::TestWithParam<int> {
    ClientBroker broker;
};

TEST_P(OneWayCall, LeavesItsReplyToNobody) {
    const std::string reply_to_note =
        std::vector<std::string>{counted(1000),
                                 http_answer("", "202 Accepted"),
                                 chunked(kBigGarbage, 1000),
                                 counted(1000, "Connection: close\r\n"),
                                 "HTTP/1.0 200 OK\r\n\r\n" + kGoodBody,
                                 "nonsense\r\n\r\n",
                                 http_answer(std::string(2'000'000, 'x')),
                                 counted(1000) + counted(1001)}[static_cast<std::size_t>(GetParam())];
    const bool keeps = GetParam() < 3;
    std::vector<int> notes(100);
    ScriptedServer server([&](ScriptedConnection& client) {
        for (;;) {
            const std::string request = client.read_request();
            const int number = number_in(request);
            if (number < 0) return;
            const bool note = request.find("m:note") != std::string::npos;
            if (note) ++notes[static_cast<std::size_t>(number)];
            client.send(note ? reply_to_note : counted(number));
            if (note && reply_to_note.starts_with("HTTP/1.0")) return;
        }
    });
    {
        const _Caldane_Object object = object_at(server.url());
        for (int i = 0; i < 5; ++i) {
            note(object, 2 * i);
            note(object, 2 * i + 1);
            EXPECT_EQ(count(object, i), i);
            EXPECT_EQ(count(object, i + 50), i + 50);
        }
    }
    server.stop();
    for (std::size_t i = 0; i < 10; ++i) EXPECT_EQ(notes[i], 1) << i;
    EXPECT_EQ(server.connections() == 1, keeps) << server.connections();
}
INSTANTIATE_TEST_SUITE_P(AllReplies, OneWayCall, testing::Range(0, 8));

// A client whose message is left from the call before takes that one's status for its own.
TEST_F(ResponseOf, ANilTargetAfterA404HasItsKind) {
    ScriptedServer server([](ScriptedConnection& client) {
        client.read_request();
        client.send(http_answer("", "404 Not Found"));
        client.wait_for_end();
    });
    const _Caldane_Object object = object_at(server.url());
    EXPECT_THROW(count(object, 1), Caldane::SystemError);
    const _Caldane_Object nil;
    _Caldane_CallInfo info;
    _Caldane_Parameter result;
    _Caldane_ArgList args(nullptr, 0, result);
    const auto kind_of_call_on_nil = [&](_SOAP_Transport_Client& client) {
        const _Caldane_String oper("_query_interface");
        _Caldane_OutboundCall call(info, nil, args, oper, oper);
        EXPECT_EQ(client.invoke(call), _Caldane_FALSE);
        return dynamic_cast<const Kind&>(*_Caldane_CallException::lookup_or_add(info)->stored()).kind();
    };
    EXPECT_EQ(kind_of_call_on_nil(*ClientTransport::newest), Kind::HTTP_STATUS);
    auto* const fresh = new _SOAP_Transport_Client("127.0.0.1:1");
    EXPECT_EQ(kind_of_call_on_nil(*fresh), Kind::NIL_OBJECT);
    fresh->_release();
}

}  // namespace
