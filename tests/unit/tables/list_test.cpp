// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <rusk/list.h>

#include <string>
#include <type_traits>

namespace {

using List = RUSK_List<std::string>;

/// The items joined, read once forward and once backward, which must agree.
std::string text(const RUSK_AbstractList<std::string>& list) {
    std::string forward;
    std::string backward;
    std::string item;
    std::uint32_t count = 0;
    RUSK_ListIter<std::string> walk(list);
    for (; walk.current(&item); walk.next(), ++count) forward += item;
    for (walk.previous(); walk.current(&item); walk.previous()) backward.insert(0, item);
    EXPECT_EQ(forward, backward);
    EXPECT_EQ(list.count(), count);
    return forward;
}

void fill(List& list, const std::string& letters) {
    for (char letter : letters) ASSERT_TRUE(list.push_back(std::string(1, letter)));
}

TEST(List, ItemsGoInAndComeOutAtBothEnds) {
    List list;
    std::string out = "untouched";
    EXPECT_FALSE(list.pop_front(&out));
    EXPECT_FALSE(list.pop_back(&out));
    EXPECT_FALSE(list.front(&out));
    EXPECT_FALSE(list.back(&out));
    EXPECT_EQ(out, "untouched");
    list.push_back("b");
    list.push_front("a");
    list.push_back("c");
    list.push_front("z");
    EXPECT_EQ(text(list), "zabc");
    EXPECT_TRUE(list.front(&out));
    EXPECT_EQ(out, "z");
    EXPECT_TRUE(list.back(&out));
    EXPECT_EQ(out, "c");
    EXPECT_TRUE(list.front(nullptr));
    EXPECT_TRUE(list.pop_front(&out));
    EXPECT_EQ(out, "z");
    EXPECT_TRUE(list.pop_back(&out));
    EXPECT_EQ(out, "c");
    EXPECT_EQ(text(list), "ab");
    EXPECT_TRUE(list.pop_back(nullptr));
    EXPECT_TRUE(list.pop_front(nullptr));
    EXPECT_EQ(text(list), "");
    list.push_front("x");  // both ends were put right when the last one left
    EXPECT_EQ(text(list), "x");
}

TEST(List, RemoveTakesTheFirstEqualItemWhereverItStands) {
    struct Row {
        const char* before;
        const char* item;
        const char* after;
    };
    constexpr Row kRows[] = {{"abc", "a", "bc"},   {"abc", "b", "ac"},  {"abc", "c", "ab"}, {"a", "a", ""},
                             {"abcb", "b", "acb"}, {"abc", "x", "abc"}, {"", "a", ""}};
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << row.before << " without " << row.item);
        List list;
        fill(list, row.before);
        const bool there = std::string(row.before) != row.after;
        EXPECT_EQ(list.contains(row.item), there);
        EXPECT_EQ(list.remove(row.item), there);
        EXPECT_EQ(text(list), row.after);
    }
}

TEST(List, AnotherListJoinsInItsOwnOrderAndSoDoesTheSame) {
    List list;
    List other;
    fill(list, "cd");
    fill(other, "ab");
    EXPECT_TRUE(list.push_front_all(other));
    EXPECT_EQ(text(list), "abcd");
    EXPECT_TRUE(other.push_back_all(list));
    EXPECT_EQ(text(other), "ababcd");
    EXPECT_TRUE(list.push_back_all(list));
    EXPECT_EQ(text(list), "abcdabcd");
    List twice;
    fill(twice, "xy");
    EXPECT_TRUE(twice.push_front_all(twice));
    EXPECT_EQ(text(twice), "xyxy");
    EXPECT_TRUE(twice.push_back_all(List()));
    EXPECT_EQ(text(twice), "xyxy");
}

TEST(List, TheIteratorGoesRoundPastEitherEnd) {
    List list;
    fill(list, "abc");
    RUSK_ListIter<std::string> walk(list);
    std::string item;
    EXPECT_TRUE(walk.next());
    EXPECT_TRUE(walk.next());
    EXPECT_TRUE(walk.current(&item));
    EXPECT_EQ(item, "c");
    EXPECT_TRUE(walk.next());  // there was a current node: the step past the end
    item = "untouched";
    std::string* place = nullptr;
    EXPECT_FALSE(walk.current(&item));
    EXPECT_FALSE(walk.current_node(&place));
    EXPECT_EQ(item, "untouched");
    EXPECT_EQ(place, nullptr);
    EXPECT_FALSE(walk.next());
    EXPECT_TRUE(walk.current(&item));
    EXPECT_EQ(item, "a");
    EXPECT_TRUE(walk.previous());
    EXPECT_FALSE(walk.current(&item));
    EXPECT_FALSE(walk.previous());
    EXPECT_TRUE(walk.current_node(&place));
    EXPECT_EQ(*place, "c");
    *place = "C";  // the address leads into the node
    EXPECT_EQ(text(list), "abC");
    const List empty;
    RUSK_ListIter<std::string> nowhere(empty);
    EXPECT_FALSE(nowhere.next());
    EXPECT_FALSE(nowhere.previous());
    EXPECT_FALSE(nowhere.current(&item));
}

TEST(List, IsWholeWhateverAllocationFails) {
    for (long nth = 1;; ++nth) {
        List other;
        List list;
        fill(other, "cd");
        PEL_Fault::fail_allocation(nth);
        const bool pushed = list.push_back("b");
        const bool fronted = list.push_front("a");
        const bool joined = list.push_back_all(other);
        const bool happened = PEL_Fault::happened();
        PEL_Fault::fail_allocation(0);
        std::string expected = fronted ? "a" : "";
        if (pushed) expected += "b";
        if (joined) expected += "cd";
        if (!joined && nth == 4) expected += "c";
        EXPECT_EQ(text(list), expected);
        EXPECT_EQ(happened, nth <= 4);
        if (!happened) break;
    }
}

TEST(List, LayersCanBeHeldByTheirAbstractBase) {
    static_assert(std::is_abstract_v<RUSK_AbstractList<int>>);
    static_assert(std::has_virtual_destructor_v<RUSK_AbstractList<int>>);
    RUSK_AbstractList<std::string>* list = new List;
    EXPECT_TRUE(list->push_back("a long enough item that it needs memory of its own"));
    EXPECT_EQ(list->count(), 1U);
    delete list;  // the sanitizer tells if nodes stay behind
}

}  // namespace
