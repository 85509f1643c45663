// SPDX-License-Identifier: MIT
#include "xml/pull_parser.h"

#include <gtest/gtest.h>

#include "xml_trace.h"

namespace {

using namespace std::string_view_literals;

const Document kDocuments[] = {
    {"NothingAtAll", "", "."},
    {"LessThanFourBytes", "<a", "!-103 Unexpected End of file @1:2"},
    {"EmptyElement", "<a/>", "<a/></a>."},
    {"TextAndChild", "<a>x<b>y</b>z</a>", "<a>[x]<b>[y]</b>[z]</a>."},
    {"CaseIsIgnored", "<A></a>", "<A></A>."},
    {"SecondRootAndTrailingText", "<a/>x<b/>", "<a/></a>[x]<b/></b>."},
    {"BlanksInsideTags", "<a\n\tb = '1'\n c=\"2\" ></a >", "<a b=1 c=2></a>."},
    {"TabBeforeTheFirstAttribute", "<a\tb='1'/>", "<a b=1/></a>."},
    {"LineFeedInAValueIsASpace", "<a b='x\ny\r\nz\tw'/>", "<a b=x y z\tw/></a>."},
    {"ReferencesInAValue", "<a b='&lt;&#65;&#x42;&AMP;'/>", "<a b=<AB&/></a>."},
    {"LineEndsAreOne", "<a>1\r\n2\r3\n\n4\r\r\n5</a>", "<a>[1\n2\n3\n\n4\n\n5]</a>."},
    {"FiveEntities", "<a>&lt;&gt;&amp;&apos;&quot;</a>", "<a>[<>&'\"]</a>."},
    {"EntitiesIgnoreCase", "<a>&LT;&Quot;</a>", "<a>[<\"]</a>."},
    {"NumbersKeepEightBits", "<a>&#65;&#321;&#x263A;&#x41</a>;</a>", "<a>[AA&A]</a>."},
    {"NumbersWithoutDigits", "<a>&#x;&#;&#X41;</a>", "<a>[\0\0\0]</a>."sv},
    {"ReferencedBlankIsText", "<a>&#32;<b/></a>", "<a>[ ]<b/></b></a>."},
    {"CdataJoinsText", "<a>abc<![CDATA[<d>&]]>e</a>", "<a>[abc<d>&e]</a>."},
    {"CdataThatEndsInABracket", "<a><![CDATA[a]]]></a>", "<a>[a]]</a>."},
    {"EmptyCdata", "<a><![CDATA[]]></a>", "<a>[]</a>."},
    {"CommentsDisappear", "<a>abc<!-- x -- y -->def<!----></a>", "<a>[abcdef]</a>."},
    {"CommentBetweenBlanks", "<a> <!-- c --> </a>", "<a>[  ]</a>."},
    {"BlanksBetweenMarkup", " <a> <b>  </b> \r\n</a> \n", "<a><b>[  ]</b></a>."},
    {"BlanksBeforeText", "<a><b/> <!--c-->x</a>", "<a><b/></b>[ x]</a>."},
    {"InstructionsAndDoctype", "<?pi x?><!DOCTYPE a [ <!ENTITY b 'c>d'> ]><a><?xmas?></a>", "<a></a>."},
    {"BracketsAndQuotesInText", "<a>]]>\"'></a>", "<a>[]]>\"'>]</a>."},
    {"Declaration", "<?xml version='1.0' encoding='utf-8' standalone='no' ?>\n<a/>", "<a/></a>."},
    {"DeclarationInCapitals", "<?XML version=\"1.0\"?><a/>", "<a/></a>."},
    {"HighCharacters", "<\xC3\xA9 \xC3\xA8='\xE4\xB8\xAD'>\xC3\xA9\xF0\x9F\x98\x80</\xC3\xA9>",
     "<\xE9 \xE8=\x2D>[\xE9\x00]</\xE9>."sv},
    {"OverlongIsTakenAsItDecodes", "<a>\xC0\xBC/a>", "<a></a>."},
    {"SingleBytes", "<?xml version='1.0' encoding='ISO-8859-1'?><a b='\xE9'>\xE4</a>",
     "<a b=\xE9>[\xE4]</a>."},
    {"SingleBytesAmongLines", "<?xml version='1.0' encoding='latin1'?><a>\n\xE4\r\xF6\n \xFE</b>",
     "<a>[\n\xE4\n\xF6\n \xFE]!-129 Well Formedness Error. End Tag does not match start tag. @4:7"},
    {"SingleBytesAreNoBlanks", "<?xml version='1.0' encoding='latin1'?><a>\xA0<b/></a>",
     "<a>[\xA0]<b/></b></a>."},
    {"Utf8Mark", "\xEF\xBB\xBF<a>\xC3\xA9</a>", "<a>[\xE9]</a>."},
    {"Utf16LittleEndianMark", "\xFF\xFE<\0a\0>\0\xE9\0<\0/\0a\0>\0"sv, "<a>[\xE9]</a>."},
    {"Utf16BigEndianMark", "\xFE\xFF\0<\0a\0/\0>"sv, "<a/></a>."},
    {"Utf16WithoutMark", "\0<\0?\0p\0?\0>\0<\0a\0/\0>"sv, "<a/></a>."},
    {"HalfAUnitAtTheEnd", "\xFE\xFF\0<\0a\0/\0>\0"sv, "<a/></a>."},
    // Namespaces.
    {"Prefixes", "<p:a xmlns:p='u' p:b='1' c='2'/>",
     "<p:a{u} xmlns:p{http://www.w3.org/2000/xmlns/}=u p:b{u}=1 c=2/></p:a{u}>."},
    {"DeclarationAloneKeepsItsName", "<p:a xmlns:p='u'/>", "<p:a{u} xmlns:p=u/></p:a{u}>."},
    {"DefaultNamespace", "<a xmlns='u'><b xmlns=''/></a>", "<a{u} xmlns=u><b{u} xmlns=/></b{u}></a{u}>."},
    {"ChildWithoutNamespaceTakesItsAncestors", "<m:op xmlns:m='u'><x><y/></x></m:op>",
     "<m:op{u} xmlns:m=u><x{u}><y{u}/></y{u}></x{u}></m:op{u}>."},
    {"PrefixesIgnoreCase", "<P:a xmlns:p='u'/>", "<P:a{u} xmlns:p=u/></P:a{u}>."},
    {"DeclarationsOfASiblingStay", "<r><a xmlns:p='u'/><p:b/></r>",
     "<r><a xmlns:p=u/></a><p:b{u}/></p:b{u}></r>."},
    {"DeclarationsOfASiblingAreReplaced", "<r><a xmlns:p='u'/><b xmlns:q='v'/><p:b/></r>",
     "<r><a xmlns:p=u/></a><b xmlns:q=v/></b>!-113 Undefined namespace prefix @1:41"},
    {"TwoDefaultsInOneTag", "<a xmlns='' xmlns:='u'/>", "<a{u} xmlns= xmlns:=u/></a{u}>."},
    {"WellKnownPrefixes", "<a xml:lang='e'/>", "<a xml:lang{http://www.w3.org/XML/1998/namespace}=e/></a>."},
    // A tag that was read before means anew what stands around it.
    {"RepeatedTag", "<r xmlns:p='u'><a p:x='1'/><a p:x='1'/><a p:x='1'></a><a p:x='1'>2</a></r>",
     "<r xmlns:p=u><a p:x{u}=1/></a><a p:x{u}=1/></a><a p:x{u}=1></a><a p:x{u}=1>[2]</a></r>."},
    {"RepeatedTagBehindADeclaration",
     "<r xmlns:p='u'><p:a/><p:a/><p:a/><b xmlns:p='v'/><p:a/><p:a/><p:a/></r>",
     "<r xmlns:p=u><p:a{u}/></p:a{u}><p:a{u}/></p:a{u}><p:a{u}/></p:a{u}><b xmlns:p=v/></b><p:a{v}/></p:a{v}>"
     "<p:a{v}/></p:a{v}><p:a{v}/></p:a{v}></r>."},
    {"RepeatedTagAmongDeclarationsOfOthers",
     "<r xmlns:p='u' xmlns:q='w'><i xmlns:a='1'><p:b q:c='2'/><d/></i><i xmlns:b='1'><p:b q:c='2'/><d/></i>"
     "<i xmlns:c='1'><p:b q:c='2'/><d/></i><i xmlns:q='x'><p:b q:c='2'/><d/></i><i xmlns:p='v'><p:b q:c='2'/>"
     "<d/></i><i xmlns='y'><p:b q:c='2'/><d/></i><i xmlns:e='1'><p:b q:c='2'/><d/></i></r>",
     "<r xmlns:p=u xmlns:q=w><i xmlns:a=1><p:b{u} q:c{w}=2/></p:b{u}><d/></d></i><i xmlns:b=1>"
     "<p:b{u} q:c{w}=2/></p:b{u}><d/></d></i><i xmlns:c=1><p:b{u} q:c{w}=2/></p:b{u}><d/></d></i>"
     "<i xmlns:q=x><p:b{u} q:c{x}=2/></p:b{u}><d/></d></i><i xmlns:p=v><p:b{v} "
     "q:c{w}=2/></p:b{v}><d/></d></i>"
     "<i{y} xmlns=y><p:b{u} q:c{w}=2/></p:b{u}><d{y}/></d{y}></i{y}><i xmlns:e=1><p:b{u} q:c{w}=2/></p:b{u}>"
     "<d/></d></i></r>."},
    {"RepeatedTagElsewhere",
     "<r xmlns:p='u' xmlns:q='v'><p:b><a/><a/><a/></p:b><q:b><a/><a><a/></a></q:b><b><a/></b></r>",
     "<r xmlns:p=u "
     "xmlns:q=v><p:b{u}><a{u}/></a{u}><a{u}/></a{u}><a{u}/></a{u}></p:b{u}><q:b{v}><a{v}/></a{v}>"
     "<a{v}><a{v}/></a{v}></a{v}></q:b{v}><b><a/></a></b></r>."},
    {"Records",
     "<r>\n<i><a>1</a>\n<b>two</b></i>\n<i><a>3</a>\n<b>four</b></i>\n<i><a>5</a>\n<b>s&lt;x</b></i>"
     "<i><b> 7 </b><a>8</a></i>\r\n<i><a>9\n</a><b/></i><i><a><b>0</b></a></i><i><a>1</A></i></r>",
     "<r><i><a>[1]</a><b>[two]</b></i><i><a>[3]</a><b>[four]</b></i><i><a>[5]</a><b>[s<x]</b></i>"
     "<i><b>[ 7 "
     "]</b><a>[8]</a></i><i><a>[9\n]</a><b/></b></i><i><a><b>[0]</b></a></i><i><a>[1]</a></i></r>."},
    {"RawNames", "<p:a p:b='1'></P:A>", "<p:a p:b=1></p:a>.", Reading::raw_names},
    // Single tokens.
    {"Tokens", "<a>x&lt;y<!--c--><![CDATA[d]]><?p q?> <b/></a>",
     "<a>[x]7[<][y]10[c]6[d]9[p q]8[ ]<b/></b></a>.", Reading::tokens},
    {"UnknownReferenceIsAToken", "<a>&nix;</a>", "<a>7[]</a>.", Reading::tokens},
    {"UnknownReferenceInAValueIsLeftOut", "<a b='1&nix;2'/>", "<a b=12/></a>.", Reading::tokens},
    {"DoctypeAsToken", "<!DOCTYPE a [<!X>]><a/>", "11[ a [<!X>]]<a/></a>.", Reading::tokens},
    {"SpecialInstructionAsToken", "<?xmas x?><a/>", "9[xmas x]<a/></a>.", Reading::tokens},
};

class PullParser : public testing::TestWithParam<Document> {};

TEST_P(PullParser, GivesTheSameEventsHoweverTheBytesArrive) {
    expect_events(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Documents, PullParser, testing::ValuesIn(kDocuments), soap_test::row_name);

TEST(PullParserState, CountsDepthUntilTheEndTagIsLeft) {
    PiecewiseInputStream stream("<a><b/></a>", 3);
    CXmlPullParser parser(&stream);
    EXPECT_EQ(parser.getEventType(), XML_START_DOCUMENT);
    EXPECT_EQ(parser.getAttributeCount(), -1);
    const int depths[] = {1, 2, 2, 1, 0, 0};
    for (const int depth : depths) {
        parser.next();
        EXPECT_EQ(parser.getDepth(), depth);
    }
    EXPECT_EQ(parser.getEventType(), XML_END_DOCUMENT);
}

TEST(PullParserState, PeekingShowsTheNextEventWithoutTakingIt) {
    PiecewiseInputStream stream("<a>x</a>", 1);
    CXmlPullParser parser(&stream);
    EXPECT_EQ(parser.peekEvent(), START_TAG);
    EXPECT_EQ(parser.peekEvent(), START_TAG);
    EXPECT_EQ(parser.getName().view(), "a");
    EXPECT_EQ(parser.next(), START_TAG);
    EXPECT_EQ(parser.peekEvent(), TEXT);
    EXPECT_EQ(parser.getText().view(), "x");
    EXPECT_EQ(parser.nextToken(), TEXT);
    EXPECT_EQ(parser.next(), XML_END_TAG);
    EXPECT_EQ(parser.next(), XML_END_DOCUMENT);
    EXPECT_EQ(parser.next(), XML_END_DOCUMENT);
}

TEST(PullParserState, FindsAttributesByNameAndNamespace) {
    PiecewiseInputStream stream("<a xmlns:p='u' xmlns:q='v' p:x='1' q:x='2' X='3'/>", 512);
    CXmlPullParser parser(&stream);
    parser.setProcessNamespaces();
    parser.next();
    EXPECT_EQ(parser.getAttributeCount(), 5);
    EXPECT_EQ(parser.getAttributeValue("v", "X").view(), "2");
    EXPECT_EQ(parser.getAttributeValue("", "x").view(), "1");
    EXPECT_EQ(parser.getAttributeValue("w", "x").view(), "");
    EXPECT_EQ(parser.getAttributeName(5).view(), "");
    EXPECT_EQ(parser.getAttributeValue(-1).view(), "");
    EXPECT_EQ(parser.getNamespace("P").view(), "u");
    EXPECT_EQ(parser.getNamespace("none").view(), "");
    EXPECT_EQ(parser.getNamespace("xml").view(), "http://www.w3.org/XML/1998/namespace");
}

TEST(PullParserState, ForgetsTheNamespaceOfAnEarlierTagsAttribute) {
    PiecewiseInputStream stream("<a xmlns:p='u' p:x='1'><b y='2' z='3'/></a>", 512);
    CXmlPullParser parser(&stream);
    parser.setProcessNamespaces();
    parser.next();
    parser.next();
    for (int i = 0; i < parser.getAttributeCount(); ++i) {
        EXPECT_EQ(parser.getAttributeNamespace(i).view(), "");
        EXPECT_EQ(parser.getAttributePrefix(i).view(), "");
    }
}

TEST(PullParserState, ReplacesEntitiesThatWereDefined) {
    PiecewiseInputStream stream("<a b='&One;'>&two;&amp;&ONE;</a>", 512);
    CXmlPullParser parser(&stream);
    parser.defineEntityReplacementText("one", "<1>");
    parser.defineEntityReplacementText("two", "&one;");
    parser.defineEntityReplacementText("amp", "never");
    parser.defineEntityReplacementText("one", "late");
    parser.next();
    EXPECT_EQ(parser.getAttributeValue(0).view(), "<1>");
    parser.next();
    EXPECT_EQ(parser.getText().view(), "&one;&<1>");
}

TEST(PullParserState, TellsLinesAndColumns) {
    PiecewiseInputStream stream("<a>\r\n<b>\r\ntext\r\n</b></a>", 512);
    CXmlPullParser parser(&stream);
    struct {
        int line, column;
    } const places[] = {{1, 3}, {2, 4}, {4, 1}, {4, 5}, {4, 9}};
    for (const auto& place : places) {
        parser.next();
        EXPECT_EQ(parser.getLineNumber(), place.line);
        EXPECT_EQ(parser.getColumnNumber(), place.column);
    }
}

TEST(PullParserState, ReadsInBlocksAndNotAheadOfAnEvent) {
    const std::string document = "<a>" + std::string(2000, 'x') + "</a>";
    PiecewiseInputStream stream(document, 1 << 20);
    CXmlPullParser parser(&stream);
    EXPECT_EQ(parser.next(), START_TAG);
    EXPECT_EQ(stream.reads, 4) << "only what tells the encoding";
    parser.next();
    EXPECT_EQ(stream.reads, 4 + 4);
}

}  // namespace
