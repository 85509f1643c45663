// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>

#include <pelthread/memory.h>

#include <caldane/boolean.h>
#include <caldane/call_info.h>
#include <caldane/ior.h>
#include <caldane/object.h>
#include <caldane/string.h>

class _Caldane_ArgList;
class _Caldane_ImplBase;
class _Caldane_OutboundCall;
class _SOA_Call;

/// The client side of a transport for one endpoint: carries calls there. Reference-counted, born with one
/// reference, which is its maker's. Used by many threads.
class _Caldane_Transport_RPC_Client {
public:
    PEL_HEAP_OBJECT
    _Caldane_Transport_RPC_Client(const _Caldane_Transport_RPC_Client&) = delete;
    _Caldane_Transport_RPC_Client& operator=(const _Caldane_Transport_RPC_Client&) = delete;

    virtual ~_Caldane_Transport_RPC_Client();

    /// Carries one call to its end. 1 when the exchange went through, also with an exception as its outcome;
    /// 0 when it failed. Exceptions are stored in the call's information, not thrown.
    virtual _Caldane_Boolean invoke(_Caldane_OutboundCall& call) = 0;

    /// This object if `type` is the address of its class's type mark, else null.
    virtual void* _safe_cast(const void* type);

    virtual void _add_ref();
    /// Deletes the object with the last reference.
    virtual void _release();

    /// Says that this client is not to be used for further calls; calls under way may end.
    virtual void invalidate();

    /// False when the connection was closed by the peer or holds bytes that no request asked for. Asked
    /// before a call. Does not wait for the network, but may for a call under way.
    virtual bool usable();

    /// False after `invalidate`.
    [[nodiscard]] bool valid() const { return valid_.load(std::memory_order_acquire); }

    /// The reference of an object, null for a nil one.
    static _IOP_IOR* object_ior(const _Caldane_Object& object);

    /// Stands ahead of a lock under which clients may lose their last reference: on this thread they are
    /// deleted only when it ends, with the outermost one. A client says goodbye over the network then.
    class EndsLater {
    public:
        EndsLater();
        ~EndsLater();
        EndsLater(const EndsLater&) = delete;
        EndsLater& operator=(const EndsLater&) = delete;
    };

protected:
    _Caldane_Transport_RPC_Client() = default;

private:
    _Caldane_Transport_RPC_Client* next_ended = nullptr;
    std::atomic<std::int32_t> references{1};
    std::atomic<bool> valid_{true};
};

/// The server side of a transport: listens, and turns requests into `_SOA_IncomingCall`s. One a process.
class _Caldane_Transport_RPC_Server {
public:
    PEL_HEAP_OBJECT
    _Caldane_Transport_RPC_Server(const _Caldane_Transport_RPC_Server&) = delete;
    _Caldane_Transport_RPC_Server& operator=(const _Caldane_Transport_RPC_Server&) = delete;

    /// 0 while it runs, 2 when it has ended.
    virtual std::int32_t server_state() = 0;
    /// Serves until the server is shut down; on a thread that the broker gives it.
    virtual void run() = 0;
    virtual void idle_operation_1() = 0;
    virtual void idle_operation_2() = 0;
    /// Ends `run` and deletes the server.
    virtual void shutdown() = 0;
    virtual std::int32_t ready() = 0;
    /// Routes requests for `address` (host:port/path) to the object under `target_key`. 0 when registered
    /// and listening; 1 the port serves the other kind; 2 the address is taken; -1 no socket left; -2, -3,
    /// -4 no socket, bind or listen; -5 no memory; -6 not an address.
    virtual std::int32_t add_endpoint(const _Caldane_String& target_key, const _Caldane_String& address,
                                      _Caldane_Boolean secure) = 0;
    /// Appends the profiles by which `implementation` is reached: `key_text` is the path, `name_text` a name.
    virtual void add_profiles(_Caldane_ImplBase& implementation, const _Caldane_String& key_text,
                              const _Caldane_String& name_text, _IOP_ProfileList& profile_list) = 0;
    virtual void release_security(const _Caldane_String& first, const _Caldane_String& second) = 0;
    virtual void* _safe_cast(const void* type);
    /// Opens the listener of an address that `add_endpoint` took while it could not listen there: 0, or -1 to
    /// -5 as there.
    virtual std::int32_t listen_at(const _Caldane_String& address, _Caldane_Boolean secure);

    /// The credentials of secure listeners, as the derived class stored them.
    void* getSSLContext() const { return ssl_context; }

protected:
    _Caldane_Transport_RPC_Server() = default;
    virtual ~_Caldane_Transport_RPC_Server();

    void* ssl_context = nullptr;
};

/// What the broker sees of one incoming call: reads the arguments, then writes one reply or exception.
class _Caldane_Transport_ServerFrame {
public:
    _Caldane_Transport_ServerFrame(const _Caldane_Transport_ServerFrame&) = delete;
    _Caldane_Transport_ServerFrame& operator=(const _Caldane_Transport_ServerFrame&) = delete;

    /// Reads the in and in-out parameters; false when they cannot be read.
    virtual _Caldane_Boolean demarshal_args(_SOA_Call& call, _Caldane_ArgList& args) = 0;
    /// Writes the result with the out and in-out parameters; true when a reply went out.
    virtual _Caldane_Boolean marshal_reply(_SOA_Call& call, _Caldane_ArgList& args) = 0;
    virtual _Caldane_Boolean marshal_exception(_SOA_Call& call, _Caldane_ExceptionBase& exception) = 0;
    /// Comes last, after the reply or exception.
    virtual void finished(_SOA_Call& call);

protected:
    _Caldane_Transport_ServerFrame() = default;
    ~_Caldane_Transport_ServerFrame() = default;
};

/// A transport's face towards the broker.
class _Caldane_Transport_Info {
public:
    PEL_HEAP_OBJECT
    _Caldane_Transport_Info(const _Caldane_Transport_Info&) = delete;
    _Caldane_Transport_Info& operator=(const _Caldane_Transport_Info&) = delete;

    virtual ~_Caldane_Transport_Info();

    /// A profile of the object that has a client bound, or an invalid one if this transport cannot reach the
    /// object. Does not touch the network.
    virtual _IOP_Profile bind_profile(const _Caldane_Object& object, std::int32_t flags) = 0;
    virtual const _Caldane_String& transport_name() = 0;
    virtual _Caldane_CallInfo& default_call_info() = 0;
    /// The transport's server, made at the first call; null when memory ended.
    virtual _Caldane_Transport_RPC_Server* server() = 0;
    virtual void* _safe_cast(const void* type);
    virtual void ignored_notification(std::int32_t what) = 0;
    /// The profile under which the object at a URL is handed on to others; an invalid one if this transport
    /// cannot reach it. No client is bound.
    virtual _IOP_Profile profile_of_url(const _IOP_IOR& ior);
    /// What would let this transport bind the object, for which `bind_profile` gave nothing; a null string
    /// where it knows no more.
    virtual _Caldane_String why_unbound(const _Caldane_Object& object);

    /// The reference of an object, null for a nil one.
    static _IOP_IOR* object_ior(const _Caldane_Object& object);

    /// Makes a transport known to the broker for as long as it lives, and owns the info object.
    class Registration {
    public:
        PEL_HEAP_OBJECT
        /// A null `info` registers nothing.
        explicit Registration(_Caldane_Transport_Info* info);
        ~Registration();
        Registration(const Registration&) = delete;
        Registration& operator=(const Registration&) = delete;

    private:
        _Caldane_Transport_Info* info_;
    };

protected:
    _Caldane_Transport_Info() = default;
};
