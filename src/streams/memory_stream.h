// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "streams/stream.h"

/// Bytes that lie in memory, which is the caller's and must live as long.
class CMemoryInputStream final : public CInputStream {
public:
    PEL_HEAP_OBJECT

    explicit CMemoryInputStream(std::string_view content) : left(content) {}

    int get() override {
        char c = 0;
        return read(&c, 1) == 1 ? static_cast<unsigned char>(c) : -1;
    }
    /// 0 at the end.
    int read(char* buffer, int length) override {
        const std::size_t count = std::min(left.size(), static_cast<std::size_t>(std::max(length, 0)));
        if (count != 0) std::memcpy(buffer, left.data(), count);
        left.remove_prefix(count);
        return static_cast<int>(count);
    }
    /// Always -1, as a socket's: bytes behind a message are no business of its reader.
    int available() override { return -1; }
    int status() override { return kStreamGood; }

    /// Bytes that no read has given yet.
    std::size_t unread() const { return left.size(); }

private:
    std::string_view left;
};
