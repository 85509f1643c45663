// SPDX-License-Identifier: MIT
#include "marshal/number_text.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace {

std::size_t length_of(const char* buffer, std::to_chars_result result) {
    return static_cast<std::size_t>(result.ptr - buffer);
}

bool is_blank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

}  // namespace

std::size_t text_of(std::int32_t value, char* buffer) {
    return length_of(buffer, std::to_chars(buffer, buffer + kNumberRoom, value));
}

std::size_t text_of(std::uint32_t value, char* buffer) {
    return length_of(buffer, std::to_chars(buffer, buffer + kNumberRoom, value));
}

std::size_t text_of(double value, char* buffer) {
    // Whole numbers of up to 15 digits have no point and no exponent at this precision.
    constexpr double kWhole = 1e15;
    if (value > -kWhole && value < kWhole) {
        const auto whole = static_cast<std::int64_t>(value);
        if (static_cast<double>(whole) == value && (whole != 0 || !std::signbit(value)))
            return length_of(buffer, std::to_chars(buffer, buffer + kNumberRoom, whole));
    }
    return length_of(buffer,
                     std::to_chars(buffer, buffer + kNumberRoom, value, std::chars_format::general, 34));
}

std::size_t text_of(float value, char* buffer) {
    const double wide = static_cast<double>(value);
    return length_of(buffer,
                     std::to_chars(buffer, buffer + kNumberRoom, wide, std::chars_format::general, 8));
}

std::int64_t integer_in(const char* text) {
    while (is_blank(*text)) ++text;
    const bool negative = *text == '-';
    if (negative || *text == '+') ++text;
    constexpr std::uint64_t kHighest = std::numeric_limits<std::int64_t>::max();
    const std::uint64_t limit = negative ? kHighest + 1 : kHighest;
    std::uint64_t value = 0;
    // So many digits fit whatever they are.
    constexpr int kSafeDigits = 18;
    for (int i = 0; i < kSafeDigits && is_digit(*text); ++i, ++text)
        value = value * 10 + static_cast<std::uint64_t>(*text - '0');
    for (; is_digit(*text) && value < limit; ++text) {
        const auto digit = static_cast<std::uint64_t>(*text - '0');
        value = value > (limit - digit) / 10 ? limit : value * 10 + digit;
    }
    return static_cast<std::int64_t>(negative ? 0 - value : value);
}

double real_in(const char* text) {
    const char* start = text;
    while (is_blank(*start)) ++start;
    if (*start == '+' && start[1] != '-') ++start;
    const char* end = start;
    while (is_digit(*end) || *end == '.' || *end == '-' || *end == '+' || *end == 'e' || *end == 'E') ++end;
    // Infinities, hexadecimal digits and whatever else atof knows are its own business.
    if (*end != '\0' && !is_blank(*end)) return std::atof(text);
    double value = 0;
    const std::from_chars_result result = std::from_chars(start, end, value);
    if (result.ec == std::errc::result_out_of_range) return std::atof(text);
    return result.ec == std::errc() ? value : 0.0;
}
