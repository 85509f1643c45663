// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "support/soap_text.h"

namespace soap_test {

/// Reads `value` from elements, and gives the result of the reader.
inline bool read(_Caldane_TxType& value, const std::string& elements, bool encoded,
                 const std::string& around = "") {
    SoapReader reader;
    EXPECT_TRUE(reader.open_values(elements, encoded, around)) << elements;
    return reader.in.demarshal(value) != _Caldane_FALSE;
}

/// The same; a success must leave the parser right behind the element.
template <class Value>
bool read_whole(Value& value, const std::string& elements, bool encoded, const std::string& around = "") {
    SoapReader reader;
    EXPECT_TRUE(reader.open_values(elements + "<after>77</after>", encoded, around)) << elements;
    if (reader.in.demarshal(static_cast<_Caldane_TxType&>(value)) == _Caldane_FALSE) return false;
    _Caldane_Long after = 0;
    EXPECT_NE(reader.in.demarshal(after), _Caldane_FALSE) << elements;
    EXPECT_EQ(after, 77) << elements;
    EXPECT_EQ(reader.in.close_result(), 1);
    EXPECT_EQ(reader.in.close_envelope(), 1);
    return true;
}

template <class Value>
Value must_read(const std::string& elements, bool encoded) {
    Value value;
    EXPECT_TRUE(read_whole(value, elements, encoded)) << elements;
    return value;
}

}  // namespace soap_test
