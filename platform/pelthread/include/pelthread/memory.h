// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

/// Memory for one object of `size` bytes, aligned for any type; null when memory ends.
[[nodiscard]] void* PEL_new(std::size_t size) noexcept;

/// Gives back what `PEL_new` or `PEL_array_new` gave; null is allowed.
void PEL_delete(void* pointer) noexcept;

/// The same for arrays. Both pairs may be mixed freely.
[[nodiscard]] void* PEL_array_new(std::size_t size) noexcept;
void PEL_array_delete(void* pointer) noexcept;

/// The array at `pointer` (null for a new one) with `size` bytes, moved where it does not fit: what it held
/// stays, up to the smaller size. Null when memory ends, and then the array is as it was. Large ones lie
/// in large pages where the system has them.
[[nodiscard]] void* PEL_array_resize(void* pointer, std::size_t size) noexcept;

/// Gives memory that is free back to the system. Takes a while: for whoever has just given up megabytes.
void PEL_trim() noexcept;

/// Makes allocations fail on purpose, so that a test can walk every out-of-memory path. Per thread.
namespace PEL_Fault {

/// The `nth` allocation from now on this thread (1 is the next) gives null, once; 0 switches it off.
void fail_allocation(long nth) noexcept;

/// Allocations on this thread since the last `fail_allocation`; tells a test how far to count.
[[nodiscard]] long allocations() noexcept;

/// True once the armed failure has happened.
[[nodiscard]] bool happened() noexcept;

}  // namespace PEL_Fault

/// Put into a class's public part: its heap objects come from `PEL_new`, and `new` gives null, without
/// running the constructor, when memory ends.
#define PEL_HEAP_OBJECT                                            \
    static void* operator new(std::size_t size) noexcept {         \
        return PEL_new(size);                                      \
    }                                                              \
    static void* operator new(std::size_t, void* place) noexcept { \
        return place;                                              \
    }                                                              \
    static void operator delete(void* pointer) noexcept {          \
        PEL_delete(pointer);                                       \
    }
