// SPDX-License-Identifier: MIT
#include "marshal/piece_buffer.h"

#include <algorithm>

void PieceBuffer::write_large(const char* data, std::size_t length) {
    constexpr std::size_t kMost = 1U << 30;  // a writer takes an int
    flush();
    while (length != 0) {
        const std::size_t now = std::min(length, kMost);
        writer_->write(data, static_cast<int>(now));
        data += now;
        length -= now;
    }
}
