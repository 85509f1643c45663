// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>

#include <limits>
#include <new>
#include <utility>

/// An array of records that are reused and never shrink; the first `Inline` stand in place.
template <typename Record, int Inline>
class GrowingTable {
public:
    GrowingTable() = default;
    ~GrowingTable() { clear(); }
    GrowingTable(const GrowingTable&) = delete;
    GrowingTable& operator=(const GrowingTable&) = delete;

    Record& operator[](int index) { return records[index]; }
    const Record& operator[](int index) const { return records[index]; }
    int capacity() const { return capacity_; }

    /// Makes room for record `index`; false, with nothing changed, when memory ends.
    [[nodiscard]] bool reach(int index) { return index < capacity_ || grow(index); }

    /// Back to the records in place, all of them empty.
    void clear() noexcept {
        if (records != in_place) {
            for (int i = 0; i < capacity_; ++i) records[i].~Record();
            PEL_array_delete(records);
        }
        for (Record& record : in_place) record = Record();
        records = in_place;
        capacity_ = Inline;
    }

private:
    bool grow(int index) {
        long long wanted = capacity_;
        while (wanted <= index) wanted *= 2;
        if (wanted > std::numeric_limits<int>::max()) return false;
        void* block = PEL_array_new(static_cast<std::size_t>(wanted) * sizeof(Record));
        if (!block) return false;
        Record* larger = static_cast<Record*>(block);
        for (int i = 0; i < capacity_; ++i) new (larger + i) Record(std::move(records[i]));
        for (long long i = capacity_; i < wanted; ++i) new (larger + i) Record();
        if (records != in_place) {
            for (int i = 0; i < capacity_; ++i) records[i].~Record();
            PEL_array_delete(records);
        }
        records = larger;
        capacity_ = static_cast<int>(wanted);
        return true;
    }

    Record in_place[Inline];
    Record* records = in_place;
    int capacity_ = Inline;
};
