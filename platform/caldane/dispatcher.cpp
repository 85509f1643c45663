// SPDX-License-Identifier: MIT
#include <caldane/dispatcher.h>

#include "worker_pool.h"

void Dispatcher::new_task(Function function, void* argument) {
    WorkerPool::instance().push(function, argument);
}

std::size_t Dispatcher::waiting() noexcept {
    return WorkerPool::instance().waiting();
}

std::size_t Dispatcher::running() noexcept {
    return WorkerPool::instance().running();
}

std::size_t Dispatcher::most_workers() {
    return WorkerPool::most_threads();
}

std::size_t Dispatcher::workers() noexcept {
    return WorkerPool::instance().workers();
}

bool Dispatcher::drain(double seconds) {
    return WorkerPool::instance().drain(seconds);
}

bool Dispatcher::stop(double seconds) {
    return WorkerPool::instance().stop(seconds);
}
