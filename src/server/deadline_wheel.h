// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

struct _SOAP_Connection;

/// The place of a connection among those that wait until a deadline.
struct DeadlineEntry {
    _SOAP_Connection* owner;
    DeadlineEntry* next = nullptr;
    DeadlineEntry* before = nullptr;
    std::int64_t deadline = 0;  ///< milliseconds
    std::int32_t slot = -1;     ///< -1 while it is in no wheel
};

/// Who waits until when. Entering and leaving take constant time, and finding those whose time is over takes
/// time in proportion to them, however many wait. Deadlines come due up to `kTick` late. The caller locks.
class DeadlineWheel {
public:
    static constexpr std::int64_t kTick = 250;  // milliseconds
    static constexpr std::int64_t kNever = INT64_MAX;

    /// `now`: milliseconds on the clock of the deadlines.
    explicit DeadlineWheel(std::int64_t now) : looked(now / kTick) {}
    DeadlineWheel(const DeadlineWheel&) = delete;
    DeadlineWheel& operator=(const DeadlineWheel&) = delete;

    /// The entry must be in no wheel.
    void insert(DeadlineEntry& entry, std::int64_t deadline);
    /// Nothing happens where it is in no wheel.
    void remove(DeadlineEntry& entry);
    /// Takes out one whose time is over at `now`, which must never go back; null if there is none.
    DeadlineEntry* take_due(std::int64_t now);
    /// The first for which `wanted(entry)` is true, else null.
    template <class Wanted>
    DeadlineEntry* find(Wanted wanted) const;
    /// Calls `see(entry)` for each; the one it is called for may be removed by it.
    template <class See>
    void for_each(See see);

    std::size_t size() const { return count; }

private:
    static constexpr std::int64_t kSlots = 512;

    static std::int32_t slot_of(std::int64_t tick) { return static_cast<std::int32_t>(tick % kSlots); }

    std::array<DeadlineEntry*, kSlots> slots{};
    std::int64_t looked;              // ticks up to this one were looked at to their end
    DeadlineEntry* cursor = nullptr;  // where the look at the next one stands
    bool looking = false;
    std::size_t count = 0;
};

template <class Wanted>
DeadlineEntry* DeadlineWheel::find(Wanted wanted) const {
    for (DeadlineEntry* first : slots) {
        for (DeadlineEntry* entry = first; entry != nullptr; entry = entry->next) {
            if (wanted(*entry)) return entry;
        }
    }
    return nullptr;
}

template <class See>
void DeadlineWheel::for_each(See see) {
    for (DeadlineEntry* entry : slots) {
        while (entry != nullptr) {
            DeadlineEntry* const current = entry;
            entry = entry->next;
            see(*current);
        }
    }
}
