// SPDX-License-Identifier: MIT
#include <caldane/values.h>
#include <gtest/gtest.h>

#include <string>

#include "encoder/soap_named_value.h"
#include "read_values.h"
#include "shapes.h"

namespace {

using namespace shapes;
using soap_test::must_read;
using soap_test::read;
using soap_test::read_whole;
using soap_test::SoapReader;
using soap_test::SoapWriter;

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
    EXPECT_FALSE(read(cubes, "<v SOAP-ENC:arrayType='xsd:int[20,200,0]'/>", true));
}

TEST(InSequence, rows_that_a_message_brings_are_not_among_those_it_only_declares) {
    constexpr int kRows = 300'000;
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
        EXPECT_EQ(must_read<Rows>(text, false), row.value) << text;
    }
    // Literal rows side by side tell their sizes as arrays in anys do.
    const char* const flat = "<v type='xsd:int[2,2]'><i>1</i><i>2</i><i>3</i><i>4</i></v>";
    EXPECT_EQ(must_read<Rows>(flat, false), (Rows{{1, 2}, {3, 4}}));
    EXPECT_EQ(must_read<Longs>("<v type='xsd:int[9]'><i>1</i></v>", false), Longs{1});
    Rows rows;
    EXPECT_FALSE(read(rows, flat, true));
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
        EXPECT_LE(value.size(), 1U) << row.what;
    }
    Rows rows;
    EXPECT_FALSE(read(rows, "<v SOAP-ENC:arrayType='xsd:int[2,3,4]'>" + item + "</v>", true));
    EXPECT_FALSE(read(rows, "<v SOAP-ENC:arrayType='xsd:int[2,999999999]'>" + item + "</v>", true));
}

std::string declared(std::size_t count, const std::string& items = "") {
    return "<v SOAP-ENC:arrayType='x:y[" + std::to_string(count) + "]'>" + items + "</v>";
}

/// The most elements that a message of a few hundred bytes may declare without bringing one.
template <class Element>
std::size_t most_declared(const std::string& item) {
    std::size_t good = 0;
    for (std::size_t step = 1 << 24; step > 0; step /= 2) {
        _Caldane_Sequence<Element> value;
        if (read(value, declared(good + step, item), true)) good += step;
    }
    return good;
}

/// Neither takes it more than its share of memory, nor is it answered with more than that by an echo.
template <class Element>
void expect_in_proportion(const char* what, const std::string& item = "<i/>") {
    const std::size_t most = most_declared<Element>(item);
    EXPECT_GT(most, 5U) << what;
    const std::size_t request = SoapReader::envelope(declared(most, item), true).size();
    const _Caldane_Sequence<Element> value(most);
    for (const bool encoded : {false, true}) {
        SoapWriter writer(encoded);
        _SOAP_NamedValue("v", _Caldane_AnyConstRef(value)).write(writer.out);
        EXPECT_LE(writer.body().size(), 100 * (request + 512)) << what;
    }
    EXPECT_LE(most * sizeof(Element), 100 * (request + 512)) << what;
}

// 426 bytes took a gigabyte, and 477 had a reply of 154 megabytes.
TEST(InSequence, what_is_only_declared_weighs_a_hundred_times_the_message_at_most) {
    expect_in_proportion<_Caldane_Long>("long");
    expect_in_proportion<_Caldane_String>("string");
    expect_in_proportion<Color>("enum");
    expect_in_proportion<Point>("struct");
    expect_in_proportion<Mixed>("large struct");
    expect_in_proportion<Choice>("union", "<i><c>RED</c><m>1</m></i>");
    expect_in_proportion<Longs>("row");
    expect_in_proportion<_Caldane_Array<Point, 9>>("array of structs",
                                                   "<i><p/><p/><p/><p/><p/><p/><p/><p/><p/></i>");
    expect_in_proportion<_Caldane_Any>("any", "<i xsi:type='xsd:int'>1</i>");
    expect_in_proportion<_Caldane_Object>("reference", "<type_id>x</type_id><profiles></profiles>");
    expect_in_proportion<Base64Binary>("base64Binary");
}

TEST(InSequence, what_is_only_declared_weighs_sixteen_megabytes_at_most) {
    const std::string comment = "<!--" + std::string(1 << 20, 'x') + "-->";
    constexpr std::size_t kMost = (16 << 20) / 64;
    for (const auto& [unsent, good] : {std::pair{kMost, true}, {kMost + 1, false}}) {
        Longs value;
        EXPECT_EQ(read(value, comment + declared(unsent + 1, "<i>1</i>"), true), good);
        EXPECT_EQ(value.size(), good ? unsent + 1 : 1);
        // No one of these weighs too much, together they do.
        Rows rows;
        const std::string row = declared(unsent / 4 + 1, "<i>1</i>");
        const std::string rest = declared(unsent % 4 + 1, "<i>1</i>");
        EXPECT_EQ(read(rows, comment + "<v>" + row + row + row + row + rest + "</v>", true), good);
    }
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
