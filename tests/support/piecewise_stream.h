// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vqsys/types.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "streams/stream.h"

/// Gives a text in pieces of `step` bytes, out of a block of exactly the text's size, so that a sanitizer
/// sees a reader that goes one byte too far.
class PiecewiseInputStream final : public CInputStream {
public:
    PEL_HEAP_OBJECT

    explicit PiecewiseInputStream(std::string_view text, int step = 1 << 20)
        : bytes(text.begin(), text.end()), piece(static_cast<std::size_t>(step)) {
        bytes.shrink_to_fit();
    }

    int get() override {
        char c = 0;
        return read(&c, 1) == 1 ? static_cast<unsigned char>(c) : -1;
    }
    int read(char* buffer, int length) override {
        ++reads;
        const std::size_t count =
            std::min({piece, bytes.size() - position, static_cast<std::size_t>(std::max(length, 0))});
        if (count == 0) return end_of_input;
        std::memcpy(buffer, bytes.data() + position, count);
        position += count;
        return static_cast<int>(count);
    }
    int available() override { return -1; }
    int status() override { return kStreamGood; }

    std::string unread() const { return {bytes.begin() + static_cast<long>(position), bytes.end()}; }

    int end_of_input = -1;  ///< what `read` gives there: -1, or 0 as a socket's stream does
    int reads = 0;

private:
    std::vector<char> bytes;
    std::size_t piece;
    std::size_t position = 0;
};

/// Keeps what is written to it, each write by itself, and takes no more than `room` bytes in all: a write
/// beyond that takes what fits, and gives 0 from then on.
class RecordingOutputStream final : public COutputStream {
public:
    PEL_HEAP_OBJECT

    explicit RecordingOutputStream(std::size_t room_in_bytes = std::string::npos) : room(room_in_bytes) {}

    int write(const char* data, int length) override {
        const std::size_t count = std::min(room - all.size(), static_cast<std::size_t>(length));
        writes.emplace_back(data, static_cast<std::size_t>(length));
        if (std::exchange(more, false)) announced.push_back(writes.size() - 1);
        all.append(data, count);
        return static_cast<int>(count);
    }
    int put(char c) override { return write(&c, 1); }
    void flush() override { ++flushes; }
    void close() override { ++closes; }
    int status() override { return kStreamGood; }
    void abandon() override { abandoned = true; }
    void more_follows() override { more = true; }

    std::string all;                     ///< what was taken
    std::vector<std::string> writes;     ///< what was offered
    std::vector<std::size_t> announced;  ///< those of which it was told that another follows
    int flushes = 0;
    int closes = 0;
    bool abandoned = false;  ///< told so; keeps what is written all the same

private:
    std::size_t room;
    bool more = false;
};

/// Tells by a flag that it was deleted: for tests of ownership.
class MortalInputStream final : public CInputStream {
public:
    PEL_HEAP_OBJECT

    MortalInputStream(std::string_view text, bool* deleted_flag)
        : inner(text, 1 << 20), deleted(deleted_flag) {}
    ~MortalInputStream() override { *deleted = true; }
    int get() override { return inner.get(); }
    int read(char* buffer, int length) override { return inner.read(buffer, length); }
    int available() override { return inner.available(); }
    int status() override { return inner.status(); }

private:
    PiecewiseInputStream inner;
    bool* deleted;
};

/// The same for sinks; what is written goes to `target`.
class MortalOutputStream final : public COutputStream {
public:
    PEL_HEAP_OBJECT

    MortalOutputStream(COutputStream* target, bool* deleted_flag) : inner(target), deleted(deleted_flag) {}
    ~MortalOutputStream() override { *deleted = true; }
    int write(const char* data, int length) override { return inner->write(data, length); }
    int put(char c) override { return inner->put(c); }
    void flush() override { inner->flush(); }
    void close() override { inner->close(); }
    int status() override { return kStreamGood; }
    void abandon() override { inner->abandon(); }

private:
    COutputStream* inner;
    bool* deleted;
};

/// Two connected sockets in memory: `near` for the code under test, `far` for the test.
class SocketPair {
public:
    SocketPair() {
        int ends[2] = {kVqNoSocket, kVqNoSocket};
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0) {
            near = ends[0];
            far = ends[1];
        }
    }
    ~SocketPair() {
        close_near();
        close_far();
    }
    SocketPair(const SocketPair&) = delete;
    SocketPair& operator=(const SocketPair&) = delete;

    bool good() const { return near != kVqNoSocket; }
    void close_near() { close_one(near); }
    void close_far() { close_one(far); }
    /// The far end's last byte was sent; it still receives.
    void finish_far() const { ::shutdown(far, SHUT_WR); }

    /// Sends all of `text` from the far end; it must fit the system's buffer.
    bool send(std::string_view text) const {
        return ::send(far, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
    }
    /// What has arrived at the far end; does not wait.
    std::string received() const {
        std::string text;
        char block[4096];
        for (;;) {
            const ssize_t count = ::recv(far, block, sizeof block, MSG_DONTWAIT);
            if (count <= 0) return text;
            text.append(block, static_cast<std::size_t>(count));
        }
    }

    vqSocket near = kVqNoSocket;
    vqSocket far = kVqNoSocket;

private:
    static void close_one(vqSocket& socket) {
        if (socket != kVqNoSocket) ::close(socket);
        socket = kVqNoSocket;
    }
};

/// All that reads of at most `wanted` bytes give until the first that gives none.
inline std::string read_all(CInputStream& stream, int wanted = 64) {
    std::string text;
    std::vector<char> block(static_cast<std::size_t>(wanted));
    for (;;) {
        const int count = stream.read(block.data(), wanted);
        if (count <= 0) return text;
        text.append(block.data(), static_cast<std::size_t>(count));
    }
}

/// Runs `scenario` with the first allocation failing, then the second, and so on until none is left to fail.
/// Gives the number of failures tried.
template <typename Scenario>
long with_each_allocation_failing(Scenario scenario) {
    for (long nth = 1;; ++nth) {
        PEL_Fault::fail_allocation(nth);
        scenario();
        const bool happened = PEL_Fault::happened();
        PEL_Fault::fail_allocation(0);
        if (!happened) return nth - 1;
    }
}
