// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstdint>

#include "xml/growing_array.h"

/// True if two of `count` things are `same(i, j)`; these have the same `key_of(i)`. A few are compared each
/// with each; many are sorted by their keys first, so that a tag with a hundred thousand attributes is no
/// burden. `memory` becomes false when there is none to sort in.
template <class KeyOf, class Same>
bool has_two_alike(int count, KeyOf key_of, Same same, bool& memory) {
    constexpr int kFew = 12;
    if (count <= kFew) {
        for (int i = 1; i < count; ++i) {
            for (int j = 0; j < i; ++j) {
                if (same(i, j)) return true;
            }
        }
        return false;
    }
    struct Place {
        std::uint64_t key = 0;
        int index = 0;
    };
    GrowingArray<Place> order;
    memory = order.reserve(count, count);
    if (!memory) return false;
    for (int i = 0; i < count; ++i) order[i] = {key_of(i), i};
    Place* const begin = &order[0];
    std::sort(begin, begin + count, [](const Place& a, const Place& b) { return a.key < b.key; });
    for (int i = 1; i < count; ++i) {
        for (int j = i - 1; j >= 0 && order[j].key == order[i].key; --j) {
            if (same(order[i].index, order[j].index)) return true;
        }
    }
    return false;
}
