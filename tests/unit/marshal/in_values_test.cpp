// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "encoder/soap_named_value.h"
#include "shapes.h"
#include "support/soap_text.h"
#include "xml/pull_parser_exception.h"

namespace {

using namespace shapes;
using soap_test::SoapReader;
using soap_test::SoapWriter;

using Longs = _Caldane_Sequence<_Caldane_Long>;
using Rows = _Caldane_Sequence<Longs>;
using Octets = _Caldane_Sequence<unsigned char>;
using Strings = _Caldane_Sequence<_Caldane_String>;

/// Reads `value` from elements, and gives the result of the reader.
bool read(_Caldane_TxType& value, const std::string& elements, bool encoded, const std::string& around = "") {
    SoapReader reader;
    EXPECT_TRUE(reader.open_values(elements, encoded, around)) << elements;
    return reader.in.demarshal(value) != _Caldane_FALSE;
}

/// The same; a success must leave the parser right behind the element.
template <class Value>
bool read_whole(Value& value, const std::string& elements, bool encoded, const std::string& around = "") {
    SoapReader reader;
    EXPECT_TRUE(reader.open_values(elements + "<after>77</after>", encoded, around)) << elements;
    if (reader.in.demarshal(static_cast<_Caldane_TxType&>(value)) == _Caldane_FALSE) return false;
    _Caldane_Long after = 0;
    EXPECT_NE(reader.in.demarshal(after), _Caldane_FALSE) << elements;
    EXPECT_EQ(after, 77) << elements;
    EXPECT_EQ(reader.in.close_result(), 1);
    EXPECT_EQ(reader.in.close_envelope(), 1);
    return true;
}

template <class Value>
Value must_read(const std::string& elements, bool encoded) {
    Value value;
    EXPECT_TRUE(read_whole(value, elements, encoded)) << elements;
    return value;
}

Mixed mixed() {
    Mixed value;
    value.s = -32768;
    value.us = 65535;
    value.l = -2147483647 - 1;
    value.ul = 4294967295U;
    value.f = 0.1F;
    value.d = -0.1;
    value.b = _Caldane_TRUE;
    value.c = '\xe9';
    value.o = 255;
    value.str = _Caldane_String("a<b>\"c'&d");
    value.color = Color(Color::BLUE);
    value.point.x = 1;
    value.choice.s(_Caldane_String("chosen"));
    value.any = _Caldane_Any(_Caldane_Long{5});
    value.octets = {0, 127, 128, 255};
    value.strings = {"", "x", "yz"};
    value.shorts = _Caldane_Array<short, 3>(short{1}, short{-2}, short{3});
    return value;
}

Node tree() {
    Node root;
    root.v = 1;
    root.kids.resize(3);
    root.kids[1].v = 2;
    root.kids[1].kids.resize(2);
    root.kids[1].kids[0].v = 3;
    return root;
}

template <class Value>
void expect_round_trip(const char* what, const Value& value) {
    for (const bool encoded : {false, true}) {
        SoapWriter writer(encoded);
        _SOAP_NamedValue("v", _Caldane_AnyConstRef(value)).write(writer.out);
        const std::string text = writer.body();
        Value back;
        EXPECT_TRUE(read_whole(back, text, encoded)) << what << text;
        EXPECT_EQ(back, value) << what << text;
    }
}

TEST(RoundTrip, every_kind_in_both_modes) {
    expect_round_trip("string", _Caldane_String("a<b"));
    expect_round_trip("empty string", _Caldane_String(""));
    expect_round_trip("enum", Color(Color::GREEN));
    expect_round_trip("mixed", mixed());
    expect_round_trip("tree", tree());
    expect_round_trip("empty", Empty());
    expect_round_trip("longs", Longs{1, -2, 3});
    expect_round_trip("no longs", Longs{});
    expect_round_trip("octets", Octets{1, 2, 3});
    expect_round_trip("no octets", Octets{});
    expect_round_trip("rows", Rows{{1, 2, 3}, {4, 5, 6}});
    expect_round_trip("uneven rows", Rows{{1}, {}, {2, 3}});
    expect_round_trip("no rows", Rows{});
    expect_round_trip("empty rows", Rows{{}, {}});
    expect_round_trip("rows of octet", _Caldane_Sequence<Octets>{{1, 2}, {3, 4}});
    expect_round_trip("cubes",
                      _Caldane_Sequence<Rows>{{{1, 2}, {3, 4}, {5, 6}}, {{7, 8}, {9, 10}, {11, 12}}});
    using Row = _Caldane_Array<_Caldane_Long, 3>;
    expect_round_trip("array of arrays", _Caldane_Array<Row, 2>(Row(1, 2, 3), Row(4, 5, 6)));
    expect_round_trip("array of octet", _Caldane_Array<unsigned char, 2>(static_cast<unsigned char>(7)));
    expect_round_trip("sequence of arrays", _Caldane_Sequence<Row>{Row(1, 2, 3), Row(4, 5, 6)});
    expect_round_trip("array of sequences", _Caldane_Array<Longs, 2>(Longs{1, 2}, Longs{}));
    expect_round_trip("structs", _Caldane_Sequence<Mixed>{mixed(), mixed()});
    Base64Binary base64;
    base64.value = {1, 2, 3, 4};
    expect_round_trip("base64Binary", base64);
    HexBinary hex;
    hex.value = {0, 171, 255};
    expect_round_trip("hexBinary", hex);
    DateTime date;
    date.value = -1;
    expect_round_trip("dateTime", date);
    Decimal decimal;
    decimal.value = _Caldane_String("12.50");
    expect_round_trip("decimal", decimal);
    Numbered numbered;
    numbered.three(4);
    expect_round_trip("union", numbered);
    numbered.discriminator(-1);
    expect_round_trip("union by default", numbered);
    expect_round_trip("any of string", _Caldane_Any("text"));
    expect_round_trip("any of char", _Caldane_Any('x'));
    expect_round_trip("any of ulong", _Caldane_Any(_Caldane_ULong{4294967295U}));
    expect_round_trip("any of octet", _Caldane_Any(static_cast<unsigned char>(200)));
    expect_round_trip("any of boolean", _Caldane_Any(_Caldane_TRUE));
}

TEST(InStruct, members_by_name_in_any_order) {
    for (const bool encoded : {false, true}) {
        Point point = must_read<Point>("<p><y>2</y><x>1</x></p>", encoded);
        EXPECT_EQ(point.x, 1);
        EXPECT_EQ(point.y, 2);
        point = must_read<Point>("<p><X>1</X></p>", encoded);
        EXPECT_EQ(point.x, 1);
        point = must_read<Point>("<p><x>1</x><x>3</x></p>", encoded);
        EXPECT_EQ(point.x, 3);
        must_read<Point>("<p/>", encoded);
        Point other;
        other.y = 9;
        EXPECT_TRUE(read_whole(other, "<p><x>1</x></p>", encoded));
        EXPECT_EQ(other.y, 9) << "a member that does not come keeps its value";
    }
}

TEST(InStruct, refuses) {
    for (const char* text :
         {"<p><z>1</z></p>", "<p>text</p>", "<p><x>1</x>text</p>", "<p><x>1</x><p2/></p>"}) {
        Point point;
        EXPECT_FALSE(read(point, text, true)) << text;
        EXPECT_FALSE(read(point, text, false)) << text;
    }
    Point point;
    EXPECT_FALSE(read(point, "text", true));
    EXPECT_FALSE(read(point, "", true));
}

TEST(InNil, an_attribute_or_in_literal_mode_a_missing_element) {
    const auto nil_after = [](auto value, const std::string& text, bool encoded) {
        EXPECT_TRUE(read_whole(value, text, encoded)) << text;
        return value.is_nil();
    };
    for (const bool encoded : {false, true}) {
        for (const char* text : {"<v xsi:null='1'/>", "<v xsi:null='0'/>", "<v NULL='x'/>",
                                 "<v xsi:nil='true'/>", "<v xsi:nil='1'></v>"}) {
            EXPECT_TRUE(nil_after(Point(), text, encoded)) << text;
            EXPECT_TRUE(nil_after(Longs(), text, encoded)) << text;
            EXPECT_TRUE((nil_after(_Caldane_Array<short, 2>(), text, encoded))) << text;
            EXPECT_TRUE(nil_after(_Caldane_String("x"), text, encoded)) << text;
        }
        for (const char* text : {"<v xsi:nil='false'/>", "<v nil='1'/>", "<v other='1'/>"}) {
            EXPECT_FALSE(nil_after(Longs(), text, encoded)) << text;
            EXPECT_FALSE(nil_after(_Caldane_String("x"), text, encoded)) << text;
        }
    }
    Point marked;
    marked.is_nil(true);
    EXPECT_TRUE(read(marked, "<p/>", true));
    EXPECT_FALSE(marked.is_nil()) << "a value that came is there again";

    SoapReader reader;
    ASSERT_TRUE(reader.open_values("", false));
    Point point;
    EXPECT_NE(reader.in.demarshal(static_cast<_Caldane_TxType&>(point)), _Caldane_FALSE);
    EXPECT_TRUE(point.is_nil());
    EXPECT_EQ(reader.in.close_result(), 1) << "the end tag is still there";
}

TEST(InEnum, names_and_numbers) {
    for (const bool encoded : {false, true}) {
        EXPECT_EQ(must_read<Color>("<e>blue</e>", encoded).value(), 2U);
        EXPECT_EQ(must_read<Color>("<e>1</e>", encoded).value(), 1U);
        EXPECT_EQ(must_read<Color>("<e>77</e>", encoded).value(), 77U);
        EXPECT_EQ(must_read<Color>("<e>PINK</e>", encoded).value(), 0U);
        EXPECT_EQ(must_read<Color>("<e/>", encoded).value(), 0U);
    }
}

TEST(InUnion, discriminator_then_member_whatever_their_names) {
    const Choice choice = must_read<Choice>("<u><d>green</d><anything>text</anything></u>", true);
    ASSERT_NE(choice.s(), nullptr);
    EXPECT_EQ(*choice.s(), "text");
    Choice unknown = must_read<Choice>("<u><choice>PINK</choice><m>5</m></u>", false);
    ASSERT_NE(unknown.m(), nullptr);
    EXPECT_EQ(*unknown.m(), 5);
    const Numbered numbered = must_read<Numbered>("<u><choice>3</choice><three>4</three></u>", false);
    ASSERT_NE(numbered.three(), nullptr);
    EXPECT_EQ(*numbered.three(), 4);
    for (const char* text :
         {"<u/>", "<u><choice>RED</choice></u>", "<u><choice>RED</choice><m>5</m><m>6</m></u>"}) {
        Choice value;
        EXPECT_FALSE(read(value, text, true)) << text;
    }
    Choice value;
    EXPECT_FALSE(read(value, "text", true));
}

TEST(InSequence, dimensions_offset_and_position) {
    const std::string items = "<item>1</item><item>2</item><item>3</item><item>4</item>";
    struct Row {
        const char* attributes;
        std::string items;
        Longs value;
    };
    const Row table[] = {
        {"", items, {1, 2, 3, 4}},
        {"SOAP-ENC:arrayType='xsd:int[4]'", items, {1, 2, 3, 4}},
        {"SOAP-ENC:arrayType='xsd:int[]'", items, {1, 2, 3, 4}},
        {"SOAP-ENC:arrayType='xsd:int[6]'", items, {1, 2, 3, 4, 0, 0}},
        {"SOAP-ENC:arrayType='xsd:int[3]'", items, {4, 2, 3}},
        {"SOAP-ENC:arrayType='xsd:int[3]' SOAP-ENC:offset='[1]'", "<a>1</a><b>2</b>", {0, 1, 2}},
        {"SOAP-ENC:arrayType='xsd:int[4]'", "<i SOAP-ENC:position='[2]'>7</i><i>8</i>", {0, 0, 7, 8}},
        {"", "<i>6</i><i SOAP-ENC:position='[3]'>7</i>", {6, 0, 0, 7}},
        {"SOAP-ENC:arrayType='xsd:int[0]'", "", {}},
        {"SOAP-ENC:arrayType='nothing'", items, {1, 2, 3, 4}},
        {"SOAP-ENC:arrayType='['", items, {1, 2, 3, 4}},
        {"SOAP-ENC:arrayType=']'", items, {1, 2, 3, 4}},
    };
    for (const Row& row : table) {
        for (const bool encoded : {false, true}) {
            const std::string text = "<v " + std::string(row.attributes) + ">" + row.items + "</v>";
            EXPECT_EQ(must_read<Longs>(text, encoded), row.value) << text;
        }
    }
}

TEST(InSequence, rows) {
    struct Row {
        const char* attributes;
        const char* items;
        Rows value;
    };
    const Row table[] = {
        {"SOAP-ENC:arrayType='xsd:int[2,2]'", "<i>1</i><i>2</i><i>3</i><i>4</i>", {{1, 2}, {3, 4}}},
        {"SOAP-ENC:arrayType='xsd:int[2,2]'", "<i>1</i><i>2</i><i>3</i>", {{1, 2}, {3, 0}}},
        {"SOAP-ENC:arrayType='xsd:int[3,2]'", "<i>1</i>", {{1, 0}, {}, {}}},
        {"SOAP-ENC:arrayType='xsd:int[2,3]'", "<i SOAP-ENC:position='[1,1]'>9</i><i>8</i>", {{}, {0, 9, 8}}},
        {"SOAP-ENC:arrayType='xsd:int[2,2]' SOAP-ENC:offset='[0,1]'", "<i>1</i><i>2</i>", {{0, 1}, {2, 0}}},
        {"SOAP-ENC:arrayType='xsd:int[2,2]'", "<i>1</i><i>2</i><i>3</i><i>4</i><i>5</i>", {{5, 2}, {3, 4}}},
        {"SOAP-ENC:arrayType='xsd:int[,]'", "<i>1</i><i>2</i>", {{1, 2}}},
        {"SOAP-ENC:arrayType='xsd:int[2,0]'", "", {{}, {}}},
        {"SOAP-ENC:arrayType='SOAP-ENC:Array[2]'", "<i><j>1</j></i><i/>", {{1}, {}}},
        {"", "<i><j>1</j><j>2</j></i><i><j>3</j></i>", {{1, 2}, {3}}},
    };
    for (const Row& row : table) {
        const std::string text = "<v " + std::string(row.attributes) + ">" + row.items + "</v>";
        EXPECT_EQ(must_read<Rows>(text, true), row.value) << text;
    }
}

TEST(InSequence, refuses_what_lies) {
    const std::string item = "<i>1</i>";
    struct Row {
        const char* what;
        std::string text;
    };
    const Row table[] = {
        {"huge", "<v SOAP-ENC:arrayType='xsd:int[999999999]'>" + item + "</v>"},
        {"beyond 31 bits", "<v SOAP-ENC:arrayType='xsd:int[99999999999999999999]'>" + item + "</v>"},
        {"negative", "<v SOAP-ENC:arrayType='xsd:int[-1]'>" + item + "</v>"},
        {"no such size", "<v SOAP-ENC:arrayType='xsd:int[0]'>" + item + "</v>"},
        {"too many dimensions", "<v SOAP-ENC:arrayType='xsd:int[2,3,4]'>" + item + "</v>"},
        {"very many dimensions", "<v SOAP-ENC:arrayType='xsd:int[1" + std::string(100000, ',') + "]'/>"},
        {"offset beyond", "<v SOAP-ENC:arrayType='xsd:int[2]' SOAP-ENC:offset='[2]'>" + item + "</v>"},
        {"offset far away", "<v SOAP-ENC:offset='[999999999]'>" + item + "</v>"},
        {"negative offset", "<v SOAP-ENC:offset='[-5]'>" + item + "</v>"},
        {"offset of other dimensions", "<v SOAP-ENC:offset='[1,1]'>" + item + "</v>"},
        {"position beyond", "<v SOAP-ENC:arrayType='xsd:int[2]'><i SOAP-ENC:position='[2]'>1</i></v>"},
        {"position far away", "<v><i SOAP-ENC:position='[999999999]'>1</i></v>"},
        {"negative position", "<v><i SOAP-ENC:position='[-1]'>1</i></v>"},
        {"position of other dimensions", "<v><i SOAP-ENC:position='[0,0]'>1</i></v>"},
        {"nested items", "<v><i><j>1</j></i></v>"},
    };
    for (const Row& row : table) {
        Longs value;
        EXPECT_FALSE(read(value, row.text, true)) << row.what;
        EXPECT_LE(value.size(), 1'000'001U) << row.what;
    }
    Rows rows;
    EXPECT_FALSE(read(rows, "<v SOAP-ENC:arrayType='xsd:int[2,3,4]'>" + item + "</v>", true));
    EXPECT_FALSE(read(rows, "<v SOAP-ENC:arrayType='xsd:int[2,999999999]'>" + item + "</v>", true));
}

TEST(InSequence, a_million_elements_that_never_came_and_not_one_more) {
    Longs value;
    EXPECT_TRUE(read(value, "<v SOAP-ENC:arrayType='xsd:int[1000001]'><i>1</i></v>", true));
    EXPECT_EQ(value.size(), 1'000'001U);
    Longs other;
    EXPECT_FALSE(read(other, "<v SOAP-ENC:arrayType='xsd:int[1000002]'><i>1</i></v>", true));
    // Not one of many such arrays is too large, all of them together are.
    std::string text;
    for (int i = 0; i < 50; ++i) text += "<item SOAP-ENC:arrayType='xsd:int[100000]'><i>1</i></item>";
    Rows rows;
    EXPECT_FALSE(read(rows, "<v>" + text + "</v>", true));
}

TEST(InSequence, bounds) {
    using Two = _Caldane_Sequence<_Caldane_Long, 2>;
    Two value;
    EXPECT_TRUE(read(value, "<v><i>1</i><i>2</i></v>", true));
    EXPECT_FALSE(read(value, "<v><i>1</i><i>2</i><i>3</i></v>", true));
    EXPECT_FALSE(read(value, "<v SOAP-ENC:arrayType='xsd:int[3]'><i>1</i></v>", true));
    using TwoOctets = _Caldane_Sequence<unsigned char, 2>;
    TwoOctets octets;
    EXPECT_TRUE(read(octets, "<v xsi:type='SOAP-ENC:base64'>QUI=</v>", true));
    EXPECT_FALSE(read(octets, "<v xsi:type='SOAP-ENC:base64'>QUJD</v>", true));
}

TEST(InArray, exactly_as_long_as_declared) {
    using Two = _Caldane_Array<_Caldane_Long, 2>;
    EXPECT_EQ(must_read<Two>("<v><i>1</i><i>2</i></v>", true), Two(1, 2));
    EXPECT_EQ(must_read<Two>("<v SOAP-ENC:arrayType='xsd:int[2]'><i>1</i><i>2</i></v>", true), Two(1, 2));
    for (const char* text : {"<v><i>1</i></v>", "<v><i>1</i><i>2</i><i>3</i></v>", "<v/>",
                             "<v SOAP-ENC:arrayType='xsd:int[3]'><i>1</i><i>2</i></v>",
                             "<v SOAP-ENC:arrayType='xsd:int[999999999]'><i>1</i><i>2</i></v>"}) {
        Two value;
        EXPECT_FALSE(read(value, text, true)) << text;
    }
    using Octets3 = _Caldane_Array<unsigned char, 3>;
    Octets3 octets;
    EXPECT_TRUE(read_whole(octets, "<v xsi:type='SOAP-ENC:base64'>QUJD</v>", true));
    EXPECT_EQ(octets[2], 'C');
    EXPECT_FALSE(read(octets, "<v xsi:type='SOAP-ENC:base64'>QUI=</v>", true));
    EXPECT_FALSE(read(octets, "<v xsi:type='SOAP-ENC:base64'>QUJDREVG</v>", true));
    EXPECT_FALSE(read(octets, "<v xsi:type='SOAP-ENC:base64'></v>", true));
}

TEST(InAny, learns_its_type_from_the_message) {
    struct Row {
        const char* text;
        _Caldane_Any value;
    };
    const Row table[] = {
        {"<v xsi:type='xsd:short'>7</v>", _Caldane_Any(short{7})},
        {"<v xsi:type='xsd:int'>7</v>", _Caldane_Any(_Caldane_Long{7})},
        {"<v xsi:type='xsd:unsignedShort'>7</v>", _Caldane_Any(static_cast<unsigned short>(7))},
        {"<v xsi:type='xsd:unsignedInt'>7</v>", _Caldane_Any(_Caldane_ULong{7})},
        {"<v xsi:type='xsd:float'>0.5</v>", _Caldane_Any(0.5F)},
        {"<v xsi:type='xsd:double'>0.5</v>", _Caldane_Any(0.5)},
        {"<v xsi:type='xsd:boolean'>true</v>", _Caldane_Any(_Caldane_TRUE)},
        {"<v xsi:type='xsd:unsignedByte'>7</v>", _Caldane_Any(static_cast<unsigned char>(7))},
        {"<v xsi:type='xsd:string'>7</v>", _Caldane_Any("7")},
        {"<v xsi:type='xsd:string' xsd:length='1'>7</v>", _Caldane_Any('7')},
        {"<v xsi:type='xsd:string' xsd:length='2'>7</v>", _Caldane_Any("7")},
        {"<v xsi:type='m:Point'>7</v>", _Caldane_Any(_Caldane_Long{7})},
    };
    for (const Row& row : table) {
        for (const bool encoded : {false, true})
            EXPECT_EQ(must_read<_Caldane_Any>(row.text, encoded), row.value);
    }
}

TEST(InAny, arrays_and_registered_types) {
    static const _Caldane_TypeRegistration registered(Point::_type());
    const _Caldane_Any point =
        must_read<_Caldane_Any>("<v xmlns:m='urn:t' xsi:type='m:Spot'><x>4</x></v>", true);
    ASSERT_NE(point.get<Point>(), nullptr);
    EXPECT_EQ(point.get<Point>()->x, 4);
    for (const char* text :
         {"<v xsi:type='SOAP-ENC:Array' SOAP-ENC:arrayType='xsd:int[2]'><i>1</i><i>2</i></v>",
          "<v type='xsd:int[2]'><i>1</i><i>2</i></v>"}) {
        const _Caldane_Any any = must_read<_Caldane_Any>(text, true);
        const auto* array = _Caldane_AddressableArray::_down_cast_const(any.value());
        ASSERT_NE(array, nullptr) << text;
        EXPECT_EQ(array->length(), 2U);
        EXPECT_EQ(array->element_type().kind(), _Caldane_TypeRef::tk_long);
    }
    const _Caldane_Any octets = must_read<_Caldane_Any>("<v xsi:type='SOAP-ENC:base64'>QUI=</v>", true);
    ASSERT_NE(octets.get<Octets>(), nullptr);
    EXPECT_EQ(*octets.get<Octets>(), (Octets{65, 66}));
}

TEST(InAny, refuses) {
    for (const char* text :
         {"<v>7</v>", "<v xsi:type='unknown'>7</v>", "<v xsi:type='m:Unknown'>7</v>",
          "<v xmlns:m='urn:t' xsi:type='m:Unknown'>7</v>", "<v xsi:type=''>7</v>", "<v xsi:type=':'>7</v>",
          "<v xsi:type='SOAP-ENC:Array'><i>1</i></v>",
          "<v xsi:type='SOAP-ENC:Array' SOAP-ENC:arrayType='SOAP-ENC:Array[2]'><i/><i/></v>",
          "<v xsi:type='SOAP-ENC:Array' SOAP-ENC:arrayType='xsd:int[-2]'><i>1</i><i>1</i></v>",
          "<v xsi:type='SOAP-ENC:Array' SOAP-ENC:arrayType='xsd:int[999999999]'><i>1</i></v>",
          "<v xsi:type='SOAP-ENC:Array' SOAP-ENC:arrayType='xsd:int[99999999999999]'><i>1</i></v>"}) {
        _Caldane_Any value;
        EXPECT_FALSE(read(value, text, true)) << text;
    }
}

TEST(InTypeCode, a_type_that_is_a_member_or_item_does_not_stop_the_reader) {
    _Caldane_Sequence<_Caldane_TypeRef> types;
    EXPECT_TRUE(read_whole(types, "<v><i xsi:type='xsd:int'/><i xsi:type='xsd:double'>5</i></v>", true));
    ASSERT_EQ(types.size(), 2U);
    EXPECT_EQ(types[0].kind(), _Caldane_TypeRef::tk_long);
    EXPECT_EQ(types[1].kind(), _Caldane_TypeRef::tk_double);
}

TEST(InDepth, nested_readers_stop_at_512) {
    const auto nested = [](int levels) {
        std::string text;
        for (int i = 0; i < levels; ++i) text += "<kids><item>";
        for (int i = 0; i < levels; ++i) text += "</item></kids>";
        return "<n>" + text + "</n>";
    };
    // Each level reads a sequence and a struct.
    Node node;
    EXPECT_TRUE(read(node, nested(255), true));
    EXPECT_FALSE(read(node, nested(256), true));
    EXPECT_FALSE(read(node, nested(5000), true));
}

TEST(InXsd, texts) {
    const auto date = [](const std::string& text) {
        return must_read<DateTime>("<d>" + text + "</d>", true).value;
    };
    EXPECT_EQ(date("2003-08-21T12:00:00Z"), 1061467200);
    EXPECT_EQ(date("2003-08-21T13:00:00+01:00"), 1061467200);
    EXPECT_EQ(date("2003-08-21T06:30:00-05:30"), 1061467200);
    EXPECT_EQ(date("2003-08-21T11:30:00-00:30"), 1061467200);
    EXPECT_EQ(date("2003-08-21T12:00:00.6Z"), 1061467201);
    EXPECT_EQ(date("1970-01-01T00:00:00"), 0);
    const auto hex = [](const std::string& text) {
        return must_read<HexBinary>("<h>" + text + "</h>", true).value;
    };
    EXPECT_EQ(hex("ff"), (Octets{255}));
    EXPECT_EQ(hex("FF0g"), (Octets{255, 0}));
    EXPECT_EQ(hex("ABC"), (Octets{171}));
    EXPECT_EQ(hex("A"), Octets{});
    EXPECT_EQ(must_read<Base64Binary>("<b>QU\nJD\r\n</b>", true).value, (Octets{65, 66, 67}));
    EXPECT_EQ(must_read<Decimal>("<d> 12.50</d>", true).value, " 12.50");
}

TEST(InXsd, texts_that_are_none_do_not_fail_the_call) {
    for (const char* text : {"never", "", "2003-08-21", "2003-08-21T12:00", "99999999999-01-01T00:00:00Z",
                             "9999-01-01T00:00:00Z", "2003-08-21T12:00:nan"}) {
        DateTime date;
        date.value = 5;
        EXPECT_TRUE(read(date, "<d>" + std::string(text) + "</d>", true)) << text;
        EXPECT_EQ(date.value, 0) << text;
    }
}

TEST(InMemory, every_failed_allocation_is_a_failed_read) {
    SoapWriter writer(true);
    _SOAP_NamedValue("v", _Caldane_AnyConstRef(mixed())).write(writer.out);
    const std::string text = writer.body() + "<Payload><a>1</a></Payload>";
    for (long nth = 1;; ++nth) {
        SoapReader reader;
        Mixed value;
        _Caldane_String payload;
        bool good = false;
        bool thrown = false;
        PEL_Fault::fail_allocation(nth);
        try {
            good = reader.open_values(text, true) &&
                   reader.in.demarshal(static_cast<_Caldane_TxType&>(value)) != _Caldane_FALSE &&
                   reader.in.demarshal_string_value(payload) != 0;
        } catch (const CXmlPullParserException&) {
            thrown = true;
        }
        const bool happened = PEL_Fault::happened();
        PEL_Fault::fail_allocation(0);
        if (!happened) {
            EXPECT_TRUE(good);
            EXPECT_EQ(value, mixed());
            EXPECT_EQ(payload, "<a>1</a>");
            break;
        }
        EXPECT_TRUE(thrown || !good || value == mixed()) << nth;
    }
}

}  // namespace
