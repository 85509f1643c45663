// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

class CXmlPullParser;

/// The numbers between brackets in an attribute of a SOAP array: its dimensions, or a position in it
/// (SOAP 1.1 section 5.4.2).
class IndexList {
public:
    /// Looks through the attributes of the current tag for names that hold `key`; the last with brackets in
    /// its value counts, and one without brackets leaves nothing.
    static IndexList parse(CXmlPullParser& parser, std::string_view key);

    /// One for each dimension.
    static IndexList zeros(std::size_t dimensions);

    /// Takes a dimension of which nothing is said for the first index in it.
    void close();

    bool found() const { return !numbers.empty(); }
    std::size_t count() const { return numbers.size(); }
    std::int32_t& operator[](std::size_t dimension) { return numbers[dimension]; }
    std::int32_t operator[](std::size_t dimension) const { return numbers[dimension]; }

    /// A dimension of which nothing is said, as between empty brackets.
    static constexpr std::int32_t kOpen = -1;
    /// A number that is no size and no index: negative, or beyond 31 bits.
    static constexpr std::int32_t kBad = -2;

private:
    std::vector<std::int32_t> numbers;
};
