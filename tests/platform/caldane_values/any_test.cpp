// SPDX-License-Identifier: MIT
#include <caldane/any_value.h>

#include <gtest/gtest.h>
#include <pelthread/memory.h>

#include "sample_types.h"
#include "token_streams.h"

using namespace Sample;

namespace {

bool read(_Caldane_Any& any, const Tokens& tokens) {
    TokenInStream in(tokens);
    return any._demarshal(in) != _Caldane_FALSE && in.at_end();
}

}  // namespace

TEST(Any, HoldsACopyOfWhatItWasGiven) {
    Receipt receipt = Sample::receipt();
    _Caldane_Any any(receipt);
    receipt.amount = 1;
    ASSERT_NE(any.get<Receipt>(), nullptr);
    EXPECT_EQ(any.get<Receipt>()->amount, 100);
    EXPECT_EQ(any.get<Mood>(), nullptr);
    EXPECT_EQ(any.get<std::int32_t>(), nullptr);
    any = 2.5;
    EXPECT_EQ(any.get<Receipt>(), nullptr);
    EXPECT_EQ(*any.get<double>(), 2.5);
    EXPECT_EQ(any.value()._get_typeref().kind(), _Caldane_TypeRef::tk_double);
    any = "text";
    EXPECT_EQ(*any.get<_Caldane_String>(), "text");
    const _Caldane_Any copy(any);
    any.clear();
    EXPECT_TRUE(any.value().is_null());
    EXPECT_EQ(*copy.get<_Caldane_String>(), "text");
}

TEST(Any, CanBeGivenWhatItHolds) {
    _Caldane_Any any(Sample::receipt());
    EXPECT_TRUE(any.assign(any.value()));
    EXPECT_EQ(*any.get<Receipt>(), Sample::receipt());
    EXPECT_TRUE(any.assign(any.get<Receipt>()->amount));
    EXPECT_EQ(*any.get<std::int32_t>(), 100);
    EXPECT_TRUE(any.assign(any.value()));
    EXPECT_EQ(*any.get<std::int32_t>(), 100);
    _Caldane_Any& same = any;
    any = same;
    EXPECT_EQ(*any.get<std::int32_t>(), 100);
}

TEST(Any, GivesItsContentToValuesOfOtherClasses) {
    using Longs = _Caldane_Sequence<std::int32_t>;
    using Pair = _Caldane_Array<std::int32_t, 2>;
    const _Caldane_Any rows(_Caldane_Array<Pair, 2>(Pair(1, 2), Pair(3, 4)));
    _Caldane_Sequence<Longs> copied;
    ASSERT_TRUE(rows.to(copied));
    EXPECT_EQ(copied, (_Caldane_Sequence<Longs>{{1, 2}, {3, 4}}));
    _Caldane_Sequence<_Caldane_Any> anys;
    ASSERT_TRUE(rows.to(anys));
    EXPECT_TRUE(anys[1].to(copied[0]));
    EXPECT_EQ(copied[0], (Longs{3, 4}));
    EXPECT_TRUE(_Caldane_Any(anys).to(copied));
    std::int32_t number = 0;
    EXPECT_TRUE(_Caldane_Any(std::int32_t{-7}).to(number));
    EXPECT_EQ(number, -7);
    Receipt receipt;
    EXPECT_TRUE(_Caldane_Any(Sample::receipt()).to(receipt));
    EXPECT_EQ(receipt, Sample::receipt());

    _Caldane_Array<Pair, 3> longer;
    _Caldane_Sequence<Longs, 1> bounded;
    _Caldane_Sequence<_Caldane_String> texts;
    EXPECT_FALSE(rows.to(longer));
    EXPECT_FALSE(rows.to(bounded));
    EXPECT_FALSE(rows.to(texts));
    EXPECT_FALSE(rows.to(number));
    EXPECT_FALSE(rows.to(receipt));
    EXPECT_FALSE(_Caldane_Any(std::uint32_t{7}).to(number));
    EXPECT_FALSE(_Caldane_Any().to(texts));
}

