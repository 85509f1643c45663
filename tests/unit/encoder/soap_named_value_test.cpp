// SPDX-License-Identifier: MIT
#include "encoder/soap_named_value.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "../marshal/shapes.h"
#include "support/soap_text.h"

namespace {

using namespace shapes;
using soap_test::SoapWriter;

/// Numbers the prefixes `m<n>`, which count on through the life of the process, from 1 in each text.
std::string renumbered(const std::string& text) {
    std::map<std::string, std::string> names;
    std::string result;
    for (std::size_t i = 0; i < text.size();) {
        const bool prefix = text[i] == 'm' && i > 0 && (text[i - 1] == ':' || text[i - 1] == '"') &&
                            i + 1 < text.size() && std::isdigit(static_cast<unsigned char>(text[i + 1]));
        if (!prefix) {
            result += text[i++];
            continue;
        }
        std::size_t end = i + 1;
        while (std::isdigit(static_cast<unsigned char>(text[end]))) ++end;
        auto [found, is_new] = names.try_emplace(text.substr(i, end - i));
        if (is_new) found->second = std::string("m").append(std::to_string(names.size()));
        result += found->second;
        i = end;
    }
    return result;
}

std::string written(_Caldane_AnyConstRef value, bool encoded, bool chunked = false) {
    SoapWriter writer(encoded, chunked);
    EXPECT_EQ(_SOAP_NamedValue("v", value).write(writer.out), _Caldane_TRUE);
    return renumbered(writer.body());
}

/// What a chunked body says.
std::string dechunked(const std::string& body) {
    std::string text;
    for (std::size_t at = 0; at < body.size();) {
        const std::size_t size = std::stoul(body.substr(at), nullptr, 16);
        at = body.find("\r\n", at) + 2;
        text += body.substr(at, size);
        at += size + 2;
    }
    return text;
}

void expect_text(const char* what, _Caldane_AnyConstRef value, const std::string& encoded,
                 const std::string& literal) {
    EXPECT_EQ(written(value, true), encoded) << what;
    EXPECT_EQ(written(value, false), literal) << what;
    SoapWriter chunks(true, true);
    _SOAP_NamedValue("v", value).write(chunks.out);
    EXPECT_EQ(renumbered(dechunked(chunks.body())), encoded) << what << " in chunks";
}

TEST(NamedValue, primitives) {
    const short s = 7;
    const unsigned short us = 7;
    const _Caldane_Long l = 7;
    const _Caldane_ULong ul = 7;
    const float f = 1.5F;
    const double d = 1.5;
    const _Caldane_Boolean b = _Caldane_TRUE;
    const char c = 'a';
    const unsigned char o = 200;
    expect_text("short", s, "\r\n<v xsi:type=\"xsd:short\">7</v>", "\r\n<v>7</v>");
    expect_text("long", l, "\r\n<v xsi:type=\"xsd:int\">7</v>", "\r\n<v>7</v>");
    expect_text("ushort", us, "\r\n<v xsi:type=\"xsd:unsignedShort\">7</v>", "\r\n<v>7</v>");
    expect_text("ulong", ul, "\r\n<v xsi:type=\"xsd:unsignedInt\">7</v>", "\r\n<v>7</v>");
    expect_text("float", f, "\r\n<v xsi:type=\"xsd:float\">1.5</v>", "\r\n<v>1.5</v>");
    expect_text("double", d, "\r\n<v xsi:type=\"xsd:double\">1.5</v>", "\r\n<v>1.5</v>");
    expect_text("boolean", b, "\r\n<v xsi:type=\"xsd:boolean\">true</v>", "\r\n<v>true</v>");
    expect_text("char", c, "\r\n<v xsi:type=\"xsd:string\" xsd:length=\"1\">a</v>", "\r\n<v>a</v>");
    expect_text("octet", o, "\r\n<v xsi:type=\"xsd:unsignedByte\">200</v>", "\r\n<v>200</v>");
    expect_text("nothing", _Caldane_AnyConstRef(), "", "");
}

TEST(NamedValue, strings_and_enums) {
    expect_text("string", _Caldane_String("a<b"), "\r\n<v xsi:type=\"xsd:string\">a&lt;b</v>",
                "\r\n<v>a&lt;b</v>");
    expect_text("empty string", _Caldane_String(""), "\r\n<v xsi:type=\"xsd:string\"></v>", "\r\n<v></v>");
    expect_text("null string", _Caldane_String(), "\r\n<v xsi:type=\"xsd:string\" xsi:null=\"1\"/>",
                "\r\n<v xsi:null=\"1\"/>");
    expect_text("enum", Color(Color::GREEN), "\r\n<v>GREEN</v>", "\r\n<v>GREEN</v>");
    Color none;
    none.value(77);
    expect_text("enum without a name", none, "\r\n<v></v>", "\r\n<v></v>");
}

TEST(NamedValue, structs_unions_and_exceptions) {
    Point point;
    point.x = 7;
    expect_text("struct", point,
                "\r\n<v xmlns:m1=\"urn:t\" xsi:type=\"m1:Spot\">\r\n<x xsi:type=\"xsd:int\">7</x>"
                "\r\n<y xsi:type=\"xsd:int\">0</y></v>",
                "\r\n<v>\r\n<x>7</x>\r\n<y>0</y></v>");
    expect_text("empty struct without namespace", Empty(), "\r\n<v></v>", "\r\n<v></v>");
    Choice choice;
    choice.m(7);
    expect_text("union", choice,
                "\r\n<v xmlns:m1=\"urn:t\" xsi:type=\"m1:Choice\">\r\n<choice>RED</choice>"
                "\r\n<m xsi:type=\"xsd:int\">7</m></v>",
                "\r\n<v>\r\n<choice>RED</choice>\r\n<m>7</m></v>");
    Numbered numbered;
    numbered.three(7);
    expect_text("union over a number", numbered,
                "\r\n<v>\r\n<choice>3</choice>\r\n<three xsi:type=\"xsd:int\">7</three></v>",
                "\r\n<v>\r\n<choice>3</choice>\r\n<three>7</three></v>");
    numbered.discriminator(-1);
    expect_text("negative discriminator", numbered,
                "\r\n<v>\r\n<choice>4294967295</choice>\r\n<other xsi:type=\"xsd:double\">0</other></v>",
                "\r\n<v>\r\n<choice>4294967295</choice>\r\n<other>0</other></v>");
    Failure failure;
    failure.reason = _Caldane_String("none");
    expect_text("exception", failure,
                "\r\n<v>\r\n<balance xsi:type=\"xsd:int\">0</balance>\r\n<reason xsi:type=\"xsd:string\">none"
                "</reason></v>",
                "\r\n<v>\r\n<balance>0</balance>\r\n<reason>none</reason></v>");
}

TEST(NamedValue, sequences_and_arrays) {
    using Longs = _Caldane_Sequence<_Caldane_Long>;
    const std::string items =
        "\r\n<item xsi:type=\"xsd:int\">1</item>\r\n<item xsi:type=\"xsd:int\">2</item>";
    const std::string encoded =
        "\r\n<v xsi:type=\"SOAP-ENC:Array\" SOAP-ENC:arrayType=\"xsd:int[2]\">" + items + "</v>";
    const std::string literal = "\r\n<v>\r\n<item>1</item>\r\n<item>2</item></v>";
    expect_text("sequence", Longs{1, 2}, encoded, literal);
    expect_text("array", _Caldane_Array<_Caldane_Long, 2>(1, 2), encoded, literal);
    expect_text("empty sequence", Longs{},
                "\r\n<v xsi:type=\"SOAP-ENC:Array\" SOAP-ENC:arrayType=\"xsd:int[0]\"></v>", "\r\n<v></v>");
    expect_text("octets", _Caldane_Sequence<unsigned char>{65, 66, 67},
                "\r\n<v xsi:type=\"SOAP-ENC:base64\">QUJD</v>",
                "\r\n<v>\r\n<item>65</item>\r\n<item>66</item>\r\n<item>67</item></v>");
    expect_text("array of octet", _Caldane_Array<unsigned char, 1>(static_cast<unsigned char>(65)),
                "\r\n<v xsi:type=\"SOAP-ENC:base64\">QQ==</v>", "\r\n<v>\r\n<item>65</item></v>");
    expect_text("strings", _Caldane_Sequence<_Caldane_String>{"a", ""},
                "\r\n<v xsi:type=\"SOAP-ENC:Array\" SOAP-ENC:arrayType=\"xsd:string[2]\">"
                "\r\n<item xsi:type=\"xsd:string\">a</item>\r\n<item xsi:type=\"xsd:string\"></item></v>",
                "\r\n<v>\r\n<item>a</item>\r\n<item></item></v>");
    expect_text("enums", _Caldane_Sequence<Color>{Color(Color::BLUE)},
                "\r\n<v xsi:type=\"SOAP-ENC:Array\" SOAP-ENC:arrayType=\"[1]\">\r\n<item>BLUE</item></v>",
                "\r\n<v>\r\n<item>BLUE</item></v>");
    expect_text("structs", _Caldane_Sequence<Point>(1),
                "\r\n<v xsi:type=\"SOAP-ENC:Array\" xmlns:m1=\"urn:t\" SOAP-ENC:arrayType=\"m1:Spot[1]\">"
                "\r\n<item xmlns:m2=\"urn:t\" xsi:type=\"m2:Spot\">\r\n<x xsi:type=\"xsd:int\">0</x>"
                "\r\n<y xsi:type=\"xsd:int\">0</y></item></v>",
                "\r\n<v>\r\n<item>\r\n<x>0</x>\r\n<y>0</y></item></v>");
    expect_text("no structs", _Caldane_Sequence<Point>(),
                "\r\n<v xsi:type=\"SOAP-ENC:Array\" SOAP-ENC:arrayType=\"[0]\"></v>", "\r\n<v></v>");
}

TEST(NamedValue, numbers_in_a_block_are_written_as_one_by_one) {
    const auto check = [](auto sequence) {
        for (const bool encoded : {false, true}) {
            SoapWriter whole(encoded);
            whole.out.marshal(static_cast<const _Caldane_TxType&>(sequence));
            SoapWriter single(encoded);
            for (const auto& element : sequence)
                _SOAP_NamedValue("item", _Caldane_AnyConstRef(element)).write(single.out);
            EXPECT_EQ(whole.body(), single.body());
        }
    };
    check(_Caldane_Sequence<short>{-32768, 0, 32767});
    check(_Caldane_Sequence<unsigned short>{0, 65535});
    check(_Caldane_Sequence<_Caldane_Long>{-2147483647 - 1, 2147483647});
    check(_Caldane_Sequence<_Caldane_ULong>{0, 4294967295U});
    check(_Caldane_Sequence<float>{0.1F, -1e30F});
    check(_Caldane_Sequence<double>{0.1, -1e-300, 1e300});
    check(_Caldane_Sequence<char>{'a', '<', '\xe9'});
    check(_Caldane_Sequence<_Caldane_Boolean>{_Caldane_TRUE, _Caldane_FALSE});
}

TEST(NamedValue, several_dimensions) {
    using Row = _Caldane_Sequence<_Caldane_Long>;
    const std::string flat =
        "\r\n<item xsi:type=\"xsd:int\">1</item>\r\n<item xsi:type=\"xsd:int\">2</item>"
        "\r\n<item xsi:type=\"xsd:int\">3</item>\r\n<item xsi:type=\"xsd:int\">4</item>"
        "\r\n<item xsi:type=\"xsd:int\">5</item>\r\n<item xsi:type=\"xsd:int\">6</item></v>";
    const std::string start = "\r\n<v xsi:type=\"SOAP-ENC:Array\" SOAP-ENC:arrayType=\"xsd:int[2,3]\">";
    EXPECT_EQ(written(_Caldane_Sequence<Row>{{1, 2, 3}, {4, 5, 6}}, true), start + flat);
    using ArrayRow = _Caldane_Array<_Caldane_Long, 3>;
    EXPECT_EQ(written(_Caldane_Array<ArrayRow, 2>(ArrayRow(1, 2, 3), ArrayRow(4, 5, 6)), true), start + flat);
    EXPECT_EQ(written(_Caldane_Array<ArrayRow, 1>(ArrayRow(1, 2, 3)), false),
              "\r\n<v>\r\n<item>1</item>\r\n<item>2</item>\r\n<item>3</item></v>");
    // Bytes among several dimensions are items too: one text could not be cut up again.
    using Octets = _Caldane_Sequence<unsigned char>;
    EXPECT_EQ(written(_Caldane_Sequence<Octets>{{65}, {66}}, true),
              "\r\n<v xsi:type=\"SOAP-ENC:Array\" SOAP-ENC:arrayType=\"xsd:unsignedByte[2,1]\">"
              "\r\n<item xsi:type=\"xsd:unsignedByte\">65</item>"
              "\r\n<item xsi:type=\"xsd:unsignedByte\">66</item></v>");
    // Without dimensions, or with rows that differ, only nesting keeps the shape.
    EXPECT_EQ(written(_Caldane_Sequence<Row>{{1, 2}, {3}}, false),
              "\r\n<v>\r\n<item>\r\n<item>1</item>\r\n<item>2</item></item>\r\n<item>\r\n<item>3</item></"
              "item></v>");
    EXPECT_EQ(written(_Caldane_Sequence<Row>{{1}, {}}, true),
              "\r\n<v xsi:type=\"SOAP-ENC:Array\" SOAP-ENC:arrayType=\"SOAP-ENC:Array[2]\">"
              "\r\n<item xsi:type=\"SOAP-ENC:Array\" SOAP-ENC:arrayType=\"xsd:int[1]\">"
              "\r\n<item xsi:type=\"xsd:int\">1</item></item>"
              "\r\n<item xsi:type=\"SOAP-ENC:Array\" SOAP-ENC:arrayType=\"xsd:int[0]\"></item></v>");
    EXPECT_EQ(written(_Caldane_Sequence<Row>{}, true),
              "\r\n<v xsi:type=\"SOAP-ENC:Array\" SOAP-ENC:arrayType=\"[0]\"></v>");
}

TEST(NamedValue, anys_always_state_the_type) {
    const std::string type = "\r\n<v xsi:type=\"xsd:int\">7</v>";
    expect_text("any", _Caldane_Any(_Caldane_Long{7}), type, type);
    expect_text("empty any", _Caldane_Any(), "", "");
    expect_text("any of enum", _Caldane_Any(Color(Color::BLUE)), "\r\n<v>BLUE</v>", "\r\n<v>BLUE</v>");
    const std::string item = "\r\n<item xsi:type=\"xsd:string\">x</item></v>";
    expect_text("anys", _Caldane_Sequence<_Caldane_Any>{_Caldane_Any("x")},
                "\r\n<v xsi:type=\"SOAP-ENC:Array\" SOAP-ENC:arrayType=\"xsd:anyType[1]\">" + item,
                "\r\n<v>" + item);
    EXPECT_EQ(written(_Caldane_Any(_Caldane_Sequence<_Caldane_Long>{1}), false),
              "\r\n<v type=\"xsd:int[1]\">\r\n<item>1</item></v>");
    // Uneven rows name a type of the encoding, whose prefix a literal envelope does not declare.
    using Row = _Caldane_Sequence<_Caldane_Long>;
    EXPECT_EQ(
        written(_Caldane_Any(_Caldane_Sequence<Row>{{1}, {}}), false),
        "\r\n<v xmlns:SOAP-ENC=\"http://schemas.xmlsoap.org/soap/encoding/\" type=\"SOAP-ENC:Array[2]\">"
        "\r\n<item type=\"xsd:int[1]\">\r\n<item>1</item></item>"
        "\r\n<item type=\"xsd:int[0]\"></item></v>");
}

TEST(NamedValue, nil_marks) {
    const auto nil = [](auto value) {
        value.is_nil(true);
        return value;
    };
    expect_text("struct", nil(Point()), "\r\n<v xmlns:m1=\"urn:t\" xsi:type=\"m1:Spot\" xsi:null=\"1\"/>",
                "\r\n<v/>");
    expect_text("sequence", nil(_Caldane_Sequence<_Caldane_Long>{1}),
                "\r\n<v xsi:type=\"SOAP-ENC:Array\" SOAP-ENC:arrayType=\"xsd:int[1]\" xsi:null=\"1\"/>",
                "\r\n<v/>");
    expect_text("octets", nil(_Caldane_Sequence<unsigned char>{65}),
                "\r\n<v xsi:type=\"SOAP-ENC:base64\">QQ==</v>", "\r\n<v/>");
    expect_text("array", nil(_Caldane_Array<short, 1>(short{7})),
                "\r\n<v xsi:type=\"SOAP-ENC:Array\" SOAP-ENC:arrayType=\"xsd:short[1]\" xsi:null=\"1\"/>",
                "\r\n<v/>");
    expect_text("union", nil(Choice()),
                "\r\n<v xmlns:m1=\"urn:t\" xsi:type=\"m1:Choice\">\r\n<choice>RED</choice>"
                "\r\n<m xsi:type=\"xsd:int\">0</m></v>",
                "\r\n<v/>");
    expect_text("string", nil(_Caldane_String("x")), "\r\n<v xsi:type=\"xsd:string\">x</v>", "\r\n<v/>");
    expect_text("enum", nil(Color()), "\r\n<v>RED</v>", "\r\n<v/>");
}

TEST(NamedValue, the_type_is_told_once) {
    SoapWriter writer;
    const Point point;
    _SOAP_NamedValue value("v", _Caldane_AnyConstRef(point));
    value.typed = true;
    value.write(writer.out);
    value.write(writer.out);
    const std::string members = "\r\n<x>0</x>\r\n<y>0</y></v>";
    EXPECT_EQ(renumbered(writer.body()),
              "\r\n<v xmlns:m1=\"urn:t\" xsi:type=\"m1:Spot\">" + members + "\r\n<v>" + members);
}

TEST(NamedValue, free_attributes_stand_before_the_type) {
    _Caldane_String text("x");
    text.setProperty("attributes", "a=\"1\"");
    expect_text("string", text, "\r\n<v a=\"1\" xsi:type=\"xsd:string\">x</v>", "\r\n<v a=\"1\">x</v>");
}

TEST(NamedValue, simple_types_of_the_schema_are_one_text) {
    Base64Binary base64;
    base64.value = {65, 66};
    HexBinary hex;
    hex.value = {0, 171, 255};
    DateTime date;
    date.value = 1061467200;
    Decimal decimal;
    decimal.value = _Caldane_String("12.50");
    const std::string start = "\r\n<v xmlns:m1=\"http://www.w3.org/2001/XMLSchema\" xsi:type=\"m1:";
    expect_text("base64Binary", base64, start + "base64Binary\">QUI=</v>", "\r\n<v>QUI=</v>");
    expect_text("hexBinary", hex, start + "hexBinary\">00ABFF</v>", "\r\n<v>00ABFF</v>");
    expect_text("dateTime", date, start + "dateTime\">2003-08-21T12:00:00Z</v>",
                "\r\n<v>2003-08-21T12:00:00Z</v>");
    expect_text("decimal", decimal, start + "decimal\">12.50</v>", "\r\n<v>12.50</v>");
}

TEST(NamedValue, a_reference_has_no_element_of_its_own_wherever_it_stands) {
    _IOP_ProfileList profiles;
    profiles.append(_IOP_Profile(70, _IOP_OctetSeq(_Caldane_String("a&b"))));
    const auto object = [&profiles] {
        return _Caldane_Object(_IOP_IOR::generate(_Caldane_String("IDL:x:1.0"), profiles));
    };
    const std::string encoded =
        "\r\n<type_id xsi:type=\"xsd:string\">IDL:x:1.0</type_id>"
        "\r\n<profiles xsi:type=\"SOAP-ENC:Array\" xmlns:u=\"http://www.omg.org/IDL-WSDL/1.0/\""
        " SOAP-ENC:arrayType=\"u:Profile[1]\">\r\n<ProfileId xsi:type=\"xsd:unsignedInt\">70</ProfileId>"
        "\r\n<profile_data xsi:type=\"xsd:string\">a&amp;b</profile_data>\r\n</profiles>";
    const std::string literal =
        "\r\n<type_id>IDL:x:1.0</type_id>\r\n<profiles>\r\n<ProfileId>70</ProfileId>"
        "\r\n<profile_data>a&amp;b</profile_data>\r\n</profiles>";
    expect_text("reference", object(), encoded, literal);
    expect_text("references", _Caldane_Sequence<_Caldane_Object>{object()},
                "\r\n<v xsi:type=\"SOAP-ENC:Array\" SOAP-ENC:arrayType=\"[1]\">" + encoded + "</v>",
                "\r\n<v>" + literal + "</v>");
    expect_text("nil reference in an any", _Caldane_Any(_Caldane_Object()), "", "");
}

TEST(NamedValue, each_use_of_a_type_has_a_prefix_of_its_own) {
    SoapWriter writer(true);
    const Point point;
    _SOAP_NamedValue("a", _Caldane_AnyConstRef(point)).write(writer.out);
    _SOAP_NamedValue("b", _Caldane_AnyConstRef(point)).write(writer.out);
    const std::string text = renumbered(writer.body());
    EXPECT_NE(text.find("<a xmlns:m1=\"urn:t\" xsi:type=\"m1:Spot\">"), std::string::npos);
    EXPECT_NE(text.find("<b xmlns:m2=\"urn:t\" xsi:type=\"m2:Spot\">"), std::string::npos);
}

TEST(NamedValue, an_enum_without_an_element_names_its_own) {
    SoapWriter writer(true);
    writer.out.marshal(static_cast<const _Caldane_TxType&>(Color(Color::BLUE)));
    EXPECT_EQ(writer.body(), "\r\n<Color>BLUE</Color>");
}

}  // namespace
