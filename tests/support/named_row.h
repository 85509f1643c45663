// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace soap_test {

/// The first part of a row of a table of tests: what the row is called, in the names of the tests and where
/// they are printed.
struct NamedRow {
    const char* name;
};

inline std::ostream& operator<<(std::ostream& out, const NamedRow& row) {
    return out << row.name;
}

/// Gives each test of a table its row's name.
inline constexpr auto row_name = [](const auto& info) { return std::string(info.param.name); };

}  // namespace soap_test
