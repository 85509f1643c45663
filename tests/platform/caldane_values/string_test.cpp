// SPDX-License-Identifier: MIT
#include <caldane/string.h>

#include <cstring>
#include <sstream>
#include <string>
#include <unordered_set>

#include <gtest/gtest.h>
#include <pelthread/memory.h>

#include "token_streams.h"

namespace {

/// Lengths around the room inside the object, 23 bytes, and far beyond.
constexpr std::size_t kLengths[] = {0, 1, 22, 23, 24, 25, 1000};

std::string text_of(std::size_t length, char first = 'a') {
    std::string text(length, ' ');
    for (std::size_t i = 0; i < length; ++i) text[i] = static_cast<char>(first + static_cast<int>(i % 20));
    return text;
}

}  // namespace

TEST(String, NullIsNotEmpty) {
    const _Caldane_String null;
    const _Caldane_String from_null(nullptr, -1, Caldane::Ownership(0));
    const _Caldane_String empty("");
    EXPECT_TRUE(null.is_null());
    EXPECT_EQ(null.c_str(), nullptr);
    EXPECT_TRUE(null == from_null);
    EXPECT_FALSE(empty.is_null());
    EXPECT_STREQ(empty.c_str(), "");
    EXPECT_FALSE(null == empty);
    EXPECT_FALSE(null == "");
    EXPECT_TRUE(null == static_cast<const char*>(nullptr));
    EXPECT_TRUE(null < empty);
    EXPECT_FALSE(_Caldane_String(std::string_view()).is_null());
    EXPECT_EQ(null.length(), 0u);
    EXPECT_EQ(std::string_view(null), "");
}

TEST(String, CopiesAndMovesOfAnyLengthStandAlone) {
    for (const std::size_t length : kLengths) {
        for (const std::size_t before : kLengths) {
            SCOPED_TRACE(testing::Message() << length << " over " << before);
            const std::string text = text_of(length);
            _Caldane_String original(text);
            _Caldane_String copy(original);
            _Caldane_String assigned(text_of(before, 'A'));
            assigned = original;
            _Caldane_String moved(text_of(before, 'A'));
            moved = std::move(original);
            original = _Caldane_String("changed");
            EXPECT_EQ(copy, text);
            EXPECT_EQ(assigned, text);
            EXPECT_EQ(moved, text);
            EXPECT_EQ(std::strlen(moved.c_str()), length);
            copy = *&copy;
            EXPECT_EQ(copy, text);
        }
    }
}

TEST(String, CanBeGivenAPartOfItself) {
    for (const std::size_t length : {std::size_t{10}, std::size_t{100}}) {
        const std::string text = text_of(length);
        _Caldane_String value(text);
        ASSERT_TRUE(value.from_buffer(value.length() - 3, value.c_str() + 3));
        EXPECT_EQ(value, text.substr(3));
        value += value.view();
        EXPECT_EQ(value, text.substr(3) + text.substr(3));
    }
}

TEST(String, HoldsAnyBytes) {
    const _Caldane_String value("a\0\xE9", 3, Caldane::Ownership(0));
    EXPECT_EQ(value.length(), 3u);
    EXPECT_EQ(value[1], 0);
    EXPECT_EQ(value[2], static_cast<signed char>(0xE9));
    EXPECT_EQ(value[3], 0);
    EXPECT_EQ(value[0xFFFFFFFF], 0);
    EXPECT_FALSE(value == "a");
}

TEST(String, FromBufferReplacesContentAndNilMark) {
    _Caldane_String value("before");
    value.is_nil(true);
    EXPECT_TRUE(value.from_buffer(0, "", Caldane::Ownership(0)));
    EXPECT_FALSE(value.is_nil());
    EXPECT_FALSE(value.is_null());
    EXPECT_EQ(value, "");
    EXPECT_TRUE(value.from_buffer(1, "\0", Caldane::Ownership(0)));
    EXPECT_EQ(value.length(), 1u);
    EXPECT_STREQ(value.c_str(), "");
    EXPECT_TRUE(value.from_buffer(5, nullptr, Caldane::Ownership(0)));
    EXPECT_TRUE(value.is_null());
}

TEST(String, TakesOverMemoryOfTheHeap) {
    auto* const chars = static_cast<char*>(PEL_array_new(4));
    std::memcpy(chars, "abcd", 4);
    _Caldane_String value("a text that is longer than what stands in the object itself");
    ASSERT_TRUE(value.from_buffer(3, chars, Caldane::Ownership(1)));
    EXPECT_EQ(value.c_str(), chars);
    EXPECT_EQ(value, "abc");
}

TEST(String, JoinsTexts) {
    const _Caldane_String null;
    EXPECT_TRUE((null + null).is_null());
    EXPECT_FALSE((null + "").is_null());
    for (const std::size_t a : kLengths) {
        for (const std::size_t b : kLengths) {
            EXPECT_EQ(_Caldane_String(text_of(a)) + _Caldane_String(text_of(b)), text_of(a) + text_of(b));
        }
    }
}

TEST(String, ComparesWithAllTexts) {
    const _Caldane_String value("bank");
    EXPECT_TRUE(value == "bank" && "bank" == value);
    EXPECT_TRUE(value == std::string("bank") && std::string("bank") == value);
    EXPECT_TRUE(value == std::string_view("bank") && std::string_view("bank") == value);
    EXPECT_TRUE(value != "Bank" && value != "ban" && value != "banks");
    EXPECT_TRUE(_Caldane_String("a") < value && value < _Caldane_String("bb"));
    std::unordered_set<_Caldane_String> set{value, "bank", "teller"};
    EXPECT_EQ(set.size(), 2u);
    std::ostringstream out;
    out << value;
    EXPECT_EQ(out.str(), "bank");
}

TEST(String, ShortAndConstantTextsCostNoAllocation) {
    constexpr std::string_view kLong = "a constant text that does not fit into the object";
    PEL_Fault::fail_allocation(0);
    const _Caldane_String constant = _Caldane_String::constant(kLong);
    const _Caldane_String copy(constant);
    const _Caldane_String short_text(text_of(23));
    const _Caldane_String short_copy(short_text);
    EXPECT_EQ(copy.c_str(), kLong.data());
    EXPECT_EQ(short_copy, text_of(23));
    EXPECT_EQ(PEL_Fault::allocations(), 0);
}

TEST(String, IsNullWhenMemoryEnds) {
    const _Caldane_String original(text_of(100));
    const auto failing = [](auto&& action) {
        PEL_Fault::fail_allocation(1);
        action();
        EXPECT_TRUE(PEL_Fault::happened());
        PEL_Fault::fail_allocation(0);
    };
    failing([&] { EXPECT_TRUE(_Caldane_String(original).is_null()); });
    failing([&] { EXPECT_TRUE((original + original).is_null()); });
    failing([&] { EXPECT_TRUE(original._clone().is_null()); });
    _Caldane_String target("short");
    failing([&] { target = original; });
    EXPECT_TRUE(target.is_null());
    failing([&] { EXPECT_FALSE(target.from_buffer(original.length(), original.c_str())); });
    EXPECT_TRUE(target.is_null());
    // The clone's object is there, its text is not.
    PEL_Fault::fail_allocation(2);
    EXPECT_TRUE(original._clone().is_null());
    EXPECT_TRUE(PEL_Fault::happened());
    PEL_Fault::fail_allocation(0);
}
