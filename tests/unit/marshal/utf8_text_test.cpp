// SPDX-License-Identifier: MIT

// What SOAP_UTF8_TEXT makes of the streams: text is UTF-8 made of characters of XML, or it does not pass.

#include <gtest/gtest.h>

#include <string>

#include "support/soap_text.h"
#include "vqsys/types.h"

namespace {

using soap_test::SoapReader;
using soap_test::SoapWriter;

class Utf8Streams : public testing::Test {
protected:
    Utf8Streams() { SOA::getProperties().set("SOAP_UTF8_TEXT", ""); }
    ~Utf8Streams() override { SOA::getProperties().remove("SOAP_UTF8_TEXT"); }
};

struct Written {
    _Caldane_Boolean result;
    bool refused;
    std::string text;
};

Written write_string(const std::string& text, bool chunked = false) {
    SoapWriter writer(false, chunked);
    const _Caldane_Boolean result =
        writer.out.marshal_string(text.data(), static_cast<_Caldane_ULong>(text.size()));
    const bool refused = writer.out.text_refused();
    return {result, refused, writer.body()};
}

TEST_F(Utf8Streams, WriteWhatComesBackExactly) {
    const std::string text = "\xC3\xA9 <\xE2\x98\xBA> \r\n\r\t&\xF0\x9F\x98\x80'\"";
    const std::string wire = "\xC3\xA9 &lt;\xE2\x98\xBA&gt; &#13;\n&#13;\t&amp;\xF0\x9F\x98\x80&apos;&quot;";
    const Written written = write_string(text);
    EXPECT_EQ(written.text, wire);
    EXPECT_FALSE(written.refused);
    SoapReader reader;
    ASSERT_TRUE(reader.open_values("<v>" + wire + "</v>"));
    const char* got = nullptr;
    ASSERT_EQ(reader.in.read_text(&got), static_cast<int>(text.size()));
    EXPECT_EQ(got, text);
}

TEST_F(Utf8Streams, RefuseWhatIsNoText) {
    for (const std::string text : {"\xE9", "a\xC3", "\xED\xA0\x80", "\x01", "\xEF\xBF\xBF"}) {
        for (const bool chunked : {false, true}) {
            const Written written = write_string(text, chunked);
            EXPECT_EQ(written.result, _Caldane_FALSE) << text;
            EXPECT_TRUE(written.refused) << text;
        }
    }
    SoapWriter writer;
    writer.out.marshal('\0');
    EXPECT_TRUE(writer.out.text_refused());
    EXPECT_TRUE(writer.out.discard());
    EXPECT_FALSE(writer.out.text_refused()) << "the body that takes its place is another";
    writer.out.marshal('\xE9');
    EXPECT_FALSE(writer.out.text_refused());
    EXPECT_EQ(writer.body(), "\xC3\xA9");
}

// What is not one character that a byte holds is the zero character, in both kinds of text.
TEST_F(Utf8Streams, CharactersAreThoseThatOneByteHolds) {
    struct {
        const char* element;
        char value;
        char latin;
    } const rows[] = {
        {"<v>a</v>", 'a', 'a'},
        {"<v>\xC3\xA9</v>", '\xE9', '\xE9'},
        {"<v>&#xFF;</v>", '\xFF', '\xFF'},
        {"<v>\xC4\x80</v>", 0, 0},
        {"<v>&#x263A;</v>", 0, 0x26},
        {"<v>ab</v>", 0, 0},
        {"<v>\xC3\xA9 </v>", 0, 0},
        {"<v></v>", ' ', ' '},
        {"<v>\xF0\x9F\x98\x80</v>", 0, 0},
    };
    for (const bool utf8 : {true, false}) {
        if (!utf8) SOA::getProperties().remove("SOAP_UTF8_TEXT");
        for (const auto& row : rows) {
            SoapReader reader;
            ASSERT_TRUE(reader.open_values(row.element));
            char value = 'x';
            EXPECT_NE(reader.in.demarshal(value), _Caldane_FALSE) << row.element;
            EXPECT_EQ(value, utf8 ? row.value : row.latin) << row.element;
        }
    }
}

TEST(LatinStreams, LeaveTextAsItIs) {
    const Written written = write_string("\xE9\x01\r\xC3");
    EXPECT_EQ(written.text, "\xE9\x01\r\xC3");
    EXPECT_NE(written.result, _Caldane_FALSE);
}

}  // namespace
