// SPDX-License-Identifier: MIT
#include <vqsys/net.h>

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>
#include <optional>

#include "last_error.h"
#include "socket_lives.h"

namespace {

constexpr int kAddressSize = static_cast<int>(sizeof(vqAddress));

sockaddr_in to_system(const vqAddress& address) {
    sockaddr_in result{};
    result.sin_family = address.family;
    result.sin_port = address.port;
    result.sin_addr.s_addr = address.address;
    return result;
}

void from_system(const sockaddr_in& address, vqAddress* out, int* length) {
    if (out != nullptr) {
        *out = vqAddress{};
        out->family = static_cast<std::uint8_t>(address.sin_family);
        out->port = address.sin_port;
        out->address = address.sin_addr.s_addr;
    }
    if (length != nullptr) *length = kAddressSize;
}

bool room_for_address(const vqAddress* address, const int* length) {
    return address == nullptr || length == nullptr || *length >= kAddressSize;
}

bool is_non_blocking(int socket) {
    const int flags = fcntl(socket, F_GETFL);
    return flags != -1 && (flags & O_NONBLOCK) != 0;
}

/// On a blocking socket "try again" and "in progress" are how the system says that time is up.
int fail_with_time(int socket, int error_number) {
    const bool unfinished = error_number == EAGAIN || error_number == EINPROGRESS;
    return vq_fail(unfinished && !is_non_blocking(socket) ? ETIMEDOUT : error_number);
}

int outcome(int system_result) {
    return system_result == 0 ? VQOK : vq_fail(errno);
}

/// What `vqNetSetTimeout` has set, in milliseconds; -1 for no limit.
int limit_of(int socket) {
    timeval limit{};
    socklen_t size = sizeof limit;
    if (getsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &limit, &size) != 0 ||
        (limit.tv_sec | limit.tv_usec) == 0)
        return -1;
    return static_cast<int>(std::fmin(static_cast<double>(limit.tv_sec), 1e6)) * 1000 +
           static_cast<int>((limit.tv_usec + 999) / 1000);
}

/// Waits until the socket can be written to; 0 when `milliseconds` are over, negative at a failure.
int await_writable(int socket, int milliseconds) {
    pollfd waiting{socket, POLLOUT, 0};
    int ready = 0;
    do {
        ready = poll(&waiting, 1, milliseconds);
    } while (ready < 0 && errno == EINTR);
    return ready;
}

/// A connect that a signal cut short goes on by itself; this waits for its end.
int await_connect(int socket) {
    const int ready = await_writable(socket, limit_of(socket));
    if (ready == 0) return vq_fail(ETIMEDOUT);
    int error = 0;
    socklen_t size = sizeof error;
    if (ready < 0 || getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size) != 0) return vq_fail(errno);
    return error == 0 ? VQOK : vq_fail(error);
}

/// A send for which the system had no room: waits for as long as the peer takes some of it now and then.
///
/// The system's own limit is for a whole send, however large, and it calls a socket writable only when a good
/// part of its buffer has become free. So what the peer acknowledges is looked at.
class SendWait {
public:
    SendWait(int sender, bool in_time) : socket(sender), whole(in_time), limit(limit_of(sender)) {
        if (limit < 0) return;
        end = Clock::now() + std::chrono::milliseconds(limit);
        acknowledged = vqNetAcknowledged(socket);
    }

    /// True once there is room; false, with the error set, when time is up or the wait failed.
    bool await_room() {
        for (;;) {
            const int ready = await_writable(socket, next_step());
            if (ready < 0) return vq_fail(errno), false;
            const bool progress = ready > 0 || has_acknowledged();
            if (limit >= 0 && progress && !whole) end = Clock::now() + std::chrono::milliseconds(limit);
            if (limit >= 0 && Clock::now() >= end) return vq_fail(ETIMEDOUT), false;
            if (ready > 0) return true;
        }
    }

private:
    using Clock = std::chrono::steady_clock;

