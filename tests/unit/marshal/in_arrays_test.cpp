// SPDX-License-Identifier: MIT
#include <caldane/values.h>
#include <gtest/gtest.h>

#include <string>

#include "read_values.h"

namespace {

using soap_test::must_read;
using soap_test::read;
using soap_test::read_whole;

using Longs = _Caldane_Sequence<_Caldane_Long>;
using Rows = _Caldane_Sequence<Longs>;

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
        // Empty brackets of these once were an index that no element has.
        {"SOAP-ENC:offset='[]'", items, {1, 2, 3, 4}},
        {"SOAP-ENC:arrayType='xsd:int[2]' SOAP-ENC:offset='[ ]'", "<i>1</i>", {1, 0}},
        {"", "<i>6</i><i SOAP-ENC:position='[]'>7</i><i>8</i>", {7, 8}},
    };
    for (const Row& row : table) {
        for (const bool encoded : {false, true}) {
            const std::string text = "<v " + std::string(row.attributes) + ">" + row.items + "</v>";
            EXPECT_EQ(must_read<Longs>(text, encoded), row.value) << text;
        }
    }
}

TEST(InSequence, empty_rows_in_rows_are_kept) {
    using Cubes = _Caldane_Sequence<Rows>;
    const Cubes two = {{{}, {}}, {{}, {}}};
    EXPECT_EQ(must_read<Cubes>("<v SOAP-ENC:arrayType='xsd:int[2,2,0]'></v>", true), two);
    EXPECT_EQ(must_read<Cubes>("<v SOAP-ENC:arrayType='xsd:int[1,1,0]'/>", true), Cubes{Rows{Longs()}});
    EXPECT_EQ(must_read<Cubes>("<v SOAP-ENC:arrayType='xsd:int[3,0,2]'/>", true), Cubes(3));
    Cubes cubes;
    EXPECT_FALSE(read(cubes, "<v SOAP-ENC:arrayType='xsd:int[2000,2000,0]'/>", true));
}

TEST(InSequence, rows_that_a_message_brings_are_not_among_those_it_only_declares) {
    constexpr int kRows = 1'100'000;
    std::string items;
    for (int i = 0; i < kRows; ++i) items += "<i>1</i>";
    const std::string type = "xsd:int[" + std::to_string(kRows) + ",1]";
    const auto rows = must_read<Rows>("<v SOAP-ENC:arrayType='" + type + "'>" + items + "</v>", true);
    EXPECT_EQ(rows.size(), std::size_t{kRows});
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
        {"SOAP-ENC:arrayType='xsd:int[2,2]' SOAP-ENC:offset='[,1]'", "<i>1</i><i>2</i>", {{0, 1}, {2, 0}}},
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

}  // namespace
