// SPDX-License-Identifier: MIT
#include "client/soap_client.h"

#include <cstdio>
#include <string>

#include "addressing/soap_profile.h"
#include "client/response_framing.h"
#include "settings/settings.h"

namespace {

using Kind = _Caldane_SystemException;

constexpr char kQueryInterface[] = "_query_interface";
/// How often a call changes to another connection since no byte of it arrived over the one before: each may
/// have been closed by its server at the same moment.
constexpr int kMostLines = 64;

int connections_allowed() {
    return static_cast<int>(setting("SOAP_CLIENT_CONNECTIONS").number());
}

/// Leaves the failure of a call that went over no line.
_Caldane_Boolean fail(const _Caldane_CallInfo& info, std::int32_t kind, const char* words) {
    _Caldane_CallDiagnostics::describe(info, _Caldane_String(words));
    if (_Caldane_CallException* const holder = _Caldane_CallException::lookup_or_add(info)) {
        holder->exception(_Caldane_SystemException(0, _Caldane_CompletionStatus(1), kind),
                          Caldane::OWNERSHIP_COPY);
    }
    return _Caldane_FALSE;
}

_Caldane_Boolean fail_late(const _Caldane_CallInfo& info) {
    char words[96];
    std::snprintf(words, sizeof words, "call timed out after %g s, waiting for the call before it",
                  _Caldane_CallDuration::time_limit(info));
    return fail(info, Kind::COMM_FAILURE, words);
}

/// Every object is taken to have the interface it is asked for; nobody is asked.
_Caldane_Boolean answer_locally(_Caldane_ArgList& args) {
    void* const answer =
        _Caldane_Primitive1::_down_cast_prim(args.result().value(), _Caldane_TypeRef::tk_boolean);
    if (answer != nullptr) *static_cast<_Caldane_Boolean*>(answer) = _Caldane_TRUE;
    return _Caldane_TRUE;
}

/// The one connection of a client, spoiled by a call however that ended, is the client's end.
class LineEnd {
public:
    LineEnd(_Caldane_Transport_RPC_Client& of, const ClientLine& watched, bool is_only)
        : client(of), line(watched), only(is_only) {}
    ~LineEnd() {
        if (only && line.is_spoiled()) client.invalidate();
    }
    LineEnd(const LineEnd&) = delete;
    LineEnd& operator=(const LineEnd&) = delete;

private:
    _Caldane_Transport_RPC_Client& client;
    const ClientLine& line;
    bool only;
};

}  // namespace

_SOAP_Transport_Client::_SOAP_Transport_Client(const _Caldane_String& address)
    : endpoint(address), pool(address, SOA::getProperties().get("SOAP_ENABLE_RPC_ENCODER") != nullptr) {
    if (address.is_null()) invalidate();  // memory has ended; another one may fare better
}

bool _SOAP_Transport_Client::usable() {
    return connections_allowed() > 1 || pool.is_fresh();
}

_Caldane_Boolean _SOAP_Transport_Client::invoke(_Caldane_OutboundCall& call) {
    if (call.target()._is_nil()) return fail_unsent(call.info(), Kind::NIL_OBJECT, "the target is nil");
    if (call.oper() == kQueryInterface) return answer_locally(call.args());
    const _IOP_IOR* const ior = object_ior(call.target());
    const _IOP_Profile bound = ior != nullptr ? ior->bound_profile() : _IOP_Profile();
    const _SOAP_Profile* const profile = _SOAP_Profile::narrow(bound);
    if (profile == nullptr)
        return fail_unsent(call.info(), Kind::INV_OBJREF,
                           "the target has no reference that is bound to this transport");
    return carry(call, *profile, ior->isSecure());
}

_Caldane_Boolean _SOAP_Transport_Client::carry(_Caldane_OutboundCall& call, const _SOAP_Profile& profile,
                                               bool secure) {
    const int most = connections_allowed();
    for (int lines = 1;; ++lines) {
        const ConnectionPool::Turn turn(pool, secure, most, _Caldane_CallDuration::end_of_call());
        if (turn.timed_out()) return fail_late(call.info());
        // The call before this one may have spoiled the one connection.
        if (most == 1 && !valid()) return refuse(call.info());
        ClientLine* const line = turn.line();
        if (line == nullptr) return fail(call.info(), Kind::COMM_FAILURE, "memory has ended");
        const LineEnd end(*this, *line, most == 1);
        const std::int32_t kind = line->carry(call, profile);
        last_status.store(line->last_status(), std::memory_order_relaxed);
        if (kind == 0) return _Caldane_TRUE;
        const bool another =
            most > 1 && lines < kMostLines && _Caldane_CallDiagnostics::not_delivered(call.info());
        if (!another) {
            line->store_failure(kind);
            return _Caldane_FALSE;
        }
        _Caldane_CallDiagnostics::not_delivered(call.info(), false);
    }
}

/// For a call that is none. Its failure is taken for that of the call before, where that one's HTTP status
/// says that it failed.
_Caldane_Boolean _SOAP_Transport_Client::fail_unsent(const _Caldane_CallInfo& info, std::int32_t kind,
                                                     const char* words) const {
    const bool failed_before = !is_status_of_call(last_status.load(std::memory_order_relaxed));
    return fail(info, failed_before ? Kind::HTTP_STATUS : kind, words);
}

/// For a call of which nothing was sent. The broker takes another client.
_Caldane_Boolean _SOAP_Transport_Client::refuse(const _Caldane_CallInfo& info) {
    std::string words = "the connection to ";
    words += endpoint.view();
    words += " had become useless after an earlier call";
    _Caldane_CallDiagnostics::not_delivered(info, true);
    return fail(info, Kind::COMM_FAILURE, words.c_str());
}
