// SPDX-License-Identifier: MIT
#include "server/request_task.h"

#include <vqsys/net.h>
#include <vqsys/text.h>

#include <charconv>
#include <cstring>
#include <string>
#include <utility>

#include "http/http_message.h"
#include "server/endpoint_table.h"
#include "server/reply_output.h"
#include "server/server_frame.h"
#include "transport/broker.h"

namespace {

/// Bytes of a request that nobody read which are read off a kept connection before the next one.
constexpr long kDrainLimit = 64 * 1024;

/// An address in network byte order. Called for each request: the system's way takes a tenth of its time.
std::string dotted(std::uint32_t address) {
    unsigned char bytes[4];
    std::memcpy(bytes, &address, sizeof bytes);
    char text[16];
    char* end = text;
    for (const unsigned char byte : bytes) {
        if (end != text) *end++ = '.';
        end = std::to_chars(end, text + sizeof text, static_cast<unsigned>(byte)).ptr;
    }
    return std::string(text, end);
}

}  // namespace

RequestTask::RequestTask(_SOAP_Connection& served, std::unique_ptr<CHttpMessage> request,
                         std::unique_ptr<CInputStream> body_source)
    : connection(served), message(std::move(request)), source(std::move(body_source)) {}

After RequestTask::run(bool more_came) {
    const After after = message ? exchange(more_came) : After::close;
    SOA::get_default_context().delete_values(_Caldane_String("*"));
    return after;
}

After RequestTask::exchange(bool more_came) {
    serve();
    out_stream.close_body();
    // A peer that waits for a reply which memory did not suffice for is to see that none comes.
    const bool reply_lost = replied && !message->IsHeaderWritten();
    const bool reply_cut = connection.reply_cut && message->IsHeaderWritten() != 0;
    const bool given_up = replied && !request_read;
    const bool stays =
        wants_to_stay() && !reply_lost && !reply_cut && !connection.broken && !given_up && drained();
    in_stream.release();
    connection.unanswered = stays && !message->IsHeaderWritten();
    if (stays) return After::keep;
    if (!replied || connection.broken || connection.input_ended) return After::close;
    const bool unread = !request_read || more_came || vqNetPeek(connection.socket) == vqNetState::readable;
    return unread ? After::close_unread : After::close;
}

/// Malformed XML ends here: such a request is answered by nothing, like others that cannot be read.
void RequestTask::serve() {
    try {
        if (!read_request()) return;
        call();
    } catch (...) {
        out_stream.drop_body();
        replied = false;
    }
}

bool RequestTask::read_request() {
    SOA::get_default_context().delete_values(_Caldane_String("*"));
    in_stream.attach(message.get(), kVqNoSocket, nullptr);
    if (in_stream.open_envelope_from(std::move(source)) == 0 || in_stream.open_result() == 0) return false;
    return message->GetPath() != nullptr;
}

void RequestTask::call() {
    message->AddResponseHeader("Content-Type", "text/xml; charset=\"utf-8\"");
    const char* path = message->GetPath();
    if (*path == '/') ++path;
    _Caldane_CallInfo info;
    out_stream.attach(message.get(), kVqNoSocket, nullptr);
    connection.reply_cut = false;
    if (out_stream.open_body_over(std::unique_ptr<COutputStream>(new ReplyOutput(connection))) == 0) return;
    _SOAP_ServerFrame frame(in_stream, out_stream, wants_to_stay() ? kDrainLimit : 0);
    replied = true;
    _SOA_IncomingCall incoming(frame, target_key(path), SOA::endpoint(),
                               _Caldane_String(in_stream.operation_name()), _Caldane_String(""),
                               _Caldane_String(in_stream.operation_namespace()), info, nullptr);
    const SOA::Peer peer = caller();
    const SOA::PeerScope scope(peer);
    incoming.invoke();
    request_read = frame.request_was_read();
}

/// Who calls, for the servant.
SOA::Peer RequestTask::caller() const {
    SOA::Peer peer;
    peer.address = dotted(connection.peer_address);
    peer.port = connection.peer_port;
    peer.secure = connection.channel != nullptr;
    return peer;
}

/// The key that the address was published under, else the path itself.
_Caldane_String RequestTask::target_key(const char* path) const {
    std::string key = std::to_string(connection.port);
    key += '/';
    key += path;
    _Caldane_String found;
    if (endpoint_table().lookup(_Caldane_String(std::string_view(key)), &found) != 0) return found;
    return _Caldane_String(path);
}

bool RequestTask::wants_to_stay() const {
    const char* const wish = message->GetRequestHeader("Connection");
    return wish != nullptr && vqOSstricmp(wish, "Keep-Alive") == 0;
}

/// True when the connection stands at the start of the next request.
bool RequestTask::drained() {
    try {
        return in_stream.drained(kDrainLimit);
    } catch (...) {
        return false;
    }
}
