// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <caldane/object.h>

#include "published_address.h"
#include "servant_table.h"

class _Caldane_ImplBase;
class _Caldane_Transport_RPC_Server;

/// The servants of the process, and the servers that lead to them.
///
/// A servant is known by its key, by the route (port and path) of each of its addresses, and by its path
/// where no other has the same. The transports are told the route as the object's key: what they once know
/// they keep, so an address must not be tied to the servant that had it first. Never destroyed, since workers
/// may outlive other statics.
class ObjectAdapter {
public:
    static ObjectAdapter& instance();

    /// The servant under a name, to be held while a call is in it; null if there is none.
    ServantTable::Held find(std::string_view name) const { return servants.find(name); }

    /// A null `owner` leaves the servant to the caller.
    void publish(_Caldane_ImplBase& servant, const ServantTable::Held& owner, std::string_view key,
                 std::string_view address, bool secure);
    bool withdraw(const _Caldane_ImplBase& servant);
    _Caldane_Object reference(const _Caldane_ImplBase& servant) const;

    void run();
    /// Ends the servers if `run` has not done so.
    void end_servers();
    /// Lets go of the servants that it owns.
    void let_go();

    /// Seconds that tasks have left once servers have begun to end: 10 in all, and at the last a moment.
    double time_to_end() const;

private:
    using Servers = std::vector<_Caldane_Transport_RPC_Server*>;

    ObjectAdapter() = default;

    ServantTable::Names names_for(const _Caldane_ImplBase& servant, std::string_view key,
                                  std::string_view address, const PublishedAddress& parts) const;
    Servers servers_of_transports(std::string_view address);
    void open(const Servers& current, std::string_view address, const PublishedAddress& parts, bool secure);
    std::int32_t open_at(_Caldane_Transport_RPC_Server& server, std::string_view address,
                         const PublishedAddress& parts, bool secure);
    bool listens(int port, bool secure) const;
    _Caldane_Object refer_to(const Servers& current, _Caldane_ImplBase& servant, std::string_view key,
                             std::string_view address, const PublishedAddress& parts);
    Servers take_servers();
    void begin_to_end();

    ServantTable servants;
    mutable std::mutex references_mutex;
    std::map<const _Caldane_ImplBase*, _Caldane_Object> references;

    std::mutex setup_mutex;  // publishing, running, ending
    Servers servers;
    std::set<std::pair<const _Caldane_Transport_RPC_Server*, std::string>> told;  // routes
    std::set<std::pair<int, bool>> open_ports;  // port and security of our listeners
    std::set<const _Caldane_Transport_RPC_Server*> ended;
    std::atomic<std::chrono::steady_clock::time_point> ending{};  // not yet: the clock's zero
};
