// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <pelthread/memory.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>

namespace {

struct Counted {
    PEL_HEAP_OBJECT
    Counted() { ++constructed; }
    virtual ~Counted() = default;
    static inline int constructed = 0;
    double payload = 0;
};

struct Wider : Counted {
    std::uint64_t more[4] = {};
};

TEST(Memory, BothPairsGiveAlignedBlocksAndTakeEachOthers) {
    for (std::size_t size : {0U, 1U, 7U, 24U, 4096U}) {
        void* object = PEL_new(size);
        void* array = PEL_array_new(size);
        ASSERT_NE(object, nullptr);
        ASSERT_NE(array, nullptr);
        EXPECT_NE(object, array);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(object) % alignof(std::max_align_t), 0U);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(array) % alignof(std::max_align_t), 0U);
        std::memset(object, 1, size);
        std::memset(array, 2, size);
        PEL_array_delete(object);
        PEL_delete(array);
    }
    PEL_delete(nullptr);
    PEL_array_delete(nullptr);
}

TEST(Memory, ArraysKeepWhatTheyHeldWhenTheirSizeChanges) {
    constexpr std::size_t kSizes[] = {1, 100, 5000, 300'000, 9'000'000, 40'000'000, 70, 0};
    std::string expected;
    void* array = nullptr;
    for (const std::size_t size : kSizes) {
        PEL_Fault::fail_allocation(1);
        ASSERT_EQ(PEL_array_resize(array, size), nullptr);
        PEL_Fault::fail_allocation(0);
        array = PEL_array_resize(array, size);
        ASSERT_NE(array, nullptr);
        auto* const bytes = static_cast<char*>(array);
        const std::size_t kept = std::min(size, expected.size());
        EXPECT_TRUE(std::equal(bytes, bytes + kept, expected.begin())) << size;
        expected.resize(size);
        for (std::size_t i = kept; i < size; ++i)
            bytes[i] = expected[i] = static_cast<char>(i * 7 + i / 4096);
    }
    PEL_array_delete(array);
}

TEST(Memory, TheChosenAllocationFailsOnceAndIsReported) {
    for (long nth = 1; nth <= 4; ++nth) {
        PEL_Fault::fail_allocation(nth);
        for (long i = 1; i <= 5; ++i) {
            void* block = PEL_new(8);
            EXPECT_EQ(block == nullptr, i == nth) << "allocation " << i << " of those before " << nth;
            EXPECT_EQ(PEL_Fault::happened(), i >= nth);
            PEL_delete(block);
        }
        EXPECT_EQ(PEL_Fault::allocations(), 5);
    }
    PEL_Fault::fail_allocation(0);
    EXPECT_FALSE(PEL_Fault::happened());
}

TEST(Memory, AnArmedFailureIsForThisThreadOnly) {
    PEL_Fault::fail_allocation(1);
    bool other_got_memory = false;
    std::thread other([&] {
        void* block = PEL_new(8);
        other_got_memory = block != nullptr;
        PEL_delete(block);
    });
    other.join();
    EXPECT_TRUE(other_got_memory);
    EXPECT_FALSE(PEL_Fault::happened());
    PEL_Fault::fail_allocation(0);
}

TEST(Memory, AnObjectForWhichMemoryEndedIsNullAndNeverConstructed) {
    Counted::constructed = 0;
    PEL_Fault::fail_allocation(1);
    const Counted* missing = new Wider;
    PEL_Fault::fail_allocation(0);
    EXPECT_EQ(missing, nullptr);
    EXPECT_EQ(Counted::constructed, 0);
    Counted* there = new Wider;
    EXPECT_EQ(PEL_Fault::allocations(), 1);  // from the library's own store, not the language's
    EXPECT_EQ(Counted::constructed, 1);
    delete there;
}

}  // namespace
