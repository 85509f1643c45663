// SPDX-License-Identifier: MIT
#include <semaphore.h>
#include <signal.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include <caldane/dispatcher.h>
#include <caldane/exceptions.h>
#include <caldane/soa.h>
#include <caldane/transport.h>

#include "object_adapter.h"

namespace {

constexpr double kDrainSeconds = 10;
/// A server may not be shut down while its thread is about to enter `run`; nothing shows the moment.
constexpr auto kSettling = std::chrono::milliseconds(20);

/// Counts the wishes to stop. A semaphore, since a signal handler may do little else.
struct StopSignal {
    StopSignal() { sem_init(&semaphore, 0, 0); }
    void post() { sem_post(&semaphore); }
    void wait() {
        while (sem_wait(&semaphore) != 0 && errno == EINTR) {
        }
    }
    sem_t semaphore;
};

StopSignal& stop_signal() {
    static StopSignal* const signal = new StopSignal;
    return *signal;
}

sem_t* handler_semaphore = nullptr;  // set before the handlers are

extern "C" void caldane_stop_handler(int) {
    const int error = errno;
    sem_post(handler_semaphore);
    errno = error;
}

/// SIGINT and SIGTERM end `run` while it lives.
class SignalHandlers {
public:
    SignalHandlers() {
        handler_semaphore = &stop_signal().semaphore;
        struct sigaction action = {};
        action.sa_handler = &caldane_stop_handler;
        action.sa_flags = SA_RESTART;
        sigemptyset(&action.sa_mask);
        sigaction(SIGINT, &action, &interrupt);
        sigaction(SIGTERM, &action, &terminate);
    }
    ~SignalHandlers() {
        sigaction(SIGINT, &interrupt, nullptr);
        sigaction(SIGTERM, &terminate, nullptr);
    }
    SignalHandlers(const SignalHandlers&) = delete;
    SignalHandlers& operator=(const SignalHandlers&) = delete;

private:
    struct sigaction interrupt = {};
    struct sigaction terminate = {};
};

/// A server's loop on a thread of its own, from which signals are kept away.
class ServerThread {
public:
    explicit ServerThread(_Caldane_Transport_RPC_Server* served) : server(served) {
        sigset_t all;
        sigset_t before;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &before);
        thread = std::thread([this] {
            entered.store(true);
            entered.notify_one();
            server->run();
        });
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }
    ServerThread(const ServerThread&) = delete;
    ServerThread& operator=(const ServerThread&) = delete;

    void await_start() const { entered.wait(false); }

    void end() {
        server->shutdown();
        thread.join();
    }

private:
    _Caldane_Transport_RPC_Server* server;
    std::atomic<bool> entered{false};
    std::thread thread;
};

}  // namespace

void ObjectAdapter::run() {
    const Servers own = take_servers();
    if (own.empty())
        throw Caldane::SetupError("nothing to run: no object is published, or the servers have ended");
    const SignalHandlers handlers;
    std::vector<std::unique_ptr<ServerThread>> threads;
    for (_Caldane_Transport_RPC_Server* server : own)
        threads.push_back(std::make_unique<ServerThread>(server));
    for (const auto& thread : threads) thread->await_start();
    const auto started = std::chrono::steady_clock::now();
    stop_signal().wait();
    std::this_thread::sleep_until(started + kSettling);
    for (const auto& thread : threads) thread->end();
    static_cast<void>(Dispatcher::drain(kDrainSeconds));
}

void SOA::run() {
    ObjectAdapter::instance().run();
}

void SOA::stop() {
    stop_signal().post();
}
