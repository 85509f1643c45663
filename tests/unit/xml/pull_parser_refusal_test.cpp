// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "xml_trace.h"

namespace {

using namespace std::string_view_literals;

const Document kRefusals[] = {
    {"EndTagOfAnotherName", "<a></b>",
     "<a>!-129 Well Formedness Error. End Tag does not match start tag. @1:7"},
    {"EndTagLongerThanTheStartTag", "<a></ab>",
     "<a>!-129 Well Formedness Error. End Tag does not match start tag. @1:8"},
    {"EndTagWithoutStart", "</a>", "!-121 No Root Element. Must Contain atleast one root element @1:4"},
    {"OpenAtTheEnd", "<a>\nx", "<a>[\nx]!-139 End tag missing @2:2"},
    {"NoNameInTheTag", "<1>", "!-133 Naming convention error @1:1"},
    {"NoNameInTheEndTag", "<a></", "<a>!-133 Naming convention error @1:5"},
    {"CutInTheName", "<abc", "!-103 Unexpected End of file @1:4"},
    {"CutBeforeTheEqualSign", "<a b", "!-103 Unexpected End Of File @1:5"},
    {"CutBehindTheEqualSign", "<a b=", "!-130 Attribute name should  be encolsed in quotes @1:6"},
    {"CutInAValue", "<a b='1", "!-138 Quotes enclosing attr value do not match @1:8"},
    {"CutBehindAValue", "<a b='1'", "!-137 No whitespace between two attributes or unexpected char @1:8"},
    {"CutBetweenAttributes", "<a b='1' ", "!-103 Unexpected End of file @1:9"},
    {"CutBehindTheSlash", "<a/", "!-103 Unexpected End Of File @1:4"},
    {"CutInTheEndTag", "<a></a", "<a>!-103 Unexpected End Of File @1:7"},
    {"SlashWithoutEnd", "<a/x>", "!-114 Did not get expected character: > @1:4"},
    {"NoEqualSign", "<a b>", "!-114 Did not get expected character: = @1:5"},
    {"NoQuotes", "<a b=1>", "!-130 Attribute name should  be encolsed in quotes @1:6"},
    {"NoBlankBetweenAttributes", "<a b='1'c='2'>",
     "!-137 No whitespace between two attributes or unexpected char @1:8"},
    {"TabBehindAValue", "<a b='1'\t>", "!-137 No whitespace between two attributes or unexpected char @1:8"},
    {"QuestionMarkInAValue", "<a b='x?y'>", "!-138 Quotes enclosing attr value do not match @1:8"},
    {"GreaterInAValue", "<a b='x>y'>", "!-138 Quotes enclosing attr value do not match @1:8"},
    {"LessInAValue", "<a b='x<y'>", "!-138 Quotes enclosing attr value do not match @1:8"},
    {"OtherQuoteInAValue", "<a b=\"x'y\">", "!-138 Quotes enclosing attr value do not match @1:8"},
    {"OtherQuoteInSingleQuotes", "<a b='x\"y'>", "!-138 Quotes enclosing attr value do not match @1:8"},
    {"HrefThatIsNoReference", "<a href='http://h/'/>",
     "!-115 Href defined but corresponding ID NOT found @1:21"},
    {"EntityThatTheDocumentDeclares", "<!DOCTYPE a [<!ENTITY b 'c'>]><a>&b;</a>",
     "<a>!-111 Not a predefined entity @1:36"},
    {"SameAttributeTwice", "<a b='1' B='2'>", "!-131 Duplicate attribute defined @1:15"},
    {"SameAttributeTwiceOfMany", "<a a='' b='' c='' d='' e='' f='' g='' h='' i='' j='' k='' l='' m='' D=''>",
     "!-131 Duplicate attribute defined @1:73"},
    {"SameNamespaceAndName", "<a xmlns:x='u' xmlns:y='U' x:b='1' y:B='2'>",
     "!-131 Duplicate Attribtes defined @1:43"},
    {"EmptyUriOfAPrefix", "<a xmlns:p=''>", "!-122 Illegal Empty namespace @1:14"},
    {"PrefixOfTheElementUnknown", "<p:a>", "!-113 Undefined namespace prefix @1:5"},
    {"PrefixOfAnAttributeUnknown", "<a p:b='1'>", "!-113 Undefined namespace prefix @1:11"},
    {"ElementNameStartsWithAColon", "<:a>", "!-132 Name tag should not start with a ':' @1:4"},
    {"AttributeNameStartsWithAColon", "<a :b='1'>", "!-134 Attribute name should not start with ':' @1:10"},
    {"EntityUnknown", "<a>\n&unknown;</a>", "<a>!-111 Not a predefined entity @2:10"},
    {"EntityUnknownInAValue", "<a b='&no;'/>", "!-111 Not a predefined entity @1:10"},
    {"CutInAReference", "<a>&lt", "<a>!-103 Unexpected end of file @1:7"},
    {"CommentEndsInThreeDashes", "<!-- a --->", "!-124 Illegal comment delimeter @1:9"},
    {"CommentNotOpened", "<!-a-->", "!-114 Did not get expected character: - @1:4"},
    {"CutInAComment", "<!-- a --", "!-103 Unexpected end of file @1:10"},
    {"CutInCdata", "<a><![CDATA[x]]", "<a>!-103 Unexpected end of file @1:16"},
    {"CutInTheWordCdata", "<a><![CDA", "<a>!-103 Unexpected End Of File @1:10"},
    {"CutInAnInstruction", "<?pi ", "!-103 Unexpected end of file @1:6"},
    {"CutInTheDoctype", "<!DOCTYPE a [", "!-103 Unexpected End Of File @1:14"},
    {"DoctypeInSmallLetters", "<!doctype a>", "!-114 Did not get expected character: D @1:3"},
    {"DeclarationNotFirst", " <?xml version='1.0'?>",
     "!-127 Processing Instructions should not start with 'xml' @1:5"},
    {"DeclarationBehindATag", "<a></a><?xml version='1.0'?>",
     "<a></a>!-127 Processing Instructions should not start with 'xml' @1:11"},
    {"DeclarationOnLineTwo", "\n<?xml version='1.0'?>",
     "!-127 Processing Instructions should not start with 'xml' @2:5"},
    {"InstructionNamedXml", "<?xml-stylesheet a='b'?>",
     "!-114 Illegal xml declaration. no whitespace after 'xml' @1:4"},
    {"DeclarationWithoutVersion", "<?xml encoding='UTF-8'?>", "!-128 Version attribute expected @1:24"},
    {"DeclarationWithoutAttributes", "<?xml ?>", "!-128 Version attribute expected @1:8"},
    {"DeclarationHeedsCase", "<?xml Version='1.0'?>", "!-128 Version attribute expected @1:21"},
    {"DeclarationOutOfOrder", "<?xml version='1.0' standalone='yes' encoding='UTF-8'?>",
     "!-125 Illegal XML Declaration @1:55"},
    {"StandaloneMaybe", "<?xml version='1.0' standalone='maybe'?>",
     "!-126 Illegal standalone attribute @1:40"},
    {"QuestionMarkInTheVersion", "<?xml version='1.0?'?>",
     "!-138 Quotes enclosing attr value do not match @1:19"},
    {"BlankBehindTheEqualSignOfEncoding", "<?xml version='1.0' encoding= 'UTF-8'?>",
     "!Encoding attribute not enclosed in quotes @1:0"},
    {"EncodingWithoutQuotes", "<?xml version='1.0' encoding=UTF-8?>",
     "!Encoding attribute not enclosed in quotes @1:0"},
    {"EncodingWithoutEqualSign", "<?xml encoding>",
     "!Encoding attribute and value not seperated by '=' sign @1:0"},
    {"EncodingNotClosed", "<?xml version='1.0' encoding='UTF-8?>",
     "!Missing Encoding name in the Encoding declaration @1:0"},
    {"DeclaredUnsupported", "<?xml version='1.0' encoding='unsupported'?>", "!Unsupported Encoding @1:0"},
    {"WideBigEndian", "\0\0\0<"sv, "!Unsupported Encoding @1:0"},
    {"WideBigEndianMark", "\0\0\xFE\xFF"sv, "!Unsupported Encoding @1:0"},
    {"WideLittleEndianMark", "\xFF\xFE\0\0"sv, "!Unsupported Encoding @1:0"},
    {"Ebcdic", "\x4C\x6F\xA7\x94", "!Unsupported Encoding @1:0"},
    {"MalformedUtf8EndsTheInput", "<a>x\xC3(</a>", "<a>[x]!-139 End tag missing @1:4"},
    {"ByteFFEndsTheInput", "<?xml version='1.0' encoding='latin1'?><a>x\xFF</a>",
     "<a>[x]!-139 End tag missing @1:43"},
};

class PullParserRefusal : public testing::TestWithParam<Document> {};

TEST_P(PullParserRefusal, TellsCodeMessageAndPlace) {
    const Document& refusal = GetParam();
    for (const int step : {1 << 20, 7, 2}) {
        for (const Reading reading : {Reading::events, Reading::plain_texts})
            EXPECT_EQ(trace(refusal.text, step, reading), refusal.events) << step;
    }
    if (is_plain_ascii(refusal.text)) {
        EXPECT_EQ(trace(widened(refusal.text)), refusal.events);
    }
}

INSTANTIATE_TEST_SUITE_P(Documents, PullParserRefusal, testing::ValuesIn(kRefusals), soap_test::row_name);

template <typename Call>
std::string error_of(CXmlPullParser& parser, Call call) {
    try {
        call();
        return "none";
    } catch (const CXmlPullParserException& error) {
        return std::to_string(parser.getErrorCode()) + ' ' + error.message();
    }
}

// Read as 16-bit units the bytes of the declaration are text, not markup.
TEST(PullParserRefusals, DeclarationThatNamesUtf16InPlainBytes) {
    const std::string events = trace("<?xml version='1.0' encoding='UTF-16LE'?><a/>");
    EXPECT_TRUE(events.starts_with('[')) << events;
}

TEST(PullParserRefusals, NullStream) {
    try {
        CXmlPullParser parser(nullptr);
        FAIL() << "no error";
    } catch (const CXmlPullParserException& error) {
        EXPECT_STREQ(error.message(), "No Underlying Input Stream");
    }
}

TEST(PullParserRefusals, AskingForWhatTheEventHasNot) {
    PiecewiseInputStream stream("<a>x</a>", 512);
    CXmlPullParser parser(&stream);
    parser.next();
    PiecewiseInputStream other("<a>x</a>", 512);
    CXmlPullParser reader(&other);
    EXPECT_EQ(error_of(parser, [&] { parser.isWhitespace(); }),
              "-104 Illegal current event type to check for whitespace. Should be TEXT");
    EXPECT_EQ(error_of(reader, [&] { reader.isEmptyElementTag(); }),
              "-104 Should be START_TAG to check for empty element");
}

TEST(PullParserRefusals, TheFirstErrorIsFinal) {
    PiecewiseInputStream stream("<a b='1'><c>\n</a>", 512);
    CXmlPullParser parser(&stream);
    parser.next();
    parser.next();
    EXPECT_EQ(error_of(parser,
                       [&] {
                           for (;;) parser.next();
                       }),
              "-129 Well Formedness Error. End Tag does not match start tag.");
    EXPECT_EQ(parser.getErrorCode(), -129);
    EXPECT_EQ(parser.getLineNumber(), 2);
    EXPECT_EQ(parser.getColumnNumber(), 5);
    EXPECT_EQ(parser.getDepth(), 2);
    EXPECT_EQ(parser.getAttributeName(0).view(), "");
    EXPECT_EQ(error_of(parser, [&] { parser.next(); }), "-101 No Underlying source");
    EXPECT_EQ(error_of(parser, [&] { parser.nextToken(); }), "-101 No Underlying source");
}

// The step behind it went to a stack that was gone: a tag that was read before is not on it yet.
TEST(PullParserRefusals, AnErrorOnATagThatWasReadBeforeIsFinalAsWell) {
    for (const bool peeks : {false, true}) {
        PiecewiseInputStream stream("<r><b>x</b><b>x</b><b>x</b><b>x</b></r>", 512);
        CXmlPullParser parser(&stream);
        for (int events = 0; events < 11; ++events) parser.next();
        if (peeks) parser.peekEvent();  // the text, of which one may not ask whether it is an empty element
        const std::string error =
            error_of(parser, [&] { peeks ? parser.isEmptyElementTag() : parser.isWhitespace(); });
        EXPECT_EQ(error.substr(0, 4), "-104");
        EXPECT_EQ(error_of(parser, [&] { parser.next(); }), "-101 No Underlying source");
    }
}

}  // namespace
