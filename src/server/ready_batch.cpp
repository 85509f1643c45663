// SPDX-License-Identifier: MIT
#include "server/ready_batch.h"

#include <algorithm>

#include "server/connection.h"

namespace {

/// One long call among short ones counts for so much at the most.
constexpr std::int64_t kLongest = 10 * ReadyBatch::kMostTime;
/// The weight of one call: one in so many.
constexpr std::int64_t kMemory = 8;

}  // namespace

void ReadyBatch::note(std::chrono::nanoseconds call) {
    // Threads that meet here may lose one another's call, which does not matter.
    const std::int64_t before = usual.load(std::memory_order_relaxed);
    const std::int64_t length = std::min<std::int64_t>(call.count(), kLongest);
    usual.store(before + (length - before) / kMemory, std::memory_order_relaxed);
}

std::size_t ReadyBatch::room() const {
    const std::int64_t one = std::max<std::int64_t>(usual.load(std::memory_order_relaxed), 1);
    return static_cast<std::size_t>(kMostTime / one);
}

void ReadyBatch::put(_SOAP_Connection* connection) {
    const std::lock_guard lock(mutex);
    connection->link = nullptr;
    (first != nullptr ? last->link : first) = connection;
    last = connection;
}

_SOAP_Connection* ReadyBatch::take() {
    const std::lock_guard lock(mutex);
    _SOAP_Connection* const taken = first;
    if (taken == nullptr) return nullptr;
    first = taken->link;
    taken->link = nullptr;
    return taken;
}
