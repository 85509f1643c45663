// SPDX-License-Identifier: MIT
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <vqsys/net.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <string>
#include <thread>

inline vqAddress loopback(std::uint16_t network_order_port = 0) {
    vqAddress address;
    address.port = network_order_port;
    address.address = htonl(INADDR_LOOPBACK);
    return address;
}

/// Waits until `condition` holds, ten seconds at the longest.
inline bool becomes(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::yield();
    }
    return true;
}

/// A listening socket on a loopback port that the system chose.
struct Listener {
    explicit Listener(std::uint16_t port = 0) {
        const vqAddress wanted = loopback(port);
        int length = 16;
        failure = vqNetSocket(&socket, 2, 1, 0);
        if (failure == VQOK) failure = vqNetBind(socket, &wanted, 16);
        if (failure == VQOK) failure = vqNetListen(socket, 0);
        if (failure == VQOK) failure = vqNetGetSockName(socket, &address, &length);
    }
    ~Listener() {
        if (socket != kVqNoSocket) vqNetClose(&socket);
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    vqSocket connect() const {
        vqSocket client = kVqNoSocket;
        EXPECT_EQ(vqNetSocket(&client, 2, 1, 0), VQOK);
        EXPECT_EQ(vqNetConnect(client, &address, 16), VQOK) << vqNetErrorText();
        return client;
    }

    vqSocket socket = kVqNoSocket;
    vqAddress address;
    int failure = 0;
};

/// Both ends of a connection over the loopback.
struct Connection {
    explicit Connection(const Listener& listener) : client(listener.connect()) {
        EXPECT_EQ(vqNetAccept(listener.socket, &server, nullptr, nullptr), VQOK) << vqNetErrorText();
    }
    Connection() : Connection(Listener()) {}
    ~Connection() {
        if (client != kVqNoSocket) vqNetClose(&client);
        if (server != kVqNoSocket) vqNetClose(&server);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void say(const char* text) const {
        EXPECT_EQ(vqNetSend(client, text, static_cast<int>(std::strlen(text)), 0),
                  static_cast<int>(std::strlen(text)));
    }
    std::string hear() const {
        char buffer[64];
        const int count = vqNetRecv(server, buffer, sizeof buffer, 0);
        return count < 0 ? vqNetErrorText() : std::string(buffer, static_cast<std::size_t>(count));
    }
    /// The client's end goes away with a reset instead of an orderly end.
    void reset() {
        const linger hard{1, 0};
        EXPECT_EQ(setsockopt(client, SOL_SOCKET, SO_LINGER, &hard, sizeof hard), 0);
        vqNetClose(&client);
    }

    vqSocket client = kVqNoSocket;
    vqSocket server = kVqNoSocket;
};
