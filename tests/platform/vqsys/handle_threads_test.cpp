// SPDX-License-Identifier: MIT
#include <sys/socket.h>
#include <vqsys/handle.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <set>
#include <vector>

#include "connection.h"

namespace {

using Clock = std::chrono::steady_clock;
using Found = std::set<vqSocket>;

/// A server in small: the waiting thread hands what speaks to workers, who give it back themselves.
class SmallServer {
public:
    SmallServer(vqHandle waited_on, const Found& sockets) : handle(waited_on), idle(sockets) {
        for (int i = 0; i < 3; ++i) workers.emplace_back([this] { work(); });
    }
    ~SmallServer() {
        over = true;
        for (std::thread& worker : workers) worker.join();
    }
    SmallServer(const SmallServer&) = delete;
    SmallServer& operator=(const SmallServer&) = delete;

    /// One turn of the waiting thread.
    void pass() {
        constexpr vqTimeout kSecond{1, 0};
        {
            const std::lock_guard lock(mutex);
            vqHandleClearAllResources(handle);
            for (const vqSocket socket : idle) add(socket);
        }
        if (vqBlock(handle, &kSecond) != 0) return;
        vqSocket ready[64];
        const int count = vqHandleReady(handle, ready, 64);
        const std::lock_guard lock(mutex);
        for (int i = 0; i < count; ++i) {
            EXPECT_EQ(idle.erase(ready[i]), 1U) << "found although a worker had it";
            EXPECT_EQ(vqHandleClearResourceMode(handle, ready[i], kVqReadable), VQOK);
            tasks.push_back(ready[i]);
        }
    }

private:
    void add(vqSocket socket) { EXPECT_EQ(vqHandleAddResourceMode(handle, socket, kVqReadable), VQOK); }

    vqSocket next_task() {
        const std::lock_guard lock(mutex);
        if (tasks.empty()) return kVqNoSocket;
        const vqSocket socket = tasks.back();
        tasks.pop_back();
        return socket;
    }

    void work() {
        for (int served = 0; !over;) {
            const vqSocket socket = next_task();
            char byte = 0;
            if (socket == kVqNoSocket) {
                std::this_thread::yield();
            } else if (vqNetRecv(socket, &byte, 1, 0) == 1 && vqNetSend(socket, &byte, 1, 0) == 1) {
                {
                    const std::lock_guard lock(mutex);
                    idle.insert(socket);
                    add(socket);
                }
                if (++served % 3 == 0) vqUnblock(handle, 2);
            }
        }
    }

    vqHandle handle;
    std::mutex mutex;
    Found idle;
    std::vector<vqSocket> tasks;
    std::atomic<bool> over = false;
    std::vector<std::thread> workers;
};

TEST(HandleThreads, ManyWorkersGiveSocketsBackWhileOneThreadWaits) {
    vqHandle handle = nullptr;
    ASSERT_EQ(vqHandleCreate(&handle), VQOK);
    constexpr int kConnections = 16;
    constexpr int kRounds = 200;
    const Listener listener;
    std::vector<std::unique_ptr<Connection>> pairs;
    Found sockets;
    std::atomic<int> echoed = 0;
    std::vector<std::thread> clients;
    for (int i = 0; i < kConnections; ++i) {
        pairs.push_back(std::make_unique<Connection>(listener));
        sockets.insert(pairs.back()->server);
        clients.emplace_back([&echoed, socket = pairs.back()->client] {
            char byte = 'x';
            for (int round = 0; round < kRounds; ++round) {
                if (vqNetSend(socket, &byte, 1, 0) != 1 || vqNetRecv(socket, &byte, 1, 0) != 1) return;
                ++echoed;
            }
        });
    }
    {
        SmallServer server(handle, sockets);
        const auto end = Clock::now() + std::chrono::seconds(60);
        while (echoed < kConnections * kRounds && Clock::now() < end) server.pass();
    }
    EXPECT_EQ(echoed, kConnections * kRounds);
    for (const auto& pair : pairs) shutdown(pair->server, SHUT_RDWR);  // sets a stuck client free
    for (std::thread& client : clients) client.join();
    vqHandleDestroy(handle);
}

}  // namespace
