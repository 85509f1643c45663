// SPDX-License-Identifier: MIT
#include "object_adapter.h"

#include <algorithm>
#include <charconv>

#include <caldane/servant.h>
#include <caldane/soa.h>
#include <caldane/transport.h>

#include "transports.h"

namespace {

const char* reason_for(int code) {
    switch (code) {
        case 1:
            return "the port is in use for the other kind, secure or plain";
        case 2:
            return "another object has this address";
        case -1:
            return "no socket is left (see the property socket_limit)";
        case -2:
            return "the system gives no socket";
        case -3:
            return "the port cannot be bound: it is in use, or not permitted";
        case -4:
            return "the socket cannot listen";
        case -5:
            return "memory has ended";
        case -6:
            return "it is not HOST:PORT/PATH";
        default:
            return "the transport refuses it";
    }
}

[[noreturn]] void refuse(std::string_view address, const std::string& reason) {
    throw Caldane::SetupError("cannot publish at " + std::string(address) + ": " + reason);
}

/// The port in a URL, 0 if there is none.
int port_of(std::string_view url) {
    const std::size_t host = url.find("://");
    if (host == std::string_view::npos) return 0;
    const std::size_t colon = url.find(':', host + 3);
    if (colon == std::string_view::npos) return 0;
    int port = 0;
    std::from_chars(url.data() + colon + 1, url.data() + url.size(), port);
    return port;
}

}  // namespace

PublishedAddress PublishedAddress::parse(std::string_view text) {
    PublishedAddress parts;
    const std::size_t colon = text.find(':');
    const std::size_t slash = text.find('/');
    if (colon == std::string_view::npos || slash == std::string_view::npos || slash < colon) {
        refuse(text, reason_for(-6));
    }
    const std::string_view digits = text.substr(colon + 1, slash - colon - 1);
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), parts.port);
    if (digits.empty() || error != std::errc() || end != digits.data() + digits.size() || parts.port < 0 ||
        parts.port > 65535) {
        refuse(text, "the port is not a number from 0 to 65535");
    }
    const auto unfit = [](char c) {
        return static_cast<unsigned char>(c) <= ' ' || c == '"' || c == '<' || c == '>';
    };
    if (std::any_of(text.begin(), text.end(), unfit))
        refuse(text, "it holds characters that no URL may have");
    parts.host = text.substr(0, colon);
    parts.path = text.substr(slash + 1);
    return parts;
}

ObjectAdapter& ObjectAdapter::instance() {
    static ObjectAdapter* const adapter = new ObjectAdapter;
    return *adapter;
}

_Caldane_ImplBase* ObjectAdapter::find(std::string_view key) const {
    const std::shared_lock lock(mutex);
    const auto found = servants.find(key);
    return found != servants.end() ? found->second : nullptr;
}

/// Makes the servant known under all keys or, if one of them is another's, under none. Gives the new ones.
std::vector<std::string> ObjectAdapter::enter(const std::set<std::string>& keys, _Caldane_ImplBase& servant,
                                              std::string_view address) {
    const std::unique_lock lock(mutex);
    std::vector<std::string> fresh;
    for (const std::string& key : keys) {
        const auto found = servants.find(key);
        if (found == servants.end()) {
            fresh.push_back(key);
        } else if (found->second != &servant) {
            refuse(address, "another object is known as '" + key + "'");
        }
    }
    for (const std::string& key : fresh) servants.emplace(key, &servant);
    return fresh;
}

void ObjectAdapter::forget(const std::vector<std::string>& keys) {
    const std::unique_lock lock(mutex);
    for (const std::string& key : keys) servants.erase(key);
}

/// The servers of all transports, which are remembered from now on.
ObjectAdapter::Servers ObjectAdapter::servers_of_transports(std::string_view address) {
    TransportTable& table = TransportTable::instance();
    const std::lock_guard lock(table.mutex);
    Servers current;
    for (_Caldane_Transport_Info* transport : table.transports) {
        _Caldane_Transport_RPC_Server* server = transport->server();
        if (server == nullptr) refuse(address, "memory has ended");
        // A transport goes on giving the server that it had.
        if (ended.contains(server)) refuse(address, "the servers of this process have ended");
        if (std::find(servers.begin(), servers.end(), server) == servers.end()) servers.push_back(server);
        current.push_back(server);
    }
    if (current.empty())
        refuse(address, "no transport is there: Caldane::init was not called, or none is linked");
    return current;
}

