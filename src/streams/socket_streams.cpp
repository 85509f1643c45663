// SPDX-License-Identifier: MIT
#include "streams/socket_streams.h"

#include <vqsys/net.h>

#include <algorithm>
#include <chrono>
#include <ctime>

#include "secure/secure_channel.h"
#include "streams/wire_trace.h"

namespace {

// The coarse clock costs no system call and is right to a few milliseconds.
std::int64_t now_in_nanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

constexpr double kLongestDeadline = 1e9;  // seconds

}  // namespace

int CSocketOutputStream::write(const char* data, int length) {
    if (has_failed || length <= 0) return 0;
    const int flags = more ? kVqSendMoreFollows : 0;
    if (channel != nullptr && more) channel->moreFollows();
    more = false;
    const int count =
        channel != nullptr ? channel->write(data, length) : vqNetSend(socket, data, length, flags);
    if (count < length) has_failed = true;
    // A channel counts what it adds as well.
    if (count > 0 && wire_trace::on()) wire_trace::sent(socket, data, std::min(count, length));
    return count;
}

int CSocketInputStream::get() {
    char c = 0;
    return read(&c, 1) == 1 ? static_cast<unsigned char>(c) : -1;
}

int CSocketInputStream::read(char* buffer, int length) {
    if (ended || length <= 0) return 0;
    if (deadline != 0 && now_in_nanoseconds() >= deadline) return 0;
    int count = channel != nullptr ? channel->read(buffer, length) : vqNetRecv(socket, buffer, length, 0);
    if (count > 0) {
        received += count;
        if (wire_trace::on()) wire_trace::received(socket, buffer, count);
        return count;
    }
    ended = true;
    return channel != nullptr ? count : 0;
}

void CSocketInputStream::set_deadline(double seconds_from_now) {
    using Clock = std::chrono::steady_clock;
    const bool limited = seconds_from_now > 0;
    const double seconds = limited ? std::min(seconds_from_now, kLongestDeadline) : 0;
    const auto nanoseconds = static_cast<std::int64_t>(seconds * 1e9);
    deadline = limited ? now_in_nanoseconds() + nanoseconds : 0;
    if (channel == nullptr) return;
    const Clock::time_point end = Clock::now() + std::chrono::nanoseconds(nanoseconds);
    channel->limitReads(limited ? end : Clock::time_point::max(), false);
}
