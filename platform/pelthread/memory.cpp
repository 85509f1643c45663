// SPDX-License-Identifier: MIT
#include <pelthread/memory.h>

#include <malloc.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

struct FaultState {
    long fail_at = 0;
    long count = 0;
    bool happened = false;
};

// Constant-initialised: allocations happen before and after any constructor of this library runs.
constinit thread_local FaultState fault;

bool allocation_fails() noexcept {
    ++fault.count;
    if (fault.fail_at == 0 || fault.count != fault.fail_at) return false;
    fault.happened = true;
    return true;
}

constexpr std::size_t kLargePage = std::size_t{1} << 21;

/// A large array is filled from end to end: with large pages that takes a fraction of the faults. They are
/// asked for ahead of the first byte. Null when memory ends.
void* resize_large(void* pointer, std::size_t size) noexcept {
    void* const larger = std::malloc(size);
    if (larger == nullptr) return nullptr;
    const auto start = reinterpret_cast<std::uintptr_t>(larger);
    const std::uintptr_t first = (start + kLargePage - 1) & ~(kLargePage - 1);
    const std::uintptr_t end = (start + size) & ~(kLargePage - 1);
    static_cast<void>(madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE));
    if (pointer != nullptr) std::memcpy(larger, pointer, std::min(size, malloc_usable_size(pointer)));
    std::free(pointer);
    return larger;
}

}  // namespace

void* PEL_new(std::size_t size) noexcept {
    if (allocation_fails()) return nullptr;
    return std::malloc(size == 0 ? 1 : size);
}

void PEL_delete(void* pointer) noexcept {
    std::free(pointer);
}

void* PEL_array_new(std::size_t size) noexcept {
    return PEL_new(size);
}

void PEL_array_delete(void* pointer) noexcept {
    PEL_delete(pointer);
}

void* PEL_array_resize(void* pointer, std::size_t size) noexcept {
    if (allocation_fails()) return nullptr;
    return size < 2 * kLargePage ? std::realloc(pointer, size == 0 ? 1 : size) : resize_large(pointer, size);
}

void PEL_trim() noexcept {
    static_cast<void>(malloc_trim(0));
}

namespace PEL_Fault {

void fail_allocation(long nth) noexcept {
    fault = {nth, 0, false};
}

long allocations() noexcept {
    return fault.count;
}

bool happened() noexcept {
    return fault.happened;
}

}  // namespace PEL_Fault
