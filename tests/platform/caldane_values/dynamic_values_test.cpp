// SPDX-License-Identifier: MIT
// Values of types made at run time look to streams and printers like those of generated classes.
#include <memory>
#include <sstream>

#include <gtest/gtest.h>

#include <caldane/dynamic_call.h>
#include <caldane/dynamic_values.h>

#include "sample_types.h"
#include "token_streams.h"

using namespace Sample;

namespace {

using Ref = _Caldane_TypeRef;

Caldane::DynamicName named(const char* name) {
    return {std::string("IDL:Sample/") + name + ":1.0", name, kNamespace};
}

/// The types of the sample classes, learnt at run time.
struct Types {
    Types() : receipt(library.structure(named("Receipt"))), tree(library.structure(named("Tree"))) {
        mood = library.enumeration(named("Mood"), {"CALM", "NERVOUS", "ANGRY"}).handle();
        receipt.add_member("account", Ref::_of_kind(Ref::tk_string));
        receipt.add_member("amount", Ref::_of_kind(Ref::tk_long));
        receipt.add_member("balance", Ref::_of_kind(Ref::tk_long));
        receipt.add_member("mood", mood);
        tree.add_member("key", Ref::_of_kind(Ref::tk_long));
        tree.add_member("branches", library.sequence(tree.handle()));
        auto& by_mood = library.choice(named("Reaction"), mood);
        by_mood.add_branch("number", Ref::_of_kind(Ref::tk_long), {Mood::CALM});
        by_mood.add_branch("receipt", receipt.handle(), {Mood::NERVOUS});
        reaction = by_mood.handle();
        auto& by_number = library.choice(named("Choice"), Ref::_of_kind(Ref::tk_short));
        by_number.add_branch("text", Ref::_of_kind(Ref::tk_string), {1, 2});
        by_number.add_branch("number", Ref::_of_kind(Ref::tk_double), {});
        choice = by_number.handle();
        auto& all = library.structure(named("Everything"));
        const char* const names[] = {"a", "b", "c", "d", "e", "f", "g", "h"};
        const Ref::_ENUM_TCKind kinds[] = {Ref::tk_short,  Ref::tk_ushort,  Ref::tk_ulong, Ref::tk_float,
                                           Ref::tk_double, Ref::tk_boolean, Ref::tk_char,  Ref::tk_octet};
        for (std::size_t i = 0; i < 8; ++i) all.add_member(names[i], Ref::_of_kind(kinds[i]));
        everything = all.handle();
        auto& funds = library.exception(named("InsufficientFunds"));
        funds.add_member("balance", Ref::_of_kind(Ref::tk_long));
        funds.add_member("reason", Ref::_of_kind(Ref::tk_string));
        insufficient_funds = funds.handle();
    }

