// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include <caldane/object.h>

class _Caldane_ImplBase;
class _Caldane_Transport_RPC_Server;

/// host:port/path, as objects are published under.
struct PublishedAddress {
    std::string host;  // may be empty
    int port = 0;      // 0: the system chooses
    std::string path;

    /// Throws SetupError for a text of another form.
    static PublishedAddress parse(std::string_view text);
};

/// The servants of the process by their keys, and the servers that lead to them.
///
/// Keys are looked up by many workers at once, changed seldom. Never destroyed, since workers may outlive
/// other statics.
class ObjectAdapter {
public:
    static ObjectAdapter& instance();

    /// The servant under a key, null if there is none.
    _Caldane_ImplBase* find(std::string_view key) const;

    void publish(_Caldane_ImplBase& servant, std::string_view key, std::string_view address, bool secure);
    void withdraw(const _Caldane_ImplBase& servant);
    _Caldane_Object reference(const _Caldane_ImplBase& servant) const;

    void run();
    /// Ends the servers if `run` has not done so.
    void end_servers();

    /// Seconds that tasks have left once servers have begun to end: 10 in all, and at the last a moment.
    double time_to_end() const;

private:
    using Servers = std::vector<_Caldane_Transport_RPC_Server*>;

    struct TextHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
    };

    ObjectAdapter() = default;

    std::vector<std::string> enter(const std::set<std::string>& keys, _Caldane_ImplBase& servant,
                                   std::string_view address);
    void forget(const std::vector<std::string>& keys);
    Servers servers_of_transports(std::string_view address);
    void open(const Servers& current, std::string_view key, std::string_view address,
              const PublishedAddress& parts, bool secure);
    Servers take_servers();
    void begin_to_end();

    mutable std::shared_mutex mutex;
    std::unordered_map<std::string, _Caldane_ImplBase*, TextHash, std::equal_to<>> servants;
    std::map<const _Caldane_ImplBase*, _Caldane_Object> references;

    std::mutex setup_mutex;  // publishing, running, ending
    Servers servers;
    std::map<std::string, std::string> routes;  // address to key, of what listens
    std::set<std::pair<int, bool>> open_ports;  // port and security of our listeners
    std::set<const _Caldane_Transport_RPC_Server*> ended;
    std::atomic<std::chrono::steady_clock::time_point> ending{};  // not yet: the clock's zero
};