    /// Progress is looked for several times within the limit.
    int next_step() const {
        constexpr int kLooks = 8;
        if (limit < 0) return -1;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        const auto step = whole ? left : std::min<long long>(left, limit / kLooks + 1);
        return static_cast<int>(std::max<long long>(step, 0));
    }

    bool has_acknowledged() {
        const long long before = acknowledged;
        acknowledged = vqNetAcknowledged(socket);
        return acknowledged > before;
    }

    int socket;
    bool whole;
    int limit;
    Clock::time_point end;
    long long acknowledged = -1;
};

}  // namespace

int vqNetSocket(vqSocket* out, int family, int type, int protocol) {
    if (out == nullptr) return vq_fail(EINVAL);
    *out = ::socket(family, type | SOCK_CLOEXEC, protocol);
    if (*out < 0) return vq_fail(errno);
    if (type == SOCK_STREAM && family == AF_INET) {
        const int on = 1;
        setsockopt(*out, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }
    return VQOK;
}

int vqNetConnect(vqSocket socket, const vqAddress* address, int size) {
    if (address == nullptr || size < kAddressSize) return vq_fail(EINVAL);
    const sockaddr_in peer = to_system(*address);
    if (connect(socket, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) == 0) return VQOK;
    return errno == EINTR ? await_connect(socket) : fail_with_time(socket, errno);
}

int vqNetBind(vqSocket socket, const vqAddress* address, int size) {
    if (address == nullptr || size < kAddressSize) return vq_fail(EINVAL);
    const int on = 1;
    if (setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0) return vq_fail(errno);
    const sockaddr_in own = to_system(*address);
    return outcome(bind(socket, reinterpret_cast<const sockaddr*>(&own), sizeof own));
}

int vqNetListen(vqSocket socket, int backlog) {
    return outcome(listen(socket, backlog > 0 ? backlog : SOMAXCONN));
}

int vqNetDeferAccept(vqSocket listener, int seconds) {
    return outcome(setsockopt(listener, IPPROTO_TCP, TCP_DEFER_ACCEPT, &seconds, sizeof seconds));
}

int vqNetAccept(vqSocket listener, vqSocket* out, vqAddress* peer, int* length) {
    if (out == nullptr || !room_for_address(peer, length)) return vq_fail(EINVAL);
    sockaddr_in address{};
    do {
        socklen_t size = sizeof address;
        *out = accept4(listener, reinterpret_cast<sockaddr*>(&address), &size, SOCK_CLOEXEC);
    } while (*out < 0 && errno == EINTR);
    if (*out < 0) {
        *out = kVqNoSocket;
        return vq_fail(errno);
    }
    from_system(address, peer, length);
    return VQOK;
}

int vqNetGetSockName(vqSocket socket, vqAddress* address, int* length) {
    if (address == nullptr || !room_for_address(address, length)) return vq_fail(EINVAL);
    sockaddr_in own{};
    socklen_t size = sizeof own;
    if (getsockname(socket, reinterpret_cast<sockaddr*>(&own), &size) != 0) return vq_fail(errno);
    from_system(own, address, length);
    return VQOK;
}

int vqNetSetNonBlocking(vqSocket socket, int flag) {
    const int flags = fcntl(socket, F_GETFL);
    if (flags == -1) return vq_fail(errno);
    const int wanted = flag != 0 ? flags | O_NONBLOCK : flags & ~O_NONBLOCK;
    if (wanted == flags) return VQOK;
    return outcome(fcntl(socket, F_SETFL, wanted));
}

int vqNetSetTimeout(vqSocket socket, double seconds) {
    if (!(seconds >= 0)) return vq_fail(EINVAL);
    constexpr double kLongest = 1e9;
    const double limit = std::fmin(seconds, kLongest);
    timeval time{};
    time.tv_sec = static_cast<time_t>(limit);
    time.tv_usec = static_cast<suseconds_t>((limit - std::floor(limit)) * 1e6);
    // Less than the clock can tell is still a limit; all zero would be none.
    if (limit > 0 && time.tv_sec == 0 && time.tv_usec == 0) time.tv_usec = 1;
    if (setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time) != 0) return vq_fail(errno);
    return outcome(setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time));
}

