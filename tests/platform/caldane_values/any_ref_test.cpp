// SPDX-License-Identifier: MIT
#include <caldane/any_ref.h>

#include <type_traits>

#include <caldane/primitive.h>
#include <gtest/gtest.h>

#include "sample_types.h"
#include "token_streams.h"

namespace {

template <class T, int KindNumber>
struct Primitive {
    using Type = T;
    static constexpr auto kKind = static_cast<_Caldane_TypeRef::_ENUM_TCKind>(KindNumber);
};

template <class>
class AnyRefOfPrimitive : public testing::Test {};

using Primitives =
    testing::Types<Primitive<short, 2>, Primitive<_Caldane_Long, 3>, Primitive<unsigned short, 4>,
                   Primitive<_Caldane_ULong, 5>, Primitive<float, 6>, Primitive<double, 7>,
                   Primitive<_Caldane_Boolean, 8>, Primitive<char, 9>, Primitive<unsigned char, 10>>;
TYPED_TEST_SUITE(AnyRefOfPrimitive, Primitives);

}  // namespace

TYPED_TEST(AnyRefOfPrimitive, TravelsThroughItsOwnOperation) {
    using T = typename TypeParam::Type;
    constexpr const char* kNames[] = {"",       "",        "short ",   "long ", "ushort ", "ulong ",
                                      "float ", "double ", "boolean ", "char ", "octet "};
    T value = static_cast<T>(1);
    TokenOutStream out;
    ASSERT_TRUE(_Caldane_AnyConstRef(value)._marshal(out));
    ASSERT_EQ(out.tokens.size(), 1u);
    EXPECT_EQ(out.tokens[0], kNames[TypeParam::kKind] + std::string("1"));

    T back = static_cast<T>(0);
    TokenInStream in(out.tokens);
    ASSERT_TRUE(_Caldane_AnyRef(back)._demarshal(in));
    EXPECT_EQ(back, value);
    EXPECT_FALSE(_Caldane_AnyRef(back)._demarshal(in));
}

TYPED_TEST(AnyRefOfPrimitive, IsFoundUnderItsKindOnly) {
    using T = typename TypeParam::Type;
    T value = static_cast<T>(1);
    const _Caldane_AnyRef reference(value);
    EXPECT_EQ(reference._get_typeref().kind(), TypeParam::kKind);
    EXPECT_EQ(reference._get_typeref().type().kind(), TypeParam::kKind);
    EXPECT_EQ(_Caldane_TxType::_down_cast_const(reference), nullptr);
    for (int i = 0; i <= 22; ++i) {
        const auto kind = static_cast<_Caldane_TypeRef::_ENUM_TCKind>(i);
        void* const expected = kind == TypeParam::kKind ? &value : nullptr;
        EXPECT_EQ(reference._safe_cast(_Caldane_Primitive1::_prim_rep(kind)), expected) << i;
        EXPECT_EQ(_Caldane_Primitive1::_down_cast_prim(reference, kind), expected) << i;
    }
}

TEST(AnyRef, ToNothingIsOfKindNullAndTravelsAsNothing) {
    const _Caldane_AnyRef nothing;
    TokenOutStream out;
    TokenInStream in({});
    EXPECT_EQ(nothing._get_typeref().kind(), _Caldane_TypeRef::tk_null);
    EXPECT_TRUE(nothing._marshal(out));
    EXPECT_TRUE(nothing._demarshal(in));
    EXPECT_TRUE(out.tokens.empty());
    EXPECT_EQ(nothing._safe_cast(_Caldane_Primitive1::_prim_rep(_Caldane_TypeRef::tk_null)), nullptr);
    EXPECT_EQ(_Caldane_AddressableStruct::_down_cast_const(nothing), nullptr);
}

TEST(AnyRef, IsAHandleAndKnowsItsValueWithoutConstness) {
    static_assert(std::is_trivially_copyable_v<_Caldane_AnyRef> && sizeof(_Caldane_AnyRef) <= 16);
    Sample::Receipt receipt;
    const _Caldane_AnyConstRef constant(receipt);
    EXPECT_EQ(constant.cast_away_constness()._tx_type(), &receipt);
    EXPECT_EQ(constant._get_typeref().kind(), _Caldane_TypeRef::tk_struct);
}
