// SPDX-License-Identifier: MIT
#include "streams/wire_trace.h"

#include <fcntl.h>
#include <pelthread/mutex.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>

namespace wire_trace {

constinit std::atomic<int> file = -1;

namespace {

PEL_Mutex& mutex() {
    static PEL_Mutex& instance = *new PEL_Mutex;
    return instance;
}

/// A trace that cannot be written on is given up: calls go on without it.
void write_block(vqSocket socket, const char* direction, const char* data, int length) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm parts{};
    gmtime_r(&now.tv_sec, &parts);
    char head[96];
    std::size_t used = std::strftime(head, sizeof head, "[%Y-%m-%dT%H:%M:%S", &parts);
    used += static_cast<std::size_t>(std::snprintf(head + used, sizeof head - used, ".%03ldZ #%d %s %d]\n",
                                                   now.tv_nsec / 1'000'000, socket, direction, length));
    char newline = '\n';
    iovec pieces[] = {
        {head, used}, {const_cast<char*>(data), static_cast<std::size_t>(length)}, {&newline, 1}};
    const PEL_Lock lock(mutex());
    const int target = file.load(std::memory_order_relaxed);
    if (target < 0) return;
    iovec* next = pieces;
    int left = 3;
    while (left > 0) {
        ssize_t count = ::writev(target, next, left);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return;
        for (; left > 0 && static_cast<std::size_t>(count) >= next->iov_len; ++next, --left)
            count -= static_cast<ssize_t>(next->iov_len);
        if (left > 0) {
            next->iov_base = static_cast<char*>(next->iov_base) + count;
            next->iov_len -= static_cast<std::size_t>(count);
        }
    }
}

}  // namespace

bool open(const char* path) {
    int opened = -1;
    if (path != nullptr && *path != '\0') {
        opened = ::open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        if (opened < 0) return false;
    }
    const PEL_Lock lock(mutex());
    const int before = file.exchange(opened);
    if (before >= 0) ::close(before);
    return true;
}

void sent(vqSocket socket, const char* data, int length) {
    write_block(socket, "sent", data, length);
}

void received(vqSocket socket, const char* data, int length) {
    write_block(socket, "received", data, length);
}

}  // namespace wire_trace
