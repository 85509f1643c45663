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
#include "service_manager.h"

namespace {

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
    /// False when the time was up first.
    bool wait_for(std::chrono::microseconds time) {
        timespec end{};
        clock_gettime(CLOCK_MONOTONIC, &end);
        const std::chrono::nanoseconds sum = std::chrono::nanoseconds(end.tv_nsec) + time;
        end.tv_sec += static_cast<time_t>(std::chrono::duration_cast<std::chrono::seconds>(sum).count());
        end.tv_nsec = static_cast<long>((sum % std::chrono::seconds(1)).count());
        while (sem_clockwait(&semaphore, CLOCK_MONOTONIC, &end) != 0) {
            if (errno != EINTR) return false;
        }
        return true;
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

/// Waits for the wish to stop; meanwhile, whoever started the process learns that it lives.
void await_stop() {
    ServiceManager& manager = ServiceManager::instance();
    manager.ready();
    if (manager.interval().count() > 0) {
        while (!stop_signal().wait_for(manager.interval())) manager.check();
    } else {
        stop_signal().wait();
    }
    manager.stopping();
}

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
    await_stop();
    std::this_thread::sleep_until(started + kSettling);
    begin_to_end();
    for (const auto& thread : threads) thread->end();
    static_cast<void>(Dispatcher::drain(time_to_end()));
}

void SOA::run() {
    ObjectAdapter::instance().run();
}

void SOA::stop() {
    stop_signal().post();
}
