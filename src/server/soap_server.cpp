// SPDX-License-Identifier: MIT
#include "server/soap_server.h"

#include <pelthread/host.h>
#include <pelthread/thread.h>
#include <vqsys/names.h>
#include <vqsys/net.h>

#include <arpa/inet.h>

#include "addressing/profile_tags.h"
#include "addressing/secure_options.h"
#include "addressing/soap_profile.h"
#include "secure/sspi_credentials.h"
#include "server/connection_list.h"

std::atomic<std::int32_t> _SOAP_Transport_Server::server_running = 0;

namespace {

constexpr int kMaxPort = 65535;

/// The canonical name of this host; its own text where nobody knows the name.
_Caldane_String own_host_name() {
    char name[256] = {};
    if (vqNetIPGetHostname(name, sizeof name) != 0) return _Caldane_String("localhost");
    vqHostEntry record;
    vqHostEntry* entry = nullptr;
    const bool found =
        vqNetIPGetHostByName(name, &entry, &record, sizeof record) == 0 && entry->name != nullptr;
    return _Caldane_String(found ? entry->name : name, -1, Caldane::OWNERSHIP_COPY);
}

}  // namespace

_SOAP_Transport_Server::_SOAP_Transport_Server()
    : host_id(PEL_GetHostID()), core(new _SOAP_ConnectionList), connections(core) {
    server_running = 1;
    host_name = own_host_name();
}

_SOAP_Transport_Server::~_SOAP_Transport_Server() {
    server_running = 0;
    if (!run_entered.exchange(true)) close_all();
    if (core == nullptr) return;
    if (core->usable()) vqUnblock(core->handle(), 1);
    // `run` leaves `connections` null with its last touch on this object.
    for (int i = 0; connections.load(std::memory_order_acquire) != nullptr; ++i) {
        if (i < 100) {
            PEL_Thread::yield();
        } else {
            PEL_Thread::delay(0.001);  // it waits for a call that is running
        }
    }
    core->release();
}

std::int32_t _SOAP_Transport_Server::server_state() {
    return server_running != 0 ? 0 : 2;
}

void _SOAP_Transport_Server::shutdown() {
    const _Caldane_String nothing;
    release_security(nothing, nothing);
    delete this;
}

void _SOAP_Transport_Server::release_security(const _Caldane_String&, const _Caldane_String&) {
    // Sessions that still stand need the credentials to end: the list of connections has them, until it goes.
    const PEL_Lock lock(listeners_mutex);
    ssl_context = nullptr;
}

std::int32_t _SOAP_Transport_Server::add_endpoint(const _Caldane_String& target_key,
                                                  const _Caldane_String& address, _Caldane_Boolean secure) {
    const std::string_view text = address.view();
    const std::size_t colon = text.find(':');
    const std::size_t slash = colon == std::string_view::npos ? colon : text.find('/', colon);
    if (slash == std::string_view::npos) return -6;
    const std::string port_text(text.substr(colon + 1, slash - colon - 1));
    const int port = std::atoi(port_text.c_str());
    if (port < 0 || port > kMaxPort) return -6;
    {
        const PEL_Lock lock(listeners_mutex);
        for (int i = 0; i < listener_count; ++i) {
            if (listeners[i].port != port) continue;
            if ((listeners[i].secure != 0) != (secure != 0)) return 1;
            break;
        }
    }
    std::string key = std::to_string(port);
    key += text.substr(slash);
    if (endpoint_table().insert(_Caldane_String(std::string_view(key)), target_key) == 0) return 2;
    return open_listener(address.c_str(), secure);
}

