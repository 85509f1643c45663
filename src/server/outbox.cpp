// SPDX-License-Identifier: MIT
#include "server/outbox.h"

#include <vqsys/net.h>

#include "secure/secure_channel.h"

namespace {

/// Behind so many bytes to a peer that takes all of them at once it is another connection's turn.
constexpr std::size_t kShare = 4 << 20;

}  // namespace

bool Outbox::put(std::string_view text) {
    ByteQueue& queue = channel == nullptr ? ready : plain;
    if (!queue.append(text)) has_failed = true;
    return !has_failed;
}

std::size_t Outbox::seal(std::string_view text) {
    const std::size_t count = has_failed ? 0 : channel->seal(text, ready);
    if (count == 0) has_failed = true;
    return count;
}

std::string_view Outbox::next() {
    if (ready.empty() && !plain.empty()) plain.consume(seal(plain.view()));
    return has_failed ? std::string_view() : ready.view();
}

Flushed flush(Outbox& outbox, vqSocket socket) {
    for (std::size_t sent = 0; sent < kShare;) {
        const std::string_view bytes = outbox.next();
        if (outbox.failed()) return Flushed::broken;
        if (bytes.empty()) return Flushed::all;
        const long count = vqNetSendNow(socket, {bytes.data(), bytes.size(), nullptr, 0});
        if (count < 0) return Flushed::broken;
        outbox.taken(static_cast<std::size_t>(count));
        sent += static_cast<std::size_t>(count);
        if (static_cast<std::size_t>(count) < bytes.size()) return Flushed::some;
    }
    return outbox.empty() ? Flushed::all : Flushed::some;
}
