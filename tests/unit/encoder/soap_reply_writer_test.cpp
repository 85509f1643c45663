// SPDX-License-Identifier: MIT
#include "encoder/soap_reply_writer.h"

#include <gtest/gtest.h>

#include <string>

#include "support/soap_text.h"

namespace {

using soap_test::SoapReader;
using soap_test::SoapWriter;

const std::string kLiteralHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n\r\n<SOAP-ENV:Envelope"
    " xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\""
    " xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\""
    " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\""
    " xmlns:bsi=\"http://bsi.example/schemas/imaging/con/bsi/workflow/2003/08/21\">";
const std::string kEncodedHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n\r\n<SOAP-ENV:Envelope"
    " SOAP-ENV:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\""
    " xmlns:SOAP-ENC=\"http://schemas.xmlsoap.org/soap/encoding/\""
    " xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\""
    " xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\""
    " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\""
    " xmlns:bsi=\"http://bsi.example/schemas/imaging/con/bsi/workflow/2003/08/21\">";
const std::string kTail = "\r\n</SOAP-ENV:Body>\r\n</SOAP-ENV:Envelope>\r\n\r\n";

class ReplyWriter : public testing::Test {
protected:
    void TearDown() override {
        SOA::get_default_context().delete_values("*");
        SOA::getProperties().remove("withdraw_ATTRIBUTE");
    }

    /// The reply to `withdraw` with a result, an in, an out and an in-out parameter.
    static std::string reply(bool encoded) {
        _Caldane_Long result_value = 7;
        _Caldane_Long in_value = 1;
        _Caldane_Long out_value = 2;
        _Caldane_Long inout_value = 3;
        _Caldane_Parameter result("", _Caldane_Parameter::OUT, _Caldane_AnyRef(result_value));
        _Caldane_Parameter parameters[] = {
            {"a", _Caldane_Parameter::IN, _Caldane_AnyRef(in_value)},
            {"b", _Caldane_Parameter::OUT, _Caldane_AnyRef(out_value)},
            {"a_name_of_more_than_fifteen_bytes", _Caldane_Parameter::INOUT, _Caldane_AnyRef(inout_value)},
            {"d", 9, _Caldane_AnyRef(in_value)}};
        _Caldane_ArgList args(parameters, 4, result);
        _Caldane_CallInfo info;
        SoapWriter writer(encoded);
        EXPECT_EQ(_SOAP_ReplyWriter("withdraw", "urn:bank", &args, &info).write(writer.out), 1);
        return writer.body();
    }
};

TEST_F(ReplyWriter, result_then_out_and_inout_parameters) {
    EXPECT_EQ(reply(false),
              kLiteralHead +
                  "\r\n<SOAP-ENV:Body>\r\n<m:withdrawResponse xmlns:m=\"urn:bank\">"
                  "\r\n<return>7</return>\r\n<m:b>2</m:b>"
                  "\r\n<m:a_name_of_more_than_fifteen_bytes>3</m:a_name_of_more_than_fifteen_bytes>"
                  "\r\n</m:withdrawResponse>" +
                  kTail);
    EXPECT_EQ(reply(true),
              kEncodedHead +
                  "\r\n<SOAP-ENV:Body>\r\n<m:withdrawResponse xmlns:m=\"urn:bank\">"
                  "\r\n<return xsi:type=\"xsd:int\">7</return>\r\n<m:b xsi:type=\"xsd:int\">2</m:b>"
                  "\r\n<m:a_name_of_more_than_fifteen_bytes xsi:type=\"xsd:int\">3"
                  "</m:a_name_of_more_than_fifteen_bytes>"
                  "\r\n</m:withdrawResponse>" +
                  kTail);
}

TEST_F(ReplyWriter, nothing_to_say_leaves_two_tags_on_two_lines) {
    _Caldane_Parameter result;
    _Caldane_ArgList args(nullptr, 0, result);
    _Caldane_CallInfo info;
    SoapWriter writer;
    EXPECT_EQ(_SOAP_ReplyWriter("note", "urn:bank", &args, &info).write(writer.out), 1);
    EXPECT_EQ(writer.body(), kLiteralHead +
                                 "\r\n<SOAP-ENV:Body>\r\n<m:noteResponse xmlns:m=\"urn:bank\">"
                                 "\r\n</m:noteResponse>" +
                                 kTail);
}

// The namespace comes from the request: a reply made of it as it stood was no XML.
TEST_F(ReplyWriter, any_namespace_can_be_read_again) {
    const std::string utf8 = "urn:\xC3\xA9\xE2\x98\xBA";
    const std::pair<std::string, std::string> table[] = {{"urn:a&b\"c'<d>", "urn:a&b\"c'<d>"},
                                                         {"http://h/?a=b", "http://h/?a=b"},
                                                         {"a\tb\nc", "a\tb\nc"},
                                                         {"a\x01z", "a_z"},
                                                         {utf8, utf8},
                                                         {"\xE9&\x80", "\xC3\xA9&\xC2\x80"}};
    for (const auto& [uri, read] : table) {
        _Caldane_Parameter result;
        _Caldane_ArgList args(nullptr, 0, result);
        _Caldane_CallInfo info;
        SoapWriter writer;
        EXPECT_EQ(_SOAP_ReplyWriter("op", _Caldane_String(uri.c_str()), &args, &info).write(writer.out), 1);
        SOA::getProperties().set("SOAP_UTF8_TEXT", "");
        SoapReader reader;
        const bool opened = reader.open(writer.body()) == 1 && reader.in.open_result() == 1;
        SOA::getProperties().remove("SOAP_UTF8_TEXT");
        EXPECT_TRUE(opened);
        EXPECT_EQ(reader.in.operation_namespace(), read);
    }
}

TEST_F(ReplyWriter, context_values_go_into_a_header_with_their_types) {
    _Caldane_Long id = 5;
    _Caldane_String text("a<b");
    SOA::get_default_context().set_one_value("id", _Caldane_AnyRef(id));
    SOA::get_default_context().set_one_value("text", _Caldane_AnyRef(text));
    const std::string header =
        "\r\n<SOAP-ENV:Header>\r\n<id xsi:type=\"xsd:int\">5</id>"
        "\r\n<text xsi:type=\"xsd:string\">a&lt;b</text>\r\n</SOAP-ENV:Header>\r\n<SOAP-ENV:Body>";
    EXPECT_NE(reply(false).find(kLiteralHead + header), std::string::npos);
    EXPECT_NE(reply(true).find(kEncodedHead + header), std::string::npos);
}

TEST_F(ReplyWriter, the_attribute_property_stands_raw_on_a_line_of_its_own) {
    SOA::getProperties().set("withdraw_ATTRIBUTE", "a=\"<1>\"");
    EXPECT_NE(reply(false).find("xmlns:m=\"urn:bank\"\r\n  a=\"<1>\">\r\n<return>"), std::string::npos);
}

}  // namespace
