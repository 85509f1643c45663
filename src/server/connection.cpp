// SPDX-License-Identifier: MIT
#include "server/connection.h"

#include <vqsys/net.h>

#include <algorithm>
#include <ctime>

#include "secure/secure_channel.h"
#include "server/connection_list.h"
#include "transport/broker.h"

namespace {

timespec coarse_time() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return now;
}

}  // namespace

std::int32_t idle_clock() {
    return static_cast<std::int32_t>(coarse_time().tv_sec);
}

std::int64_t wait_clock() {
    const timespec now = coarse_time();
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

std::int64_t deadline_in(double seconds) {
    constexpr double kLongest = 1e9;
    if (!(seconds > 0)) return DeadlineWheel::kNever;
    return wait_clock() + static_cast<std::int64_t>(std::min(seconds, kLongest) * 1000);
}

_SOAP_Connection::_SOAP_Connection(vqSocket accepted, std::uint16_t listener_port,
                                   _SOAP_ConnectionList* owner)
    : last_used(idle_clock()),
      socket(accepted),
      block_handle(owner->handle()),
      list(owner),
      port(listener_port) {}

_SOAP_Connection::~_SOAP_Connection() {
    delete channel;
}

void _SOAP_Connection::stop_tls() {
    if (channel == nullptr) return;
    // A peer that has not taken what was sent before does not take this either.
    if (outbox.empty() && !broken) {
        channel->goodbye(outbox.tokens());
        if (flush(outbox, socket) == Flushed::broken) broken = true;
    }
    delete channel;
    channel = nullptr;
}

bool _SOAP_Connection::starts_request() const {
    return !gathered.empty() || (channel != nullptr && channel->hasUnread());
}

bool _SOAP_Connection::asks() const {
    return !gathered.empty() || vqNetPeek(socket) == vqNetState::readable;
}

void _SOAP_Connection::close() {
    // Half a reply is of no use to the peer, and what its system does not take would stay in ours.
    if (!outbox.empty()) vqNetResetOnClose(socket);
    stop_tls();
    vqNetClose(&socket);
    SOA::socketResource().release();
    list->socket_closed(*this);
}
