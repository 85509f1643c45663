// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>

#include <cstddef>
#include <limits>
#include <new>
#include <utility>

/// An array of records that grows by doubling, over `PEL_array_new`. Records are made once and used again;
/// growing moves them. No operation throws.
template <class T>
class GrowingArray {
public:
    GrowingArray() = default;
    ~GrowingArray() { clear(); }
    GrowingArray(const GrowingArray&) = delete;
    GrowingArray& operator=(const GrowingArray&) = delete;

    T& operator[](int index) { return items[index]; }
    const T& operator[](int index) const { return items[index]; }
    /// The first record; null while there is none.
    const T* data() const { return items; }
    int capacity() const { return capacity_; }

    /// Makes room for at least `wanted` records; false when memory ends, and nothing has changed.
    bool reserve(int wanted, int first_capacity) {
        if (wanted <= capacity_) return true;
        std::size_t size = capacity_ > 0 ? static_cast<std::size_t>(capacity_) * 2
                                         : static_cast<std::size_t>(first_capacity);
        if (size < static_cast<std::size_t>(wanted)) size = static_cast<std::size_t>(wanted);
        if (size > static_cast<std::size_t>(std::numeric_limits<int>::max())) return false;
        T* const grown = static_cast<T*>(PEL_array_new(size * sizeof(T)));
        if (grown == nullptr) return false;
        for (std::size_t i = 0; i < size; ++i) new (grown + i) T();
        for (int i = 0; i < capacity_; ++i) grown[i] = std::move(items[i]);
        clear();
        items = grown;
        capacity_ = static_cast<int>(size);
        return true;
    }

    /// Gives everything back.
    void clear() {
        for (int i = 0; i < capacity_; ++i) items[i].~T();
        PEL_array_delete(items);
        items = nullptr;
        capacity_ = 0;
    }

private:
    T* items = nullptr;
    int capacity_ = 0;
};
