// SPDX-License-Identifier: MIT
#include "server/deadline_wheel.h"

#include <algorithm>

void DeadlineWheel::insert(DeadlineEntry& entry, std::int64_t deadline) {
    entry.deadline = deadline;
    // What is due already comes with the next tick. What is due beyond the wheel's reach is put back then.
    const std::int64_t most = looked + kSlots - 1;
    const std::int64_t tick = deadline == kNever ? most : std::clamp(deadline / kTick + 1, looked + 1, most);
    entry.slot = slot_of(tick);
    DeadlineEntry*& first = slots[static_cast<std::size_t>(entry.slot)];
    entry.before = nullptr;
    entry.next = first;
    if (first != nullptr) first->before = &entry;
    first = &entry;
    ++count;
}

void DeadlineWheel::remove(DeadlineEntry& entry) {
    if (entry.slot < 0) return;
    if (cursor == &entry) cursor = entry.next;
    (entry.before != nullptr ? entry.before->next : slots[static_cast<std::size_t>(entry.slot)]) = entry.next;
    if (entry.next != nullptr) entry.next->before = entry.before;
    entry.next = entry.before = nullptr;
    entry.slot = -1;
    --count;
}

DeadlineEntry* DeadlineWheel::take_due(std::int64_t now) {
    const std::int64_t last = now / kTick;
    // Each slot is looked at once, however long nobody has looked.
    looked = std::max(looked, last - kSlots);
    while (looked < last) {
        if (!looking) cursor = slots[static_cast<std::size_t>(slot_of(looked + 1))];
        looking = true;
        while (cursor != nullptr) {
            DeadlineEntry* const entry = cursor;
            cursor = entry->next;
            remove(*entry);
            if (entry->deadline <= now) return entry;
            insert(*entry, entry->deadline);
        }
        looking = false;
        ++looked;
    }
    return nullptr;
}
