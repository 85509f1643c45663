// SPDX-License-Identifier: MIT
#include "server/request_source.h"

#include <vqsys/net.h>

#include <algorithm>
#include <cstring>

#include "secure/secure_channel.h"
#include "server/connection.h"
#include "server/server_limits.h"
#include "streams/wire_trace.h"

namespace {

constexpr int kBlock = 16 * 1024;

}  // namespace

RequestSource::RequestSource(std::string_view gathered, _SOAP_Connection& from, std::size_t more,
                             std::int64_t deadline)
    : at_hand(gathered), connection(&from), left(more), end(deadline) {
    vqNetSetTimeout(from.socket, server_limits::read_timeout());
}

int RequestSource::get() {
    char c = 0;
    return read(&c, 1) == 1 ? static_cast<unsigned char>(c) : -1;
}

int RequestSource::read(char* buffer, int length) {
    if (length <= 0) return 0;
    const auto wanted = static_cast<std::size_t>(length);
    if (!at_hand.empty()) {
        const std::size_t count = std::min(wanted, at_hand.size());
        std::memcpy(buffer, at_hand.data(), count);
        at_hand.remove_prefix(count);
        return static_cast<int>(count);
    }
    if (connection == nullptr || left == 0 || connection->input_ended || wait_clock() >= end) return 0;
    const std::size_t most = std::min(wanted, left);
    const int count = connection->channel != nullptr ? receive_sealed(buffer, most) : receive(buffer, most);
    if (count <= 0) {
        connection->input_ended = true;
        return 0;
    }
    if (left != kNoLimit) left -= static_cast<std::size_t>(count);
    return count;
}

int RequestSource::receive(char* buffer, std::size_t length) {
    const int count = vqNetRecv(connection->socket, buffer, static_cast<int>(length), 0);
    if (count > 0 && wire_trace::on()) wire_trace::received(connection->socket, buffer, count);
    return count;
}

/// What was decrypted and not asked for yet waits with the connection; its start belongs to the body.
int RequestSource::receive_sealed(char* buffer, std::size_t length) {
    ByteQueue& waiting = connection->streamed;
    bool tried = false;
    while (waiting.empty()) {
        char sealed[kBlock];
        // Records that came with the one before are opened first.
        const bool fresh = tried;
        const int count = fresh ? vqNetRecv(connection->socket, sealed, kBlock, 0) : 0;
        tried = true;
        if ((fresh && count <= 0) || wait_clock() >= end) return 0;
        const TlsState state =
            connection->channel->decrypt({sealed, static_cast<std::size_t>(count)}, waiting);
        if (wire_trace::on() && !waiting.empty())
            wire_trace::received(connection->socket, waiting.data(), static_cast<int>(waiting.size()));
        if (state != TlsState::open && waiting.empty()) return 0;
    }
    const std::size_t count = std::min(length, waiting.size());
    std::memcpy(buffer, waiting.data(), count);
    waiting.consume(count);
    return static_cast<int>(count);
}
