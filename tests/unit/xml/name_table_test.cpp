// SPDX-License-Identifier: MIT
#include "xml/name_table.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

namespace {

void make_names_without_memory() {
    std::vector<std::unique_ptr<NameTable>> tables;  // all alive: what a text gives back is used again
    for (long nth = 1;; ++nth) {
        NameTable& table = *tables.emplace_back(std::make_unique<NameTable>());
        PEL_Fault::fail_allocation(nth);
        const bool made = table.name("p:local", 7) != nullptr;
        const bool happened = PEL_Fault::happened();
        PEL_Fault::fail_allocation(0);
        EXPECT_EQ(made, !happened) << nth;
        const XmlName* const again = table.name("p:local", 7);
        ASSERT_NE(again, nullptr);
        EXPECT_STREQ(again->raw.c_str(), "p:local") << nth;
        EXPECT_STREQ(again->prefix.c_str(), "p") << nth;
        EXPECT_STREQ(again->local.c_str(), "local") << nth;
        if (!happened) break;
    }
    EXPECT_GT(tables.size(), 3U) << "the name and both its parts are made";
}

// A name whose parts found no memory once stayed behind as one without them, for all later documents of the
// thread. A thread of its own has no spare blocks of tests before, which would spare it the allocations.
TEST(NameTable, KeepsNoHalfNamesWhenMemoryEnds) {
    std::thread(&make_names_without_memory).join();
}

}  // namespace
