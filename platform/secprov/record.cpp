// SPDX-License-Identifier: MIT
#include "record.h"

namespace {

constexpr std::size_t kMaxPayload = 16384 + 2048;  // RFC 5246 6.2.3; TLS 1.3 has less, which OpenSSL checks
constexpr unsigned char kFirstType = 20;
constexpr unsigned char kLastType = 23;

}  // namespace

Record Record::at(const unsigned char* bytes, std::size_t length, bool first) {
    if (length == 0) return {};
    std::size_t size = 0;
    if (first && (bytes[0] & 0x80) != 0) {
        if (length < 2) return {};
        size = 2 + (static_cast<std::size_t>(bytes[0] & 0x7F) << 8) + bytes[1];
    } else {
        if (bytes[0] < kFirstType || bytes[0] > kLastType || (length > 1 && bytes[1] != 3))
            return {State::malformed, 0};
        if (length < kHeader) return {};
        size = kHeader + (static_cast<std::size_t>(bytes[3]) << 8) + bytes[4];
    }
    if (size > kHeader + kMaxPayload) return {State::malformed, 0};
    return length < size ? Record{} : Record{State::whole, size};
}
