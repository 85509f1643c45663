// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "xml_trace.h"

namespace {

const Document kDocuments[] = {
    {"Backward", "<r><b id='1' t='u'>x</b><a href='#1'/></r>", "<r><b id=1 t=u>[x]</b><a t=u>[x]</a></r>."},
    {"Forward", "<r><a href=\"#1\"/><b id=\"1\">x</b></r>", "<r><a>[x]</a><b id=1>[x]</b></r>."},
    {"ForwardWithAttributesAround", "<r><a z='0' href='#1'/><b c=\"d\" id=\"1\" e=\"f\">x</b></r>",
     "<r><a z=0 c=d e=f>[x]</a><b c=d id=1 e=f>[x]</b></r>."},
    {"Twice", "<r><b id='1'><c/></b><a href='#1'/><d href='#1'/></r>",
     "<r><b id=1><c/></c></b><a><c/></c></a><d><c/></c></d></r>."},
    {"OwnAttributesComeFirst", "<r><b id='r' b='2'><y/>text</b><x a='1' href='#r'/></r>",
     "<r><b id=r b=2><y/></y>[text]</b><x a=1 b=2><y/></y>[text]</x></r>."},
    {"WithinReferencedText", "<r><b id='1'>x</b><c id='2'><d href='#1'/></c><a href='#2'/></r>",
     "<r><b id=1>[x]</b><c id=2><d>[x]</d></c><a><d>[x]</d></a></r>."},
    {"ForwardWithinForward", "<r><a href='#2'/><c id=\"2\"><d href='#1'/></c><b id=\"1\">x</b></r>",
     "<r><a><d>[x]</d></a><c id=2><d>[x]</d></c><b id=1>[x]</b></r>."},
    {"NotFollowedUnlessEmpty", "<r><a href='#1'></a></r>", "<r><a></a></r>."},
    {"FirstCharacterIsDropped", "<r><b id='1'>x</b><a href='x1'/></r>", "<r><b id=1>[x]</b><a>[x]</a></r>."},
    {"IdIgnoresCaseBackward", "<r><b id='abc'>x</b><a href='#ABC'/></r>",
     "<r><b id=abc>[x]</b><a>[x]</a></r>."},
    {"IdHeedsCaseForward", "<r><a href='#ABC'/><b id=\"abc\">x</b></r>",
     "<r>!-115 Href defined but corresponding ID NOT found @1:19"},
    {"FirstOfTwoIdsCounts", "<r><b id='1'>x</b><b id='1'>y</b><a href='#1'/></r>",
     "<r><b id=1>[x]</b><b id=1>[y]</b><a>[x]</a></r>."},
    {"FirstOfTwoIdsCountsIfItHasAnEnd", "<r><b id='1'>x</B><c id='1'>y</c><a href='#1'/></r>",
     "<r><b id=1>[x]</b><c id=1>[y]</c><a>[y]</a></r>."},
    {"NoSuchId", "<r><a href='#1'/></r>", "<r>!-115 Href defined but corresponding ID NOT found @1:17"},
    {"EmptyElementWithoutAttributes", "<r><b id='1'/><a href='#1'/></r>",
     "<r><b id=1/></b>!-133 Naming convention error @1:28"},
    {"EmptyElementWithAnAttribute", "<r><b id='1' c='2'/><a href='#1'/></r>",
     "<r><b id=1 c=2/></b>!-137 No whitespace between two attributes or unexpected char @1:40"},
    // What is referred to ended at the next end tag of its name, and brought in all that stands between.
    {"EmptyElementBeforeOthersOfItsName", "<r><i id=\"1\" n='1'/><i>v</i><i href='#1'/></r>",
     "<r><i id=1 n=1/></i><i>[v]</i>!-137 No whitespace between two attributes or unexpected char @1:48"},
    {"EmptyElementAheadOfOthersOfItsName", "<r><i href='#1'/><i n='1' id=\"1\" / ><i>v</i></r>",
     "<r>!-133 Naming convention error @1:25"},
    {"IdIsKnownWhateverItHolds", "<r><b id='&#65;&lt;'>x</b><a href='#a&lt;'/></r>",
     "<r><b id=A<>[x]</b><a>[x]</a></r>."},
    {"NestedElementOfTheSameNameCutsIt", "<r><b id='1'><b>x</b>y</b><a href='#1'/></r>",
     "<r><b id=1><b>[x]</b>[y]</b><a><b>[x]!-129 Well Formedness Error. End Tag does not match start tag. "
     "@1:49"},
    {"ToItself", "<r><a id=\"1\" href='#1'/></r>", "<r>!-131 Duplicate attribute defined @1:31"},
    {"SecondHref", "<r><b id='1'>x</b><a href='#1' href='#1'/></r>",
     "<r><b id=1>[x]</b>!-131 Duplicate attribute defined @1:37"},
    {"HrefThatNamesNothing", "<r><b id='1'>x</b><a href='' q='#1'/></r>",
     "<r><b id=1>[x]</b><a>[x]</a></r>."},
    {"NamespaceAtThePlaceOfTheReference",
     "<r><p:b xmlns:p='u' id='1'><c/></p:b><p:a xmlns:p='v' href='#1'/></r>",
     "<r><p:b{u} xmlns:p=u id=1><c{u}/></c{u}></p:b{u}><p:a{v} xmlns:p=v><c{v}/></c{v}></p:a{v}></r>."},
    {"ToAnElementWithoutEnd", "<r><b id='1'>x<a href='#1'/></r>",
     "<r><b id=1>[x]!-115 Href defined but corresponding ID NOT found @1:28"},
    {"ToAnElementWithoutEndAhead", "<r><a href='#1'/><b id=\"1\">x</r>",
     "<r>!-115 Href defined but corresponding ID NOT found @1:17"},
    {"AnElementAheadHasDoubleQuotes", "<r><a href='#1'/><b id='1'>x</b></r>",
     "<r>!-115 Href defined but corresponding ID NOT found @1:17"},
    {"AnElementAheadHasASpaceBehindItsName", "<r><a href='#1'/><b\tid=\"1\">x</b></r>",
     "<r>!-115 Href defined but corresponding ID NOT found @1:17"},
    {"AnIdAheadWithoutTag", "<a href='#1'/>id=\"1\"",
     "!-115 Href defined but corresponding ID NOT found @1:14"},
    {"UnclosedElement", "<r><b id='1'>x", "<r><b id=1>[x]!-139 End tag missing @1:14"},
};

class MultiReferencesIn : public testing::TestWithParam<Document> {};

TEST_P(MultiReferencesIn, AreReadInPlaceHoweverTheBytesArrive) {
    expect_events(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Documents, MultiReferencesIn, testing::ValuesIn(kDocuments), soap_test::row_name);

// What is found does not depend on how much was looked through before.
TEST(MultiReferences, EndTagsAreTheSameWhenTheyWereNoted) {
    const std::string ahead = "<x href='#1'/><a>foo id=\"1\">t</a></a>foo></r>";
    std::string before = "<r>";
    for (int i = 0; i < 200; ++i)
        before += "<q" + std::to_string(i) + " id='z'></q" + std::to_string(i) + " >";
    for (const std::string& start : {std::string("<r>"), before}) {
        EXPECT_NE(trace(start + ahead).find("<x>"), std::string::npos);
        for (const std::string name : {"a0", "m", "zz"}) {
            const std::string other = start + "<" + name + " id='1'>x</" + name + " ><x href='#1'/>";
            EXPECT_NE(trace(other).find("!-115"), std::string::npos) << name << " has no end tag to be found";
        }
    }
}

// A tag that does not fit the window is read in pieces, which end at each place of it.
TEST(MultiReferences, TheEndOfABlockMayStandAnywhere) {
    for (std::size_t padding = 2000; padding < 2600; ++padding) {
        const std::string x(padding, 'x');
        EXPECT_EQ(trace("<r><b y='" + x + "' id='1' z='2'>t</b><a href='#1'/></r>"),
                  "<r><b y=" + x + " id=1 z=2>[t]</b><a z=2>[t]</a></r>.");
    }
}

// Each of these goes round without end if nobody counts.
TEST(MultiReferences, RingsEndInAnError) {
    const std::string_view rings[] = {
        "<r><b id='1'><a href='#1'/></b></r>",
        "<r><a href='#1'/><b id=\"1\"><a href='#1'/></b></r>",
        "<r><b id='1'><x href='#2'/></b><c id=\"2\"><x href='#3'/></c><d id=\"3\"><x href='#1'/></d></r>",
    };
    for (const std::string_view ring : rings) {
        EXPECT_NE(trace(ring).find("!-115 Href defined but corresponding ID NOT found"), std::string::npos)
            << ring;
    }
}

std::string nested_references(int count) {
    std::string text = "<r><b id='0'>x</b>";
    for (int i = 1; i < count; ++i) {
        text += "<b id='" + std::to_string(i) + "'><a href='#" + std::to_string(i - 1) + "'/></b>";
    }
    return text + "</r>";
}

TEST(MultiReferences, NestSixtyFourDeep) {
    EXPECT_TRUE(trace(nested_references(65)).ends_with("."));
    EXPECT_NE(trace(nested_references(66)).find("!-115"), std::string::npos);
}

// Two references to each element below make 2^n texts of the first.
TEST(MultiReferences, TextBroughtInIsBounded) {
    std::string text = "<r><b id='0'>" + std::string(1000, 'x') + "</b>";
    for (int i = 1; i < 60; ++i) {
        const std::string below = std::to_string(i - 1);
        text += "<b id='" + std::to_string(i) + "'><a href='#" + below + "'/><a href='#" + below + "'/></b>";
    }
    PiecewiseInputStream stream(text + "</r>", 1 << 20);
    CXmlPullParser parser(&stream);
    std::size_t seen = 0;
    try {
        for (;;) {
            if (parser.next() == TEXT) seen += static_cast<std::size_t>(parser.getText().length());
        }
    } catch (const CXmlPullParserException&) {
        EXPECT_EQ(parser.getErrorCode(), -115);
    }
    EXPECT_LE(seen, 65u << 20);
}

// A large message may bring in a hundred times itself.
TEST(MultiReferences, TextBroughtInIsBoundedByTheMessage) {
    const std::string value(800'000, 'x');
    for (const auto& [references, good] : {std::pair{99, true}, {102, false}}) {
        std::string text = "<r><b id='0'>" + value + "</b>";
        for (int i = 0; i < references; ++i) text += "<a href='#0'/>";
        PiecewiseInputStream stream(text + "</r>", 1 << 20);
        CXmlPullParser parser(&stream);
        try {
            while (parser.next() != XML_END_DOCUMENT) continue;
        } catch (const CXmlPullParserException&) {
        }
        EXPECT_EQ(parser.getErrorCode(), good ? 0 : -115);
    }
}

}  // namespace
