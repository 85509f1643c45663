// SPDX-License-Identifier: MIT
#include "marshal/number_text.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
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

/// `digits` (the first of them not 0) with their point behind so many of them, or with zeros between the
/// point and the first where `before_point` is not above 0; zeros at the end go. Gives the end.
char* put_digits(char* to, std::uint32_t digits, int count, int before_point) {
    for (; digits % 10 == 0; digits /= 10) --count;
    if (before_point <= 0) {
        *to++ = '0';
        *to++ = '.';
        for (; before_point < 0; ++before_point) *to++ = '0';
        return std::to_chars(to, to + count, digits).ptr;
    }
    char* const end = std::to_chars(to, to + count, digits).ptr;
    if (count > before_point) {
        std::memmove(to + before_point + 1, to + before_point,
                     static_cast<std::size_t>(count - before_point));
        to[before_point] = '.';
        return end + 1;
    }
    for (; count < before_point; ++count) to[count] = '0';
    return to + count;
}

constexpr double kPowersOfTen[] = {1, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11};

/// A float's text in eight digits where it needs no exponent; null, with nothing told, for any other.
///
/// A float has 24 bits, and 5 to the power of 11 has 26: the product with a power of ten up to the 11th is
/// exact, so that its rounding is that of the number itself.
char* put_eight_digits(char* to, double value) {
    constexpr double kLeast = 1e7;
    constexpr double kLimit = 1e8;
    const double size = std::fabs(value);
    if (!(size >= 1e-3 && size < kLimit)) return nullptr;
    int shift = 0;
    while (size * kPowersOfTen[shift] < kLeast && shift < 11) ++shift;
    const double scaled = size * kPowersOfTen[shift];
    auto digits = static_cast<std::uint32_t>(scaled);
    const double rest = scaled - static_cast<double>(digits);
    if (rest > 0.5 || (rest == 0.5 && digits % 2 != 0)) ++digits;
    if (digits < static_cast<std::uint32_t>(kLeast) || digits >= static_cast<std::uint32_t>(kLimit))
        return nullptr;
    if (value < 0) *to++ = '-';
    return put_digits(to, digits, 8, 8 - shift);
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
    if (const char* const end = put_eight_digits(buffer, wide)) return static_cast<std::size_t>(end - buffer);
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
    if (*end != '\0' && *end != '<' && !is_blank(*end)) return std::atof(text);
    double value = 0;
    const std::from_chars_result result = std::from_chars(start, end, value);
    if (result.ec == std::errc::result_out_of_range) return std::atof(text);
    return result.ec == std::errc() ? value : 0.0;
}
