// SPDX-License-Identifier: MIT
#include "server/fault_envelope.h"

#include <caldane/user_exception.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/soap_text.h"

namespace {

class Failure final : public _Caldane_UserException<Failure> {
public:
    std::int32_t balance = 7;
    _Caldane_String reason{"a<b"};
    static const _Caldane_StructInfo& _info() {
        static constexpr _Caldane_Member kMembers[] = {_Caldane_member<&Failure::balance>("balance"),
                                                       _Caldane_member<&Failure::reason>("reason")};
        static constexpr _Caldane_StructInfo kInfo(
            {"IDL:Acme/Deep/Failure:1.0", "Failure", "http://acme.example/deep"}, kMembers);
        return kInfo;
    }
};

/// A server's answer to a request of `version`, gathered in memory.
class Reply {
public:
    explicit Reply(bool encoded) : message(HTTP_SERVER_SIDE) {
        PiecewiseInputStream request("POST /p HTTP/1.1\r\n\r\n");
        EXPECT_EQ(message.ReadHeader(static_cast<CInputStream*>(&request)), 1);
        out.attach(&message, kVqNoSocket, nullptr);
        out.set_rpc_encoding(encoded);
        out.open_body_over(std::make_unique<soap_test::MemorySink>(wire));
    }
    std::string body() {
        out.close_body();
        return wire.substr(wire.find("\r\n\r\n") + 4);
    }

    CHttpMessage message;
    std::string wire;
    _SOAP_OutStream out;
};

constexpr char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\"?>\r\n";
constexpr char kNamespaces[] =
    " xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\""
    " xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\""
    " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"";
constexpr char kEncoding[] =
    " SOAP-ENV:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\""
    " xmlns:SOAP-ENC=\"http://schemas.xmlsoap.org/soap/encoding/\"";

struct FaultCase {
    const char* name;
    int fault_class;
    bool encoded;
    const char* content;
};

constexpr char kMembers[] =
    "<detail>\r\n<Acme:Deep:Failure xmlns:Acme=\"http://acme.example/deep\">"
    "\r\n<balance>7</balance>\r\n<reason>a&lt;b</reason>"
    "\r\n</Acme:Deep:Failure>\r\n</detail>";

const FaultCase kFaultCases[] = {
    {"VersionMismatch", FAULT_VERSION_MISMATCH, false,
     "<faultcode>SOAP-ENV:VersionMismatch</faultcode>\r\n"
     "<faultstring>SOAP Version Mismatch Error</faultstring>"},
    {"MustUnderstand", FAULT_MUST_UNDERSTAND, true,
     "<faultcode>SOAP-ENV:MustUnderstand</faultcode>\r\n"
     "<faultstring>SOAP Must Understand Error</faultstring>"},
    {"Client", FAULT_CLIENT, false,
     "<faultcode>SOAP-ENV:Client</faultcode>\r\n<faultstring>gone &amp; away</faultstring>\r\n"},
    {"Server", FAULT_SERVER, false,
     "<faultcode>SOAP-ENV:Server</faultcode>\r\n<faultstring>gone &amp; away</faultstring>\r\n"},
    {"AnyOther", 77, false,
     "<faultcode>SOAP-ENV:Server</faultcode>\r\n<faultstring>gone &amp; away</faultstring>\r\n"},
};

class FaultEnvelope : public testing::TestWithParam<FaultCase> {};

TEST_P(FaultEnvelope, IsWrittenByteForByte) {
    const FaultCase& c = GetParam();
    const bool has_exception = c.fault_class >= FAULT_CLIENT;
    Failure failure;
    failure._put_message(_Caldane_String("gone &amp; away"));
    Reply reply(c.encoded);
    EXPECT_TRUE(write_fault(reply.out, c.fault_class, has_exception ? &failure : nullptr));
    std::string expected = std::string(kDeclaration) + "<SOAP-ENV:Envelope";
    if (c.encoded) expected += kEncoding;
    expected += std::string(kNamespaces) + ">\r\n<SOAP-ENV:Body>\r\n<SOAP-ENV:Fault>\r\n" + c.content;
    if (has_exception) expected += kMembers;
    expected += "\r\n</SOAP-ENV:Fault>\r\n</SOAP-ENV:Body>\r\n</SOAP-ENV:Envelope>\r\n\r\n";
    EXPECT_EQ(reply.body(), expected);
    EXPECT_EQ(reply.wire.substr(0, 36), "HTTP/1.1 500 Internal Server Error\r\n");
    EXPECT_NE(reply.wire.find("Content-Length: " + std::to_string(expected.size()) + "\r\n"),
              std::string::npos);
    EXPECT_EQ(reply.wire.find("Transfer-Encoding"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Classes, FaultEnvelope, testing::ValuesIn(kFaultCases),
                         [](const auto& param) { return param.param.name; });

TEST(FaultEnvelopeEncoded, TypesTheMembers) {
    const Failure failure;
    Reply reply(true);
    write_fault(reply.out, FAULT_SERVER, &failure);
    const std::string body = reply.body();
    EXPECT_NE(body.find("<balance xsi:type=\"xsd:int\">7</balance>"), std::string::npos) << body;
    EXPECT_NE(body.find("<faultstring></faultstring>"), std::string::npos) << body;
}

struct NameCase {
    const char* name;
    const char* id;
    const char* element;
};

constexpr NameCase kNameCases[] = {
    {"OneComponent", "IDL:Failure:1.0", "Failure"},
    {"Deep", "IDL:Acme/Deep/Failure:1.0", "Acme:Deep:Failure"},
    {"NeitherWordNorVersionCount", "x:Acme/F:a:b", "Acme:F"},
    {"OneColon", "IDL:Failure", "Failure"},
    {"NoColon", "Failure", "Failure"},
    {"TheLongestRun", "ab/cde:f", "cde"},
    {"TheFirstOfEqualRuns", "abc/def", "abc"},
    {"NamesBeginWithALetter", "12345/a1", "a1"},
    {"Empty", "", "Exception"},
    {"NothingUsable", "1/2:", "Exception"},
};

class FaultElementName : public testing::TestWithParam<NameCase> {};

TEST_P(FaultElementName, ComesFromTheRepositoryId) {
    EXPECT_EQ(fault_element_name(GetParam().id), GetParam().element);
}

INSTANTIATE_TEST_SUITE_P(Ids, FaultElementName, testing::ValuesIn(kNameCases),
                         [](const auto& param) { return param.param.name; });

}  // namespace
