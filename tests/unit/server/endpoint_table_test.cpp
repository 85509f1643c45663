// SPDX-License-Identifier: MIT
#include "server/endpoint_table.h"

#include <gtest/gtest.h>

namespace {

struct KeyCase {
    const char* name;
    const char* key;
    std::uint32_t hash;
};

constexpr KeyCase kKeyCases[] = {
    {"Empty", "", 0},
    {"OnlyTheLastCharacterCounts", "8080/a", 97},
    {"AnotherPortSameEnd", "1/bba", 97},
    {"UpperCaseDiffers", "8080/obJ", 74},
    {"BeyondAsciiIsNegative", "8080/\xC3\xA9", 0xFFFFFFA9},
};

class EndpointHash : public testing::TestWithParam<KeyCase> {};

TEST_P(EndpointHash, IsTheLastCharacterAsASignedByte) {
    EXPECT_EQ(hash_endpoint(_Caldane_String(GetParam().key)), GetParam().hash);
}

INSTANTIATE_TEST_SUITE_P(Keys, EndpointHash, testing::ValuesIn(kKeyCases),
                         [](const auto& param) { return param.param.name; });

TEST(EndpointTable, IgnoresCaseButInTheLastLetter) {
    EndpointTable table(10, &hash_endpoint, &compare_endpoints);
    ASSERT_EQ(table.insert(_Caldane_String("8080/obj"), _Caldane_String("the key")), 1);
    EXPECT_EQ(table.insert(_Caldane_String("8080/OBj"), _Caldane_String("another")), 0);
    _Caldane_String found;
    EXPECT_EQ(table.lookup(_Caldane_String("8080/Obj"), &found), 1);
    EXPECT_EQ(found, "the key");
    found = _Caldane_String("untouched");
    EXPECT_EQ(table.lookup(_Caldane_String("8080/obJ"), &found), 0);
    EXPECT_EQ(table.lookup(_Caldane_String("8081/obj"), &found), 0);
    EXPECT_EQ(table.lookup(_Caldane_String("8080//obj"), &found), 0);
    EXPECT_EQ(found, "untouched");
}

TEST(EndpointTable, FindsNothingForAKeyWithoutText) {
    EndpointTable table(1, &hash_endpoint, &compare_endpoints);
    ASSERT_EQ(table.insert(_Caldane_String("8080/obj"), _Caldane_String("the key")), 1);
    ASSERT_EQ(table.insert(_Caldane_String(), _Caldane_String("lost")), 1);
    EXPECT_EQ(table.lookup(_Caldane_String(), nullptr), 0);
    EXPECT_EQ(table.lookup(_Caldane_String("8080/obj"), nullptr), 1);
}

}  // namespace
