// SPDX-License-Identifier: MIT
// Every byte of the client's requests.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "support/client_calls.h"
#include "support/scripted_server.h"

namespace {

using namespace soap_test;

const std::string kXml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n\r\n";
const std::string kNamespaces =
    " xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\" "
    "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\""
    " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xmlns:bsi=\"BSI\">";
const std::string kEncodedNamespaces =
    " SOAP-ENV:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\""
    " xmlns:SOAP-ENC=\"http://schemas.xmlsoap.org/soap/encoding/\"";
const std::string kEnd = "\r\n</SOAP-ENV:Body>\r\n</SOAP-ENV:Envelope>\r\n\r\n";

std::string mixed_body(const std::string& inside, const std::string& attributes = "") {
    return "\r\n<SOAP-ENV:Body>\r\n<m:mixed xmlns:m=\"IDL:T:1.0\"" + attributes + ">" + inside +
           "\r\n</m:mixed>" + kEnd;
}

const std::string kPlainValues = "\r\n<text>a&lt;b</text>\r\n<both>0.5</both>";
const std::string kTypedValues =
    "\r\n<text xsi:type=\"xsd:string\">a&lt;b</text>\r\n<both xsi:type=\"xsd:float\">0.5</both>";

std::string literal_envelope(const std::string& attributes = "") {
    return kXml + "<SOAP-ENV:Envelope" + kNamespaces + mixed_body(kPlainValues, attributes);
}

std::string head(const std::string& action, const std::string& framing, const std::string& path = "p/q") {
    const bool chunked = framing == "chunked";
    return "POST /" + path + " HTTP/1.0\r\nDate: DATE\r\n" +
           (chunked ? "Transfer-Encoding: chunked\r\n" : std::string()) +
           "Content-Type: text/xml; charset=\"utf-8\"\r\nHost: HOST\r\nSOAPAction: " + action +
           "\r\nConnection: Keep-Alive\r\n" + (chunked ? "" : "Content-Length: " + framing + "\r\n") + "\r\n";
}

std::string with_length(const std::string& action, const std::string& body, const std::string& path = "p/q") {
    return head(action, std::to_string(body.size()), path) + body;
}

/// Replaces what stands between `start` and the next `end`.
std::string with_text(std::string text, const std::string& start, const std::string& end,
                      const std::string& in_place) {
    const std::size_t from = text.find(start);
    if (from == std::string::npos) return text;
    const std::size_t to = text.find(end, from + start.size());
    return text.replace(from + start.size(), to - from - start.size(), in_place);
}

/// Takes out what differs from run to run; a Host other than `host` stays.
std::string normal(const std::string& request, const std::string& host) {
    const std::string text = with_text(request, "\r\nDate: ", " GMT\r\n", "");
    const std::size_t at = text.find("\r\nHost: " + host + "\r\n");
    const std::string named = at == std::string::npos ? text : with_text(text, "\r\nHost: ", "\r\n", "HOST");
    return with_text(named, "\r\nDate: ", "\r\n", "DATE");
}

/// Puts the deployment's namespace, known by its path, under a short name.
std::string without_bsi(const std::string& request) {
    const bool known = request.find("/schemas/imaging/con/bsi/workflow/2003/08/21\"") != std::string::npos;
    return known ? with_text(request, "xmlns:bsi=\"", "\"", "BSI") : request;
}

/// boolean mixed(in string text, inout float both, out long only)
bool mixed(const _Caldane_Object& object) {
    static const Caldane::Operation operation("mixed", "IDL:T:1.0");
    float both = 0.5F;
    std::int32_t only = 0;
    const bool result = Caldane::call<bool>(object, operation, Caldane::in("text", _Caldane_String("a<b")),
                                            Caldane::inout("both", both), Caldane::out("only", only));
    EXPECT_EQ(both, 2.5F);
    EXPECT_EQ(only, -7);
    return result;
}

const std::string kMixedReply =
    http_answer(soap_body("<r><return>true</return><x>2.5</x><only>-7</only></r>"));

/// Serves one call and keeps its request.
struct Recorder {
    std::string request;
    ScriptedServer server{[this](ScriptedConnection& client) {
        request = client.read_request();
        client.send(kMixedReply);
        client.wait_for_end();
    }};
};

struct RequestCase {
    const char* name;
    std::vector<std::pair<const char*, const char*>> properties;
    std::string expected;
};

class Request : public testing::TestWithParam<RequestCase> {
    ClientBroker broker;
};

TEST_P(Request, IsTheseBytes) {
    std::vector<std::unique_ptr<WithProperty>> properties;
    for (const auto& [name, value] : GetParam().properties)
        properties.push_back(std::make_unique<WithProperty>(name, value));
    Recorder recorder;
    EXPECT_TRUE(mixed(object_at(recorder.server.url("p/q"))));
    recorder.server.stop();
    const std::string got = normal(recorder.request, recorder.server.address());
    const std::size_t body = got.size() - (got.find("\r\n\r\n") + 4);
    EXPECT_NE(got.find("\r\nContent-Length: " + std::to_string(body) + "\r\n"), std::string::npos);
    const auto no_length = [](const std::string& text) {
        return with_text(text, "Content-Length: ", "\r", "N");
    };
    EXPECT_EQ(no_length(without_bsi(got)), no_length(GetParam().expected));
}

const RequestCase kRequests[] = {
    {"Literal", {}, with_length("\"mixed\"", literal_envelope())},
    {"Encoded",
     {{"SOAP_ENABLE_RPC_ENCODER", ""}},
     with_length("\"mixed\"",
                 kXml + "<SOAP-ENV:Envelope" + kEncodedNamespaces + kNamespaces + mixed_body(kTypedValues))},
    {"DefaultAction", {{"default_SOAPAction", "urn:d"}}, with_length("\"urn:d\"", literal_envelope())},
    {"OwnActionWins",
     {{"default_SOAPAction", "urn:d"}, {"mixed_SOAPAction", "urn:own"}, {"mix_SOAPAction", "urn:x"}},
     with_length("\"urn:own\"", literal_envelope())},
    {"EmptyAction", {{"mixed_SOAPAction", ""}}, with_length("\"\"", literal_envelope())},
    {"Attribute", {{"mixed_ATTRIBUTE", "a='1'"}}, with_length("\"mixed\"", literal_envelope("\r\n  a='1'"))},
};
INSTANTIATE_TEST_SUITE_P(All, Request, testing::ValuesIn(kRequests),
                         [](const auto& test) { return test.param.name; });

class RequestTo : public testing::Test {
    ClientBroker broker;
};

TEST_F(RequestTo, AProxyNamesTheEndpointAndHoldsTheBarePath) {
    Recorder recorder;
    const WithProperty proxy("proxy", recorder.server.address());
    EXPECT_TRUE(mixed(object_at("http://Far.example/p/q")));
    recorder.server.stop();
    const std::string got = normal(recorder.request, "Far.example:80");
    EXPECT_EQ(got.substr(0, got.find("Content-Length")),
              head("\"mixed\"", "0").substr(0, got.find("Content-Length")));
}

TEST_F(RequestTo, AStoredUrlCarriesTheBareOperationName) {
    const WithProperty action("mixed_SOAPAction", "urn:own");
    Recorder recorder;
    EXPECT_TRUE(mixed(object_of_profile(recorder.server.url("p/q"))));
    recorder.server.stop();
    const std::string got = normal(recorder.request, recorder.server.address());
    EXPECT_EQ(got.substr(0, got.find("Content-Length")),
              head("mixed", "0").substr(0, got.find("Content-Length")));
}

TEST_F(RequestTo, AStoredUrlWithoutAPathTakesItsWholeTextForOne) {
    Recorder recorder;
    const std::string url = "http://" + recorder.server.address();
    EXPECT_TRUE(mixed(object_of_profile(url)));
    recorder.server.stop();
    EXPECT_EQ(recorder.request.substr(0, recorder.request.find('\r')), "POST /" + url + " HTTP/1.0");
}

TEST_F(RequestTo, LocalhostGoesToTheLoopbackAndKeepsItsSpelling) {
    Recorder recorder;
    const std::string address = "LocalHost:" + std::to_string(recorder.server.port());
    EXPECT_TRUE(mixed(object_at("http://" + address + "/p/q")));
    recorder.server.stop();
    EXPECT_NE(recorder.request.find("\r\nHost: " + address + "\r\n"), std::string::npos);
}

TEST_F(RequestTo, CarriesTheThreadsContextAsHeader) {
    SOA::get_default_context().set_one_value("session", _Caldane_String("s<1"));
    SOA::get_default_context().set_one_value("depth", _Caldane_AnyConstRef(std::int32_t{3}));
    Recorder recorder;
    EXPECT_TRUE(mixed(object_at(recorder.server.url())));
    recorder.server.stop();
    SOA::get_default_context().delete_values("*");
    EXPECT_NE(
        recorder.request.find(">\r\n<SOAP-ENV:Header>\r\n<session>s&lt;1</session>\r\n<depth>3</depth>\r\n"
                              "</SOAP-ENV:Header>\r\n<SOAP-ENV:Body>"),
        std::string::npos)
        << recorder.request;
}

TEST_F(RequestTo, AChunkedServerHasTheSameTextInPiecesOnEachCall) {
    const WithProperty chunking("SOAP_CLIENT_CHUNKING", "");
    std::vector<std::string> requests;
    ScriptedServer server([&](ScriptedConnection& client) {
        for (int i = 0; i < 2; ++i) {
            requests.push_back(client.read_request());
            client.send(kMixedReply);
        }
        client.wait_for_end();
    });
    {
        const _Caldane_Object object = object_at(server.url("p/q"));
        EXPECT_TRUE(mixed(object));
        EXPECT_TRUE(mixed(object));
    }
    server.stop();
    EXPECT_EQ(server.connections(), 1);
    ASSERT_EQ(requests.size(), 2U);
    for (const std::string& request : requests) {
        const std::string got = normal(request, server.address());
        const std::string expected_head = head("\"mixed\"", "chunked");
        ASSERT_EQ(got.substr(0, expected_head.size()), expected_head);
        std::string body;
        for (std::size_t at = expected_head.size(); at < got.size();) {
            const std::size_t size = std::strtoul(got.c_str() + at, nullptr, 16);
            at = got.find("\r\n", at) + 2;
            body += got.substr(at, size);
            at += size + 2;
        }
        EXPECT_EQ(without_bsi(body), literal_envelope());
    }
}

TEST_F(RequestTo, NobodyIsMadeForAQuestionAboutTheInterface) {
    static const Caldane::Operation operation("_query_interface", "IDL:T:1.0");
    EXPECT_TRUE(Caldane::call<bool>(object_at("http://127.0.0.1:1/p"), operation,
                                    Caldane::in("id", _Caldane_String("IDL:Other:1.0"))));
}

}  // namespace
