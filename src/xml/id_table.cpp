// SPDX-License-Identifier: MIT
#include "xml/id_table.h"

#include <pelthread/memory.h>

#include <new>
#include <string_view>

IdTable::~IdTable() {
    constexpr std::int64_t kMany = 1 << 18;
    PEL_array_delete(places);
    // Tables of many sizes made the heap grow that would keep what they leave.
    if (capacity > kMany) PEL_trim();
}

std::uint64_t IdTable::key_of(const CRefString& id) {
    // Equality of texts ends at a zero byte. Another length makes another number of the same text.
    const std::string_view text(id.c_str());
    const std::uint64_t high = folded_hash(text.data(), text.size());
    return high << 32 | folded_hash(text.data(), text.size() + 1);
}

std::int64_t IdTable::first_place(std::uint64_t key) const {
    return static_cast<std::int64_t>((key >> 32) * static_cast<std::uint64_t>(capacity) >> 32);
}

IdTable::Place& IdTable::place_of(std::uint64_t key) {
    std::int64_t at = first_place(key);
    while (places[at].key != 0 && places[at].key != key) at = at + 1 < capacity ? at + 1 : 0;
    return places[at];
}

/// Grows by a quarter, since the old places and the new stand side by side for a while.
bool IdTable::grow() {
    constexpr std::int64_t kFirst = 32;
    const std::int64_t larger = capacity == 0 ? kFirst : capacity + capacity / 4;
    if (larger > INT32_MAX) return false;
    auto* const grown = static_cast<Place*>(PEL_array_new(static_cast<std::size_t>(larger) * sizeof(Place)));
    if (grown == nullptr) return false;
    for (std::int64_t i = 0; i < larger; ++i) new (grown + i) Place();
    Place* const old = places;
    const std::int64_t old_capacity = capacity;
    places = grown;
    capacity = larger;
    for (std::int64_t i = 0; i < old_capacity; ++i) {
        if (old[i].key != 0) place_of(old[i].key) = old[i];
    }
    PEL_array_delete(old);
    return true;
}

IdTable::Place* IdTable::find(const CRefString& id) {
    if (capacity == 0) return nullptr;
    Place& place = place_of(key_of(id));
    return place.key != 0 ? &place : nullptr;
}

IdTable::Place* IdTable::find_or_add(const CRefString& id, int at, bool& added) {
    // An eighth stays free, so that runs of used places stay short.
    if (count + 1 > capacity - capacity / 8 && !grow()) return nullptr;
    const std::uint64_t key = key_of(id);
    Place& place = place_of(key);
    added = place.key == 0;
    if (added) {
        place = {key, at, Place::kUnknown};
        ++count;
    }
    return &place;
}
