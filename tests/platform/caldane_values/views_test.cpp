// SPDX-License-Identifier: MIT
#include <caldane/addressable.h>

#include <memory>
#include <new>
#include <string>

#include <gtest/gtest.h>
#include <pelthread/memory.h>

#include "sample_types.h"
#include "token_streams.h"

using namespace Sample;

namespace {

/// The views that a value has, by letter.
std::string views_of(_Caldane_AnyConstRef value) {
    std::string views;
    if (_Caldane_StructBase::_down_cast_const(value)) views += 'b';
    if (_Caldane_AddressableStruct::_down_cast_const(value)) views += 's';
    if (_Caldane_AddressableUnion::_down_cast_const(value)) views += 'u';
    if (_Caldane_AddressableEnum::_down_cast_const(value)) views += 'e';
    if (_Caldane_AddressableSequence::_down_cast_const(value)) views += 'q';
    if (_Caldane_AddressableArray::_down_cast_const(value)) views += 'a';
    if (_Caldane_AddressableString::_down_cast_const(value)) views += 't';
    if (_Caldane_AddressableException::_down_cast_const(value)) views += 'x';
    if (_Caldane_AddressableAny::_down_cast_const(value)) views += 'y';
    if (_Caldane_TypeRef::_down_cast_const(value)) views += 'c';
    return views;
}

struct KindCase {
    const char* name;
    std::unique_ptr<_Caldane_TxType> value;
    _Caldane_TypeRef::_ENUM_TCKind kind;
    const char* views;
};

}  // namespace

TEST(Views, EachValueHasItsKindAndTheViewsOfItAlone) {
    const KindCase cases[] = {
        {"string", std::make_unique<_Caldane_String>("x"), _Caldane_TypeRef::tk_string, "t"},
        {"enum", std::make_unique<Mood>(), _Caldane_TypeRef::tk_enum, "e"},
        {"struct", std::make_unique<Receipt>(), _Caldane_TypeRef::tk_struct, "bs"},
        {"union", std::make_unique<Reaction>(), _Caldane_TypeRef::tk_union, "u"},
        {"sequence", std::make_unique<Numbers>(), _Caldane_TypeRef::tk_sequence, "q"},
        {"array", std::make_unique<Triple>(), _Caldane_TypeRef::tk_array, "a"},
        {"exception", std::make_unique<InsufficientFunds>(), _Caldane_TypeRef::tk_except, "x"},
        {"any", std::make_unique<_Caldane_Any>(std::int32_t{1}), _Caldane_TypeRef::tk_any, "y"},
        {"type", std::make_unique<_Caldane_TypeRef>(), _Caldane_TypeRef::tk_TypeCode, "c"},
    };
    for (const KindCase& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.value->_get_typeref().kind(), c.kind);
        EXPECT_EQ(c.value->_get_typeref().type().kind(), c.kind);
        EXPECT_EQ(views_of(*c.value), c.views);
        const _Caldane_AnyRef clone = c.value->_clone();
        ASSERT_NE(clone._tx_type(), nullptr);
        EXPECT_TRUE(clone._tx_type()->_equals(*c.value));
        EXPECT_EQ(views_of(clone), c.views);
        clone._tx_type()->_release();
        PEL_Fault::fail_allocation(1);
        EXPECT_TRUE(c.value->_clone().is_null());
        PEL_Fault::fail_allocation(0);
    }
}

TEST(Views, StructTellsNamesAndMembersAndReadsOne) {
    Receipt receipt = Sample::receipt();
    auto* const view = _Caldane_AddressableStruct::_down_cast(receipt);
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(view->repository_id(), "IDL:Sample/Receipt:1.0");
    EXPECT_EQ(view->type_name(), "Receipt");
    EXPECT_EQ(view->type_namespace(), kNamespace);
    ASSERT_EQ(view->member_count(), 4u);
    EXPECT_EQ(view->member_name(3), "mood");
    EXPECT_EQ(view->member(1)._address(), &receipt.amount);

    TokenInStream in({"long 77"});
    EXPECT_TRUE(view->demarshal_member(2, in));
    EXPECT_EQ(receipt.balance, 77);

    for (const _Caldane_ULong beyond : {4u, 0xFFFFFFFFu}) {
        EXPECT_FALSE(view->member_name(beyond).is_null());
        EXPECT_EQ(view->member_name(beyond), "");
        EXPECT_TRUE(view->member(beyond).is_null());
        EXPECT_FALSE(view->demarshal_member(beyond, in));
    }
}

TEST(Views, TellNamesWithoutAllocation) {
    const Receipt receipt = Sample::receipt();
    const InsufficientFunds exception;
    PEL_Fault::fail_allocation(0);
    const auto* const view = _Caldane_AddressableStruct::_down_cast_const(receipt);
    const auto* const members = _Caldane_AddressableException::_down_cast_const(exception);
    EXPECT_EQ(view->type_namespace().c_str(), kNamespace);
    EXPECT_GT(
        view->repository_id().length() + view->member_name(0).length() + members->member_name(1).length(),
        0u);
    EXPECT_NE(_Caldane_IDL_BaseType::search("Receipt", _Caldane_String::constant(kNamespace)), nullptr);
    EXPECT_EQ(PEL_Fault::allocations(), 0);
}

