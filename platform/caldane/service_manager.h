// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <string>

/// Tells the program that started this process (systemd, by the protocol of sd_notify(3)) how it is. Does
/// nothing where the environment names no socket for that.
class ServiceManager {
public:
    static ServiceManager& instance();

    void ready();
    void stopping();

    /// How often `check` is to be called; zero where nobody watches.
    std::chrono::microseconds interval() const { return interval_; }
    /// Has a worker of the dispatcher say that the process lives: where no worker gets to it, nothing is
    /// said, and the process is started anew.
    void check();

private:
    ServiceManager();
    void tell(const char* state) const;
    static void tell_alive(void* manager);

    std::string socket_;
    std::chrono::microseconds interval_{0};
    std::atomic<bool> asked_ = false;
};
