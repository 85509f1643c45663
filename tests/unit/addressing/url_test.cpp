// SPDX-License-Identifier: MIT
#include "addressing/url.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

struct UrlCase {
    const char* name;
    std::string_view url;
    bool usable;
    const char* authority;
    const char* host;
    std::uint16_t port;
    const char* path;
};

class Url : public testing::TestWithParam<UrlCase> {};

TEST_P(Url, IsCutByPosition) {
    const UrlCase& c = GetParam();
    // In a block of exactly its size, so that a sanitizer sees one byte too many.
    const std::unique_ptr<char[]> block(new char[c.url.size()]);
    c.url.copy(block.get(), c.url.size());
    UrlParts parts;
    ASSERT_EQ(split_url({block.get(), c.url.size()}, parts), c.usable);
    if (!c.usable) return;
    EXPECT_EQ(parts.authority, c.authority);
    EXPECT_EQ(parts.host, c.host);
    EXPECT_EQ(parts.port, c.port);
    EXPECT_EQ(parts.path, c.path);
}

constexpr UrlCase kUrls[] = {
    {"Whole", "http://host:8080/a/b", true, "host:8080", "host", 8080, "a/b"},
    {"CaseOfHostKept", "http://HoSt:8080/A", true, "HoSt:8080", "HoSt", 8080, "A"},
    {"NoPort", "http://host/a", true, "host:80", "host", 80, "a"},
    {"NoPortSecure", "https://host/a", true, "host:443", "host", 443, "a"},
    {"NoPortSecureUpperCase", "HTTPS://host/a", true, "host:443", "host", 443, "a"},
    {"EmptyPort", "http://host:/a", true, "host:80", "host", 80, "a"},
    {"NoPath", "http://host:1", true, "host:1", "host", 1, ""},
    {"EmptyPath", "http://host:1/", true, "host:1", "host", 1, ""},
    {"NeitherPortNorPath", "http://h", true, "h:80", "h", 80, ""},
    {"SecondSlashBelongsToPath", "http://h:1//a", true, "h:1", "h", 1, "/a"},
    {"ColonInPath", "http://h/a:b", true, "h:80", "h", 80, "a:b"},
    {"MarkInPath", "http://h:2/x://y:3/z", true, "h:2", "h", 2, "x://y:3/z"},
    {"HighestPort", "http://h:65535/", true, "h:65535", "h", 65535, ""},
    {"PortCutTo16Bits", "http://h:65616/", true, "h:65616", "h", 80, ""},
    {"PortThatIsNoNumber", "http://h:x/", true, "h:x", "h", 0, ""},
    {"PortWithRest", "http://h:12x/", true, "h:12x", "h", 12, ""},
    {"HugePort", "http://h:99999999999999999999999999999999/", true, "h:99999999999999999999999999999999",
     "h", 65535, ""},
    {"NoScheme", "host:8080/a", false, "", "", 0, ""},
    {"OneSlash", "http:/host/a", false, "", "", 0, ""},
    {"OnlyMark", "://", false, "", "", 0, ""},
    {"NothingBehindMark", "http://", false, "", "", 0, ""},
    {"NoHost", "http:///a", false, "", "", 0, ""},
    {"OnlyPort", "http://:80/a", false, "", "", 0, ""},
    {"LineEndInPath", "http://h/a HTTP/1.0\r\nX: y", false, "", "", 0, ""},
    {"Delete", "http://h/a\x7F", false, "", "", 0, ""},
    {"BlankInHost", "http://a b:1/p", false, "", "", 0, ""},
    {"FragmentInPort", "http://h:1#p", false, "", "", 0, ""},
    {"BlankAndFragmentInPath", "http://h:1/a b#c", true, "h:1", "h", 1, "a b#c"},
    {"ZeroByte", std::string_view("http://h\0/a", 11), false, "", "", 0, ""},
    {"Empty", "", false, "", "", 0, ""},
};
INSTANTIATE_TEST_SUITE_P(All, Url, testing::ValuesIn(kUrls),
                         [](const auto& test) { return test.param.name; });

// Either one made a request line that servers read as a request for something else.
TEST(RequestTarget, HasNeitherBlanksNorAFragment) {
    const struct {
        const char* path;
        const char* target;
    } cases[] = {{"", ""},   {"a/b?c=d", "a/b?c=d"}, {" a  b ", "%20a%20%20b%20"}, {"a b#c d#e", "a%20b"},
                 {"#a", ""}, {"a%20b", "a%20b"}};
    for (const auto& c : cases) {
        std::string memory = "of the path before";
        EXPECT_STREQ(request_target(c.path, memory), c.target) << c.path;
    }
}

TEST(UrlPrefixes, NeverReadBeyondTheirEnd) {
    constexpr std::string_view kWhole = "https://host.example:8443/a/b?c";
    for (std::size_t size = 0; size <= kWhole.size(); ++size) {
        const std::unique_ptr<char[]> block(new char[size]);
        kWhole.copy(block.get(), size);
        UrlParts parts;
        EXPECT_EQ(split_url({block.get(), size}, parts), size > 8) << size;
    }
}

}  // namespace