TEST(Any, LearnsItsTypeAndReadsTheValue) {
    _Caldane_Any any;
    EXPECT_TRUE(read(any, {"type 3", "long 7"}));
    EXPECT_EQ(*any.get<std::int32_t>(), 7);
    EXPECT_TRUE(read(any, {"type 9", "char 65"}));
    EXPECT_EQ(*any.get<char>(), 'A');
    EXPECT_TRUE(read(any, {"type 18", "string x"}));
    EXPECT_EQ(*any.get<_Caldane_String>(), "x");
    EXPECT_TRUE(read(any, {"named Receipt", "string alice", "long 100", "long -5", "ulong 2"}));
    EXPECT_EQ(*any.get<Receipt>(), Sample::receipt());
    EXPECT_TRUE(read(any, {"named Mood", "ulong 1"}));
    EXPECT_TRUE(*any.get<Mood>() == Mood::NERVOUS);
    EXPECT_TRUE(read(any, {"type 11", "type 10", "octet 200"})) << "an any in an any";
}

TEST(Any, FailsOnTypesThatHaveNoValues) {
    _Caldane_Any any(std::int32_t{1});
    for (const char* token : {"type 0", "type 14", "type 15", "type 19", "type 22", "type -1", "type 99",
                              "named Unknown", "named InsufficientFund", "long 1"}) {
        EXPECT_FALSE(read(any, {token, "long 1"})) << token;
    }
}

TEST(Any, ReadsArraysOfWhateverTheMessageSays) {
    _Caldane_Any any;
    ASSERT_TRUE(read(any, {"type 20", "ulong 2", "type 3", "long 5", "long 6"}));
    const auto* const array = _Caldane_AddressableArray::_down_cast_const(any.value());
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(array->length(), 2u);
    EXPECT_EQ(array->element_type().kind(), _Caldane_TypeRef::tk_long);
    EXPECT_TRUE(_Caldane_equal(array->element(1), std::int32_t{6}));
    EXPECT_TRUE(array->element(2).is_null());

    const _Caldane_Any copy(any);
    any.clear();
    EXPECT_TRUE(_Caldane_equal(_Caldane_AddressableArray::_down_cast_const(copy.value())->element(0),
                               std::int32_t{5}));

    ASSERT_TRUE(
        read(any, {"type 20", "ulong 1", "named Receipt", "string alice", "long 100", "long -5", "ulong 2"}));
    TokenOutStream out;
    EXPECT_TRUE(any._marshal(out));
    EXPECT_EQ(out.tokens, (Tokens{"kind 20", "string alice", "long 100", "long -5", "ulong 2"}));
    EXPECT_FALSE(read(any, {"type 20", "ulong 1", "type 0"}));
    EXPECT_FALSE(read(any, {"type 20", "ulong 2", "type 3", "long 5"}));
}

TEST(Any, AnArraysLengthAloneTakesNoMemory) {
    _Caldane_Any any;
    EXPECT_FALSE(read(any, {"type 20", "ulong 4294967295", "type 3", "long 5"}));
    const auto* const array = _Caldane_AddressableArray::_down_cast_const(any.value());
    ASSERT_NE(array, nullptr);
    EXPECT_TRUE(_Caldane_equal(array->element(0), std::int32_t{5}));
}

TEST(Any, ArraysNestSixteenDeepAndNoDeeper) {
    for (const int levels : {15, 16, 17, 1000}) {
        Tokens tokens;
        for (int i = 0; i < levels; ++i) tokens.insert(tokens.end(), {"type 20", "ulong 1"});
        tokens.insert(tokens.end(), {"type 3", "long 7"});
        _Caldane_Any any;
        EXPECT_EQ(read(any, tokens), levels <= 16) << levels;
    }
}

TEST(Any, HoldsNothingWhenMemoryEnds) {
    const Receipt receipt = Sample::receipt();
    PEL_Fault::fail_allocation(1);
    const _Caldane_Any any(receipt);
    EXPECT_TRUE(PEL_Fault::happened());
    EXPECT_TRUE(any.value().is_null());
    for (long nth = 1; nth <= 2; ++nth) {
        _Caldane_Any target;
        PEL_Fault::fail_allocation(nth);
        EXPECT_FALSE(read(target, {"type 20", "ulong 1", "type 3", "long 5"}));
        EXPECT_TRUE(PEL_Fault::happened());
    }
    PEL_Fault::fail_allocation(0);
}
