// SPDX-License-Identifier: MIT
#include "service_manager.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include <caldane/dispatcher.h>

namespace {

/// A number of the environment; 0 if it is not set.
long number(const char* name) {
    const char* const text = std::getenv(name);
    return text != nullptr ? std::atol(text) : 0;
}

}  // namespace

ServiceManager& ServiceManager::instance() {
    static ServiceManager& only = *new ServiceManager;
    return only;
}

ServiceManager::ServiceManager() {
    const char* const socket = std::getenv("NOTIFY_SOCKET");
    if (socket == nullptr || (socket[0] != '/' && socket[0] != '@')) return;
    socket_ = socket;
    const long watcher = number("WATCHDOG_PID");
    // Half the time after which the process counts as dead.
    if (watcher == 0 || watcher == ::getpid())
        interval_ = std::chrono::microseconds(number("WATCHDOG_USEC") / 2);
}

void ServiceManager::ready() {
    tell("READY=1");
}

void ServiceManager::stopping() {
    tell("STOPPING=1");
}

void ServiceManager::check() {
    if (!asked_.exchange(true)) Dispatcher::new_task(&tell_alive, this);
}

void ServiceManager::tell_alive(void* manager) {
    auto* const self = static_cast<ServiceManager*>(manager);
    self->tell("WATCHDOG=1");
    self->asked_.store(false);
}

void ServiceManager::tell(const char* state) const {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socket_.empty() || socket_.size() >= sizeof address.sun_path) return;
    std::memcpy(address.sun_path, socket_.data(), socket_.size());
    // A leading @ stands for the null byte of an abstract name.
    if (address.sun_path[0] == '@') address.sun_path[0] = '\0';
    const int sender = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (sender < 0) return;
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + socket_.size());
    static_cast<void>(::sendto(sender, state, std::strlen(state), MSG_NOSIGNAL | MSG_DONTWAIT,
                               reinterpret_cast<const sockaddr*>(&address), length));
    ::close(sender);
}
