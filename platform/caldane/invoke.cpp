// SPDX-License-Identifier: MIT
#include <caldane/invoke.h>

#include <algorithm>
#include <chrono>
#include <new>
#include <string>

#include <caldane/calls.h>
#include <caldane/soa.h>
#include <caldane/transport.h>

#include "bound_call.h"
#include "call_features.h"
#include "transports.h"

namespace {

/// How often a call is tried anew when it is proved that no byte of it reached the server.
// Threads that share an endpoint whose server keeps no connection each meet connections that others used up.
constexpr int kMaxRedeliveries = 64;
/// How often a client is bound that turns out to be of no use before the call is given up.
constexpr int kMaxBinds = 3;

constexpr char kMalformed[] = "malformed XML in the response";

thread_local double thread_limit = -1;

using Clock = std::chrono::steady_clock;
thread_local Clock::time_point call_end = Clock::time_point::max();

/// The clock of a call runs from its begin on, whatever it waits for and however often it is tried.
class CallClock {
public:
    explicit CallClock(double seconds) : previous(call_end) {
        constexpr double kLongest = 1e9;
        const std::chrono::duration<double> limit(std::min(seconds, kLongest));
        call_end = seconds > 0 ? Clock::now() + std::chrono::duration_cast<Clock::duration>(limit)
                               : Clock::time_point::max();
    }
    ~CallClock() { call_end = previous; }
    CallClock(const CallClock&) = delete;
    CallClock& operator=(const CallClock&) = delete;

private:
    Clock::time_point previous;
};

/// A client with the profile it is bound to, and one reference to it.
class BoundClient {
public:
    BoundClient() = default;
    BoundClient(const BoundClient&) = delete;
    BoundClient& operator=(const BoundClient&) = delete;
    ~BoundClient() { release(); }

    /// The client that `profile` has now. The binding mutex is held by the caller.
    bool take(const _IOP_Profile& bound) {
        profile = bound;
        client = profile.valid() ? profile->binding() : nullptr;
        if (client != nullptr) client->_add_ref();
        return client != nullptr;
    }

    [[nodiscard]] bool good() const { return client != nullptr && client->valid() && client->usable(); }

    /// Takes the client out of its profile, unless another one is there by now, and gives it up.
    void unbind() {
        if (client == nullptr) return;
        {
            const BindingLock lock;
            if (profile->binding() == client) profile->unbind();
        }
        release();
    }

