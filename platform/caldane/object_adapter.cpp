// SPDX-License-Identifier: MIT
#include "object_adapter.h"

#include <algorithm>
#include <charconv>

#include <caldane/servant.h>
#include <caldane/soa.h>
#include <caldane/transport.h>

#include "transports.h"

namespace {

constexpr std::int32_t kAddressTaken = 2;
// Seconds that calls have to end with the servers.
constexpr double kInAll = 10;
constexpr double kLastMoment = 0.2;

const char* reason_for(std::int32_t code) {
    switch (code) {
        case 1:
            return "the port is in use for the other kind, secure or plain";
        case kAddressTaken:
            return "this process has used an address that differs from it in capitals alone";
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

ObjectAdapter& ObjectAdapter::instance() {
    static ObjectAdapter* const adapter = new ObjectAdapter;
    return *adapter;
}

/// The names under which the servant is to be known; refuses where another has one that it cannot do without.
ServantTable::Names ObjectAdapter::names_for(const _Caldane_ImplBase& servant, std::string_view key,
                                             std::string_view address, const PublishedAddress& parts) const {
    const auto is_free = [this, &servant](std::string_view name) {
        const _Caldane_ImplBase* const present = servants.at(name);
        return present == nullptr || present == &servant;
    };
    const auto taken = [](std::string_view name) {
        return "another object is known as '" + std::string(name) + "'";
    };
    if (!is_free(key)) refuse_to_publish(address, taken(key));
    ServantTable::Names names{std::string(key)};
    if (parts.port != 0) {
        if (!is_free(parts.route())) refuse_to_publish(address, "another object has this address");
        names.push_back(parts.route());
    }
    // Where the port is not the listener's own, requests name the object by their path.
    if (is_free(parts.path)) {
        names.push_back(parts.path);
    } else if (parts.port == 0) {
        refuse_to_publish(address, taken(parts.path));
    }
    return names;
}

/// The servers of all transports, which are remembered from now on.
ObjectAdapter::Servers ObjectAdapter::servers_of_transports(std::string_view address) {
    TransportTable& table = TransportTable::instance();
    const std::lock_guard lock(table.mutex);
    Servers current;
    for (_Caldane_Transport_Info* transport : table.transports) {
        _Caldane_Transport_RPC_Server* server = transport->server();
        if (server == nullptr) refuse_to_publish(address, "memory has ended");
        // A transport goes on giving the server that it had.
        if (ended.contains(server)) refuse_to_publish(address, "the servers of this process have ended");
        if (std::find(servers.begin(), servers.end(), server) == servers.end()) servers.push_back(server);
        current.push_back(server);
    }
    if (current.empty())
        refuse_to_publish(address, "no transport is there: Caldane::init was not called, or none is linked");
    return current;
}

/// Has the servers listen at the address.
void ObjectAdapter::open(const Servers& current, std::string_view address, const PublishedAddress& parts,
                         bool secure) {
    for (_Caldane_Transport_RPC_Server* server : current) {
        const std::int32_t code = open_at(*server, address, parts, secure);
        if (code != 0) refuse_to_publish(address, reason_for(code));
    }
    if (parts.port != 0) open_ports.insert({parts.port, secure});
}

/// 0, or why not, as `add_endpoint` tells it.
std::int32_t ObjectAdapter::open_at(_Caldane_Transport_RPC_Server& server, std::string_view address,
                                    const PublishedAddress& parts, bool secure) {
    const std::pair route(&server, parts.route());
    const auto known = told.find(route);
    const _Caldane_String text(address);
    const std::int32_t code =
        server.add_endpoint(_Caldane_String(parts.route()), text, static_cast<_Caldane_Boolean>(secure));
    const bool is_known = code == kAddressTaken && known != told.end();
    if ((code > 0 && !is_known) || code == -6) return code;
    // From here on the transport knows the route, also where it could not listen.
    told.insert(route);
    // A port that we listen on cannot be bound twice, but serves the new path all the same.
    if (listens(parts.port, secure)) return 0;
    return is_known ? server.listen_at(text, static_cast<_Caldane_Boolean>(secure)) : code;
}

/// Whether a listener of ours serves the port; for port 0, whether there is one of the kind.
bool ObjectAdapter::listens(int port, bool secure) const {
    return std::any_of(open_ports.begin(), open_ports.end(), [port, secure](const auto& open) {
        return open.second == secure && (port == 0 || open.first == port);
    });
}

void ObjectAdapter::publish(_Caldane_ImplBase& servant, const ServantTable::Held& owner, std::string_view key,
                            std::string_view address, bool secure) {
    const PublishedAddress parts = PublishedAddress::parse(address);
    const std::lock_guard setup(setup_mutex);
    const Servers current = servers_of_transports(address);
    const ServantTable::Names fresh = servants.enter(names_for(servant, key, address, parts), servant, owner);
    try {
        open(current, address, parts, secure);
        servant.setSecurity(secure);
        const _Caldane_Object object = refer_to(current, servant, key, address, parts);
        const std::lock_guard lock(references_mutex);
        references[&servant] = object;
    } catch (...) {
        servants.forget(servant, fresh);
        throw;
    }
}

/// A reference to the servant at that address, with profiles of all servers.
_Caldane_Object ObjectAdapter::refer_to(const Servers& current, _Caldane_ImplBase& servant,
                                        std::string_view key, std::string_view address,
                                        const PublishedAddress& parts) {
    // Profiles lead to the first listener of the kind, whatever the port: the path has to tell which object
    // it is.
    const bool has_path = servants.at(parts.path) == &servant;
    _IOP_ProfileList profiles;
    for (_Caldane_Transport_RPC_Server* server : current) {
        server->add_profiles(servant, _Caldane_String(has_path ? parts.path : parts.route()),
                             _Caldane_String(key), profiles);
    }
    _IOP_IOR* ior = _IOP_IOR::generate(_Caldane_String(servant._operations().interface_id()), profiles);
    if (ior == nullptr) refuse_to_publish(address, "memory has ended");
    const bool secure = servant.getSecurity();
    const _Caldane_Object object(ior);
    ior->setSecurity(static_cast<_Caldane_Boolean>(secure));
    const int port = parts.port != 0 ? parts.port : port_of(std::string_view(ior->location()));
    // A port that the system chose can be published under again by its number.
    open_ports.insert({port, secure});
    if (!parts.host.empty()) {
        ior->publish_location(_Caldane_String((secure ? "https://" : "http://") + parts.host + ":" +
                                              std::to_string(port) + "/" + parts.path));
    }
    return object;
}

bool ObjectAdapter::withdraw(const _Caldane_ImplBase& servant) {
    {
        const std::lock_guard lock(references_mutex);
        references.erase(&servant);
    }
    return servants.take_out(servant, [] { return instance().time_to_end() > kLastMoment; });
}

_Caldane_Object ObjectAdapter::reference(const _Caldane_ImplBase& servant) const {
    const std::lock_guard lock(references_mutex);
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

void ObjectAdapter::let_go() {
    servants.let_go();
}

void ObjectAdapter::begin_to_end() {
    ending.store(std::chrono::steady_clock::now());
}

double ObjectAdapter::time_to_end() const {
    const auto begun = ending.load();
    if (begun == std::chrono::steady_clock::time_point{}) return kInAll;
    const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - begun;
    return std::max(kInAll - spent.count(), kLastMoment);
}
