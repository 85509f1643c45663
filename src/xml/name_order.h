// SPDX-License-Identifier: MIT
#pragma once

#include <vqsys/text.h>

#include <algorithm>

#include "streams/ref_string.h"
#include "xml/growing_array.h"

/// True if two of `count` names, given by `name_of(index)`, are equal without regard to case. A few are
/// compared each with each; many are sorted first, so that a tag with a hundred thousand attributes is no
/// burden. `memory` becomes false when there is none to sort in.
template <class NameOf>
bool has_equal_names(int count, NameOf name_of, bool& memory) {
    constexpr int kFew = 12;
    if (count <= kFew) {
        for (int i = 1; i < count; ++i) {
            for (int j = 0; j < i; ++j) {
                if (name_of(i).length() == name_of(j).length() && name_of(i) == name_of(j)) return true;
            }
        }
        return false;
    }
    GrowingArray<int> order;
    memory = order.reserve(count, count);
    if (!memory) return false;
    for (int i = 0; i < count; ++i) order[i] = i;
    int* const begin = &order[0];
    std::sort(begin, begin + count,
              [&](int a, int b) { return vqOSstricmp(name_of(a).c_str(), name_of(b).c_str()) < 0; });
    return std::adjacent_find(begin, begin + count, [&](int a, int b) { return name_of(a) == name_of(b); }) !=
           begin + count;
}
