// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <malloc.h>

#include <ctime>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "xml_trace.h"

// Documents of hostile size or shape: each is read, or refused, in time and memory that go with its length.
namespace {

std::string repeated(int count, std::string_view text) {
    std::string all;
    for (int i = 0; i < count; ++i) all += text;
    return all;
}

std::string numbered(int count, std::string_view before, std::string_view behind) {
    std::string all;
    for (int i = 0; i < count; ++i) all += std::string(before) + std::to_string(i) + std::string(behind);
    return all;
}

constexpr int kMany = 100000;

struct Large : soap_test::NamedRow {
    std::string (*make)();
    int error;  ///< 0 if it is read to its end
};

const Large kLarge[] = {
    {"NestedElements", [] { return repeated(kMany, "<a>") + repeated(kMany, "</a>"); }, 0},
    {"NestedElementsWithoutEnd", [] { return repeated(kMany, "<a>"); }, -139},
    {"NestedDefaultsThatSayNothing", [] { return repeated(kMany, "<a xmlns=''>"); }, -139},
    {"NestedPrefixes", [] { return numbered(kMany, "<a xmlns:p", "='u'>"); }, -139},
    {"NestedPrefixesAndTheOutermost",
     [] { return "<o:a xmlns:o='u'>" + numbered(kMany, "<o:a xmlns:p", "='u'>"); }, -139},
    {"ManyAttributes", [] { return "<a" + numbered(kMany, " b", "='1'") + "/>"; }, 0},
    {"ManyAttributesAndTheFirstAgain", [] { return "<a" + numbered(kMany, " b", "='1'") + " B0=''/>"; },
     -131},
    {"ManyDeclarations", [] { return "<p7:a" + numbered(kMany, " xmlns:p", "='u'") + "/>"; }, 0},
    {"ManyQualifiedAttributesWithALongUri",
     [] {
         const std::string uri(100000, 'u');
         return "<a xmlns:p='" + uri + "' xmlns:q='" + uri + "1'" + numbered(20000, " p:b", "=''") +
                numbered(20000, " q:b", "=''") + "/>";
     },
     0},
    {"LongAttribute", [] { return "<a b='" + std::string(50 << 20, 'x') + "'/>"; }, 0},
    {"LongName", [] { return "<" + std::string(5 << 20, 'x') + "/>"; }, 0},
    {"LongReference", [] { return "<a>&" + std::string(5 << 20, 'x') + ";</a>"; }, -111},
    {"ManyReferences", [] { return "<a>" + repeated(kMany, "&lt;&#10;") + "</a>"; }, 0},
    {"OpenDoctype", [] { return "<!DOCTYPE a [" + repeated(kMany, "<!ENTITY x \"y\">"); }, -103},
    {"ManyIdsThatAreNeverClosed", [] { return "<r>" + numbered(kMany, "<b id='", "'/>") + "</r>"; }, 0},
    {"OneIdAndManyBearersWithoutAnEndToBeFound",
     [] {
         std::string all = "<r>";
         for (int i = 0; i < kMany; ++i) {
             const std::string name = "a" + std::to_string(i);
             all += '<' + name + " id='x'></" + name + " >";
         }
         return all + "</r>";
     },
     0},
    {"ManyIdsGivenTwiceWithFarEnds",
     [] {
         std::string all;
         for (int i = 0; i < 20000; ++i) {
             const std::string number = std::to_string(i);
             all += "<a" + number + " id='" + number + "'><b id='" + number + "'/>";
         }
         for (int i = 20000; i-- > 0;) all += "</a" + std::to_string(i) + '>';
         return all;
     },
     0},
    {"ManyIdsInOneTagWithoutAnEndToBeFound",
     [] { return "<r><a" + repeated(6 * kMany, " id='x'") + "></a ></r>"; }, -131},
    {"DeclarationsFromDeepToShallow",
     [] { return repeated(kMany, "<a>") + repeated(kMany, "</a><b xmlns='u'/>"); }, 0},
    {"ManyElementsWithoutEnd",
     [] { return "<r>" + repeated(60'000, "<b id='1'>" + std::string(40, 'x') + "</B>") + "</r>"; }, 0},
    {"ManyReferencesAhead",
     [] {
         return "<r>" + numbered(20'000, "<a href=\"#i", "\"/>") +
                numbered(20'000, "<b id=\"i", "\">" + std::string(150, 'x') + "</b>") + "</r>";
     },
     0},
    {"NestedIds", [] { return numbered(20000, "<b id='", "'>"); }, -139},
};

constexpr XmlLimits kNoLimits{0, 0};

/// Of this thread, whatever else the machine does meanwhile.
double processor_seconds() {
    timespec used{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) * 1e-9;
}

class LargeDocument : public testing::TestWithParam<Large> {};

TEST_P(LargeDocument, IsReadInTimeThatGoesWithItsLength) {
    const std::string text = GetParam().make();
    PiecewiseInputStream stream(text, 1 << 20);
    CXmlPullParser parser(&stream, XmlText::one_byte, kNoLimits);
    parser.setProcessNamespaces();
    const double begin = processor_seconds();
    try {
        while (parser.next() != XML_END_DOCUMENT) {
        }
    } catch (const CXmlPullParserException&) {
    }
    EXPECT_EQ(parser.getErrorCode(), GetParam().error);
    EXPECT_LT(processor_seconds() - begin, 10);
}

INSTANTIATE_TEST_SUITE_P(Documents, LargeDocument, testing::ValuesIn(kLarge), soap_test::row_name);

struct Limited : soap_test::NamedRow {
    std::string text;
    bool good;
    XmlLimits limits = {};
};

constexpr XmlLimits kFew{2, 2};

const Limited kLimited[] = {
    {"Deep", repeated(5000, "<a>") + repeated(5000, "</a>"), true},
    {"Deeper", repeated(5001, "<a>"), false},
    {"FewDeep", "<a><b/><b/><b/></a>", true, kFew},
    {"FewDeeper", "<a><b/><b/><b><c/></b></a>", false, kFew},
    {"ManyAttributes", "<a" + numbered(1000, " b", "=''") + "/>", true},
    {"MoreAttributes", "<a" + numbered(1001, " b", "=''") + "/>", false},
    {"FewAttributes", "<a b='' c=''/>", true, kFew},
    {"MoreThanFewAttributes", "<a b='' c='' d=''/>", false, kFew},
    {"ManyNamespaces", repeated(10, "<a" + numbered(1000, " xmlns:p", "='u'") + ">") + "<b>", true},
    {"MoreNamespaces", repeated(10, "<a" + numbered(1000, " xmlns:p", "='u'") + ">") + "<b xmlns='u'>",
     false},
    {"ManyNamespacesInTurn", "<r>" + repeated(20, "<a" + numbered(1000, " xmlns:p", "='u'") + "/>"), true},
};

class LimitedDocument : public testing::TestWithParam<Limited> {};

TEST_P(LimitedDocument, IsReadUpToTheLimitAndNotBeyond) {
    PiecewiseInputStream stream(GetParam().text, 1 << 20);
    CXmlPullParser parser(&stream, XmlText::one_byte, GetParam().limits);
    parser.setProcessNamespaces();
    try {
        while (parser.next() != XML_END_DOCUMENT) {
        }
    } catch (const CXmlPullParserException&) {
    }
    const bool open_at_the_end = parser.getErrorCode() == -139;
    EXPECT_EQ(parser.getErrorCode(), GetParam().good ? (open_at_the_end ? -139 : 0) : -108);
}

INSTANTIATE_TEST_SUITE_P(Documents, LimitedDocument, testing::ValuesIn(kLimited), soap_test::row_name);

std::size_t memory_in_use() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

constexpr int kMegabyte = 1 << 20;

// Depth and attributes took up to twenty times the document, each id a hundred and thirty bytes.
const Large kHungry[] = {
    {"NestedElements", [] { return repeated(4 * kMegabyte / 3, "<a>"); }, -108},
    {"Attributes", [] { return "<a" + numbered(4 * kMegabyte / 11, " b", "='1'"); }, -108},
    {"NestedNamespaces", [] { return repeated(400, "<a" + numbered(900, " xmlns:p", "='u'") + ">"); }, -108},
    {"Ids", [] { return "<r>" + numbered(4 * kMegabyte / 17, "<a id=\"", "\"/>") + "</r>"; }, 0},
    {"IdsReferredTo",
     [] {
         return "<r>" + numbered(kMegabyte / 14, "<a id=\"", "\">1</a>") +
                numbered(kMegabyte / 14, "<a href=\"#", "\"/>") + "</r>";
     },
     0},
    {"IdsReferredToAhead",
     [] {
         return "<r>" + numbered(kMegabyte / 14, "<a href=\"#", "\"/>") +
                numbered(kMegabyte / 14, "<a id=\"", "\">1</a>") + "</r>";
     },
     0},
    {"IdsAlikeWithEndTagsOfManyNames",
     [] {
         std::string all = "<r><x id='0'>";
         for (int i = 0; i < 100'000; ++i) {
             const std::string name = "e" + std::to_string(i);
             all += '<' + name + " id='0'></" + name + '>';
         }
         return all + "</x ></r>";
     },
     0},
};

class HungryDocument : public testing::TestWithParam<Large> {};

TEST_P(HungryDocument, TakesFourTimesItsSizeAtMostAndGivesItBack) {
    std::string text = GetParam().make();
    const std::size_t size = text.size();
    PiecewiseInputStream stream(text, 1 << 20);
    text = std::string();
    const std::size_t before = memory_in_use();
    std::size_t most = before;
    {
        CXmlPullParser parser(&stream);
        parser.setProcessNamespaces();
        try {
            for (int count = 0; parser.next() != XML_END_DOCUMENT; ++count) {
                if (count % 256 == 0) most = std::max(most, memory_in_use());
            }
        } catch (const CXmlPullParserException&) {
        }
        EXPECT_EQ(parser.getErrorCode(), GetParam().error);
        most = std::max(most, memory_in_use());
    }
    EXPECT_LE(most - before, 4 * size);
    EXPECT_LE(memory_in_use() - std::min(before, memory_in_use()), 64u << 10);
}

INSTANTIATE_TEST_SUITE_P(Documents, HungryDocument, testing::ValuesIn(kHungry), soap_test::row_name);

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
long resident_pages() {
    long total = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident;
}

// Thirty megabytes stayed with the process.
TEST(PullParserMemory, OfManyIdsGoesBackToTheSystem) {
    PiecewiseInputStream stream("<r>" + numbered(1'500'000, "<a id='", "'/>") + "</r>");
    const long before = resident_pages();
    {
        CXmlPullParser parser(&stream);
        while (parser.next() != XML_END_DOCUMENT) continue;
    }
    EXPECT_LT((resident_pages() - before) * 4096, 8 << 20);
}
#endif

// Every allocation fails once: the document is read, or the error is that of memory, and nothing leaks. A
// reference to a number became a zero byte.
TEST(PullParserMemory, EndsInAnErrorWhereverItRunsOut) {
    const std::string document =
        "<?xml version='1.0' encoding='UTF-8'?><o:r "
        "xmlns:o='http://a.example/a-name-that-is-long-enough-to-need-a-"
        "block' o:x='1' xml:l='e'>" +
        numbered(14, "<e", ">") + std::string(3000, 'x') + "&lt;&#" + std::string(60, '0') + "65;&#x41;<w" +
        numbered(14, " a", "='v'") + numbered(40, " xmlns:p", "='u'") + "/>" +
        "<b id='1'>text</b><c href='#1'/><d href='#2'/><b id=\"2\">y</b>" +
        std::string("</e13></e12></e11></e10></e9></e8></e7></e6></e5></e4></e3></e2></e1></e0></o:r>");
    const std::string whole = trace(document);
    ASSERT_TRUE(whole.ends_with('.')) << whole;
    const long tried = with_each_allocation_failing([&] {
        const std::string events = trace(document, 512);
        if (events == "no memory" || events == whole) return;
        const std::size_t error = events.find('!');
        ASSERT_NE(error, std::string::npos) << events;
        // A reference that cannot be put in for want of memory is one that cannot be followed.
        const bool memory = events.find("emory", error) != std::string::npos ||
                            events.find("-115", error) != std::string::npos;
        EXPECT_TRUE(memory) << events.substr(error);
    });
    EXPECT_GT(tried, 20);
}

TEST(LongText, StaysWholeInHandlesWhenMoreIsRead) {
    // Those of some length take the parser's memory along: around that length, with and without references.
    for (const std::size_t length : {65534U, 65535U, 65536U, 65537U, 131072U, 1000000U}) {
        const std::string plain(length, 'p');
        const std::string mixed = std::string(length, 'm') + "&lt;" + std::string(7, 'n');
        const std::string document = "<r><a>" + mixed + "</a><a>" + plain + "</a><a>short</a></r>";
        PiecewiseInputStream stream(document, 1000);
        CXmlPullParser parser(&stream);
        std::vector<CRefString> texts;
        for (int event = parser.next(); event != XML_END_DOCUMENT; event = parser.next()) {
            if (event == TEXT) texts.push_back(parser.getText());
        }
        ASSERT_EQ(texts.size(), 3U);
        EXPECT_EQ(texts[0].view(), std::string(length, 'm') + '<' + std::string(7, 'n'));
        EXPECT_EQ(std::string_view(texts[1].c_str()), plain);
        EXPECT_EQ(texts[2].view(), "short");
    }
}

}  // namespace
