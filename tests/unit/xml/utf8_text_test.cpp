// SPDX-License-Identifier: MIT
#include "xml/utf8_text.h"

#include <gtest/gtest.h>

#include "xml_trace.h"

namespace {

using namespace std::string_view_literals;

std::string utf8_trace(std::string_view document, int step = 1 << 20, Reading reading = Reading::events) {
    return trace(document, step, reading, XmlText::utf8);
}

#define MALFORMED "!-106 Bytes that are not valid in the document's encoding @"
#define FORBIDDEN "!-107 Character that XML does not allow @"
#define NO_REFERENCE "!-107 Reference to what is no character of XML @"

const Document kDocuments[] = {
    {"EachLengthOfSequence",
     "<a>\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBD\xF0\x90\x80\x80\xF4\x8F\xBF\xBF</a>",
     "<a>[\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBD\xF0\x90\x80\x80\xF4\x8F\xBF\xBF]</a>."},
    {"BesideTheSurrogates", "<a>\xED\x9F\xBF\xEE\x80\x80</a>", "<a>[\xED\x9F\xBF\xEE\x80\x80]</a>."},
    {"NamesAndValues",
     "<\xE4\xB8\xAD:\xC3\xA9 xmlns:\xE4\xB8\xAD='\xE2\x98\xBA' z\xF0\x9F\x98\x80='\xF0\x9F\x98\x80 "
     "\xC3\xBC'/>",
     "<\xE4\xB8\xAD:\xC3\xA9{\xE2\x98\xBA} xmlns:\xE4\xB8\xAD=\xE2\x98\xBA "
     "z\xF0\x9F\x98\x80=\xF0\x9F\x98\x80 "
     "\xC3\xBC/></\xE4\xB8\xAD:\xC3\xA9{\xE2\x98\xBA}>."},
    {"NamesHaveTheirClassesOfCharacters", "<a\xC2\xB6>", "!-133 Naming convention error @1:2"},
    {"References", "<a b='&#x263A;&#9786;&#xe9;'>&#x1F600;&#x000041;&#xD;&#10;&lt;</a>",
     "<a b=\xE2\x98\xBA\xE2\x98\xBA\xC3\xA9>[\xF0\x9F\x98\x80"
     "A\r\n<]</a>."},
    {"CdataAndTokens", "<a>\xC3\xA9<![CDATA[\xE4\xB8\xAD]]><!--\xC3\xA9--></a>",
     "<a>[\xC3\xA9]6[\xE4\xB8\xAD]10[\xC3\xA9]</a>.", Reading::tokens},
    {"ControlsThatXmlAllows", "<a>\t\r\n\x7F</a>", "<a>[\t\n\x7F]</a>."},
    {"ColumnsCountCharacters", "<a>\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80</b>",
     "<a>[\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80]!-129 Well Formedness Error. End Tag does not match start "
     "tag. "
     "@1:10"},
    {"Mark", "\xEF\xBB\xBF<a>\xC3\xA9</a>", "<a>[\xC3\xA9]</a>."},
    {"Latin1", "<?xml version='1.0' encoding='iso-8859-1'?><\xE9 b='\xE4'>\xFF\x80</\xE9>",
     "<\xC3\xA9 b=\xC3\xA4>[\xC3\xBF\xC2\x80]</\xC3\xA9>."},
    {"Utf16LittleEndian", "\xFF\xFE<\0a\0>\0\x3A\x26\x3D\xD8\x00\xDE\xFF\xDB\xFD\xDF\xE9\0<\0/\0a\0>\0"sv,
     "<a>[\xE2\x98\xBA\xF0\x9F\x98\x80\xF4\x8F\xBF\xBD\xC3\xA9]</a>."},
    {"Utf16BigEndian", "\xFE\xFF\0<\0a\0>\x26\x3A\xD8\x3D\xDE\x00\0\xE9\0<\0/\0a\0>"sv,
     "<a>[\xE2\x98\xBA\xF0\x9F\x98\x80\xC3\xA9]</a>."},
    {"MultiReferences",
     "<r><b id='\xC3\xA9'>\xE2\x98\xBA</b><a href='#\xC3\xA9'/><c href='#2'/><d id=\"2\">&#x263A;</d></r>",
     "<r><b id=\xC3\xA9>[\xE2\x98\xBA]</b><a>[\xE2\x98\xBA]</a><c>[\xE2\x98\xBA]</c><d "
     "id=2>[\xE2\x98\xBA]</d></r>."},
    {"MultiReferencesInUtf16",
     "\xFE\xFF\0<\0r\0>\0<\0b\0 \0i\0d\0=\0'\0\x31\0'\0>\x26\x3A\0<\0/\0b\0>\0<\0a\0 \0h\0r\0e\0f\0=\0'\0#\0\x31\0'\0/\0>\0<\0/\0r\0>"sv,
     "<r><b id=1>[\xE2\x98\xBA]</b><a>[\xE2\x98\xBA]</a></r>."},
    // What is refused shows in its place, after all that stands before it.
    {"Overlong", "<a>x<b/>\xC0\xAF</a>", "<a>[x]<b/></b>" MALFORMED "1:8"},
    {"OverlongOfThree", "<a>\xE0\x9F\xBF</a>", "<a>" MALFORMED "1:3"},
    {"OverlongOfFour", "<a>\xF0\x8F\xBF\xBF</a>", "<a>" MALFORMED "1:3"},
    {"Surrogate", "<a>\xED\xA0\x80</a>", "<a>" MALFORMED "1:3"},
    {"BeyondTheLastCharacter", "<a>\xF4\x90\x80\x80</a>", "<a>" MALFORMED "1:3"},
    {"FiveBytes", "<a>\xF8\x88\x80\x80\x80</a>", "<a>" MALFORMED "1:3"},
    {"ContinuationAlone", "<a>\xC3\xA9\x80</a>", "<a>" MALFORMED "1:4"},
    {"CutByText", "<a>\xE2\x98</a>", "<a>" MALFORMED "1:3"},
    {"CutByTheEnd", "<a>\xF0\x9F\x98", "<a>" MALFORMED "1:3"},
    {"ByteFF", "<a b='\xFF'/>", MALFORMED "1:6"},
    {"Zero", "<a>x\0</a>"sv, "<a>" FORBIDDEN "1:4"},
    {"Control", "<a\x1F/>", FORBIDDEN "1:2"},
    {"NoCharacterFFFE", "<a>\xEF\xBF\xBE</a>", "<a>" FORBIDDEN "1:3"},
    {"ControlInLatin1", "<?xml version='1.0' encoding='latin1'?><a>\x01</a>", "<a>" FORBIDDEN "1:42"},
    {"ControlInUtf16", "\xFE\xFF\0<\0a\0>\0\x0B\0<\0/\0a\0>"sv, "<a>" FORBIDDEN "1:3"},
    {"LowSurrogateAlone", "\xFE\xFF\0<\0a\0>\xDC\x00\0<\0/\0a\0>"sv, "<a>" MALFORMED "1:3"},
    {"HighSurrogateAlone", "\xFE\xFF\0<\0a\0>\xD8\x3D\0<\0/\0a\0>"sv, "<a>" MALFORMED "1:3"},
    {"HighSurrogateAtTheEnd", "\xFE\xFF\0<\0a\0>\xD8\x3D"sv, "<a>" MALFORMED "1:3"},
    {"HalfAUnitAtTheEnd", "\xFE\xFF\0<\0a\0>\0"sv, "<a>" MALFORMED "1:3"},
    {"BehindAReference", "<r><b id='1'>x</b><a href='#1'/>\xFF</r>",
     "<r><b id=1>[x]</b><a>[x]</a>" MALFORMED "1:38"},
    {"ReferenceToZero", "<a>&#0;</a>", "<a>" NO_REFERENCE "1:7"},
    {"ReferenceToASurrogate", "<a b='&#xD800;'/>", NO_REFERENCE "1:14"},
    {"ReferenceBeyond", "<a>&#x110000;</a>", "<a>" NO_REFERENCE "1:13"},
    {"ReferenceBeyondAnyNumber", "<a>&#99999999999999999999;</a>", "<a>" NO_REFERENCE "1:26"},
    {"ReferenceToAControl", "<a>&#x1;</a>", "<a>" NO_REFERENCE "1:8"},
    {"ReferenceWithoutDigits", "<a>&#x;</a>", "<a>" NO_REFERENCE "1:7"},
    {"ReferenceWithOtherLetters", "<a>&#65x;</a>", "<a>" NO_REFERENCE "1:9"},
    {"EncodingThatIsNotKnown", "<?xml version='1.0' encoding='windows-1252'?><a/>",
     "!Unsupported Encoding @1:0"},
};

class Utf8Text : public testing::TestWithParam<Document> {};

TEST_P(Utf8Text, KeepsEachCharacterHoweverTheBytesArrive) {
    expect_events(GetParam(), XmlText::utf8);
}

INSTANTIATE_TEST_SUITE_P(Documents, Utf8Text, testing::ValuesIn(kDocuments), soap_test::row_name);

std::string encoded(unsigned c) {
    char bytes[4];
    return {bytes, put_utf8(c, bytes)};
}

TEST(Utf8Texts, EveryCharacterComesBackAsItself) {
    for (unsigned c = 0; c <= 0x10FFFF; ++c) {
        const std::string bytes = encoded(c);
        const TextCheck check = check_utf8(bytes.data(), bytes.size());
        const bool surrogate = c >= 0xD800 && c <= 0xDFFF;
        if (surrogate || !is_xml_character(c)) {
            ASSERT_EQ(check.fault, surrogate ? TextFault::malformed : TextFault::forbidden) << c;
            continue;
        }
        ASSERT_EQ(check.fault, TextFault::none) << c;
        ASSERT_EQ(first_character(bytes.data()).code, c);
        ASSERT_EQ(first_character(bytes.data()).length, bytes.size());
        for (std::size_t length = 1; length < bytes.size(); ++length)
            ASSERT_EQ(check_utf8(bytes.data(), length).fault, TextFault::cut) << c;
    }
}

// The fault stands at each place of a block of sixteen, and in the rest behind the last block.
TEST(Utf8Texts, AFaultIsFoundWhereverItStands) {
    for (std::size_t at = 0; at < 50; ++at) {
        for (const char* fault : {"\x80", "\xC3(", "\x01", "\xE4\xB8", "\xED\xA0\x80"}) {
            const std::string text = std::string(at, '\n') + fault + std::string(50 - at, 'x');
            const TextCheck check = check_utf8(text.data(), text.size());
            EXPECT_EQ(check.valid, at);
            EXPECT_NE(check.fault, TextFault::none);
        }
        const std::string text = std::string(at, 'x') + "\xF0\x9F\x98\x80" + std::string(50 - at, '\xC3');
        EXPECT_EQ(continuation_bytes(text.data(), static_cast<int>(text.size())), 3);
    }
}

// Characters of each length at each place around the end of a block, in each encoding.
TEST(Utf8Texts, BlocksCutNothing) {
    for (const std::string_view character : {"\xC3\xA9", "\xE2\x98\xBA", "\xF0\x9F\x98\x80"}) {
        for (std::size_t padding = 490; padding < 520; ++padding) {
            const std::string text = std::string(padding, 'x') + std::string(character);
            EXPECT_EQ(utf8_trace("<a>" + text + "</a>"), "<a>[" + text + "]</a>.");
            std::string wide("\xFF\xFE", 2);
            const auto put = [&wide](unsigned unit) {
                wide += static_cast<char>(unit & 0xFF);
                wide += static_cast<char>(unit >> 8);
            };
            for (const char c : "<a>" + std::string(padding / 2, 'x')) put(static_cast<unsigned char>(c));
            unsigned code = first_character(character.data()).code;
            if (code > 0xFFFF) {
                put(0xD800 + ((code - 0x10000) >> 10));
                code = 0xDC00 + ((code - 0x10000) & 0x3FF);
            }
            put(code);
            for (const char c : {'<', '/', 'a', '>'}) put(static_cast<unsigned char>(c));
            EXPECT_EQ(utf8_trace(wide), "<a>[" + text.substr(padding - padding / 2) + "]</a>.");
        }
    }
}

}  // namespace
