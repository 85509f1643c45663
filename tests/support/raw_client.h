// SPDX-License-Identifier: MIT
#pragma once

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace soap_test {

/// A client that sends what the test says, byte for byte. Nothing waits for more than ten seconds.
class RawClient {
public:
    explicit RawClient(std::uint16_t port) : socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        if (::connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) close();
    }
    ~RawClient() { close(); }
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    bool connected() const { return socket >= 0; }

    /// False when the server has closed before all was sent.
    bool send(std::string_view text) const {
        while (!text.empty()) {
            const ssize_t count = ::send(socket, text.data(), text.size(), MSG_NOSIGNAL);
            if (count <= 0) return false;
            text.remove_prefix(static_cast<std::size_t>(count));
        }
        return true;
    }
    void finish() const { ::shutdown(socket, SHUT_WR); }

    /// All until the server ends.
    std::string read_to_end() {
        while (read_more()) {
        }
        return take(received.size());
    }

    /// One message, framed by its Content-Length; what came by then if the server ends.
    std::string read_message() {
        std::size_t head = std::string::npos;
        while ((head = received.find("\r\n\r\n")) == std::string::npos) {
            if (!read_more()) return take(received.size());
        }
        const std::size_t at = received.find("Content-Length: ");
        std::size_t whole = head + 4;
        if (at < head) whole += std::strtoul(received.c_str() + at + 16, nullptr, 10);
        while (received.size() < whole && read_more()) {
        }
        return take(std::min(whole, received.size()));
    }

    /// True when the server has ended the connection, with nothing more sent.
    bool ended() { return received.empty() && !read_more() && is_at_end; }

    /// True when the connection ended by a reset, which may take away what was not read yet.
    bool was_reset() const { return has_reset; }

    /// Drops the connection with a reset.
    void reset() {
        const linger now{1, 0};
        setsockopt(socket, SOL_SOCKET, SO_LINGER, &now, sizeof now);
        close();
    }
    void close() {
        if (socket >= 0) ::close(socket);
        socket = -1;
    }

private:
    bool read_more() {
        char block[4096];
        pollfd waiting{socket, POLLIN, 0};
        if (poll(&waiting, 1, 10'000) <= 0) return false;
        const ssize_t count = recv(socket, block, sizeof block, 0);
        is_at_end = count <= 0;
        if (count < 0) has_reset = true;
        if (count > 0) received.append(block, static_cast<std::size_t>(count));
        return count > 0;
    }
    std::string take(std::size_t count) {
        std::string text = received.substr(0, count);
        received.erase(0, count);
        return text;
    }

    int socket;
    std::string received;
    bool is_at_end = false;
    bool has_reset = false;
};

}  // namespace soap_test
