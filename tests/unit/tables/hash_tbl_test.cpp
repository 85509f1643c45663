// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <rusk/hash_tbl.h>
#include <vqsys/text.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

std::uint32_t last_character(std::string key) {
    return key.empty() ? 0 : static_cast<std::uint32_t>(static_cast<signed char>(key.back()));
}
int without_case(std::string a, std::string b) {
    return vqOSstricmp(a.c_str(), b.c_str());
}

std::uint32_t last_character_in_place(const std::string& key) {
    return last_character(key);
}
int without_case_in_place(const std::string& a, const std::string& b) {
    return without_case(a, b);
}

using Base = RUSK_HashTbl<std::string, std::string>;

/// A table that shows into which bucket a key goes.
class Table : public RUSK_LockedHashTbl<std::string, std::string> {
public:
    using RUSK_LockedHashTbl::RUSK_LockedHashTbl;
    std::uint32_t bucket(const std::string& key) {
        return static_cast<std::uint32_t>(&bucket_of(key) - buckets);
    }
    bool has_list(std::uint32_t number) const { return buckets[number] != nullptr; }
};

class HashTbl : public testing::TestWithParam<bool> {
protected:
    Table table = GetParam() ? Table(10, last_character_in_place, without_case_in_place)
                             : Table(10, last_character, without_case);

    std::string value(const std::string& key) {
        std::string out = "none";
        const int found = table.lookup(key, &out);
        EXPECT_EQ(found, out == "none" ? 0 : 1);
        EXPECT_EQ(table.lookup(key, nullptr), found);
        return out;
    }
    std::string keys() {
        const std::unique_ptr<Base::Bucket> all(table.entries());
        std::string joined;
        Base::Pair* pair = nullptr;
        for (RUSK_ListIter<Base::Pair*> walk(*all); walk.current(&pair); walk.next())
            joined += pair->key + " ";
        return joined;
    }
};

INSTANTIATE_TEST_SUITE_P(Keys, HashTbl, testing::Bool(),
                         [](const auto& form) { return form.param ? "ByReference" : "ByValue"; });

TEST_P(HashTbl, InsertKeepsAndSetReplacesWhatIsThere) {
    EXPECT_EQ(value("8080/obj"), "none");
    EXPECT_EQ(table.insert("8080/obj", "first"), 1);
    EXPECT_EQ(table.insert("8080/obj", "second"), 0);
    EXPECT_EQ(value("8080/obj"), "first");
    EXPECT_EQ(table.set("8080/OBj", "third"), 1);
    EXPECT_EQ(value("8080/obj"), "third");
    EXPECT_EQ(table.count(), 1U);
    EXPECT_EQ(table.set("8080/new", "fresh"), 1);
    EXPECT_EQ(value("8080/new"), "fresh");
    EXPECT_EQ(table.count(), 2U);
}

TEST_P(HashTbl, CaseMattersInTheLastCharacterAlone) {
    table.insert("8080/obj", "value");
    EXPECT_EQ(value("8080/Obj"), "value");
    EXPECT_EQ(value("8080/obJ"), "none") << "74 and 106 fall into different buckets";
    EXPECT_EQ(table.insert("8080/OBj", "other"), 0);
    EXPECT_EQ(table.insert("8080/obJ", "other"), 1);
    EXPECT_EQ(value("8080/obj"), "value");
}

TEST_P(HashTbl, BucketIsTheHashModuloTheirNumber) {
    EXPECT_EQ(table.bucket("8080/a"), 7U);
    EXPECT_EQ(table.bucket(""), 0U);
    EXPECT_EQ(table.bucket("\x7F"), 7U);
    EXPECT_EQ(table.bucket("\x80"), (0x100000000ULL - 128) % 10);
    EXPECT_EQ(table.bucket("\xFF"), 4294967295U % 10);
}

TEST_P(HashTbl, RemoveGivesTheValueAndLeavesTheOthersOfTheChain) {
    for (const char* key : {"1a", "2a", "3a", "1b"}) table.insert(key, std::string("of ") + key);
    std::string out = "untouched";
    EXPECT_EQ(table.remove("4a", &out), 0);
    EXPECT_EQ(table.remove("1z", &out), 0);
    EXPECT_EQ(out, "untouched");
    EXPECT_EQ(table.remove("2A", &out), 0);
    EXPECT_EQ(table.remove("2a", &out), 1);
    EXPECT_EQ(out, "of 2a");
    EXPECT_EQ(table.remove("2a", &out), 0);
    EXPECT_EQ(table.remove("3a", nullptr), 1);
    EXPECT_EQ(value("1a"), "of 1a");
    EXPECT_EQ(table.count(), 2U);
    EXPECT_EQ(table.remove("1a", nullptr), 1);
    EXPECT_TRUE(table.has_list(7)) << "an empty bucket keeps its list";
    EXPECT_EQ(table.insert("5a", "again"), 1);
    EXPECT_EQ(keys(), "5a 1b ");
}

TEST_P(HashTbl, EntriesComeBucketByBucketWithTheNewestFirst) {
    EXPECT_EQ(keys(), "");
    for (const char* key : {"1b", "1a", "1d", "2a", "3a"}) table.insert(key, "");
    EXPECT_EQ(keys(), "1d 3a 2a 1a 1b ");  // buckets 0, 7, 8
}

TEST_P(HashTbl, ClearEmptiesAndTheTableGoesOn) {
    for (const char* key : {"1a", "2a", "1b"}) table.insert(key, "old");
    table.clear();
    EXPECT_EQ(table.count(), 0U);
    EXPECT_FALSE(table.has_list(7));
    EXPECT_EQ(value("1a"), "none");
    EXPECT_EQ(table.insert("1a", "new"), 1);
    EXPECT_EQ(value("1a"), "new");
}

TEST_P(HashTbl, StaysAsItWasWhenMemoryEnds) {
    table.insert("1b", "there");
    for (long nth = 1;; ++nth) {
        PEL_Fault::fail_allocation(nth);
        const int inserted = table.insert("1a", "value");
        const bool happened = PEL_Fault::happened();
        PEL_Fault::fail_allocation(0);
        EXPECT_EQ(inserted, happened ? 0 : 1);
        EXPECT_EQ(table.count(), happened ? 1U : 2U);
        EXPECT_EQ(value("1a"), happened ? "none" : "value");
        if (!happened) break;
    }
    for (long nth = 1; nth <= 3; ++nth) {
        PEL_Fault::fail_allocation(nth);
        EXPECT_EQ(table.entries(), nullptr);
        EXPECT_TRUE(PEL_Fault::happened());
    }
    PEL_Fault::fail_allocation(0);
    EXPECT_EQ(keys(), "1a 1b ");
}

TEST_P(HashTbl, ThreadsDoNotLoseEachOthersEntries) {
    constexpr int kEach = 200;
    std::vector<std::thread> threads;
    for (int id = 0; id < 4; ++id) {
        threads.emplace_back([this, id] {
            for (int i = 0; i < kEach; ++i) {
                const std::string key = std::to_string(id) + "/" + std::to_string(i);
                EXPECT_EQ(table.insert(key, key), 1);
                EXPECT_EQ(table.lookup(key, nullptr), 1);
                if (i % 2 == 1) {
                    EXPECT_EQ(table.remove(key, nullptr), 1);
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(table.count(), 4U * kEach / 2);
}

TEST(HashTblDeathTest, StopsWithoutMemoryForTheBuckets) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        {
            PEL_Fault::fail_allocation(1);
            const Table table(10, last_character, without_case);
        },
        "include/rusk/rusk_hash_tbl_imp.*Table != NULL");
}

}  // namespace
