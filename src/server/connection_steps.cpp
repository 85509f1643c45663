// SPDX-License-Identifier: MIT
#include "server/connection_steps.h"

#include <vqsys/net.h>

#include <cstdio>
#include <memory>
#include <utility>

#include "secure/secure_channel.h"
#include "secure/sspi_credentials.h"
#include "server/connection_list.h"
#include "server/request_source.h"
#include "server/request_task.h"
#include "server/server_limits.h"
#include "streams/wire_trace.h"
#include "transport/broker.h"

namespace {

constexpr int kBlock = 64 * 1024;
/// What a peer may still send, and for how many seconds, when its connection is closed behind a reply that
/// came before the end of its request.
constexpr long kUnreadLimit = 1024 * 1024;
constexpr double kUnreadSeconds = 0.5;

/// Where a thread receives: a request that comes whole is read where it lies. Its servants may call on, but
/// never come back to this server's steps on the same thread.
char* block() {
    static thread_local char bytes[kBlock];
    return bytes;
}

}  // namespace

ConnectionSteps::Next ConnectionSteps::step() {
    switch (connection.phase) {
        case Phase::handshake:
            return step_handshake();
        case Phase::request:
            return step_request();
        case Phase::streamed:
            return step_streamed();
        case Phase::reply:
            return step_reply();
        case Phase::parting:
            return step_parting();
    }
    return Next::nothing;
}

bool ConnectionSteps::begin_session() {
    if (connection.channel != nullptr) return true;
    if (connection.credentials == nullptr) return false;
    connection.channel = connection.credentials->createChannel(connection.socket);
    if (connection.channel == nullptr) return false;
    connection.channel->setClientAuthRequired(
        SOA::getProperties().get("ZOLT_SSL_CLIENT_AUTH") != nullptr ? 1 : 0);
    return true;
}

ConnectionSteps::Next ConnectionSteps::step_handshake() {
    if (!connection.outbox.empty()) return answer_tokens(false);
    char* const bytes = block();
    const int count = vqNetRecvNow(connection.socket, bytes, kBlock);
    if (count == kVqNothingYet) return connection.input_ended ? Next::nothing : Next::readable;
    if (count <= 0) {
        if (connection.channel != nullptr) std::printf("SSL handshake fail, Couldn't connect\n");
        return Next::nothing;
    }
    if (!begin_session()) return Next::nothing;
    const TlsState state = connection.channel->stepServerHandshake({bytes, static_cast<std::size_t>(count)},
                                                                   connection.outbox.tokens());
    if (state == TlsState::open) {
        connection.outbox.seal_with(connection.channel);
        connection.phase = Phase::request;
        connection.last_used = idle_clock();
        connection.last_deadline = DeadlineWheel::kNever;
        connection.unlooked = true;
    }
    return answer_tokens(state == TlsState::failed || state == TlsState::ended);
}

/// Sends what the session has to say; one that failed says why and is over.
ConnectionSteps::Next ConnectionSteps::answer_tokens(bool failed) {
    const Flushed flushed = flush(connection.outbox, connection.socket);
    if (failed || flushed == Flushed::broken) return Next::nothing;
    if (connection.phase != Phase::handshake) return Next::again;
    return flushed == Flushed::some ? Next::writable : Next::readable;
}

/// More of what the peer sends; `received` is then all that has come of the request.
ConnectionSteps::Came ConnectionSteps::receive(std::string_view& received) {
    char* const bytes = block();
    const int count = vqNetRecvNow(connection.socket, bytes, kBlock);
    if (count == kVqNothingYet) return Came::nothing;
    if (count <= 0) {
        connection.input_ended = true;
        received = connection.gathered.view();
        if (count < 0) connection.broken = true;
        return Came::end;
    }
    connection.last_progress = wait_clock();
    const auto length = static_cast<std::size_t>(count);
    if (connection.channel != nullptr) {
        const Came came = receive_sealed({bytes, length});
        received = connection.gathered.view();
        return came;
    }
    if (wire_trace::on()) wire_trace::received(connection.socket, bytes, count);
    received = {bytes, length};
    if (connection.gathered.empty()) return Came::some;
    if (!connection.gathered.append(received)) return connection.broken = true, Came::end;
    received = connection.gathered.view();
    return Came::some;
}

ConnectionSteps::Came ConnectionSteps::receive_sealed(std::span<char> bytes) {
    ByteQueue& gathered = connection.gathered;
    const std::size_t before = gathered.size();
    const TlsState state = connection.channel->decrypt(bytes, gathered);
    if (wire_trace::on() && gathered.size() > before)
        wire_trace::received(connection.socket, gathered.data() + before,
                             static_cast<int>(gathered.size() - before));
    if (state == TlsState::open) return Came::some;
    connection.input_ended = true;
    if (state == TlsState::failed) connection.broken = true;
    return Came::end;
}

