// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "streams/ref_string.h"

/// The text with the letters A to Z made small: the key under which names that match regardless of case are
/// kept.
inline std::string lower_case(const CRefString& text) {
    std::string lower(text.c_str());
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
    }
    return lower;
}