    Caldane::TypeLibrary library;
    Caldane::DynamicRecordType& receipt;
    Caldane::DynamicRecordType& tree;
    Ref mood;
    Ref reaction;
    Ref choice;
    Ref everything;
    Ref insufficient_funds;
};

std::string printed(const _Caldane_TxType& value) {
    std::ostringstream text;
    text << value;
    return text.str();
}

Tokens tokens_of(const _Caldane_TxType& value) {
    TokenOutStream out;
    EXPECT_NE(value._marshal(out), _Caldane_FALSE);
    return out.tokens;
}

/// What a generated value sends, a value of the run-time type takes in, and is the same in every respect.
void expect_same(const Ref& type, const _Caldane_TxType& generated) {
    SCOPED_TRACE(printed(generated));
    _Caldane_Any value;
    ASSERT_TRUE(value.make(type));
    _Caldane_TxType& dynamic = *value._value()._tx_type();
    TokenInStream in(tokens_of(generated));
    ASSERT_NE(dynamic._demarshal(in), _Caldane_FALSE);
    EXPECT_EQ(tokens_of(dynamic), tokens_of(generated));
    EXPECT_EQ(printed(dynamic), printed(generated));
    EXPECT_TRUE(dynamic._equals(generated));
    const _Caldane_Any copy(value);
    EXPECT_EQ(printed(*copy.value()._tx_type()), printed(generated));
    EXPECT_TRUE(copy == value);
}

TEST(DynamicValues, AreWhatGeneratedOnesAre) {
    Types types;
    const auto list = [&](const Ref& element, _Caldane_ULong bound = 0) {
        return types.library.sequence(element, bound);
    };
    expect_same(types.receipt.handle(), Sample::receipt());
    Everything all;
    all.a = -1;
    all.b = 65535;
    all.c = 4294967295U;
    all.d = 0.5F;
    all.e = -2.25;
    all.f = _Caldane_TRUE;
    all.g = '<';
    all.h = 255;
    expect_same(types.everything, all);
    Tree root;
    root.key = 1;
    root.branches.resize(2);
    root.branches[1].branches.resize(1);
    expect_same(types.tree.handle(), root);
    Reaction reaction;
    expect_same(types.reaction, reaction);
    reaction.receipt(Sample::receipt());
    expect_same(types.reaction, reaction);
    reaction.discriminator(Mood::ANGRY);
    expect_same(types.reaction, reaction);
    Choice choice;
    choice.text("a\"b");
    expect_same(types.choice, choice);
    choice.discriminator(7);
    expect_same(types.choice, choice);
    expect_same(list(Ref::_of_kind(Ref::tk_long)), Numbers{1, -2, 3});
    expect_same(list(Ref::_of_kind(Ref::tk_octet)), Octets{0, 255});
    expect_same(list(list(Ref::_of_kind(Ref::tk_long))), Table{{1}, {}, {2, 3}});
    expect_same(list(types.receipt.handle()), Receipts(2, Sample::receipt()));
    const Ref doubles = types.library.array(Ref::_of_kind(Ref::tk_double), 2);
    Matrix matrix;
    matrix[1][0] = 2.5;
    expect_same(types.library.array(doubles, 2), matrix);
    expect_same(types.insufficient_funds, InsufficientFunds(5, "no credit"));
}

TEST(DynamicValues, KeepTheirBounds) {
    Types types;
    for (const Ref& element : {Ref::_of_kind(Ref::tk_short), types.receipt.handle()}) {
        _Caldane_Any value;
        ASSERT_TRUE(value.make(types.library.sequence(element, 3)));
        auto* const view = _Caldane_AddressableSequence::_down_cast(value._value());
        EXPECT_NE(view->length(3), _Caldane_FALSE);
        EXPECT_EQ(view->length(4), _Caldane_FALSE);
        EXPECT_EQ(view->length(), 3U);
        TokenInStream four({"ulong 4", "short 1", "short 2", "short 3", "short 4"});
        EXPECT_EQ(view->_demarshal(four), _Caldane_FALSE);
        TokenInStream huge({"ulong 4294967295"});
        _Caldane_Any unbounded;
        ASSERT_TRUE(unbounded.make(types.library.sequence(element)));
        EXPECT_EQ(unbounded._value()._tx_type()->_demarshal(huge), _Caldane_FALSE);
    }
}

TEST(DynamicValues, TellTheirTypesToReadersOfAny) {
    // Entered types live as long as the process.
    static Caldane::TypeLibrary library;
    library.enumeration({"IDL:Learnt:1.0", "Learnt", "urn:learnt"}, {"ONE", "TWO"});
    library.enter();
    const auto* const found = _Caldane_IDL_BaseType::search("Learnt", "urn:learnt");
    ASSERT_NE(found, nullptr);
    const auto* const learnt = _Caldane_IDL_EnumType::narrow(*found);
    ASSERT_NE(learnt, nullptr);
    EXPECT_EQ(learnt->member_count(), 2U);
    EXPECT_EQ(learnt->member_name(1), "TWO");
    EXPECT_TRUE(learnt->member_name(2).empty());
}

TEST(DynamicValues, AreWholeOrNotAtAllWhenMemoryEnds) {
    Types types;
    auto& deep = types.library.structure(named("Deep"));
    deep.add_member("receipt", types.receipt.handle());
    deep.add_member("list", types.library.array(types.receipt.handle(), 2));
    deep.add_member("choice", types.choice);
    deep.add_member("any", Ref::_of_kind(Ref::tk_any));
    deep.add_member("object", Ref::_of_kind(Ref::tk_objref));
    _Caldane_Any whole;
    ASSERT_TRUE(whole.make(deep.handle()));
    for (int n = 1;; ++n) {
        PEL_Fault::fail_allocation(n);
        _Caldane_Any value;
        const bool made = value.make(deep.handle());
        _Caldane_Any copy(whole);
        const bool happened = PEL_Fault::happened();
        PEL_Fault::fail_allocation(0);
        EXPECT_EQ(made, !value.value().is_null()) << n;
        if (made) {
            EXPECT_TRUE(value == whole) << n;
        }
        if (!copy.value().is_null()) {
            EXPECT_TRUE(copy == whole) << n;
        }
        if (!happened) break;
    }
}

}  // namespace
