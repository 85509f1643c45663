// SPDX-License-Identifier: MIT
#include "streams/body_stream.h"

#include <algorithm>

bool CBodyInputStream::drain(long long limit) {
    constexpr long long kPiece = 4 * kStreamBlock;
    char scrap[kPiece];
    while (end() == BodyEnd::open) {
        // One byte beyond the limit is asked for: that the body has ended may show only in the next read.
        const long long wanted = std::min(kPiece, std::max(limit, 0LL) + 1);
        const int count = read(scrap, static_cast<int>(wanted));
        if (count <= 0) break;
        if (count > limit) return false;
        limit -= count;
    }
    return end() == BodyEnd::exact;
}
