// SPDX-License-Identifier: MIT
#include <pelthread/byte_queue.h>

#include <algorithm>
#include <cstring>
#include <utility>

bool ByteQueue::append(std::string_view bytes) {
    if (bytes.empty()) return true;
    char* const place = reserve(bytes.size());
    if (place == nullptr) return false;
    std::memcpy(place, bytes.data(), bytes.size());
    commit(bytes.size());
    return true;
}

char* ByteQueue::reserve(std::size_t count) {
    if (room - end >= count && memory != nullptr) return memory + end;
    // Moving to the front pays only where at least half of the memory is free: each byte is then moved once.
    if (room - size() >= count && begin >= size()) {
        std::memmove(memory, memory + begin, size());
        end = size();
        begin = 0;
        return memory + end;
    }
    const std::size_t wanted = std::max({size() + count, kFirstRoom, size() * 2});
    char* const grown = static_cast<char*>(PEL_array_new(wanted));
    if (grown == nullptr) return nullptr;
    if (!empty()) std::memcpy(grown, memory + begin, size());
    PEL_array_delete(memory);
    end = size();
    begin = 0;
    memory = grown;
    room = wanted;
    return memory + end;
}

void ByteQueue::consume(std::size_t count) {
    begin += std::min(count, size());
    if (empty()) clear();
}

void ByteQueue::clear() {
    PEL_array_delete(memory);
    memory = nullptr;
    room = begin = end = 0;
}

void ByteQueue::swap(ByteQueue& other) noexcept {
    std::swap(memory, other.memory);
    std::swap(room, other.room);
    std::swap(begin, other.begin);
    std::swap(end, other.end);
}
