// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "encoder/soap_reply_writer.h"
#include "shapes.h"
#include "support/soap_text.h"
#include "xml/pull_parser_exception.h"

namespace {

using namespace shapes;
using soap_test::SoapReader;
using soap_test::SoapWriter;

const std::string kEnv = "http://schemas.xmlsoap.org/soap/envelope/";
const std::string kEnc = "http://schemas.xmlsoap.org/soap/encoding/";

std::string envelope(const std::string& inside, const std::string& attributes = "") {
    return "<?xml version=\"1.0\"?><e:Envelope xmlns:e='" + kEnv +
           "' xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' " + attributes + ">" + inside +
           "</e:Envelope>";
}

TEST(Envelope, what_is_accepted) {
    struct Row {
        const char* what;
        std::string body;
        int result;
    };
    std::string upper = kEnv;
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    const Row table[] = {
        {"plain", envelope("<e:Body/>"), 1},
        {"capitals", "<e:ENVELOPE xmlns:e='" + kEnv + "'><e:BODY/></e:ENVELOPE>", 1},
        {"namespace in capitals", "<e:envelope xmlns:e='" + upper + "'><e:body/></e:envelope>", 1},
        {"default namespace", "<Envelope xmlns='" + kEnv + "'><Body/></Envelope>", 1},
        {"strangers before the body", envelope("<x/><e:Header/><y>text</y><e:Body/>"), 1},
        {"another namespace", "<e:Envelope xmlns:e='urn:other'><e:Body/></e:Envelope>", 0},
        {"no namespace", "<Envelope><Body/></Envelope>", 0},
        {"body without envelope", "<e:Body xmlns:e='" + kEnv + "'/>", 0},
        {"no body", envelope("<x/>"), 0},
        {"empty", "", 0},
    };
    for (const Row& row : table) {
        SoapReader reader;
        EXPECT_EQ(reader.open(row.body), row.result) << row.what;
    }
}

TEST(Envelope, an_unreadable_head_is_a_failure) {
    for (const char* head :
         {"", "HTTP", "SMTP/1.1 200 OK\r\n\r\n", "HTTP/1.1 OK\r\n\r\n", "HTTP/1.1 200 OK\r\n"}) {
        SoapReader reader;
        EXPECT_EQ(reader.open_message(head), 0) << head;
        EXPECT_FALSE(reader.in.drained(1000));
        reader.in.release();
        reader.in.release();
    }
}

TEST(Envelope, malformed_text_leaves_as_an_exception_and_the_stream_can_be_used_again) {
    for (const char* body : {"not xml <", "<a></b>", "<a>", "<a b=c/>", "<a>&unknown;</a>"}) {
        SoapReader reader;
        EXPECT_THROW(
            {
                reader.open(body);
                reader.in.open_result();
            },
            CXmlPullParserException)
            << body;
        CHttpMessage next(HTTP_CLIENT_SIDE);
        reader.in.attach(&next, kVqNoSocket, nullptr);
        const std::string good = envelope("<e:Body><r/></e:Body>");
        EXPECT_EQ(reader.open_message("HTTP/1.0 200 OK\r\n\r\n" + good), 1);
        EXPECT_EQ(reader.in.open_result(), 1);
    }
}

TEST(Envelope, every_split_of_the_input) {
    const std::string body = envelope(
        "<e:Header><id xsi:type='xsd:int'>5</id></e:Header><e:Body><m:r xmlns:m='u'>"
        "<v>42</v></m:r></e:Body>");
    const std::string wire = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
    char size[16];
    std::snprintf(size, sizeof size, "%zx\r\n", body.size());
    for (int piece = 1; piece < 9; ++piece) {
        SoapReader reader;
        const std::string all = wire + size + body + "\r\n0\r\n\r\n";
        ASSERT_EQ(reader.open_message(all, piece), 1);
        ASSERT_EQ(reader.in.open_result(), 1);
        EXPECT_STREQ(reader.in.operation_name(), "r");
        EXPECT_STREQ(reader.in.operation_namespace(), "u");
        _Caldane_Long value = 0;
        EXPECT_NE(reader.in.demarshal(value), _Caldane_FALSE);
        EXPECT_EQ(value, 42);
        EXPECT_EQ(reader.in.close_result(), 1);
        EXPECT_EQ(reader.in.close_envelope(), 1);
        EXPECT_TRUE(reader.in.drained(0));
    }
    SOA::get_default_context().delete_values("*");
}

TEST(Envelope, unread_parameters_do_no_harm) {
    SoapReader reader;
    ASSERT_TRUE(reader.open_values("<a><r>1</r></a><b/>text"));
    EXPECT_EQ(reader.in.close_result(), 1) << "the inner element of that name stands in the same namespace";
    EXPECT_EQ(reader.in.close_envelope(), 1);
}

TEST(Envelope, encoding_styles_of_a_message_decide) {
    struct Row {
        const char* what;
        std::string body;
        bool before;
        bool after;
    };
    const std::string style = "e:encodingStyle='" + kEnc + "'";
    const std::string other = "e:encodingStyle='urn:other'";
    const Row table[] = {
        {"none keeps off", envelope("<e:Body><r/></e:Body>"), false, false},
        {"none keeps on", envelope("<e:Body><r/></e:Body>"), true, true},
        {"envelope", envelope("<e:Body><r/></e:Body>", style), false, true},
        {"body", envelope("<e:Body " + style + "><r/></e:Body>"), false, true},
        {"operation", envelope("<e:Body><r " + style + "/></e:Body>"), false, true},
        {"inner one overwrites", envelope("<e:Body " + other + "><r/></e:Body>", style), true, false},
        {"other style", envelope("<e:Body><r/></e:Body>", other), true, false},
        {"any prefix", envelope("<e:Body><r encodingstyle='" + kEnc + "'/></e:Body>"), false, true},
    };
    for (const Row& row : table) {
        SoapReader reader;
        reader.in.set_rpc_encoding(row.before);
        ASSERT_EQ(reader.open(row.body), 1);
        ASSERT_EQ(reader.in.open_result(), 1);
        EXPECT_EQ(reader.in.rpc_encoding(), row.after) << row.what;
    }
}

TEST(Envelope, the_rest_of_a_body_can_be_drained_within_a_limit) {
    const std::string body = envelope("<e:Body><r>" + std::string(5000, 'x') + "</r></e:Body>");
    SoapReader reader;
    ASSERT_EQ(reader.open(body), 1);
    EXPECT_FALSE(reader.in.drained(10));
    EXPECT_TRUE(reader.in.drained(10000));
    reader.in.release();
    EXPECT_FALSE(reader.in.drained(10000)) << "nothing is known behind release";
}

TEST(Envelope, properties_limit_what_is_read) {
    const std::string body = envelope("<e:Body><r><a><b x='' y='' z=''/></a></r></e:Body>");
    const auto size = [&body](int difference) {
        return std::to_string(static_cast<int>(body.size()) + difference);
    };
    const struct {
        const char* property;
        std::string limit;
        bool good;
    } table[] = {{"SOAP_MAX_BODY", "0", true},       {"SOAP_MAX_BODY", size(0), true},
                 {"SOAP_MAX_BODY", size(-1), false}, {"SOAP_MAX_BODY", "1", false},
                 {"SOAP_MAX_BODY", "-1", true},      {"SOAP_MAX_DEPTH", "5", true},
                 {"SOAP_MAX_DEPTH", "4", false},     {"SOAP_MAX_DEPTH", "0", true},
                 {"SOAP_MAX_ATTRIBUTES", "3", true}, {"SOAP_MAX_ATTRIBUTES", "2", false},
                 {"SOAP_MAX_ATTRIBUTES", "0", true}, {"none", "", true}};
    for (const auto& row : table) {
        SOA::getProperties().set(row.property, row.limit);
        SoapReader reader;
        bool good = false;
        try {
            good = reader.open(body) == 1 && reader.in.open_result() == 1 && reader.in.close_result() == 1 &&
                   reader.in.close_envelope() == 1;
        } catch (const CXmlPullParserException&) {
        }
        EXPECT_EQ(good, row.good) << row.property << ' ' << row.limit;
        SOA::getProperties().remove(row.property);
    }
}

TEST(Envelope, comes_from_a_socket) {
    SocketPair sockets;
    ASSERT_TRUE(sockets.send("HTTP/1.1 200 OK\r\n\r\n" + envelope("<e:Body><r><v>42</v></r></e:Body>")));
    CHttpMessage message(HTTP_CLIENT_SIDE);
    _SOAP_InStream in;
    in.attach(&message, sockets.near, nullptr);
    EXPECT_EQ(in.open_envelope(), 1);
    EXPECT_EQ(in.open_result(), 1);
}

/// What the default context holds after a header was read: `name=value` texts.
std::string header(const std::string& entries, bool encoded = false) {
    SOA::get_default_context().delete_values("*");
    SoapReader reader;
    EXPECT_EQ(reader.open(envelope("<e:Header>" + entries + "</e:Header><e:Body><r/></e:Body>",
                                   encoded ? "e:encodingStyle='" + kEnc + "'" : "")),
              1);
    EXPECT_EQ(reader.in.open_result(), 1) << "whatever the header held";
    const std::unique_ptr<_Caldane_NVList> values(SOA::get_default_context().get_values("*"));
    std::string text;
    for (_Caldane_ULong i = 0; i < values->count(); ++i) {
        _Caldane_NamedValue* value = nullptr;
        values->item(i, value);
        SoapWriter writer;
        value->value()._marshal(writer.out);
        text += std::string(value->name().c_str()) + "/" +
                std::to_string(value->value()._get_typeref().kind()) + "=" + writer.body() + " ";
    }
    SOA::get_default_context().delete_values("*");
    return text;
}

TEST(Header, entries_by_the_value_of_their_attribute) {
    for (const bool encoded : {false, true}) {
        EXPECT_EQ(header("<a xsi:type='xsd:int'>5</a>", encoded), "a/3=5 ");
        EXPECT_EQ(header("<a any='XSD:INT'>5</a>", encoded), "a/3=5 ");
        EXPECT_EQ(header("<a xsi:type='xsd:short'>-5</a><b xsi:type='xsd:unsignedShort'>5</b>", encoded),
                  "a/2=-5 b/4=5 ");
        EXPECT_EQ(header("<a xsi:type='xsd:unsignedLong'>4294967295</a>", encoded), "a/5=4294967295 ");
        EXPECT_EQ(header("<a xsi:type='xsd:float'>0.5</a><b xsi:type='xsd:double'>0.25</b>", encoded),
                  "a/6=0.5 b/7=0.25 ");
        EXPECT_EQ(header("<a xsi:type='xsd:boolean'>1</a><b xsi:type='xsd:byte'>255</b>", encoded),
                  "a/8=true b/10=255 ");
        EXPECT_EQ(header("<a xsi:type='xsd:string'>text</a><b xsi:type='xsd:int'>1</b>", encoded),
                  "a/18=text b/3=1 ");
        EXPECT_EQ(header("<a xsi:type='xsd:unsignedInt'>5</a>", encoded), "a/18=5 ");
        EXPECT_EQ(header("<a xsi:type='xsd:int'>x</a>", encoded), "a/3=0 ");
    }
}

TEST(Header, several_attributes_or_none) {
    EXPECT_EQ(header("<a e:mustUnderstand='1' xsi:type='xsd:int'>5</a><b xsi:type='xsd:int'>6</b>"),
              "a/3=5 b/3=6 ");
    EXPECT_EQ(header("<a p='1' q='2'>5</a><b xsi:type='xsd:int'>6</b>"), "a/18=5 b/3=6 ");
    EXPECT_EQ(header("<a>5</a><b xsi:type='xsd:int'>6</b>"), "")
        << "an entry without attributes ends the header";
    EXPECT_EQ(header("<b xsi:type='xsd:int'>6</b><a>5</a>"), "b/3=6 ");
    EXPECT_EQ(header("<a p='1'/><b xsi:type='xsd:int'>6</b>"), "") << "no text to store";
    EXPECT_EQ(header(""), "");
}

TEST(Header, many_messages_do_not_fill_the_context_without_end) {
    _Caldane_Context& context = SOA::get_default_context();
    context.delete_values("*");
    for (int message = 0; message < 3; ++message) {
        std::string entries;
        for (int i = 0; i < 900; ++i) {
            const std::string name = "n" + std::to_string(message * 900 + i);
            entries += "<" + name + " xsi:type='xsd:int'>5</" + name + ">";
        }
        SoapReader reader;
        ASSERT_EQ(reader.open(envelope("<e:Header>" + entries + "</e:Header><e:Body><r/></e:Body>", "")), 1);
        EXPECT_EQ(reader.in.open_result(), 1);
    }
    EXPECT_EQ(context.size(), 1000U);
    EXPECT_TRUE(context.has("n999"));
    context.delete_values("*");
}

TEST(Header, comes_back_from_our_own_reply) {
    SOA::get_default_context().delete_values("*");
    _Caldane_String text("a<b");
    SOA::get_default_context().set_one_value("text", _Caldane_AnyRef(text));
    for (const bool encoded : {false, true}) {
        _Caldane_Parameter result;
        _Caldane_ArgList args(nullptr, 0, result);
        _Caldane_CallInfo info;
        SoapWriter writer(encoded);
        _SOAP_ReplyWriter("op", "urn:x", &args, &info).write(writer.out);
        const std::string reply = writer.body();
        SOA::get_default_context().delete_values("*");
        SoapReader reader;
        ASSERT_EQ(reader.open(reply), 1);
        const std::unique_ptr<_Caldane_NVList> values(SOA::get_default_context().get_values("text"));
        ASSERT_EQ(values->count(), 1U);
        EXPECT_EQ(reader.in.open_result(), 1);
        EXPECT_STREQ(reader.in.operation_name(), "opResponse");
    }
    SOA::get_default_context().delete_values("*");
}

const Caldane::DeclaredException kDeclared[] = {
    {[](const void*) -> _Caldane_ExceptionBase* { return new Failure; }, [](const _Caldane_ExceptionBase&) {},
     [](const _Caldane_ExceptionBase& thrown) { return dynamic_cast<const Failure*>(&thrown) != nullptr; }}};

struct FaultResult {
    int result;
    const _Caldane_ExceptionBase* stored;
};

class Fault : public testing::Test {
protected:
    /// Reads a response whose `Body` holds `inside`.
    FaultResult read(const std::string& inside) {
        info = _Caldane_CallInfo();
        auto* holder = _Caldane_CallException::lookup_or_add(info);
        holder->declare(kDeclared, 1);
        reader = std::make_unique<SoapReader>();
        EXPECT_EQ(reader->open(envelope("<e:Body>" + inside + "</e:Body>")), 1);
        const int result = reader->in.read_fault(info);
        return {result, holder->stored()};
    }

