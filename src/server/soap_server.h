// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>
#include <pelthread/mutex.h>
#include <vqsys/types.h>

#include <atomic>
#include <cstdint>

#include "server/endpoint_table.h"
#include "transport/broker.h"

class CSspiCredentials;
struct _SOAP_Connection;
class _SOAP_ConnectionList;

/// A socket that listens.
struct _SOAP_Listener {
    vqSocket socket = kVqNoSocket;
    _Caldane_Boolean secure = _Caldane_FALSE;
    std::uint16_t port = 0;  ///< the one actually bound
};

/// The server half of the transport: the listening sockets, the idle connections, and the one loop that waits
/// on all of them. A readable connection becomes a task of the dispatcher, which answers one request and
/// gives the connection back or closes it.
///
/// One object a process. Any thread may add endpoints; one thread is in `run`. Every listener and every
/// connection holds a unit of `SOA::socketResource()`.
class _SOAP_Transport_Server final : public _Caldane_Transport_RPC_Server {
public:
    PEL_HEAP_OBJECT

    _SOAP_Transport_Server();

    /// 0 while it runs, 2 once it ends.
    std::int32_t server_state() override;
    void run() override;
    void idle_operation_1() override {}
    void idle_operation_2() override {}
    /// Releases the credentials, ends `run` if it was ever entered, and deletes the object. Waits for `run`
    /// and for the tasks that are running, the latter at most `kShutdownSeconds`. Requests that have arrived
    /// are still served.
    void shutdown() override;
    std::int32_t ready() override { return 1; }
    /// 0 done; 1 the port has a listener of the other kind; 2 the address is taken; -1 no socket left, -2,
    /// -3, -4 socket, bind or listen failed, -5 no memory, -6 not of the form host:port/path.
    std::int32_t add_endpoint(const _Caldane_String& target_key, const _Caldane_String& address,
                              _Caldane_Boolean secure) override;
    void add_profiles(_Caldane_ImplBase& implementation, const _Caldane_String& key_text,
                      const _Caldane_String& name_text, _IOP_ProfileList& profile_list) override;
    void release_security(const _Caldane_String& first, const _Caldane_String& second) override;
    std::int32_t listen_at(const _Caldane_String& address, _Caldane_Boolean secure) override {
        return open_listener(address.c_str(), secure);
    }

    /// Opens a listener on all addresses, at the port behind the first ":" of `address` (none: the system
    /// chooses). 0, or -1 to -5 as `add_endpoint`.
    int open_listener(const char* address, _Caldane_Boolean secure);

    static constexpr double kShutdownSeconds = 10;
    /// For tasks to end whose connections were cut then.
    static constexpr double kCutSeconds = 0.2;
    static constexpr int kWaitSeconds = 10;
    static constexpr std::int32_t kSweepSeconds = 60;

private:
    ~_SOAP_Transport_Server() override;

    int bind_listener(vqSocket socket, std::uint16_t& port);
    int keep_listener(const _SOAP_Listener& listener);
    std::uint16_t port_for(_Caldane_Boolean secure);
    void watch_listeners();
    int longest_wait();
    bool wait_once(int milliseconds);
    void end_overdue();
    bool serve_ready();
    bool accept_from(vqSocket socket);
    bool accept_many(const _SOAP_Listener& listener, int most);
    bool accept_one(const _SOAP_Listener& listener);
    void accept_waiting();
    void make_credentials();
    bool begin(_SOAP_Connection& connection, const _SOAP_Listener& listener);
    void close_all();
    void close_listeners();
    bool finish(double seconds);

    static std::atomic<std::int32_t> server_running;

    _Caldane_String host_name;
    std::uint32_t host_id;
    PEL_Mutex listeners_mutex;
    _SOAP_Listener* listeners = nullptr;
    int listener_count = 0;
    /// Idle connections. Tasks hold references as well and may outlive this object.
    _SOAP_ConnectionList* const core;
    /// The same until `run` has ended, then null.
    std::atomic<_SOAP_ConnectionList*> connections;
    std::atomic<bool> run_entered = false;
    bool watching = false;        ///< the listeners are in the set
    std::int64_t last_tick = 0;   ///< milliseconds
    std::int32_t last_sweep = 0;  ///< seconds
};
