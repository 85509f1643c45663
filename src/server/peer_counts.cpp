// SPDX-License-Identifier: MIT
#include "server/peer_counts.h"

#include <pelthread/memory.h>

#include <algorithm>

namespace {

std::size_t mixed(std::uint32_t address) {
    return static_cast<std::size_t>(address * std::uint64_t{0x9E3779B97F4A7C15} >> 32);
}

}  // namespace

PeerCounts::~PeerCounts() {
    PEL_array_delete(entries);
}

/// The entry of the address, or the free one where it belongs.
PeerCounts::Entry* PeerCounts::find(std::uint32_t address) const {
    for (std::size_t i = mixed(address);; ++i) {
        Entry& entry = entries[i & (room - 1)];
        if (entry.count == 0 || entry.address == address) return &entry;
    }
}

bool PeerCounts::grow() {
    const std::size_t wanted = std::max<std::size_t>(room * 2, 64);
    auto* const larger = static_cast<Entry*>(PEL_array_new(wanted * sizeof(Entry)));
    if (larger == nullptr) return false;
    std::fill_n(larger, wanted, Entry{0, 0});
    Entry* const old = entries;
    const std::size_t old_room = room;
    entries = larger;
    room = wanted;
    for (std::size_t i = 0; i < old_room; ++i) {
        if (old[i].count != 0) *find(old[i].address) = old[i];
    }
    PEL_array_delete(old);
    return true;
}

bool PeerCounts::add(std::uint32_t address, std::int32_t most) {
    if (2 * (used + 1) > room && !grow()) return false;
    Entry& entry = *find(address);
    if (entry.count >= most) return false;
    if (entry.count == 0) ++used;
    entry.address = address;
    ++entry.count;
    return true;
}

void PeerCounts::remove(std::uint32_t address) {
    Entry* entry = find(address);
    if (--entry->count > 0) return;
    --used;
    // What stands behind it in its row may belong nearer to its place.
    std::size_t hole = static_cast<std::size_t>(entry - entries);
    for (std::size_t i = hole + 1;; ++i) {
        const Entry& next = entries[i & (room - 1)];
        if (next.count == 0) return;
        const std::size_t home = mixed(next.address) & (room - 1);
        const std::size_t from_home = (i - home) & (room - 1);
        const std::size_t from_hole = (i - hole) & (room - 1);
        if (from_home < from_hole) continue;
        entries[hole & (room - 1)] = next;
        entries[i & (room - 1)].count = 0;
        hole = i;
    }
}
