// SPDX-License-Identifier: MIT
#include "streams/buffered_streams.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace {

char* new_block(std::int64_t size) {
    return static_cast<char*>(PEL_array_new(static_cast<std::size_t>(size)));
}

}  // namespace

CBufferedOutputStream::CBufferedOutputStream(COutputStream* next, int size)
    : capacity(size > 0 ? size : kStreamBlock), sink(next), status_code(kStreamGood) {
    buffer = new_block(capacity);
    cursor = buffer;
    if (buffer == nullptr) status_code = kStreamNoMemory;
}

CBufferedOutputStream::~CBufferedOutputStream() {
    flush();
    PEL_array_delete(buffer);
    if (owns_sink) delete sink;
}

/// Makes a memory buffer's capacity at least `needed` by doubling it, a large one's by more, since what is
/// not touched costs nothing there; changes nothing if it cannot.
bool CBufferedOutputStream::grow(std::int64_t needed) {
    constexpr std::int64_t kLarge = 1 << 20;
    constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
    std::int64_t larger = capacity;
    while (larger < needed) larger *= larger < kLarge ? 2 : 4;
    if (needed <= kMost) larger = std::min(larger, kMost);
    const int count = length();
    void* const block =
        larger <= kMost ? PEL_array_resize(buffer, static_cast<std::size_t>(larger)) : nullptr;
    if (block == nullptr) {
        status_code = kStreamNoMemory;
        return false;
    }
    buffer = static_cast<char*>(block);
    cursor = buffer + count;
    capacity = static_cast<std::int32_t>(larger);
    return true;
}

bool CBufferedOutputStream::free_one() {
    if (sink == nullptr) return grow(std::int64_t{capacity} + 1);
    hand_on();
    return true;
}

/// Empties the buffer into the sink.
void CBufferedOutputStream::hand_on() {
    if (cursor != buffer && !abandoned) sink->write(buffer, length());
    cursor = buffer;
}

int CBufferedOutputStream::write(const char* data, int count) {
    if (count <= 0) return 0;
    if (count > capacity - length()) {
        if (sink == nullptr) {
            if (!grow(std::int64_t{length()} + count)) return 0;
        } else {
            if (capacity < count && length() > 0) sink->more_follows();
            hand_on();
            if (capacity < count) return abandoned ? 0 : sink->write(data, count);
        }
    }
    std::memcpy(cursor, data, static_cast<std::size_t>(count));
    cursor += count;
    return count;
}

void CBufferedOutputStream::flush() {
    if (sink != nullptr) hand_on();
    cursor = buffer;
    if (buffer != nullptr) status_code = kStreamGood;
}

void CBufferedOutputStream::abandon() {
    abandoned = true;
    cursor = buffer;
    if (sink != nullptr) sink->abandon();
}

char* CBufferedOutputStream::text() {
    if (put('\0') != 1) return nullptr;
    --cursor;
    return buffer;
}

CBufferedInputStream::CBufferedInputStream(CInputStream* from)
    : buffer(nullptr), end(nullptr), cursor(nullptr), source(from), status_code(kStreamNullArgument) {
    if (from == nullptr) return;
    buffer = new_block(capacity);
    end = buffer;
    cursor = buffer;
    status_code = buffer != nullptr ? kStreamGood : kStreamNoMemory;
}

CBufferedInputStream::~CBufferedInputStream() {
    PEL_array_delete(buffer);
    if (owns_source) delete source;
}

bool CBufferedInputStream::fill() {
    if (cursor != end) return true;
    const int count = source->read(buffer, capacity);
    if (count <= 0) return false;
    cursor = buffer;
    end = buffer + count;
    return true;
}

int CBufferedInputStream::read(char* target, int wanted) {
    if (wanted <= 0) return 0;
    if (!fill()) return -1;
    const int count = std::min(wanted, available());
    std::memcpy(target, cursor, static_cast<std::size_t>(count));
    cursor += count;
    return count;
}
