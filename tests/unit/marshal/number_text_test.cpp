// SPDX-License-Identifier: MIT
#include "marshal/number_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <sstream>
#include <string>

namespace {

template <class Number>
std::string text(Number value) {
    char buffer[kNumberRoom];
    const std::size_t length = text_of(value, buffer);
    return std::string(buffer, length);
}

std::string printed(const char* format, double value) {
    char buffer[128];
    std::snprintf(buffer, sizeof buffer, format, value);
    return buffer;
}

TEST(NumberText, integers) {
    EXPECT_EQ(text(std::int32_t{-1}), "-1");
    EXPECT_EQ(text(std::numeric_limits<std::int32_t>::min()), "-2147483648");
    EXPECT_EQ(text(std::numeric_limits<std::uint32_t>::max()), "4294967295");
    EXPECT_EQ(text(static_cast<short>(-32768)), "-32768");
    EXPECT_EQ(text(static_cast<unsigned short>(65535)), "65535");
    EXPECT_EQ(text(static_cast<unsigned char>(255)), "255");
}

TEST(NumberText, reals_are_those_of_printf) {
    std::istringstream table(
        "0 -0 0.5 0.1 -0.333333333333333314 1e15 -1e15 1000000000000000.5 999999999999999 1e16 1e33 1e34 "
        "1e35 "
        "123456789012345678 1e-4 1e-5 1e-300 1.7976931348623157e308 -1.7976931348623157e308 "
        "2.2250738585072014e-308 4.9406564584124654e-324 inf -inf nan -nan");
    for (std::string number; table >> number;) {
        const double value = std::strtod(number.c_str(), nullptr);
        EXPECT_EQ(text(value), printed("%.34g", value));
        const auto narrow = static_cast<float>(value);
        EXPECT_EQ(text(narrow), printed("%.8g", static_cast<double>(narrow)));
    }
}

TEST(NumberText, random_bits_are_those_of_printf_and_come_back) {
    std::mt19937_64 random(20261122);
    for (int i = 0; i < 200000; ++i) {
        const std::uint64_t bits = random();
        double wide;
        float narrow;
        std::memcpy(&wide, &bits, sizeof wide);
        std::memcpy(&narrow, &bits, sizeof narrow);
        ASSERT_EQ(text(wide), printed("%.34g", wide));
        ASSERT_EQ(text(narrow), printed("%.8g", static_cast<double>(narrow)));
        if (!std::isnan(wide)) {
            ASSERT_EQ(real_in(text(wide).c_str()), wide);
        }
    }
}

TEST(NumberText, the_longest_texts_fit) {
    EXPECT_LE(text(-std::numeric_limits<double>::denorm_min()).size(), kNumberRoom);
    EXPECT_LE(text(-0.00012345678901234567).size(), kNumberRoom);
}

TEST(NumberText, reads_integers_as_c_does) {
    for (const char* text : {"42", " \t\n42abc", "abc", "", "+7", "-7", "+-7", "- 7", "007", "4294967295",
                             "-2147483648", "9223372036854775807", "9223372036854775808",
                             "-9223372036854775808", "-9223372036854775809", "99999999999999999999999999"})
        EXPECT_EQ(integer_in(text), std::strtoll(text, nullptr, 10)) << text;
}

TEST(NumberText, reads_reals_as_c_does) {
    std::istringstream table(
        "1.5| 1.5|+1.5|-1.5|+-1.5|-+1.5|++1|1.5x|1.5 x|1e5|1e|1e+|1E-3x|.5|5.|.|-|+|| "
        "|abc|0x1p4|0x|inf|-INF|Infinity|nan|"
        "1e999|-1e999|1e-999|4.9406564584124654e-324|1..2|1e5e5|1-2|1+2|--1|1_0|1,5|INFx|"
        "1e9999999999999999999|"
        "0.1000000000000000055511151231257827021181583404541");
    for (std::string text; std::getline(table, text, '|');) {
        const char* const each = text.c_str();
        const double expected = std::atof(each);
        const double got = real_in(each);
        if (std::isnan(expected)) {
            EXPECT_TRUE(std::isnan(got)) << each;
        } else {
            EXPECT_EQ(got, expected) << each;
            EXPECT_EQ(std::signbit(got), std::signbit(expected)) << each;
        }
    }
}

}  // namespace