/// Has the servers listen at the address.
void ObjectAdapter::open(const Servers& current, std::string_view key, std::string_view address,
                         const PublishedAddress& parts, bool secure) {
    const std::string route = std::to_string(parts.port) + "/" + parts.path;
    const bool same_route = routes.contains(route) && routes[route] == key;
    const bool own_port = parts.port != 0 && open_ports.contains({parts.port, secure});
    for (_Caldane_Transport_RPC_Server* server : current) {
        const std::int32_t code = server->add_endpoint(_Caldane_String(key), _Caldane_String(address),
                                                       static_cast<_Caldane_Boolean>(secure));
        // A port that we listen on already cannot be bound twice, but serves the new path all the same.
        if (code == 0 || (code == -3 && own_port) || (code == 2 && same_route)) continue;
        refuse(address, reason_for(code));
    }
    if (parts.port != 0) {
        routes[route] = key;
        open_ports.insert({parts.port, secure});
    }
}

void ObjectAdapter::publish(_Caldane_ImplBase& servant, std::string_view key, std::string_view address,
                            bool secure) {
    const PublishedAddress parts = PublishedAddress::parse(address);
    const std::lock_guard setup(setup_mutex);
    const Servers current = servers_of_transports(address);
    // Where the port is not the listener's own, requests name the object by their path.
    const std::vector<std::string> fresh = enter({std::string(key), parts.path}, servant, address);
    try {
        open(current, key, address, parts, secure);
    } catch (...) {
        forget(fresh);
        throw;
    }
    servant.setSecurity(secure);
    _IOP_ProfileList profiles;
    for (_Caldane_Transport_RPC_Server* server : current) {
        server->add_profiles(servant, _Caldane_String(parts.path), _Caldane_String(key), profiles);
    }
    _IOP_IOR* ior = _IOP_IOR::generate(_Caldane_String(servant._operations().interface_id()), profiles);
    if (ior == nullptr) refuse(address, "memory has ended");
    const _Caldane_Object object(ior);
    ior->setSecurity(static_cast<_Caldane_Boolean>(secure));
    const int port = parts.port != 0 ? parts.port : port_of(std::string_view(ior->location()));
    // A port that the system chose can be published under again by its number.
    open_ports.insert({port, secure});
    if (!parts.host.empty()) {
        ior->publish_location(_Caldane_String((secure ? "https://" : "http://") + parts.host + ":" +
                                              std::to_string(port) + "/" + parts.path));
    }
    const std::unique_lock lock(mutex);
    references[&servant] = object;
}

void ObjectAdapter::withdraw(const _Caldane_ImplBase& servant) {
    const std::unique_lock lock(mutex);
    std::erase_if(servants, [&servant](const auto& entry) { return entry.second == &servant; });
    references.erase(&servant);
}

_Caldane_Object ObjectAdapter::reference(const _Caldane_ImplBase& servant) const {
    const std::shared_lock lock(mutex);
    const auto found = references.find(&servant);
    return found != references.end() ? found->second : _Caldane_Object();
}

ObjectAdapter::Servers ObjectAdapter::take_servers() {
    const std::lock_guard lock(setup_mutex);
    ended.insert(servers.begin(), servers.end());
    return std::exchange(servers, {});
}

void ObjectAdapter::end_servers() {
    const Servers left = take_servers();
    if (!left.empty()) begin_to_end();
    for (_Caldane_Transport_RPC_Server* server : left) server->shutdown();
}

void ObjectAdapter::begin_to_end() {
    ending.store(std::chrono::steady_clock::now());
}

double ObjectAdapter::time_to_end() const {
    constexpr double kInAll = 10;
    constexpr double kLastMoment = 0.2;
    const auto begun = ending.load();
    if (begun == std::chrono::steady_clock::time_point{}) return kInAll;
    const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - begun;
    return std::max(kInAll - spent.count(), kLastMoment);
}
