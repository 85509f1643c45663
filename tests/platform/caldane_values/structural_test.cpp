// SPDX-License-Identifier: MIT
// Values write and read themselves part by part, in the order of their IDL shape.
#include <memory>

#include <gtest/gtest.h>

#include "sample_types.h"
#include "token_streams.h"

using namespace Sample;

namespace {

Tree tree() {
    Tree root;
    root.key = 1;
    root.branches.resize(2);
    root.branches[0].key = 2;
    root.branches[0].branches.resize(1);
    root.branches[0].branches[0].key = 3;
    return root;
}

Everything everything() {
    Everything all;
    all.a = -1;
    all.b = 65535;
    all.c = 4294967295u;
    all.d = 0.5F;
    all.e = -2.25;
    all.f = _Caldane_TRUE;
    all.g = '<';
    all.h = 255;
    return all;
}

Reaction reaction() {
    Reaction made;
    made.receipt(Sample::receipt());
    return made;
}

template <class T>
std::unique_ptr<_Caldane_TxType> made(const T& value) {
    return std::make_unique<T>(value);
}

struct Walk {
    const char* name;
    std::unique_ptr<_Caldane_TxType> value;
    std::unique_ptr<_Caldane_TxType> empty;
    Tokens tokens;
};

std::vector<Walk> walks() {
    const Tokens receipt_tokens = {"string alice", "long 100", "long -5", "ulong 2"};
    std::vector<Walk> all;
    const auto add = [&all]<class T>(const char* name, const T& value, Tokens tokens) {
        all.push_back({name, made(value), made(T()), std::move(tokens)});
    };
    add("Struct", Sample::receipt(), receipt_tokens);
    add("StructOfPrimitives", everything(),
        {"short -1", "ushort 65535", "ulong 4294967295", "float 0.5", "double -2.25", "boolean 1", "char 60",
         "octet 255"});
    add("Nothing", Nothing(), {});
    add("Exception", InsufficientFunds(7, "broke"), {"long 7", "string broke"});
    add("Sequence", Numbers{5, 6}, {"ulong 2", "long 5", "long 6"});
    add("EmptySequence", Numbers(), {"ulong 0"});
    add("OctetSequence", Octets{0, 255}, {"ulong 2", "octet 0", "octet 255"});
    add("SequenceOfSequences", Table{Numbers{1}, Numbers()}, {"ulong 2", "ulong 1", "long 1", "ulong 0"});
    add("SequenceOfEnums", _Caldane_Sequence<Mood>{Mood(Mood::ANGRY)}, {"ulong 1", "ulong 2"});
    add("Array", Triple{1, 2}, {"short 1", "short 2", "short 0"});
    add("ArrayOfArrays", Matrix{_Caldane_Array<double, 2>{1.0}, _Caldane_Array<double, 2>{2.0, 3.0}},
        {"double 1", "double 0", "double 2", "double 3"});
    add("RecursiveStruct", tree(),
        {"long 1", "ulong 2", "long 2", "ulong 1", "long 3", "ulong 0", "long 0", "ulong 0"});
    Tokens reaction_tokens = {"ulong 1"};
    reaction_tokens.insert(reaction_tokens.end(), receipt_tokens.begin(), receipt_tokens.end());
    add("UnionByEnum", reaction(), reaction_tokens);
    Choice choice;
    choice.text("x");
    add("UnionByNumber", choice, {"short 1", "string x"});
    return all;
}

}  // namespace

TEST(Structural, WritesPartsInOrderAndReadsThemBack) {
    for (const Walk& walk : walks()) {
        SCOPED_TRACE(walk.name);
        TokenOutStream out;
        EXPECT_TRUE(walk.value->_marshal(out));
        EXPECT_EQ(out.tokens, walk.tokens);
        TokenInStream in(walk.tokens);
        EXPECT_TRUE(walk.empty->_demarshal(in));
        EXPECT_TRUE(in.at_end());
        EXPECT_TRUE(walk.empty->_equals(*walk.value));
    }
}

TEST(Structural, EveryPartThatFailsFailsTheWhole) {
    for (const Walk& walk : walks()) {
        for (std::size_t n = 0; n < walk.tokens.size(); ++n) {
            SCOPED_TRACE(testing::Message() << walk.name << " after " << n);
            TokenOutStream out(n);
            EXPECT_FALSE(walk.value->_marshal(out));
            EXPECT_EQ(out.tokens.size(), n);
            TokenInStream in(
                Tokens(walk.tokens.begin(), walk.tokens.begin() + static_cast<std::ptrdiff_t>(n)));
            EXPECT_FALSE(walk.empty->_demarshal(in));
        }
    }
}

TEST(Structural, ReadingReplacesWhatASequenceHeld) {
    Numbers numbers{9, 9, 9};
    TokenInStream in({"ulong 1", "long 4"});
    ASSERT_TRUE(numbers._demarshal(in));
    EXPECT_EQ(numbers, Numbers{4});
}

TEST(Structural, ALengthAloneTakesNoMemory) {
    Octets octets;
    TokenInStream in({"ulong 4294967295", "octet 1", "octet 2"});
    EXPECT_FALSE(octets._demarshal(in));
    EXPECT_LE(octets.capacity(), 1024u);
}

TEST(Structural, ABoundIsKeptBeforeAnyElementIsRead) {
    for (const auto& [count, fits] : {std::pair{"2", true}, {"3", true}, {"4", false}}) {
        FewNumbers numbers;
        TokenInStream in({std::string("ulong ") + count, "long 1", "long 2", "long 3", "long 4"});
        EXPECT_EQ(numbers._demarshal(in) == _Caldane_TRUE, fits) << count;
        EXPECT_EQ(numbers.empty(), !fits);
    }
}
