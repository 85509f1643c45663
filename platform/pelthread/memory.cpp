// SPDX-License-Identifier: MIT
#include <pelthread/memory.h>

#include <cstdlib>

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
