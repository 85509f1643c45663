// SPDX-License-Identifier: MIT
// What an application does with values: copy, compare, print, mark.
#include <caldane/values.h>

#include <sstream>

#include <gtest/gtest.h>
#include <pelthread/memory.h>

#include "sample_types.h"

using namespace Sample;

namespace {

template <class T>
std::string printed(const T& value) {
    std::ostringstream out;
    out << value;
    return out.str();
}

}  // namespace

TEST(Values, CopiesTakeNilMarkAndPropertiesAlong) {
    Receipt original = Sample::receipt();
    original.is_nil(true);
    ASSERT_TRUE(original.setProperty("attributes", "a=\"1\""));
    Receipt copy(original);
    Receipt assigned;
    assigned.setProperty("other", "x");
    assigned = original;
    ASSERT_TRUE(original.setProperty("attributes", "changed"));
    for (const Receipt* each : {&copy, &assigned}) {
        EXPECT_TRUE(each->is_nil());
        EXPECT_STREQ(each->getProperty("attributes"), "a=\"1\"");
        EXPECT_EQ(each->getProperty("other"), nullptr);
    }
    const Receipt moved(std::move(copy));
    EXPECT_STREQ(moved.property("attributes"), "a=\"1\"");
    assigned = Receipt();
    EXPECT_FALSE(assigned.is_nil());
    EXPECT_EQ(assigned.property("attributes"), nullptr);
}

TEST(Values, APropertyGoesWithANullTextAndStaysAwayWhenMemoryEnds) {
    Numbers numbers;
    EXPECT_EQ(numbers.getProperty("attributes"), nullptr);
    EXPECT_TRUE(numbers.setProperty("attributes", ""));
    EXPECT_STREQ(numbers.getProperty("attributes"), "");
    EXPECT_TRUE(numbers.setProperty("attributes", _Caldane_String()));
    EXPECT_EQ(numbers.getProperty("attributes"), nullptr);
    EXPECT_FALSE(numbers.setProperty(_Caldane_String(), "x"));

    const _Caldane_String text(std::string(100, 'x'));
    for (long nth = 1;; ++nth) {
        Numbers target;
        PEL_Fault::fail_allocation(nth);
        const bool set = target.setProperty("attributes", text);
        const bool failed = PEL_Fault::happened();
        PEL_Fault::fail_allocation(0);
        EXPECT_EQ(target.getProperty("attributes") != nullptr, set) << nth;
        if (!failed) {
            EXPECT_TRUE(set);
            EXPECT_GT(nth, 2);
            break;
        }
    }
}

TEST(Values, CompareByTypeContentAndNilMark) {
    const Receipt one = Sample::receipt();
    Receipt other = one;
    EXPECT_TRUE(one == other);
    other.mood = Mood::CALM;
    EXPECT_TRUE(one != other);
    other = one;
    other.is_nil(true);
    EXPECT_FALSE(one == other);
    other = one;
    other.setProperty("attributes", "x");
    EXPECT_TRUE(one == other);
    other.account = _Caldane_String();
    EXPECT_FALSE(one == other);

    EXPECT_FALSE(_Caldane_equal(one, InsufficientFunds()));
    EXPECT_FALSE(_Caldane_equal(std::int32_t{1}, std::uint32_t{1}));
    EXPECT_FALSE(_Caldane_equal(Numbers{1}, Triple{1}));
    EXPECT_FALSE(_Caldane_equal(Numbers{1, 2}, Numbers{1}));
    EXPECT_TRUE(_Caldane_equal(_Caldane_Boolean(5), _Caldane_TRUE));
    EXPECT_FALSE(_Caldane_equal(Nothing(), one));
    EXPECT_FALSE(InsufficientFunds(1, "a") == InsufficientFunds(1, "b"));
}

TEST(Values, PrintForPeople) {
    Receipt receipt = Sample::receipt();
    EXPECT_EQ(printed(receipt), "Receipt{account=\"alice\", amount=100, balance=-5, mood=ANGRY}");
    receipt.account = "a\"b\\c\n\x01";
    EXPECT_EQ(printed(receipt),
              "Receipt{account=\"a\\\"b\\\\c\\n\\x01\", amount=100, balance=-5, mood=ANGRY}");
    receipt.account = _Caldane_String();
    receipt.mood.value(9);
    EXPECT_EQ(printed(receipt), "Receipt{account=null, amount=100, balance=-5, mood=Mood(9)}");
    receipt.is_nil(true);
    EXPECT_EQ(printed(receipt), "nil");
    EXPECT_EQ(printed(Nothing()), "Nothing{}");
    EXPECT_EQ(printed(InsufficientFunds(7, "broke")), "InsufficientFunds{balance=7, reason=\"broke\"}");
    EXPECT_EQ(printed(Table{Numbers{1, 2}, Numbers()}), "[[1, 2], []]");
    EXPECT_EQ(printed(Octets{200}), "[200]");
    Everything all;
    all.g = '\'';
    EXPECT_EQ(printed(all), "Everything{a=0, b=0, c=0, d=0, e=0, f=false, g='\\'', h=0}");
    Reaction reaction;
    reaction.number(5);
    EXPECT_EQ(printed(reaction), "Reaction{number=5}");
    EXPECT_EQ(printed(_Caldane_Any(Mood(Mood::CALM))), "CALM");
    EXPECT_EQ(printed(_Caldane_Any()), "nothing");
}

TEST(Values, ConvertOnlyFromTheirOwnType) {
    Receipt receipt;
    EXPECT_TRUE(receipt._convert_from(Sample::receipt()));
    EXPECT_EQ(receipt, Sample::receipt());
    EXPECT_FALSE(receipt._convert_from(Nothing()));
    EXPECT_FALSE(receipt._convert_from(std::int32_t{1}));
    EXPECT_EQ(receipt, Sample::receipt());
    FewNumbers few;
    EXPECT_FALSE(few._convert_from(Numbers{1, 2, 3, 4}));
}

TEST(Values, ExceptionsAreThrownAndCaughtAsThemselves) {
    InsufficientFunds original(7, "broke");
    const _Caldane_ExceptionBase& base = original;
    EXPECT_EQ(base.repository_id(), "IDL:Sample/InsufficientFunds:1.0");
    EXPECT_EQ(base.namespace_text(), kNamespace);
    EXPECT_TRUE(base.message_text().is_null());
    EXPECT_STREQ(original.what(), "IDL:Sample/InsufficientFunds:1.0");
    original._put_message("not enough");
    EXPECT_EQ(base.message_text(), "not enough");
    try {
        base._raise();
    } catch (const InsufficientFunds& caught) {
        EXPECT_NE(&caught, &original);
        EXPECT_EQ(caught, original);
        EXPECT_STREQ(caught.what(), "not enough");
    }
    const auto* const members = _Caldane_AddressableException::_down_cast_const(original);
    ASSERT_NE(members, nullptr);
    EXPECT_EQ(members->member_count(), 2u);
    EXPECT_EQ(members->member_name(0), "balance");
    EXPECT_EQ(members->member(0)._address(), &original.balance);
    EXPECT_TRUE(members->member(2).is_null());
}

TEST(Values, ArraysFillUpWithInitialContent) {
    EXPECT_EQ((Triple{1}), (Triple{1, 0, 0}));
    EXPECT_TRUE(Triple().element(3).is_null());
    EXPECT_EQ(Triple().length(), 3u);
    EXPECT_EQ(Matrix().element_type().kind(), _Caldane_TypeRef::tk_array);
}
