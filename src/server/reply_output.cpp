// SPDX-License-Identifier: MIT
#include "server/reply_output.h"

#include <vqsys/net.h>

#include <algorithm>
#include <cstring>

#include "secure/secure_channel.h"
#include "server/connection.h"
#include "streams/wire_trace.h"

namespace {

/// The most that a record of TLS holds (RFC 8446 5.1).
constexpr std::size_t kFirstRecord = 16384;

}  // namespace

int ReplyOutput::write(const char* data, int length) {
    if (connection.broken || abandoned || length <= 0) return 0;
    const std::string_view text(data, static_cast<std::size_t>(length));
    if (wire_trace::on()) wire_trace::sent(connection.socket, data, length);
    if (more && held + text.size() <= sizeof head) {
        std::memcpy(head + held, text.data(), text.size());
        held += text.size();
        more = false;
        return length;
    }
    more = false;
    if (!send(text)) connection.broken = true;
    held = 0;
    return connection.broken ? 0 : length;
}

void ReplyOutput::abandon() {
    held = 0;
    abandoned = connection.reply_cut = true;
}

bool ReplyOutput::send(std::string_view text) {
    Outbox& outbox = connection.outbox;
    if (!outbox.empty()) return outbox.put({head, held}) && outbox.put(text);
    return connection.channel != nullptr ? send_sealed(text) : send_plain(text);
}

bool ReplyOutput::send_plain(std::string_view text) {
    const long count = vqNetSendNow(connection.socket, {head, held, text.data(), text.size()});
    if (count < 0) return false;
    const auto taken = static_cast<std::size_t>(count);
    if (taken == held + text.size()) return true;
    const std::size_t of_head = std::min(taken, held);
    return connection.outbox.put({head + of_head, held - of_head}) &&
           connection.outbox.put(text.substr(taken - of_head));
}

/// The head shares a record with what follows it. Text is sealed where it lies while the socket takes it.
bool ReplyOutput::send_sealed(std::string_view text) {
    Outbox& outbox = connection.outbox;
    if (held != 0) {
        char first[kFirstRecord];
        const std::size_t share = std::min(text.size(), sizeof first - held);
        std::memcpy(first, head, held);
        std::memcpy(first + held, text.data(), share);
        text.remove_prefix(share);
        const std::size_t sealed = outbox.seal({first, held + share});
        if (sealed < held + share)
            return sealed != 0 && outbox.put({first + sealed, held + share - sealed}) && outbox.put(text);
    }
    for (;;) {
        const Flushed flushed = ::flush(outbox, connection.socket);
        if (flushed == Flushed::broken) return false;
        if (text.empty()) return true;
        if (flushed == Flushed::some) return outbox.put(text);
        const std::size_t sealed = outbox.seal(text);
        if (sealed == 0) return false;
        text.remove_prefix(sealed);
    }
}
