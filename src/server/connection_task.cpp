// SPDX-License-Identifier: MIT
#include "server/connection_task.h"

#include <vqsys/handle.h>
#include <vqsys/net.h>
#include <vqsys/text.h>

#include <charconv>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "http/http_message.h"
#include "marshal/soap_in_stream.h"
#include "marshal/soap_out_stream.h"
#include "server/connection.h"
#include "server/endpoint_table.h"
#include "server/read_timeout.h"
#include "server/server_frame.h"
#include "streams/socket_streams.h"
#include "transport/broker.h"

namespace {

/// Bytes of a request that nobody read which are read off a kept connection before the next one.
constexpr long kDrainLimit = 64 * 1024;
/// What a peer may still send, and how many seconds it may pause and go on for in all, when its connection is
/// closed behind a reply that came before the end of its request.
constexpr long kUnreadLimit = 1024 * 1024;
constexpr double kUnreadPause = 0.1;
constexpr auto kUnreadTime = std::chrono::milliseconds(500);
/// How long a worker that is done looks for the next request before the server's loop does: about what it
/// costs to wake a thread.
constexpr auto kLinger = std::chrono::microseconds(50);

enum class After {
    keep,
    close,
    close_unread  ///< there is a reply on its way, and more of the request may come
};

/// One HTTP exchange with all that belongs to it.
class RequestTask {
public:
    explicit RequestTask(_SOAP_Connection& served)
        : connection(served), message(new CHttpMessage(HTTP_SERVER_SIDE)) {}

    After run() {
        const After after = message != nullptr ? exchange() : After::close;
        SOA::get_default_context().delete_values(_Caldane_String("*"));
        connection.list->read_ends(&connection);
        return after;
    }

private:
    After exchange() {
        serve();
        out_stream.close_body();
        // A peer that waits for a reply which memory did not suffice for is to see that none comes.
        const bool reply_lost = replied && !message->IsHeaderWritten();
        const bool given_up = replied && !request_read;
        const bool stays = wants_to_stay() && !reply_lost && !given_up && drained();
        in_stream.release();
        connection.unanswered = stays && !message->IsHeaderWritten();
        if (stays) return After::keep;
        const bool unread = !request_read || vqNetPeek(connection.socket) == vqNetState::readable;
        return replied && unread ? After::close_unread : After::close;
    }

    /// Malformed XML ends here: such a request is answered by nothing, like others that cannot be read.
    void serve() {
        try {
            if (!read_request()) return;
            call();
        } catch (...) {
            out_stream.drop_body();
            replied = false;
        }
    }

    bool read_request() {
        SOA::get_default_context().delete_values(_Caldane_String("*"));
        in_stream.attach(message.get(), connection.socket, connection.channel);
        auto* const socket_in = new CSocketInputStream(connection.socket, connection.channel);
        if (socket_in == nullptr) return false;
        socket_in->set_deadline(read_timeout() * kWholeRequestFactor);
        std::unique_ptr<CInputStream> source(socket_in);
        if (in_stream.open_envelope_from(std::move(source)) == 0 || in_stream.open_result() == 0)
            return false;
        return message->GetPath() != nullptr;
    }

    void call() {
        message->AddResponseHeader("Content-Type", "text/xml; charset=\"utf-8\"");
        const char* path = message->GetPath();
        if (*path == '/') ++path;
        _Caldane_CallInfo info;
        out_stream.attach(message.get(), connection.socket, connection.channel);
        if (out_stream.open_body() == 0) return;
        _SOAP_ServerFrame frame(in_stream, out_stream, wants_to_stay() ? kDrainLimit : 0);
        replied = true;
        _SOA_IncomingCall incoming(frame, target_key(path), SOA::endpoint(),
                                   _Caldane_String(in_stream.operation_name()), _Caldane_String(""),
                                   _Caldane_String(in_stream.operation_namespace()), info, nullptr);
        incoming.invoke();
        request_read = frame.request_was_read();
    }

    /// The key that the address was published under, else the path itself.
    _Caldane_String target_key(const char* path) const {
        std::string key = std::to_string(connection.port);
        key += '/';
        key += path;
        _Caldane_String found;
        if (endpoint_table().lookup(_Caldane_String(std::string_view(key)), &found) != 0) return found;
        return _Caldane_String(path);
    }