    _Caldane_CallInfo info;
    std::unique_ptr<SoapReader> reader;
};

const std::string kTexts = "<faultcode>e:Server</faultcode><faultstring>gone</faultstring>";

TEST_F(Fault, a_declared_exception_comes_back_with_its_members) {
    // An element without a namespace was looked for in the envelope's, which it inherits.
    for (const auto& [start, end] :
         {std::pair<std::string, std::string>{"t:Failure xmlns:t='urn:t'", "t:Failure"},
          {"Failure xmlns='urn:t'", "Failure"},
          {"Failure", "Failure"},
          {"Failure xmlns='" + kEnv + "'", "Failure"}}) {
        const FaultResult got =
            read("<e:Fault>" + kTexts + "<detail><" + start + "><balance>7</balance><reason>none</reason></" +
                 end + "></detail></e:Fault>");
        EXPECT_EQ(got.result, 1);
        const auto* failure = dynamic_cast<const Failure*>(got.stored);
        ASSERT_NE(failure, nullptr) << start;
        EXPECT_EQ(failure->balance, 7);
        EXPECT_EQ(failure->reason, "none");
        EXPECT_EQ(failure->message_text(), "gone");
        EXPECT_EQ(reader->in.close_envelope(), 1);
    }
}

TEST_F(Fault, what_is_not_declared_is_a_system_exception_of_kind_0) {
    for (const std::string& detail :
         {std::string(), std::string("<detail/>"), std::string("<detail></detail>"),
          std::string("<detail>text</detail>"), std::string("<detail><t:Other xmlns:t='urn:t'/></detail>"),
          std::string("<detail><t:Failure xmlns:t='urn:other'/></detail>")}) {
        const FaultResult got = read("<e:Fault>" + kTexts + detail + "</e:Fault>");
        EXPECT_EQ(got.result, 1) << detail;
        const auto* system = dynamic_cast<const _Caldane_SystemException*>(got.stored);
        ASSERT_NE(system, nullptr) << detail;
        EXPECT_EQ(system->kind(), 0);
        EXPECT_EQ(system->message_text(), "gone");
    }
}

TEST_F(Fault, half_faults_are_none) {
    for (const char* inside :
         {"<e:Fault><faultcode>x</faultcode></e:Fault>", "<e:Fault><faultstring>x</faultstring></e:Fault>",
          "<e:Fault/>", "",
          "<x:Fault xmlns:x='urn:x'><faultcode>x</faultcode><faultstring>y</faultstring></x:Fault>"}) {
        const FaultResult got = read(inside);
        EXPECT_EQ(got.result, 0) << inside;
        EXPECT_EQ(got.stored, nullptr) << inside;
    }
}

TEST_F(Fault, a_good_response_is_left_alone) {
    const FaultResult got = read("<m:opResponse xmlns:m='u'><return>5</return></m:opResponse>");
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.stored, nullptr);
    EXPECT_EQ(reader->in.open_result(), 1);
    EXPECT_STREQ(reader->in.operation_name(), "opResponse");
    _Caldane_Long value = 0;
    EXPECT_NE(reader->in.demarshal(value), _Caldane_FALSE);
    EXPECT_EQ(value, 5);
}

TEST_F(Fault, repeated_and_foreign_elements_do_no_harm) {
    const FaultResult got = read("<e:Fault><faultactor>me</faultactor>" + kTexts + kTexts +
                                 "<detail><t:Failure xmlns:t='urn:t'/></detail>" +
                                 "<detail><t:Failure xmlns:t='urn:t'/></detail></e:Fault>");
    EXPECT_EQ(got.result, 1);
    EXPECT_NE(got.stored, nullptr);
}

}  // namespace