TEST(Views, EnumKeepsNumbersThatHaveNoName) {
    Mood mood = Mood::NERVOUS;
    auto* const view = _Caldane_AddressableEnum::_down_cast(mood);
    EXPECT_EQ(view->value(), 1u);
    EXPECT_EQ(view->member_name(1), "NERVOUS");
    EXPECT_EQ(view->type_name(), "Mood");
    view->value(77);
    EXPECT_EQ(view->value(), 77u);
    EXPECT_EQ(view->member_name(77), "");
    EXPECT_FALSE(view->member_name(77).is_null());
    view->value(2);
    EXPECT_TRUE(mood == Mood::ANGRY);
}

TEST(Views, SequenceKeepsItsBound) {
    FewNumbers numbers;
    auto* const view = _Caldane_AddressableSequence::_down_cast(numbers);
    EXPECT_EQ(view->bound(), 3u);
    EXPECT_TRUE(view->length(3));
    EXPECT_FALSE(view->length(4));
    EXPECT_EQ(view->length(), 3u);
    EXPECT_EQ(view->element_type().kind(), _Caldane_TypeRef::tk_long);
    TokenInStream in({"long 5", "long 6"});
    EXPECT_TRUE(view->_demarshal_content(2, in));
    EXPECT_FALSE(view->_demarshal_content(3, in));
    EXPECT_EQ(numbers, (FewNumbers{0, 0, 5}));
    EXPECT_TRUE(view->element(3).is_null());
    EXPECT_EQ(view->_block(), &numbers[0]);
}

namespace {

/// An element for which memory ends after a number of new ones.
class Greedy final : public _Caldane_Struct<Greedy> {
public:
    Greedy() {
        if (left-- == 0) throw std::bad_alloc();
    }
    static const _Caldane_StructInfo& _info() { return Nothing::_info(); }

    static inline int left = 0;
};

}  // namespace

TEST(Views, SequenceRefusesALengthThatNoMemoryHolds) {
    _Caldane_Sequence<Greedy> elements;
    Greedy::left = 2;
    ASSERT_TRUE(elements.length(2));
    for (int n = 0; n < 3; ++n) {
        Greedy::left = n;
        EXPECT_FALSE(elements.length(5));
        EXPECT_EQ(elements.length(), 2u);
    }
    Greedy::left = 1;
    TokenInStream in({"ulong 2"});
    EXPECT_FALSE(elements._demarshal(in));
    Greedy::left = 3;
    EXPECT_TRUE(elements.length(3 + elements.length()));
}

TEST(Views, OnlyNumbersLieInBlocks) {
    EXPECT_NE(Octets(1)._block(), nullptr);
    EXPECT_NE(Triple()._block(), nullptr);
    EXPECT_EQ((_Caldane_Sequence<_Caldane_Boolean>(1)._block()), nullptr);
    EXPECT_EQ(Receipts(1)._block(), nullptr);
    EXPECT_EQ(Matrix()._block(), nullptr);
}

TEST(Views, UnionFollowsItsDiscriminator) {
    Reaction reaction;
    auto* const view = _Caldane_AddressableUnion::_down_cast(reaction);
    EXPECT_EQ(view->active_index(), 0u);
    EXPECT_EQ(view->discriminator_type().kind(), _Caldane_TypeRef::tk_enum);
    reaction.number(5);
    view->discriminator(Mood::CALM);
    EXPECT_EQ(*reaction.number(), 5) << "the same member keeps its content";
    view->discriminator(Mood::NERVOUS);
    EXPECT_EQ(view->active_index(), 1u);
    EXPECT_EQ(view->member_name(1), "receipt");
    EXPECT_EQ(reaction.number(), nullptr);
    ASSERT_NE(reaction.receipt(), nullptr);
    TokenInStream in({"long 1"});
    EXPECT_FALSE(view->demarshal_member(0, in)) << "not the selected one";
    view->discriminator(Mood::ANGRY);
    EXPECT_EQ(view->active_index(), 2u);
    EXPECT_TRUE(view->active_member().is_null());
    EXPECT_EQ(view->member_name(2), "");
    EXPECT_FALSE(view->demarshal_member(2, in));
    reaction.receipt(Sample::receipt());
    EXPECT_EQ(view->discriminator(), Mood::NERVOUS);
}

TEST(Views, UnionWithDefaultTakesTheFirstFreeLabel) {
    // In whatever order the cases stand.
    static constexpr std::string_view kMembers[] = {"case", "default"};
    static constexpr _Caldane_Case kCases[] = {{1, 0}, {0, 0}, {3, 0}};
    constexpr _Caldane_UnionInfo kInfo({"IDL:x:1.0", "x", ""}, kMembers, kCases, 1);
    EXPECT_EQ(kInfo.label_of(1), 2);
    EXPECT_EQ(kInfo.select(2), 1U);
    Choice choice;
    EXPECT_EQ(choice.active_index(), 1u);
    choice.text("x");
    EXPECT_EQ(choice.discriminator(), 1);
    choice.discriminator(2);
    EXPECT_EQ(*choice.text(), "x");
    choice.number(1.5);
    EXPECT_EQ(choice.discriminator(), 0);
    choice.discriminator(-1);
    EXPECT_EQ(*choice.number(), 1.5);
}
