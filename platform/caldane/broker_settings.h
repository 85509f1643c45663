// SPDX-License-Identifier: MIT
#pragma once

#include <caldane/settings.h>

/// The properties that the broker itself reads.
inline constexpr Caldane::Setting kBrokerSettings[] = {
    Caldane::Setting::number("call_timeout", "seconds", 0, 0, 1e6,
                             "fail a call that takes longer; 0: no limit"),
    Caldane::Setting::whole("dispatcher_threads", "threads", 256, 1, 1e6, "the most workers of a server"),
    Caldane::Setting::flag("no_context_relay", "send on no header entries that came with a message"),
    Caldane::Setting::whole("socket_limit", "sockets", 0, 1, 1e9, "the most sockets that are open at a time",
                            "the limit of open files less 64"),
};

consteval const Caldane::Setting& broker_setting(std::string_view name) {
    return Caldane::setting_in(kBrokerSettings, name);
}