    bool wants_to_stay() const {
        const char* const wish = message->GetRequestHeader("Connection");
        return wish != nullptr && vqOSstricmp(wish, "Keep-Alive") == 0;
    }

    /// True when the connection stands at the start of the next request.
    bool drained() {
        try {
            return in_stream.drained(kDrainLimit);
        } catch (...) {
            return false;
        }
    }

    _SOAP_Connection& connection;
    std::unique_ptr<CHttpMessage> message;
    _SOAP_InStream in_stream;
    _SOAP_OutStream out_stream;
    bool replied = false;
    bool request_read = false;
};

struct Found {
    _SOAP_Connection* connection = nullptr;
    bool loop_is_needed = false;  ///< a listener, or somebody who called the loop
};

/// Takes what the wait handle has reported: the first connection is the worker's own, others go to the
/// dispatcher.
Found take_ready(_SOAP_ConnectionList& list) {
    constexpr int kMost = 64;
    vqSocket ready[kMost];
    Found found;
    const int count = vqHandleReady(list.handle(), ready, kMost);
    for (int i = 0; i < count; ++i) {
        _SOAP_Connection* const connection = list.task_begins(ready[i]);
        if (connection == nullptr) {
            found.loop_is_needed = true;
        } else if (found.connection == nullptr) {
            found.connection = connection;
        } else {
            Dispatcher::new_task(&serve_connection, connection);
        }
    }
    return found;
}

/// Looks for connections that have become readable, for a moment.
Found find_next(_SOAP_ConnectionList& list) {
    const auto end = std::chrono::steady_clock::now() + kLinger;
    do {
        const vqTimeout at_once = {0, 0};
        const int woken = vqBlock(list.handle(), &at_once);
        if (woken == 0) return take_ready(list);
        if (woken != kVqTimedOut) return {nullptr, true};
    } while (Dispatcher::waiting() == 0 && std::chrono::steady_clock::now() < end);
    return {};
}

/// Shows the peer the end of the reply, and for a moment drops what it still sends: a connection that is
/// closed over unread bytes is reset, which takes the reply away from a peer that has not read it yet.
void drop_unread(const _SOAP_Connection& connection) {
    vqNetShutdownWrite(connection.socket);
    vqNetSetTimeout(connection.socket, kUnreadPause);
    const auto end = std::chrono::steady_clock::now() + kUnreadTime;
    char dropped[4096];
    long total = 0;
    while (total < kUnreadLimit && std::chrono::steady_clock::now() < end) {
        const int count = vqNetRecv(connection.socket, dropped, sizeof dropped, 0);
        if (count <= 0) return;
        total += count;
    }
}

/// One request; afterwards the connection is back in its list or gone.
void serve_one(_SOAP_Connection* connection) {
    After after = RequestTask(*connection).run();
    while (after == After::keep && connection->has_unread()) {
        connection->list->read_begins(connection);
        after = RequestTask(*connection).run();
    }
    connection->last_used = idle_clock();
    if (after == After::keep) {
        if (connection->list->append(connection)) return;
        // The server is ending: what has come meanwhile is the last request.
        if (connection->asks()) {
            connection->list->read_begins(connection);
            after = RequestTask(*connection).run();
        }
    }
    if (after == After::close_unread) {
        connection->stop_tls();
        drop_unread(*connection);
    }
    connection->list->leaves(connection);
    connection->close();
    delete connection;
}

}  // namespace

void serve_connection(void* argument) {
    auto* connection = static_cast<_SOAP_Connection*>(argument);
    _SOAP_ConnectionList* const list = connection->list;
    std::uint64_t turn = 0;
    for (;;) {
        serve_one(connection);
        if (turn != 0 && !list->turn().look_again(turn)) turn = 0;
        // What waits in the queue came first.
        if (Dispatcher::waiting() != 0) break;
        if (turn == 0) turn = list->turn().try_take();
        if (turn == 0) break;
        const Found next = find_next(*list);
        if (next.loop_is_needed) {
            list->turn().give_back(turn, true);
            turn = 0;
        }
        if (next.connection == nullptr) break;
        if (turn != 0) list->turn().serve(turn);
        list->task_ends();  // each connection was counted as a task of its own
        connection = next.connection;
    }
    if (turn != 0) list->turn().give_back(turn, Dispatcher::waiting() == 0);
    list->task_ends();
}
