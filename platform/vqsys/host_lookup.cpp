// SPDX-License-Identifier: MIT
#include "host_lookup.h"

#include <netinet/in.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <system_error>
#include <thread>

namespace {

constexpr std::size_t kMostThreads = 32;
constexpr double kLongest = 1e9;  // seconds

/// One look-up, which its thread and all who wait for it hold.
struct Running {
    bool ended = false;
    LookUp result;
    FoundHost host{};
};

/// The look-ups that have a thread. Lives as long as the process: a thread may outlast all else.
class LookUps {
public:
    static LookUps& all() {
        static auto* const only = new LookUps;
        return *only;
    }

    LookUp find(const char* name, double seconds, FoundHost& host) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
        std::unique_lock<std::mutex> lock(mutex);
        while (running.size() >= kMostThreads && running.find(name) == running.end()) {
            if (changed.wait_until(lock, end) == std::cv_status::timeout) return {0, ETIMEDOUT};
        }
        const std::shared_ptr<Running> one = share(name);
        if (!changed.wait_until(lock, end, [&one] { return one->ended; })) return {0, ETIMEDOUT};
        if (one->result.lookup_failure == 0 && one->result.error_number == 0) host = one->host;
        return one->result;
    }

private:
    std::shared_ptr<Running> share(const std::string& name) {
        if (const auto found = running.find(name); found != running.end()) return found->second;
        const auto one = std::make_shared<Running>();
        const auto place = running.emplace(name, one).first;
        try {
            std::thread([this, one, name] { work(*one, name); }).detach();
        } catch (...) {
            running.erase(place);
            throw;
        }
        return one;
    }

    void work(Running& one, const std::string& name) {
        const LookUp result = look_up(name.c_str(), one.host);
        const std::lock_guard<std::mutex> lock(mutex);
        one.result = result;
        one.ended = true;
        running.erase(name);
        changed.notify_all();
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::map<std::string, std::shared_ptr<Running>, std::less<>> running;
};

}  // namespace

LookUp look_up(const char* name, FoundHost& host) {
    addrinfo wanted{};
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_STREAM;
    wanted.ai_flags = AI_CANONNAME;
    addrinfo* found = nullptr;
    if (const int failure = getaddrinfo(name, nullptr, &wanted, &found)) {
        if (failure == EAI_SYSTEM) return {0, errno != 0 ? errno : EIO};
        return {failure, 0};
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> all(found, &freeaddrinfo);
    int count = 0;
    for (const addrinfo* at = found; at != nullptr && count < FoundHost::kMostAddresses; at = at->ai_next) {
        if (at->ai_family != AF_INET) continue;
        sockaddr_in address{};
        std::memcpy(&address, at->ai_addr, sizeof address);
        host.addresses[count++] = address.sin_addr.s_addr;
    }
    if (count == 0) return {EAI_NONAME, 0};
    host.count = count;
    const char* const canonical = found->ai_canonname != nullptr ? found->ai_canonname : name;
    std::snprintf(host.name, sizeof host.name, "%s", canonical);
    return {};
}

LookUp look_up_within(const char* name, double seconds, FoundHost& host) {
    try {
        return LookUps::all().find(name, std::min(seconds, kLongest), host);
    } catch (const std::bad_alloc&) {
        return {0, ENOMEM};
    } catch (const std::system_error& failure) {
        return {0, failure.code().value()};
    }
}
