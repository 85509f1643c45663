// SPDX-License-Identifier: MIT
#include "http/http_text.h"

#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <limits>

namespace {

TEST(HttpText, KnowsTheReasonsOfItsTable) {
    struct Row {
        std::int32_t status;
        const char* text;
    };
    const Row rows[] = {{100, "100 Continue"},
                        {200, "200 OK"},
                        {204, "204 No Content"},
                        {302, "302 Found"},
                        {401, "401 Not Authorized"},
                        {413, "413 Request Entity Too Large"},
                        {414, "414 Request-URI Too Long"},
                        {505, "505 HTTP Version Not Supported"}};
    for (const Row& row : rows) EXPECT_STREQ(HttpStatusText(row.status), row.text);
    for (const std::int32_t unknown :
         {500, 0, -1, 402, 410, 415, 999, std::numeric_limits<std::int32_t>::max()}) {
        EXPECT_STREQ(HttpStatusText(unknown), "500 Internal Server Error") << unknown;
    }
}

TEST(HttpText, TellsTimeAsHttpDates) {
    struct Row {
        std::int32_t time;
        const char* text;
    };
    const Row rows[] = {{0, "Thu, 01 Jan 1970 00:00:00 GMT"},
                        {784111777, "Sun, 06 Nov 1994 08:49:37 GMT"},
                        {951782399, "Mon, 28 Feb 2000 23:59:59 GMT"},
                        {951782400, "Tue, 29 Feb 2000 00:00:00 GMT"},
                        {-2, "Wed, 31 Dec 1969 23:59:58 GMT"},
                        {std::numeric_limits<std::int32_t>::max(), "Tue, 19 Jan 2038 03:14:07 GMT"}};
    for (const Row& row : rows) {
        char buffer[kHttpDateRoom];
        std::memset(buffer, 'x', sizeof buffer);
        HttpDate(row.time, buffer);
        EXPECT_STREQ(buffer, row.text);
    }
}

TEST(HttpText, TellsTheCurrentTimeAnewEachSecond) {
    const std::time_t before = std::time(nullptr);
    char now[kHttpDateRoom];
    HttpDate(-1, now);
    const std::time_t after = std::time(nullptr);
    bool found = false;
    for (std::time_t time = before; time <= after; ++time) {
        char expected[kHttpDateRoom];
        HttpDate(static_cast<std::int32_t>(time), expected);
        found = found || std::strcmp(expected, now) == 0;
    }
    EXPECT_TRUE(found) << now;

    char later[kHttpDateRoom];
    do {
        HttpDate(-1, later);
    } while (std::strcmp(now, later) == 0 && std::time(nullptr) < after + 10);
    EXPECT_STRNE(now, later);
}

TEST(HttpText, ReadsHexadecimalNumbers) {
    struct Row {
        const char* text;
        std::int32_t value;
    };
    const Row rows[] = {{"", 0},     {"1A", 26},       {"1a", 26},       {"G", 0},
                        {"1G", 16},  {"G1", 1},        {"0", 0},         {"7fffffff", 2147483647},
                        {"ff", 255}, {"ffffffff", -1}, {"100000001", 1}, {"-1", 1}};
    for (const Row& row : rows) EXPECT_EQ(HexToInt(row.text), row.value) << row.text;
    EXPECT_EQ(HexDigitValue('F'), 15);
    EXPECT_EQ(HexDigitValue('g'), 0);
    EXPECT_EQ(HexDigitValue('@'), 0);
    EXPECT_EQ(HexDigitValue('/'), 0);
    EXPECT_EQ(HexDigitValue(':'), 0);
}

}  // namespace
