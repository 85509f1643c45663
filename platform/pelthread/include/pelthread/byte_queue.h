// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>

#include <cstddef>
#include <string_view>

/// Bytes that wait: appended at the end, taken from the front, in one piece of memory from `PEL_array_new`.
///
/// The memory is at most twice what waits plus `kFirstRoom`, and is given back when nothing waits. One thread
/// at a time.
class ByteQueue {
public:
    PEL_HEAP_OBJECT

    ByteQueue() = default;
    ~ByteQueue() { clear(); }
    ByteQueue(const ByteQueue&) = delete;
    ByteQueue& operator=(const ByteQueue&) = delete;
    ByteQueue(ByteQueue&& other) noexcept { swap(other); }
    ByteQueue& operator=(ByteQueue&& other) noexcept {
        if (this != &other) {
            clear();
            swap(other);
        }
        return *this;
    }

    bool empty() const { return begin == end; }
    std::size_t size() const { return end - begin; }
    /// Bytes of memory held.
    std::size_t capacity() const { return room; }
    std::string_view view() const { return {memory + begin, end - begin}; }
    /// Valid until the next call that is not const.
    char* data() { return memory + begin; }

    /// False when memory ends; the queue is then as it was.
    [[nodiscard]] bool append(std::string_view bytes);
    /// Room for `count` bytes behind the last one, to be written to and then counted in by `commit`; null
    /// when memory ends.
    [[nodiscard]] char* reserve(std::size_t count);
    /// `count` bytes that were written to the reserved room belong to the queue from now on.
    void commit(std::size_t count) { end += count; }
    /// Takes `count` bytes, at most `size()`, from the front.
    void consume(std::size_t count);
    void clear();
    void swap(ByteQueue& other) noexcept;

    static constexpr std::size_t kFirstRoom = 512;

private:
    char* memory = nullptr;
    std::size_t room = 0;
    std::size_t begin = 0;
    std::size_t end = 0;
};
