// SPDX-License-Identifier: MIT
#include <caldane/bounded_string.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

using Four = _Caldane_BoundedString<4>;

TEST(BoundedString, TakesTextsUpToItsBoundAndNoLongerOnes) {
    for (const std::string text : {"", "abc", "abcd"}) {
        Four made;
        EXPECT_TRUE(made.from_buffer(static_cast<_Caldane_ULong>(text.size()), text.data()));
        EXPECT_EQ(made, text);
        EXPECT_EQ(made, Four(text));
        EXPECT_TRUE(made._convert_from(_Caldane_String(text)));
        EXPECT_EQ(made.view(), text);
    }
    EXPECT_THROW(Four("abcde"), std::length_error);
    EXPECT_THROW(Four(_Caldane_String(std::string(100, 'x'))), std::length_error);
}

TEST(BoundedString, HoldsNothingOfATextThatAStreamBringsTooLong) {
    Four made("ab");
    EXPECT_FALSE(made.from_buffer(5, "abcde"));
    EXPECT_TRUE(made.is_null());
    made = "ab";
    EXPECT_FALSE(made._convert_from(_Caldane_String("abcde")));
    EXPECT_EQ(made, "ab");
}

TEST(BoundedString, IsAStringToStreams) {
    const Four text("a\"b");
    EXPECT_EQ(text._get_typeref().kind(), _Caldane_TypeRef::tk_string);
    const auto* const view = _Caldane_AddressableString::_down_cast_const(_Caldane_AnyConstRef(text));
    ASSERT_NE(view, nullptr);
    EXPECT_STREQ(view->c_str(), "a\"b");
}

}  // namespace