    _IOP_Profile profile;
    _Caldane_Transport_RPC_Client* client = nullptr;

private:
    /// Outside the binding mutex: a client closes its connection when it goes.
    void release() {
        if (client != nullptr) client->_release();
        client = nullptr;
    }
};

bool take_last_bound(_IOP_IOR& ior, BoundClient& bound) {
    const BindingLock lock;
    return bound.take(_Caldane_BoundCall::last_bound(ior));
}

bool bind_anew(const _Caldane_Object& target, _IOP_IOR& ior, BoundClient& bound) {
    const BindingLock lock;
    for (_Caldane_Transport_Info* transport : TransportTable::instance().transports) {
        if (!bound.take(transport->bind_profile(target, 0))) continue;
        _Caldane_BoundCall::remember(ior, bound.profile);
        return true;
    }
    return false;
}

/// Finds a client of use for the next call; false if there is none.
bool bind(const _Caldane_Object& target, _IOP_IOR& ior, BoundClient& bound) {
    if (take_last_bound(ior, bound) && bound.good()) return true;
    for (int i = 0; i < kMaxBinds; ++i) {
        bound.unbind();
        if (!bind_anew(target, ior, bound)) return false;
        if (bound.good()) return true;
    }
    return bound.client != nullptr;
}

void store(_Caldane_CallException& holder, std::int32_t kind, const char* message) {
    _Caldane_SystemException exception(kind);
    exception._put_message(_Caldane_String::constant(message));
    holder.exception(exception);
}

/// One try: what leaves the client by exception becomes the call's exception, since nothing of a transport's
/// inside is known here.
void try_call(_IOP_IOR& ior, BoundClient& bound, _Caldane_OutboundCall& call,
              _Caldane_CallException& outcome) {
    const _Caldane_BoundCall scope(ior, bound.profile);
    try {
        const auto done = static_cast<int>(bound.client->invoke(call));
        if (done == 0 && outcome.stored() == nullptr) {
            store(outcome, _Caldane_SystemException::UNKNOWN, "the transport gave no reason");
        }
    } catch (const std::bad_alloc&) {
        store(outcome, _Caldane_SystemException::UNKNOWN, "memory has ended");
        bound.client->invalidate();
    } catch (...) {
        const std::int32_t known = _Caldane_CallDiagnostics::kind(call.info());
        if (known >= 0) {
            store(outcome, known, "");
        } else {
            store(outcome, _Caldane_SystemException::BAD_RESPONSE, kMalformed);
        }
    }
}

std::string plain(const _Caldane_String& value) {
    return std::string(std::string_view(value));
}

/// What the transport described, with the message of the exception where that says more.
std::string reason(const _Caldane_SystemException& exception, const _Caldane_CallInfo& info) {
    std::string message = plain(exception.message_text());
    std::string described = plain(_Caldane_CallDiagnostics::text(info));
    if (described.empty()) return message;
    // Of a call that failed on the way the message is but the text of a status, if there was one at all.
    const std::int32_t kind = exception.kind();
    const bool on_the_way =
        kind == _Caldane_SystemException::MARSHAL || kind == _Caldane_SystemException::COMM_FAILURE ||
        kind == _Caldane_SystemException::BAD_RESPONSE || kind == _Caldane_SystemException::HTTP_STATUS;
    if (message.empty() || message == described || (on_the_way && message != kMalformed)) return described;
    return described + " (" + message + ")";
}

[[noreturn]] void raise(const Caldane::Operation& operation, const _Caldane_CallInfo& info,
                        const _Caldane_ExceptionBase& stored, const std::string& endpoint) {
    const std::string name = plain(operation.name);
    if (const auto* system = dynamic_cast<const _Caldane_SystemException*>(&stored)) {
        throw Caldane::SystemError(system->kind(), reason(*system, info), name, endpoint);
    }
    for (std::size_t i = 0; i < operation.exceptions.count; ++i) operation.exceptions.table[i].raise(stored);
    throw Caldane::SystemError(
        _Caldane_SystemException::UNKNOWN,
        "an exception that the operation does not declare: " + plain(stored.repository_id()), name, endpoint);
}

[[noreturn]] void fail(std::int32_t kind, const std::string& message, const Caldane::Operation& operation,
                       const std::string& endpoint) {
    throw Caldane::SystemError(kind, message, plain(operation.name), endpoint);
}

/// What the first transport that knows anything about it says.
std::string why_unbound(const _Caldane_Object& target) {
    const BindingLock lock;
    for (_Caldane_Transport_Info* transport : TransportTable::instance().transports) {
        const _Caldane_String reason = transport->why_unbound(target);
        if (!reason.is_null()) return plain(reason);
    }
    return "no transport can reach the object";
}

}  // namespace

void Caldane::invoke(const _Caldane_Object& target, const Operation& operation, _Caldane_ArgList& args) {
    if (target._is_nil()) fail(_Caldane_SystemException::NIL_OBJECT, "the reference is nil", operation, {});
    const _Caldane_Object held(target);  // the caller may change its reference while the call waits
    _IOP_IOR& ior = *held._ior();
    _Caldane_CallInfo info;
    auto* features = info.features_or_add();
    if (features == nullptr) {
        fail(_Caldane_SystemException::UNKNOWN, "memory has ended", operation, held.url());
    }
    features->exception.declare(operation.exceptions.table, operation.exceptions.count);
    features->duration.oneway(operation.oneway);
    const double seconds = CallTimeout::current();
    features->duration.limit(seconds);
    const CallClock clock(seconds);
    _Caldane_OutboundCall call(info, held, args, operation.name, operation.intf_id);
    for (int attempt = 0;; ++attempt) {
        BoundClient bound;
        if (!bind(held, ior, bound)) {
            fail(_Caldane_SystemException::INV_OBJREF, why_unbound(held), operation, held.url());
        }
        try_call(ior, bound, call, features->exception);
        const bool undelivered = _Caldane_CallDiagnostics::not_delivered(info);
        if (undelivered || !bound.client->valid()) bound.unbind();
        if (!undelivered || features->exception.stored() == nullptr || attempt == kMaxRedeliveries) break;
        _Caldane_CallDiagnostics::not_delivered(info, false);
        _Caldane_CallDiagnostics::describe(info, _Caldane_String());
        features->exception.clear();
    }
    if (features->exception.stored() != nullptr)
        raise(operation, info, *features->exception.stored(), held.url());
}

std::chrono::steady_clock::time_point _Caldane_CallDuration::end_of_call() {
    return call_end;
}

Caldane::CallTimeout::CallTimeout(double seconds) : previous(thread_limit) {
    thread_limit = seconds > 0 ? seconds : 0;
}

Caldane::CallTimeout::~CallTimeout() {
    thread_limit = previous;
}

double Caldane::CallTimeout::current() {
    if (thread_limit >= 0) return thread_limit;
    const double seconds = SOA::getProperties().number("call_timeout", 0);
    return seconds > 0 ? seconds : 0;
}