int vqNetClose(vqSocket* socket) {
    if (socket == nullptr) return vq_fail(EINVAL);
    const int closing = *socket;
    *socket = kVqNoSocket;
    if (closing < 0) return vq_fail(EBADF);
    vq_socket_life_ends(closing);
    // The number is free even if a signal interrupts: closing again could hit another thread's socket.
    if (close(closing) == 0 || errno == EINTR) return VQOK;
    return vq_fail(errno);
}

int vqNetResetOnClose(vqSocket socket) {
    const linger at_once{1, 0};
    return outcome(setsockopt(socket, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once));
}

int vqNetShutdownWrite(vqSocket socket) {
    return outcome(shutdown(socket, SHUT_WR));
}

int vqNetShutdownRead(vqSocket socket) {
    return outcome(shutdown(socket, SHUT_RD));
}

static_assert(kVqSendMoreFollows == MSG_MORE);

int vqNetSend(vqSocket socket, const char* data, int length, int flags) {
    if (length < 0) return vq_fail(EINVAL), -1;
    const bool in_time = (flags & kVqSendInTime) != 0;
    const int system_flags = (flags & ~kVqSendInTime) | MSG_NOSIGNAL | MSG_DONTWAIT;
    int sent = 0;
    std::optional<SendWait> wait;
    for (;;) {
        const ssize_t count =
            send(socket, data + sent, static_cast<std::size_t>(length - sent), system_flags);
        if (count >= 0) {
            sent += static_cast<int>(count);
            if (sent == length) return sent;
        } else if (errno == EINTR) {
            continue;
        } else if (errno != EAGAIN) {
            return vq_fail(errno), sent > 0 ? sent : -1;
        }
        if (!wait) {
            if (is_non_blocking(socket)) return sent > 0 ? sent : (vq_fail(EAGAIN), -1);
            wait.emplace(socket, in_time);
        }
        if (!wait->await_room()) return sent > 0 ? sent : -1;
    }
}

int vqNetRecv(vqSocket socket, char* buffer, int length, int flags) {
    if (length < 0) return vq_fail(EINVAL), -1;
    for (;;) {
        const ssize_t count = recv(socket, buffer, static_cast<std::size_t>(length), flags);
        if (count >= 0) return static_cast<int>(count);
        if (errno != EINTR) return fail_with_time(socket, errno), -1;
    }
}

int vqNetRecvNow(vqSocket socket, char* buffer, int length) {
    if (length < 0) return vq_fail(EINVAL), kVqBroken;
    for (;;) {
        const ssize_t count = recv(socket, buffer, static_cast<std::size_t>(length), MSG_DONTWAIT);
        if (count >= 0) return static_cast<int>(count);
        if (errno == EAGAIN) return kVqNothingYet;
        if (errno != EINTR) return vq_fail(errno), kVqBroken;
    }
}

long vqNetSendNow(vqSocket socket, const vqPieces& pieces) {
    constexpr std::size_t kMost = std::size_t{1} << 30;
    const std::size_t first = std::min(pieces.first_length, kMost);
    iovec parts[2] = {{const_cast<char*>(pieces.first), first},
                      {const_cast<char*>(pieces.second), std::min(pieces.second_length, kMost - first)}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    for (;;) {
        const ssize_t count = sendmsg(socket, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count >= 0) return static_cast<long>(count);
        if (errno == EAGAIN) return 0;
        if (errno != EINTR) return vq_fail(errno), kVqBroken;
    }
}

vqNetState vqNetPeek(vqSocket socket) {
    char byte = 0;
    ssize_t count = 0;
    do {
        count = recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    } while (count < 0 && errno == EINTR);
    if (count > 0) return vqNetState::readable;
    return count < 0 && errno == EAGAIN ? vqNetState::idle : vqNetState::closed;
}
