// SPDX-License-Identifier: MIT
#include "server/server_frame.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/piecewise_stream.h"
#include "support/soap_text.h"
#include "xml/pull_parser_exception.h"

namespace {

class FakeCall final : public _SOA_Call {
public:
    explicit FakeCall(_Caldane_CallInfo& info)
        : _SOA_Call(_Caldane_String("move"), _Caldane_String("urn:m"), info) {}
    _Caldane_Boolean invoke() override { return _Caldane_FALSE; }
};

/// void move(in long a, out long b, inout long c), with streams over memory.
class Exchange {
public:
    /// `content` is what `Body` holds; `attributes` go to the envelope.
    explicit Exchange(const std::string& content, const std::string& attributes = "",
                      const std::string& version = "1.1", const std::string& headers = "")
        : message(HTTP_SERVER_SIDE), call(info), frame(in, out) {
        const std::string body =
            "<e:Envelope xmlns:e='http://schemas.xmlsoap.org/soap/envelope/' " + attributes + ">" + content;
        request = "POST /p HTTP/" + version + "\r\n" + headers +
                  "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    }
    bool open() {
        in.attach(&message, kVqNoSocket, nullptr);
        out.attach(&message, kVqNoSocket, nullptr);
        return in.open_envelope_from(std::make_unique<PiecewiseInputStream>(request)) == 1 &&
               in.open_result() == 1 &&
               out.open_body_over(std::make_unique<soap_test::MemorySink>(wire)) == 1;
    }
    std::string body() const {
        const std::size_t end = wire.find("\r\n\r\n");
        return end == std::string::npos ? "" : wire.substr(end + 4);
    }

    _Caldane_Long a = 0;
    _Caldane_Long b = 0;
    _Caldane_Long c = 0;
    _Caldane_Parameter parameters[3] = {
        {"a", _Caldane_Parameter::IN, _Caldane_AnyRef(a)},
        {"b", _Caldane_Parameter::OUT, _Caldane_AnyRef(b)},
        {"c", _Caldane_Parameter::INOUT, _Caldane_AnyRef(c)},
    };
    _Caldane_Parameter result;
    _Caldane_ArgList args{parameters, 3, result};
    _Caldane_ArgList none{parameters, 0, result};

    CHttpMessage message;
    std::string request;
    std::string wire;
    _SOAP_InStream in;
    _SOAP_OutStream out;
    _Caldane_CallInfo info;
    FakeCall call;
    _SOAP_ServerFrame frame;
};

const std::string kEnd = "</e:Body></e:Envelope>";

enum class Reading { good, refused, raises };

struct ArgumentCase {
    const char* name;
    std::string content;
    bool with_parameters;
    Reading expected;
};

const ArgumentCase kArgumentCases[] = {
    {"InOrderWithoutTheOutParameter", "<e:Body><move><a>1</a><c>3</c></move>" + kEnd, true, Reading::good},
    {"ByPositionNotByName", "<e:Body><move><x>1</x><y>3</y></move>" + kEnd, true, Reading::good},
    {"FurtherElementsAreSteppedOver", "<e:Body><move><a>1</a><c>3</c><d><e/>9</d></move>" + kEnd, true,
     Reading::good},
    {"TooFew", "<e:Body><move><a>1</a></move>" + kEnd, true, Reading::refused},
    {"NoneWhereNoneIsWanted", "<e:Body><move/>" + kEnd, false, Reading::good},
    {"CutOffBehindTheStartTag", "<e:Body><move>", false, Reading::raises},
    {"CutOffBehindTheArguments", "<e:Body><move><a>1</a><c>3</c>", true, Reading::raises},
    {"CutOffInTheEnvelopesEnd", "<e:Body><move><a>1</a><c>3</c></move></e:Body></e:Enve", true,
     Reading::raises},
    {"BadlyNested", "<e:Body><move><a>1</a><c>3</a></c></move>" + kEnd, true, Reading::raises},
};

class ServerFrameArguments : public testing::TestWithParam<ArgumentCase> {};

TEST_P(ServerFrameArguments, AreReadWithTheRestOfTheRequest) {
    const ArgumentCase& c = GetParam();
    Exchange exchange(c.content);
    ASSERT_TRUE(exchange.open());
    Reading outcome = Reading::raises;
    try {
        _Caldane_ArgList& args = c.with_parameters ? exchange.args : exchange.none;
        const bool good = exchange.frame.demarshal_args(exchange.call, args) != 0;
        outcome = good ? Reading::good : Reading::refused;
    } catch (const CXmlPullParserException&) {
    }
    EXPECT_EQ(outcome, c.expected);
    EXPECT_EQ(exchange.frame.request_was_read(), c.expected == Reading::good);
    EXPECT_EQ(exchange.wire, "");
    if (c.expected == Reading::good && c.with_parameters) {
        EXPECT_EQ(exchange.a, 1);
        EXPECT_EQ(exchange.b, 0);
        EXPECT_EQ(exchange.c, 3);
    }
}

INSTANTIATE_TEST_SUITE_P(Requests, ServerFrameArguments, testing::ValuesIn(kArgumentCases),
                         [](const auto& param) { return param.param.name; });

const std::string kGood = "<e:Body><move><a>1</a><c>3</c></move>" + kEnd;

TEST(ServerFrame, RepliesInTheEncodingOfTheRequest) {
    for (const bool encoded : {false, true}) {
        Exchange exchange(kGood,
                          encoded ? "e:encodingStyle='http://schemas.xmlsoap.org/soap/encoding/'" : "");
        ASSERT_TRUE(exchange.open());
        ASSERT_TRUE(exchange.frame.demarshal_args(exchange.call, exchange.args));
        exchange.b = 22;
        exchange.c = 33;
        EXPECT_TRUE(exchange.frame.marshal_reply(exchange.call, exchange.args));
        const std::string type = encoded ? " xsi:type=\"xsd:int\"" : "";
        const std::string body = exchange.body();
        EXPECT_NE(body.find("<m:b" + type + ">22</m:b>"), std::string::npos) << body;
        EXPECT_NE(body.find("<m:c" + type + ">33</m:c>"), std::string::npos) << body;
        EXPECT_EQ(body.find("<m:a"), std::string::npos) << body;
        EXPECT_EQ(body.find("SOAP-ENV:encodingStyle") != std::string::npos, encoded) << body;
        EXPECT_EQ(exchange.wire.substr(0, 17), "HTTP/1.1 200 OK\r\n");
        EXPECT_NE(exchange.wire.find("Content-Length: " + std::to_string(body.size())), std::string::npos);
    }
}

struct HeadCase {
    const char* version;
    const char* headers;
    const char* status_line;
    bool says_close;
};

TEST(ServerFrame, FaultsKeepTheRequestsVersionAndConnection) {
    const HeadCase cases[] = {
        {"1.1", "Connection: Keep-Alive\r\n", "HTTP/1.1 500 Internal Server Error\r\n", false},
        {"1.1", "", "HTTP/1.1 500 Internal Server Error\r\n", true},
        {"1.0", "", "HTTP/1.0 500 Internal Server Error\r\n", true},
    };
    for (const HeadCase& c : cases) {
        Exchange exchange("<e:Body><move><a>1</a>" + kEnd, "", c.version, c.headers);
        ASSERT_TRUE(exchange.open());
        _Caldane_SystemException exception(_Caldane_SystemException::UNKNOWN);
        exception._put_message(_Caldane_String("gone"));
        EXPECT_TRUE(exchange.frame.marshal_exception(exchange.call, exception));
        EXPECT_EQ(exchange.wire.find(c.status_line), 0U) << exchange.wire;
        EXPECT_EQ(exchange.wire.find("Connection: Close\r\n") != std::string::npos, c.says_close)
            << exchange.wire;
        EXPECT_NE(exchange.body().find("<faultcode>SOAP-ENV:Server</faultcode>\r\n"
                                       "<faultstring>gone</faultstring>\r\n<detail>"),
                  std::string::npos);
        EXPECT_FALSE(exchange.frame.request_was_read());
    }
}

class ServerFrameMemory : public testing::TestWithParam<std::size_t> {};

TEST_P(ServerFrameMemory, IsAnsweredWholeOrWithOneFaultOrNotAtAllWhenItEnds) {
    _Caldane_String text(std::string(GetParam(), 'x'));
    int whole = 0;
    int faults = 0;
    const long tried = with_each_allocation_failing([&] {
        Exchange exchange(kGood);
        try {
            if (!exchange.open() || !exchange.frame.demarshal_args(exchange.call, exchange.args)) return;
        } catch (const CXmlPullParserException&) {
            return;
        }
        _Caldane_Parameter parameters[] = {{"text", _Caldane_Parameter::OUT, _Caldane_AnyRef(text)}};
        _Caldane_ArgList args(parameters, 1, exchange.result);
        exchange.frame.marshal_reply(exchange.call, args);
        if (exchange.wire.empty()) return;
        const std::string body = exchange.body();
        EXPECT_NE(exchange.wire.find("Content-Length: " + std::to_string(body.size()) + "\r\n"),
                  std::string::npos)
            << exchange.wire;
        EXPECT_EQ(body.find("<?xml"), body.rfind("<?xml")) << "a fault stands alone";
        EXPECT_NE(body.find("</SOAP-ENV:Envelope>"), std::string::npos) << body;
        const bool is_fault = body.find("<SOAP-ENV:Fault>") != std::string::npos;
        ++(is_fault ? faults : whole);
        EXPECT_EQ(exchange.wire.substr(9, 3), is_fault ? "500" : "200");
        if (is_fault) {
            EXPECT_NE(body.find("<faultcode>SOAP-ENV:Client</faultcode>"), std::string::npos) << body;
            EXPECT_NE(body.find("<Caldane:MARSHAL xmlns:Caldane="), std::string::npos) << body;
        }
    });
    EXPECT_GT(tried, 5);
    EXPECT_GT(whole, 0);
    EXPECT_GT(faults, 0);
}

// In one piece and in many.
INSTANTIATE_TEST_SUITE_P(Replies, ServerFrameMemory, testing::Values(3, 20'000));

TEST(ServerFrame, AnswersWithAFaultWhereItsTextIsNone) {
    SOA::getProperties().set("SOAP_UTF8_TEXT", "");
    _Caldane_String text("\xFF");
    for (const bool raises : {false, true}) {
        Exchange exchange(kGood);
        ASSERT_TRUE(exchange.open());
        ASSERT_TRUE(exchange.frame.demarshal_args(exchange.call, exchange.args));
        if (raises) {
            _Caldane_SystemException exception(_Caldane_SystemException::UNKNOWN);
            exception._put_message(text);
            EXPECT_TRUE(exchange.frame.marshal_exception(exchange.call, exception));
        } else {
            _Caldane_Parameter parameters[] = {{"text", _Caldane_Parameter::OUT, _Caldane_AnyRef(text)}};
            _Caldane_ArgList args(parameters, 1, exchange.result);
            EXPECT_TRUE(exchange.frame.marshal_reply(exchange.call, args));
        }
        const std::string body = exchange.body();
        EXPECT_EQ(body.find("<?xml"), body.rfind("<?xml")) << "a fault stands alone";
        // The exception is the servant's.
        const std::string fault = std::string("<faultcode>SOAP-ENV:") + (raises ? "Server" : "Client") +
                                  "</faultcode>\r\n<faultstring>the reply holds text that is not UTF-8";
        EXPECT_NE(body.find(fault), std::string::npos) << body;
    }
    SOA::getProperties().remove("SOAP_UTF8_TEXT");
}

}  // namespace