int _SOAP_Transport_Server::open_listener(const char* address, _Caldane_Boolean secure) {
    const std::string_view text(address);
    const std::size_t colon = text.find(':');
    _SOAP_Listener listener;
    listener.secure = secure;
    if (colon != std::string_view::npos) {
        listener.port = static_cast<std::uint16_t>(std::atoi(text.data() + colon + 1));
    }
    if (!SOA::socketResource().acquire()) return -1;
    int result = vqNetSocket(&listener.socket, 2, 1, 0) == VQOK ? 0 : -2;
    if (result == 0) result = bind_listener(listener.socket, listener.port);
    if (result == 0) result = keep_listener(listener);
    if (result != 0) {
        if (listener.socket != kVqNoSocket) vqNetClose(&listener.socket);
        SOA::socketResource().release();
        return result;
    }
    // Whoever waits in `run` is to watch it from now on, and not only when its time is over.
    if (core != nullptr && core->usable()) vqUnblock(core->handle(), 2);
    return 0;
}

int _SOAP_Transport_Server::bind_listener(vqSocket socket, std::uint16_t& port) {
    vqAddress address;
    address.port = htons(port);
    if (vqNetBind(socket, &address, sizeof address) != VQOK) return -3;
    int length = sizeof address;
    if (vqNetGetSockName(socket, &address, &length) == VQOK) port = ntohs(address.port);
    vqNetSetNonBlocking(socket, 1);
    return vqNetListen(socket, 0) == VQOK ? 0 : -4;
}

int _SOAP_Transport_Server::keep_listener(const _SOAP_Listener& listener) {
    const PEL_Lock lock(listeners_mutex);
    const auto count = static_cast<std::size_t>(listener_count) + 1;
    auto* const grown = static_cast<_SOAP_Listener*>(PEL_array_new(count * sizeof(_SOAP_Listener)));
    if (grown == nullptr) return -5;
    for (int i = 0; i < listener_count; ++i) grown[i] = listeners[i];
    grown[listener_count] = listener;
    PEL_array_delete(listeners);
    listeners = grown;
    ++listener_count;
    return 0;
}

/// Once, for all secure connections. Where no certificate can be had, as standard output then tells, each
/// handshake fails.
void _SOAP_Transport_Server::make_credentials() {
    const PEL_Lock lock(listeners_mutex);
    if (ssl_context != nullptr || core == nullptr) return;
    const SecureOptions options = SecureOptions::current();
    CSspiCredentials* const credentials = createCredentials(options.vendor, options.protocol, nullptr);
    if (credentials == nullptr) return;
    credentials->choose({options.resumes, options.weak_ciphers});
    static_cast<void>(credentials->acquireCredentials(options.subject, 0, options.exact));
    core->keep_credentials(credentials);
    ssl_context = credentials;
}

std::uint16_t _SOAP_Transport_Server::port_for(_Caldane_Boolean secure) {
    const PEL_Lock lock(listeners_mutex);
    for (int i = 0; i < listener_count; ++i) {
        if ((listeners[i].secure != 0) == (secure != 0)) return listeners[i].port;
    }
    if (open_listener("", secure) != 0) return 0;
    return listeners[listener_count - 1].port;
}

void _SOAP_Transport_Server::add_profiles(_Caldane_ImplBase& implementation, const _Caldane_String& key_text,
                                          const _Caldane_String& name_text, _IOP_ProfileList& profile_list) {
    const _Caldane_Boolean secure = implementation.getSecurity() ? _Caldane_TRUE : _Caldane_FALSE;
    const _Caldane_String host =
        secure != 0 ? host_name : _Caldane_String(vqInet_ntoa(htonl(host_id)), -1, Caldane::OWNERSHIP_COPY);
    if (secure != 0) make_credentials();
    const std::uint16_t port = port_for(secure);
    const _Caldane_ULong tags[] = {secure != 0 ? TAG_INTERNET_SOAPS_DOC : TAG_INTERNET_SOAP_DOC,
                                   secure != 0 ? TAG_INTERNET_SOAPS_RPC : TAG_INTERNET_SOAP_RPC};
    for (const _Caldane_ULong tag : tags) {
        const _IOP_Profile profile =
            _SOAP_Profile::make_profile(key_text, name_text, host, port, nullptr, tag);
        if (profile.valid()) profile_list.append(profile);
    }
}
