// SPDX-License-Identifier: MIT
#include <semaphore.h>
#include <signal.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <iterator>
#include <memory>
#include <thread>
#include <vector>

#include <caldane/basic.h>
#include <caldane/dispatcher.h>
#include <caldane/exceptions.h>
#include <caldane/soa.h>
#include <caldane/transport.h>

#include "object_adapter.h"
#include "service_manager.h"

namespace {

/// A server may not be shut down while its thread is about to enter `run`; nothing shows the moment.
constexpr auto kSettling = std::chrono::milliseconds(20);

/// Counts the wishes to stop and to open files anew. A semaphore, since a signal handler may do little else.
struct Wishes {
    Wishes() { sem_init(&semaphore, 0, 0); }
    /// Also from a signal handler.
    void post(std::atomic<int>& wish) {
        wish.fetch_add(1);
        sem_post(&semaphore);
    }
    /// True if there was such a wish, which then counts as met.
    static bool take(std::atomic<int>& wish) {
        if (wish.load() == 0) return false;
        wish.fetch_sub(1);
        return true;
    }
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
    std::atomic<int> stop{0};
    std::atomic<int> reopen{0};
};

Wishes& wishes() {
    static Wishes* const all = new Wishes;
    return *all;
}

Wishes* handlers_wishes = nullptr;  // set before the handlers are

extern "C" void caldane_signal_handler(int signal) {
    const int error = errno;
    handlers_wishes->post(signal == SIGHUP ? handlers_wishes->reopen : handlers_wishes->stop);
    errno = error;
}

/// SIGINT and SIGTERM end `run` while it lives; SIGHUP, which people send to servers whose files they have
/// moved, does not.
class SignalHandlers {
public:
    SignalHandlers() {
        handlers_wishes = &wishes();
        struct sigaction action = {};
        action.sa_handler = &caldane_signal_handler;
        action.sa_flags = SA_RESTART;
        sigemptyset(&action.sa_mask);
        for (std::size_t i = 0; i < std::size(kSignals); ++i) sigaction(kSignals[i], &action, &before[i]);
    }
    ~SignalHandlers() {
        for (std::size_t i = 0; i < std::size(kSignals); ++i) sigaction(kSignals[i], &before[i], nullptr);
    }
    SignalHandlers(const SignalHandlers&) = delete;
    SignalHandlers& operator=(const SignalHandlers&) = delete;

private:
    static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};
    struct sigaction before[std::size(kSignals)] = {};
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

/// Waits for the wish to stop; meanwhile, whoever started the process learns that it lives, and files are
/// opened anew as often as that is wished.
void await_stop() {
    ServiceManager& manager = ServiceManager::instance();
    Wishes& all = wishes();
    manager.ready();
    while (!Wishes::take(all.stop)) {
        if (Wishes::take(all.reopen)) {
            Caldane::runCallbacks(Caldane::STAGE_REOPEN);
        } else if (manager.interval().count() == 0) {
            all.wait();
        } else if (!all.wait_for(manager.interval())) {
            manager.check();
        }
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
    wishes().post(wishes().stop);
}
