// SPDX-License-Identifier: MIT

// What no peer of good will sends: every reader ends with the told result, and the stream reads on in the
// next message.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "encoder/soap_named_value.h"
#include "shapes.h"
#include "support/piecewise_stream.h"
#include "support/soap_text.h"
#include "xml/pull_parser_exception.h"

namespace {

using namespace shapes;
using soap_test::SoapReader;
using soap_test::SoapWriter;

using Longs = _Caldane_Sequence<_Caldane_Long>;
using Two = _Caldane_Array<_Caldane_Long, 2>;
using Octets = _Caldane_Sequence<unsigned char>;

enum Outcome { kGood, kRefused, kMalformed };

template <class Value>
bool demarshal(_SOAP_InStream& in) {
    Value value{};
    if constexpr (std::is_base_of_v<_Caldane_TxType, Value>)
        return in.demarshal(static_cast<_Caldane_TxType&>(value)) != _Caldane_FALSE;
    else
        return in.demarshal(value) != _Caldane_FALSE;
}

using Reader = bool (*)(_SOAP_InStream& in);

/// Reads one message whose body's bytes lie in a block of exactly their size.
Outcome outcome_of(_SOAP_InStream& in, const std::string& body, Reader read) {
    CHttpMessage message(HTTP_CLIENT_SIDE);
    in.attach(&message, kVqNoSocket, nullptr);
    try {
        auto source = std::make_unique<PiecewiseInputStream>("HTTP/1.0 200 OK\r\n\r\n" + body, 1 << 20);
        if (in.open_envelope_from(std::move(source)) != 1 || in.open_result() != 1 || !read(in) ||
            in.close_result() != 1 || in.close_envelope() != 1)
            return kRefused;
        return kGood;
    } catch (const CXmlPullParserException&) {
        return kMalformed;
    }
}

struct Row {
    const char* what;
    Reader read;
    std::string text;
    Outcome encoded;
    Outcome literal;
};

void expect_outcomes(const Row& row) {
    const std::string good = SoapReader::envelope("<v>1</v>", true);
    _SOAP_InStream in;
    for (const bool encoded : {true, false}) {
        in.set_rpc_encoding(encoded);
        EXPECT_EQ(outcome_of(in, SoapReader::envelope(row.text, encoded), row.read),
                  encoded ? row.encoded : row.literal)
            << row.what << (encoded ? ", encoded" : ", literal");
        EXPECT_EQ(outcome_of(in, good, demarshal<_Caldane_Long>), kGood) << "behind " << row.what;
    }
    in.release();
}

TEST(InHostile, elements_that_are_not_there_or_not_what_they_should_be) {
    const Row table[] = {
        {"no struct", demarshal<Point>, "", kRefused, kGood},
        {"text for a struct", demarshal<Point>, "text", kRefused, kGood},
        {"text in a struct", demarshal<Point>, "<v>text</v>", kRefused, kRefused},
        // The parser's name is still the member's: the text is read as that member once more.
        {"text behind a member", demarshal<Point>, "<v><x>1</x>text<y>2</y></v>", kGood, kGood},
        {"text before a member", demarshal<Point>, "<v>text<x>1</x></v>", kRefused, kRefused},
        {"member with elements", demarshal<Point>, "<v><x><z>5</z></x><y>2</y></v>", kGood, kGood},
        {"foreign member", demarshal<Point>, "<v><x>1</x><z>1</z></v>", kRefused, kRefused},
        {"no sequence", demarshal<Longs>, "", kRefused, kGood},
        {"text for a sequence", demarshal<Longs>, "text", kRefused, kGood},
        {"text in a sequence", demarshal<Longs>, "<v>text</v>", kRefused, kRefused},
        {"text behind an item", demarshal<Longs>, "<v><i>1</i>text</v>", kRefused, kRefused},
        {"no array", demarshal<Two>, "", kRefused, kGood},
        {"text for an array", demarshal<Two>, "text", kRefused, kGood},
        {"text in an array", demarshal<Two>, "<v>text</v>", kRefused, kRefused},
        {"text behind an array's items", demarshal<Two>, "<v><i>1</i><i>2</i>text</v>", kRefused, kRefused},
        {"no union", demarshal<Choice>, "", kRefused, kGood},
        {"text for a union", demarshal<Choice>, "text", kRefused, kGood},
        {"text in a union", demarshal<Choice>, "<v>text</v>", kRefused, kRefused},
        {"text for a union's member", demarshal<Choice>, "<v><c>RED</c>5</v>", kRefused, kRefused},
        {"union without discriminator", demarshal<Choice>, "<v><m>5</m></v>", kRefused, kRefused},
        {"union with three elements", demarshal<Choice>, "<v><c>RED</c><m>5</m><m>5</m></v>", kRefused,
         kRefused},
        {"no enum", demarshal<Color>, "", kRefused, kGood},
        {"enum with elements", demarshal<Color>, "<v><x>RED</x></v>", kGood, kGood},
        {"no string", demarshal<_Caldane_String>, "", kRefused, kGood},
        {"no any", demarshal<_Caldane_Any>, "", kRefused, kGood},
        {"text for an any", demarshal<_Caldane_Any>, "text", kRefused, kGood},
        {"no type", demarshal<_Caldane_TypeRef>, "", kRefused, kGood},
        {"no long", demarshal<_Caldane_Long>, "", kRefused, kRefused},
        {"text for a long", demarshal<_Caldane_Long>, "5", kRefused, kRefused},
        {"no boolean", demarshal<_Caldane_Boolean>, "", kRefused, kRefused},
        {"no character", demarshal<char>, "", kRefused, kRefused},
        {"character of two", demarshal<char>, "<v>ab</v>", kGood, kGood},
        {"no reference", demarshal<_Caldane_Object>, "", kRefused, kGood},
        {"end of another element", demarshal<Point>, "<v><x>1</y></v>", kMalformed, kMalformed},
        {"no end", demarshal<Point>, "<v><x>1</x>", kMalformed, kMalformed},
        {"end of what is not open", demarshal<Longs>, "</v>", kMalformed, kMalformed},
    };
    for (const Row& row : table) expect_outcomes(row);
}

TEST(InHostile, base64_of_every_damage) {
    const std::string start = "<v xsi:type='SOAP-ENC:base64'>";
    const Row table[] = {
        {"nothing", demarshal<Octets>, start + "</v>", kGood, kGood},
        {"no character of the alphabet", demarshal<Octets>, start + "*** ***</v>", kGood, kGood},
        {"pads alone", demarshal<Octets>, start + "====</v>", kGood, kGood},
        {"elements", demarshal<Octets>, start + "<i>1</i></v>", kRefused, kRefused},
        {"elements behind", demarshal<Octets>, start + "QUJD<i>1</i></v>", kRefused, kRefused},
        {"no end", demarshal<Octets>, start + "QUJD", kMalformed, kMalformed},
        {"array of too few", demarshal<_Caldane_Array<unsigned char, 3>>, start + "QU</v>", kRefused,
         kRefused},
        // A struct that stands for a simple type of the schema takes what it can get.
        {"elements in a struct", demarshal<Base64Binary>, "<v><x/></v>", kGood, kGood},
        {"elements in hexadecimal", demarshal<HexBinary>, "<v><x/></v>", kGood, kGood},
        {"elements in a date", demarshal<DateTime>, "<v>2003-08-21T12:00:00Z<x/></v>", kGood, kGood},
        {"elements in a decimal", demarshal<Decimal>, "<v><x/></v>", kGood, kGood},
    };
    for (const Row& row : table) expect_outcomes(row);
}

TEST(InHostile, references_to_nowhere_and_in_rings) {
    const auto node = [](const char* id, const char* target) {
        return "<v id=\"" + std::string(id) + "\"><v>1</v><kids><i href=\"#" + target + "\"/></kids></v>";
    };
    const Row table[] = {
        {"to nothing", demarshal<Node>, "<v href=\"#no\"/>", kMalformed, kMalformed},
        {"to an empty name", demarshal<Node>, "<v href=\"#\"/>", kMalformed, kMalformed},
        {"to itself", demarshal<Node>, "<v id=\"1\" href=\"#1\"/>", kMalformed, kMalformed},
        {"to its parent's parent", demarshal<Node>, node("1", "1"), kMalformed, kMalformed},
        {"ring of two", demarshal<Node>, node("1", "2") + node("2", "1"), kMalformed, kMalformed},
        {"ring of three", demarshal<Node>, node("1", "2") + node("2", "3") + node("3", "1"), kMalformed,
         kMalformed},
        {"ring ahead", demarshal<Node>, "<v href=\"#1\"/>" + node("1", "2") + node("2", "1"), kMalformed,
         kMalformed},
        {"to an element without end", demarshal<Node>, "<v href=\"#1\"/><w id=\"1\"><v>1</v>", kMalformed,
         kMalformed},
        {"to another type", demarshal<Node>, "<v href=\"#1\"/><w id=\"1\"><x>1</x></w>", kRefused, kRefused},
        {"to text", demarshal<Node>, "<v href=\"#1\"/><w id=\"1\">text</w>", kRefused, kRefused},
        {"to the same twice", demarshal<Longs>, "<v><i href=\"#1\"/><i href=\"#1\"/></v><w id=\"1\">5</w>",
         kGood, kGood},
    };
    for (const Row& row : table) expect_outcomes(row);
}

TEST(InHostile, every_prefix_of_a_message_ends) {
    Mixed value;
    value.any = _Caldane_Any(Longs{1, 2});
    value.octets = {0, 127, 255};
    value.strings = {"", "x"};
    for (const bool encoded : {false, true}) {
        SoapWriter writer(encoded);
        _SOAP_NamedValue("v", _Caldane_AnyConstRef(value)).write(writer.out);
        const std::string whole = SoapReader::envelope(writer.body(), encoded);
        _SOAP_InStream in;
        for (std::size_t size = 0; size < whole.size(); ++size) {
            // A document without its first tag is no malformed one.
            EXPECT_NE(outcome_of(in, whole.substr(0, size), demarshal<Mixed>), kGood) << size;
        }
        EXPECT_EQ(outcome_of(in, whole, demarshal<Mixed>), kGood);
        in.release();
    }
}

}  // namespace
