// SPDX-License-Identifier: MIT
#pragma once

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace soap_test {

/// One connection of a `ScriptedServer`, as its script sees it. Nothing waits for more than ten seconds.
class ScriptedConnection {
public:
    ScriptedConnection(int connection, int number) : socket(connection), number_(number) {}
    ~ScriptedConnection() { close(); }
    ScriptedConnection(const ScriptedConnection&) = delete;
    ScriptedConnection& operator=(const ScriptedConnection&) = delete;

    /// Which connection of the server it is, from 1.
    int number() const { return number_; }

    /// The next whole request, framed by its own head; what came by then if the client has ended.
    std::string read_request() {
        std::string text;
        std::size_t head = std::string::npos;
        while ((head = text.find("\r\n\r\n")) == std::string::npos) {
            if (!read_more(text)) return text;
        }
        const std::size_t length_at = text.find("Content-Length: ");
        if (length_at < head) {
            const std::size_t whole = head + 4 + std::strtoul(text.c_str() + length_at + 16, nullptr, 10);
            while (text.size() < whole && read_more(text)) {
            }
        } else if (text.find("Transfer-Encoding: ") < head) {
            while (!text.ends_with("\r\n0\r\n\r\n") && read_more(text)) {
            }
        }
        return text;
    }

    /// Waits for bytes and takes what is there; false when the client has ended.
    bool read_more(std::string& text) {
        char block[4096];
        pollfd waiting{socket, POLLIN, 0};
        if (poll(&waiting, 1, 10'000) <= 0) return false;
        const ssize_t count = recv(socket, block, sizeof block, 0);
        if (count > 0) text.append(block, static_cast<std::size_t>(count));
        return count > 0;
    }

    void send(std::string_view text) { send_in_pieces(text, text.size()); }

    void send_in_pieces(std::string_view text, std::size_t size) {
        while (!text.empty()) {
            const ssize_t count = ::send(socket, text.data(), std::min(size, text.size()), MSG_NOSIGNAL);
            if (count <= 0) return;
            text.remove_prefix(static_cast<std::size_t>(count));
        }
    }

    /// Until the client closes.
    void wait_for_end() {
        std::string ignored;
        while (read_more(ignored)) {
        }
    }

    void close() {
        if (socket >= 0) ::close(socket);
        socket = -1;
    }

    void reset() {
        const linger now{1, 0};
        setsockopt(socket, SOL_SOCKET, SO_LINGER, &now, sizeof now);
        close();
    }

private:
    int socket;
    int number_;
};

/// A server on a port of the loopback that the system chooses unless one is wanted. Each connection runs the
/// script on a thread of its own and is closed at the script's end.
class ScriptedServer {
public:
    using Script = std::function<void(ScriptedConnection&)>;

    explicit ScriptedServer(Script to_run, std::uint16_t wanted_port = 0) : script(std::move(to_run)) {
        listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(wanted_port);
        socklen_t size = sizeof address;
        const int on = 1;
        setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        if (bind(listener, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(listener, 64) != 0 ||
            getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0)
            std::abort();
        port_ = ntohs(address.sin_port);
        acceptor = std::thread([this] { accept_all(); });
    }

    ~ScriptedServer() {
        stop();
        for (std::thread& thread : threads) thread.join();
    }

    /// Accepts no more: the port is refused from now on.
    void stop() {
        if (!acceptor.joinable()) return;
        shutdown(listener, SHUT_RDWR);
        acceptor.join();
        close(listener);
    }

    std::uint16_t port() const { return port_; }
    std::string address() const { return "127.0.0.1:" + std::to_string(port_); }
    std::string url(const std::string& path = "p") const { return "http://" + address() + "/" + path; }

    int connections() const {
        const std::lock_guard lock(mutex);
        return static_cast<int>(threads.size());
    }

private:
    void accept_all() {
        for (;;) {
            const int connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
            if (connection < 0) return;
            const std::lock_guard lock(mutex);
            const int number = static_cast<int>(threads.size()) + 1;
            threads.emplace_back([this, connection, number] {
                ScriptedConnection end(connection, number);
                script(end);
            });
        }
    }

    Script script;
    int listener;
    std::uint16_t port_;
    mutable std::mutex mutex;
    std::vector<std::thread> threads;
    std::thread acceptor;
};

}  // namespace soap_test
