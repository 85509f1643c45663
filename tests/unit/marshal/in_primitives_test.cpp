// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "support/soap_text.h"

namespace {

using soap_test::SoapReader;

template <class Value>
struct Read {
    bool good;
    Value value;
};

template <class Value>
Read<Value> read(const std::string& values) {
    SoapReader reader;
    EXPECT_TRUE(reader.open_values(values)) << values;
    Value value{};
    const bool good = reader.in.demarshal(value) != _Caldane_FALSE;
    return {good, value};
}

template <class Value>
void expect_value(const std::string& element, Value expected) {
    const Read<Value> got = read<Value>(element);
    EXPECT_TRUE(got.good) << element;
    EXPECT_EQ(got.value, expected) << element;
}

TEST(InPrimitives, integers_as_c_reads_them) {
    struct Row {
        const char* text;
        _Caldane_Long value;
    };
    const Row table[] = {{"<x>42</x>", 42},
                         {"<x> 42abc</x>", 42},
                         {"<x>+7</x>", 7},
                         {"<x>-2147483648</x>", std::numeric_limits<_Caldane_Long>::min()},
                         {"<x>abc</x>", 0},
                         {"<x></x>", 0},
                         {"<x/>", 0},
                         {"<x xsi:null='1'/>", 0},
                         {"<x>&#52;2</x>", 42},
                         {"<x><![CDATA[42]]></x>", 42},
                         {"<x>4<!-- -->2</x>", 42},
                         {"\r\n  <x>42</x>", 42}};
    for (const Row& row : table) expect_value(row.text, row.value);
    expect_value<_Caldane_ULong>("<x>4294967295</x>", 4294967295);
    expect_value<_Caldane_ULong>("<x>2147483648</x>", 2147483648);
    expect_value<short>("<x>65535</x>", -1);
    expect_value<unsigned short>("<x>65535</x>", 65535);
    expect_value<unsigned short>("<x>65536</x>", 0);
    expect_value<unsigned char>("<x>255</x>", 255);
    expect_value<unsigned char>("<x>256</x>", 0);
    expect_value("<x>0.1000000000000000055511151231257827</x>", 0.1);
    expect_value("<x>1.5e3 </x>", 1500.0);
    expect_value("<x>-0.25</x>", -0.25F);
}

TEST(InPrimitives, booleans_and_characters) {
    for (const char* text : {"true", "TRUE", "True", "1"})
        expect_value("<x>" + std::string(text) + "</x>", _Caldane_TRUE);
    for (const char* text : {"false", "0", "yes", "2", " true", ""})
        expect_value("<x>" + std::string(text) + "</x>", _Caldane_FALSE);
    expect_value("<x>a</x>", 'a');
    expect_value("<x>&lt;</x>", '<');
    expect_value("<x></x>", ' ');
    expect_value("<x>\xc3\xa9</x>", '\xe9');
    expect_value("<x>ab</x>", '\0');
}

TEST(InPrimitives, nothing_there_is_a_failure_and_leaves_zero) {
    SoapReader reader;
    ASSERT_TRUE(reader.open_values(""));
    _Caldane_Long value = 5;
    EXPECT_EQ(reader.in.demarshal(value), _Caldane_FALSE);
    EXPECT_EQ(value, 0);
    // The end tag of the operation element is gone with it.
    EXPECT_EQ(reader.in.close_result(), 0);
}

TEST(InPrimitives, a_read_at_the_end_of_the_document_ends) {
    SoapReader reader;
    ASSERT_TRUE(reader.open_values("<x>1</x>"));
    ASSERT_EQ(reader.in.close_result(), 1);
    ASSERT_EQ(reader.in.close_envelope(), 1);
    _Caldane_Long value = 5;
    EXPECT_EQ(reader.in.demarshal(value), _Caldane_FALSE);
    _Caldane_String text;
    EXPECT_EQ(reader.in.demarshal_string_value(text), 0);
    EXPECT_EQ(reader.in.skip_to_end_tag(), 1);
    unsigned char octet = 0;
    EXPECT_EQ(reader.in.demarshal_octets(&octet, 1), _Caldane_FALSE);
}

TEST(InPrimitives, the_first_end_tag_ends_a_text) {
    SoapReader reader;
    ASSERT_TRUE(reader.open_values("<a><b>5</b></a><c>6</c>"));
    _Caldane_Long value = 0;
    EXPECT_NE(reader.in.demarshal(value), _Caldane_FALSE);
    EXPECT_EQ(value, 5);
    EXPECT_EQ(reader.in.demarshal(value), _Caldane_FALSE);
    EXPECT_NE(reader.in.demarshal(value), _Caldane_FALSE);
    EXPECT_EQ(value, 6);
}

TEST(InPrimitives, back_pointers_come_in_two_elements) {
    SoapReader reader;
    ASSERT_TRUE(reader.open_values("<k>-1</k><o>8</o><k>15</k>"));
    _Caldane_Boolean is_backptr = _Caldane_FALSE;
    _Caldane_ULong kind = 0;
    _Caldane_ULong offset = 0;
    EXPECT_NE(reader.in.demarshal_kind_or_backptr(is_backptr, kind, offset), _Caldane_FALSE);
    EXPECT_NE(is_backptr, _Caldane_FALSE);
    EXPECT_EQ(offset, 8U);
    EXPECT_NE(reader.in.demarshal_kind_or_backptr(is_backptr, kind, offset), _Caldane_FALSE);
    EXPECT_EQ(is_backptr, _Caldane_FALSE);
    EXPECT_EQ(kind, 15U);
    EXPECT_EQ(reader.in.demarshal_kind_or_backptr(is_backptr, kind, offset), _Caldane_FALSE);
}

TEST(InPrimitives, octets_come_all_or_not_at_all) {
    struct Row {
        const char* element;
        _Caldane_ULong count;
        bool good;
    };
    const Row table[] = {{"<x>QUJD</x>", 3, true},     {"<x>QUJDREVG</x>", 3, false},
                         {"<x>QUI=</x>", 2, true},     {"<x>QUI=</x>", 3, false},
                         {"<x></x>", 3, false},        {"<x><y/></x>", 3, false},
                         {"text<x>QUJD</x>", 3, false}};
    for (const Row& row : table) {
        SoapReader reader;
        ASSERT_TRUE(reader.open_values(row.element));
        unsigned char bytes[4] = "...";
        EXPECT_EQ(reader.in.demarshal_octets(bytes, row.count) != _Caldane_FALSE, row.good) << row.element;
        EXPECT_EQ(
            std::string(reinterpret_cast<char*>(bytes), row.count),
            row.good ? std::string("ABC").substr(0, row.count) : std::string("...").substr(0, row.count));
    }
}

TEST(InPrimitives, payload_keeps_its_inside_as_text) {
    struct Row {
        const char* element;
        const char* text;
    };
    const Row table[] = {{"<Payload><a>1</a><b/></Payload>", "<a>1</a><b></b>"},
                         {"<Payload>1 &lt; 2</Payload>", "1 < 2"},
                         {"<Payload><p:a xmlns:p='u' q='2'>t</p:a></Payload>", "<a>t</a>"},
                         {"<Payload>x<Payload>y</Payload>z</Payload>", "xy"}};
    for (const Row& row : table) {
        SoapReader reader;
        ASSERT_TRUE(reader.open_values(row.element));
        _Caldane_String text;
        EXPECT_NE(reader.in.demarshal_string_value(text), 0) << row.element;
        EXPECT_EQ(text, row.text);
    }
    SoapReader reader;
    ASSERT_TRUE(reader.open_values("<Payload></Payload><payload>5</payload>"));
    _Caldane_String text;
    EXPECT_EQ(reader.in.demarshal_string_value(text), 0);
    EXPECT_NE(reader.in.demarshal_string_value(text), 0) << "only this spelling is special";
    EXPECT_EQ(text, "5");
}

}  // namespace
