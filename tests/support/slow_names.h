// SPDX-License-Identifier: MIT
#pragma once

#include <dlfcn.h>
#include <netdb.h>

#include <atomic>
#include <chrono>
#include <string_view>
#include <thread>

/// Names below ".slow.test" are looked up for as long as this is true, and are the loopback's then. Included
/// by one source of a test program, whose look-ups it stands in for.
inline std::atomic<bool> look_ups_stall = false;
inline std::atomic<int> slow_look_ups = 0;

extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* wanted, addrinfo** found) {
    using Function = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
    static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "getaddrinfo"));
    if (name == nullptr || !std::string_view(name).ends_with(".slow.test"))
        return real(name, service, wanted, found);
    ++slow_look_ups;
    while (look_ups_stall) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return real("127.0.0.1", service, wanted, found);
}
