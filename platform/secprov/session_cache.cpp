// SPDX-License-Identifier: MIT
#include "session_cache.h"

#include <algorithm>
#include <ctime>
#include <new>

SessionCache& SessionCache::instance() {
    // Never destroyed: threads may still end sessions when the process does.
    static SessionCache* const cache = new SessionCache;
    return *cache;
}

void SessionCache::put(const std::string& key, const SSL_SESSION* session) {
    SessionHandle copy(SSL_SESSION_dup(session));
    if (!copy) return ERR_clear_error();
    const std::lock_guard lock(mutex);
    try {
        Kept& kept = all[key];
        kept.session = std::move(copy);
        kept.used = ++uses;
    } catch (const std::bad_alloc&) {
        return;
    }
    if (all.size() <= kMost) return;
    all.erase(std::min_element(all.begin(), all.end(),
                               [](const auto& a, const auto& b) { return a.second.used < b.second.used; }));
}

SessionHandle SessionCache::get(const std::string& key) {
    const std::lock_guard lock(mutex);
    const auto found = all.find(key);
    if (found == all.end()) return nullptr;
    SSL_SESSION* const session = found->second.session.get();
    const long age = static_cast<long>(std::time(nullptr)) - SSL_SESSION_get_time(session);
    if (SSL_SESSION_is_resumable(session) == 0 || age < 0 || age >= SSL_SESSION_get_timeout(session)) {
        all.erase(found);
        return nullptr;
    }
    found->second.used = ++uses;
    return SessionHandle(SSL_SESSION_dup(session));
}

void SessionCache::forget(const std::string& key) {
    const std::lock_guard lock(mutex);
    all.erase(key);
}
