// SPDX-License-Identifier: MIT
#include "server/connection_task.h"

#include <vqsys/net.h>
#include <vqsys/text.h>

#include <atomic>
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
/// Requests that one task serves in a row while others wait.
constexpr int kMostInARow = 32;
/// How long a worker looks for the next request of its connection before it gives it back.
constexpr auto kLinger = std::chrono::microseconds(30);

enum class After { keep, close, close_unread };

/// One HTTP exchange with all that belongs to it.
class RequestTask {
public:
    explicit RequestTask(_SOAP_Connection& served)
        : connection(served), message(new CHttpMessage(HTTP_SERVER_SIDE)) {}

    After run() {
        if (message == nullptr) return After::close_unread;
        serve();
        const bool clean = wants_to_stay() && drained();
        in_stream.release();
        out_stream.close_body();
        connection.list->read_ends(&connection);
        if (clean) return After::keep;
        return replied ? After::close_unread : After::close;
    }

private:
    /// Malformed XML ends here: such a request is answered by nothing, like others that cannot be read.
    void serve() {
        try {
            if (!read_request()) return;
            call();
        } catch (...) {
            out_stream.drop_body();
        }
    }

    bool read_request() {
        SOA::get_default_context().delete_values(_Caldane_String("*"));
        in_stream.attach(message.get(), connection.socket, connection.channel);
        auto* const socket_in = new CSocketInputStream(connection.socket, connection.channel);
        if (socket_in == nullptr) return false;
        const double limit = read_timeout();
        if (limit > 0) socket_in->set_deadline(limit * kWholeRequestFactor);
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
        _SOAP_ServerFrame frame(in_stream, out_stream);
        replied = true;
        _SOA_IncomingCall incoming(frame, target_key(path), SOA::endpoint(),
                                   _Caldane_String(in_stream.operation_name()), _Caldane_String(""),
                                   _Caldane_String(in_stream.operation_namespace()), info, nullptr);
        incoming.invoke();
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
};

/// At most one worker at a time spends the processor on waiting.
class LingerTurn {
public:
    LingerTurn() : mine(!taken.exchange(true, std::memory_order_acquire)) {}
    ~LingerTurn() {
        if (mine) taken.store(false, std::memory_order_release);
    }
    LingerTurn(const LingerTurn&) = delete;
    LingerTurn& operator=(const LingerTurn&) = delete;
    explicit operator bool() const { return mine; }

private:
    static std::atomic<bool> taken;
    bool mine;
};
std::atomic<bool> LingerTurn::taken = false;

/// True if the connection's next request has begun to arrive.
bool next_request_comes(const _SOAP_Connection& connection) {
    if (Dispatcher::waiting() != 0) return false;
    const LingerTurn turn;
    if (!turn) return false;
    const auto end = std::chrono::steady_clock::now() + kLinger;
    do {
        const vqNetState state = vqNetPeek(connection.socket);
        if (state != vqNetState::idle) return state == vqNetState::readable;
    } while (Dispatcher::waiting() == 0 && std::chrono::steady_clock::now() < end);
    return false;
}

/// Reads what the peer has sent beyond what was used, so that closing does not take the reply away from it:
/// a connection that is closed over unread bytes is reset.
void close_after_unread(_SOAP_Connection& connection) {
    vqNetShutdownWrite(connection.socket);
    char dropped[4096];
    long total = 0;
    while (total < kDrainLimit && vqNetPeek(connection.socket) == vqNetState::readable) {
        const int count = vqNetRecv(connection.socket, dropped, sizeof dropped, 0);
        if (count <= 0) break;
        total += count;
    }
    connection.close();
}

}  // namespace

void serve_connection(void* argument) {
    auto* const connection = static_cast<_SOAP_Connection*>(argument);
    _SOAP_ConnectionList* const list = connection->list;
    After after = After::close;
    for (int served = 0; served < kMostInARow; ++served) {
        if (served > 0) list->read_begins(connection);
        after = RequestTask(*connection).run();
        connection->last_used = idle_clock();
        if (after != After::keep || !next_request_comes(*connection)) break;
    }
    if (after != After::keep || !list->append(connection)) {
        if (after == After::close_unread) {
            close_after_unread(*connection);
        } else {
            connection->close();
        }
        delete connection;
    }
    list->task_ends();
}
