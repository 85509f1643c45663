// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "openssl_handles.h"

using SessionHandle = std::unique_ptr<SSL_SESSION, OpenSslFree<SSL_SESSION_free>>;

/// The sessions that clients of this process may take up again, the last one of each key. A key is the whole
/// configuration and the server's name: a session is never used for another of either.
///
/// Any thread. No more than `kMost` are kept, those that were used last.
class SessionCache {
public:
    static constexpr std::size_t kMost = 256;

    static SessionCache& instance();

    /// Keeps a copy, in the place of what the key had. Without memory nothing is kept.
    void put(const std::string& key, const SSL_SESSION* session);
    /// A copy for one connection, which may spoil it; null if there is none that is still good.
    SessionHandle get(const std::string& key);
    /// Whoever was refused starts anew.
    void forget(const std::string& key);

private:
    struct Kept {
        SessionHandle session;
        std::uint64_t used = 0;
    };

    std::mutex mutex;
    std::map<std::string, Kept> all;
    std::uint64_t uses = 0;
};