ConnectionSteps::Next ConnectionSteps::step_request() {
    std::string_view received = connection.gathered.view();
    if (connection.unlooked) {
        // Behind the end of a handshake or of the last request, and already here.
        connection.unlooked = false;
        if (connection.channel != nullptr) static_cast<void>(receive_sealed({}));
        received = connection.gathered.view();
    } else if (!connection.input_ended && !open_next_record(received)) {
        if (connection.list->is_full()) return Next::room;
        if (receive(received) == Came::nothing) return await_more();
    }
    if (connection.broken) return Next::nothing;
    if (!received.empty()) return look(received);
    return connection.input_ended ? Next::nothing : await_more();
}

/// True if a record that came with the one before it brought more of the request.
bool ConnectionSteps::open_next_record(std::string_view& received) {
    if (connection.channel == nullptr || !connection.channel->hasUnread()) return false;
    const std::size_t before = received.size();
    const Came came = receive_sealed({});
    received = connection.gathered.view();
    return came == Came::end || received.size() > before;
}

ConnectionSteps::Next ConnectionSteps::await_more() const {
    return connection.starts_request() ? Next::readable : Next::idle;
}

/// Goes by what has come of the request.
ConnectionSteps::Next ConnectionSteps::look(std::string_view received) {
    using Found = RequestFraming::Found;
    switch (connection.framing.look(received, max_body(), server_limits::stream_body())) {
        case Found::whole:
            return serve(received, connection.framing.length());
        case Found::unreadable:
            return serve(received, received.size());
        case Found::large:
            if (!keep(received)) return Next::nothing;
            if (connection.input_ended) return serve(connection.gathered.view(), connection.gathered.size());
            connection.phase = Phase::streamed;
            return Next::turn;
        case Found::incomplete:
            break;
    }
    if (connection.input_ended) {
        if (!connection.framing.has_head()) return Next::nothing;
        return serve(received, received.size());
    }
    const bool more = received.size() % kBlock == 0;
    if (!keep(received)) return Next::nothing;
    const bool has_records = connection.channel != nullptr && connection.channel->hasUnread();
    return more || has_records ? Next::again : Next::readable;
}

/// What was received stays with the connection; false when memory ends.
bool ConnectionSteps::keep(std::string_view received) {
    return !connection.gathered.empty() || connection.gathered.append(received);
}

ConnectionSteps::Next ConnectionSteps::serve(std::string_view received, std::size_t length) {
    const std::size_t head = connection.framing.head_length();
    auto source = std::make_unique<RequestSource>(received.substr(head, length - head));
    RequestTask task(connection, connection.framing.take_message(), std::move(source));
    const After after = task.run(received.size() > length);
    connection.framing.reset();
    const bool lies_in_block = connection.gathered.empty();
    if (!lies_in_block) connection.gathered.consume(length);
    if (lies_in_block && after == After::keep && !connection.gathered.append(received.substr(length)))
        return Next::nothing;
    return behind_request(after);
}

/// The worker may wait for the peer here, which is why such turns are few.
ConnectionSteps::Next ConnectionSteps::step_streamed() {
    const std::string_view received = connection.gathered.view();
    const RequestFraming& framing = connection.framing;
    const std::size_t head = framing.head_length();
    const std::size_t more =
        framing.knows_length() ? framing.length() - received.size() : RequestSource::kNoLimit;
    auto source =
        std::make_unique<RequestSource>(received.substr(head), connection, more, connection.last_deadline);
    RequestTask task(connection, connection.framing.take_message(), std::move(source));
    const After after = task.run(false);
    connection.framing.reset();
    connection.gathered = std::move(connection.streamed);
    return behind_request(after);
}

ConnectionSteps::Next ConnectionSteps::behind_request(After after) {
    connection.last_used = idle_clock();
    connection.last_deadline = DeadlineWheel::kNever;
    connection.after = after;
    if (connection.broken) return Next::nothing;
    if (connection.outbox.empty()) return behind_reply();
    connection.phase = Phase::reply;
    connection.acknowledged = vqNetAcknowledged(connection.socket);
    return Next::writable;
}

ConnectionSteps::Next ConnectionSteps::step_reply() {
    const Flushed flushed = flush(connection.outbox, connection.socket);
    connection.last_progress = wait_clock();
    if (flushed == Flushed::broken) return Next::nothing;
    return flushed == Flushed::some ? Next::writable : behind_reply();
}

/// The reply is with the system.
ConnectionSteps::Next ConnectionSteps::behind_reply() {
    switch (connection.after) {
        case After::keep:
            connection.phase = Phase::request;
            connection.unlooked = connection.starts_request();
            return connection.unlooked ? Next::again : Next::idle;
        case After::close:
            return Next::nothing;
        case After::close_unread:
            break;
    }
    // A connection that is closed over unread bytes is reset, which takes the reply away from a peer that has
    // not read it yet.
    connection.stop_tls();
    vqNetShutdownWrite(connection.socket);
    connection.phase = Phase::parting;
    connection.last_deadline = deadline_in(kUnreadSeconds);
    return Next::again;
}

ConnectionSteps::Next ConnectionSteps::step_parting() {
    const int count = vqNetRecvNow(connection.socket, block(), kBlock);
    if (count == kVqNothingYet) return Next::readable;
    if (count <= 0) return Next::nothing;
    connection.dropped += count;
    return connection.dropped < kUnreadLimit ? Next::again : Next::nothing;
}
