// SPDX-License-Identifier: MIT
#include "client/soap_client.h"

#include <algorithm>
#include <new>

#include "addressing/soap_profile.h"
#include "client/request_envelope.h"
#include "client/response_framing.h"

namespace {

using Kind = _Caldane_SystemException;

constexpr char kQueryInterface[] = "_query_interface";

}  // namespace

/// Leaves the client ready for the next call, however this one ends.
class _SOAP_Transport_Client::CallScope {
public:
    explicit CallScope(_SOAP_Transport_Client& of) : client(of) {}
    CallScope(const CallScope&) = delete;
    CallScope& operator=(const CallScope&) = delete;
    ~CallScope() {
        if (!ended) end_by_exception();
    }

    void end() {
        ended = true;
        if (client.out_stream.body_open()) {
            client.out_stream.drop_body();
            // Half a request must not be completed by the next one.
            if (!client.connection.sent_nothing()) client.invalidate();
        }
        if (client.awaits_response) client.settle();
        client.in_stream.release();
    }

private:
    void end_by_exception() {
        try {
            if (client.awaits_response) client.describe_response(what_is_malformed().c_str());
            _Caldane_CallDiagnostics::describe(client.call_info, client.diagnosis);
        } catch (const std::bad_alloc&) {
            client.invalidate();
        }
        end();
    }

    std::string what_is_malformed() const {
        std::string words = "the response is not well-formed XML";
        if (const CXmlPullParserException* const failure = client.in_stream.failure()) {
            words += ": line " + std::to_string(failure->line()) + ", column " +
                     std::to_string(failure->column()) + ": " + failure->message();
        }
        return words;
    }

    _SOAP_Transport_Client& client;
    bool ended = false;
};

_SOAP_Transport_Client::_SOAP_Transport_Client(const _Caldane_String& address) : endpoint(address) {
    const _Caldane_Properties& properties = SOA::getProperties();
    in_stream.set_rpc_encoding(properties.get("SOAP_ENABLE_RPC_ENCODER") != nullptr);
    out_stream.set_rpc_encoding(properties.get("SOAP_ENABLE_RPC_ENCODER") != nullptr);
    if (endpoint.is_null()) invalidate();  // memory has ended; another one may fare better
}

_SOAP_Transport_Client::~_SOAP_Transport_Client() {
    message.reset();
    connection.close();
}

bool _SOAP_Transport_Client::usable() {
    const PEL_TimedLock guard(lock, _Caldane_CallDuration::end_of_call());
    if (!guard) return true;  // `invoke` is going to say what kept the call
    if (!connection.is_connected()) return true;
    switch (connection.look()) {
        case vqNetState::idle:
            return true;
        case vqNetState::readable:
            return reply_outstanding;
        case vqNetState::closed:
            break;
    }
    return false;
}

_Caldane_Boolean _SOAP_Transport_Client::invoke(_Caldane_OutboundCall& call) {
    const PEL_TimedLock guard(lock, _Caldane_CallDuration::end_of_call());
    if (!guard) {
        store_late(call.info());
        return _Caldane_FALSE;
    }
    call_info = call.info();
    diagnosis.clear();
    CallScope scope(*this);
    const std::int32_t kind = perform(call);
    scope.end();
    if (kind == 0) return _Caldane_TRUE;
    store_failure(kind);
    return _Caldane_FALSE;
}

std::int32_t _SOAP_Transport_Client::perform(_Caldane_OutboundCall& call) {
    if (call.target()._is_nil()) {
        diagnosis = "the target is nil";
        return Kind::NIL_OBJECT;
    }
    if (call.oper() == kQueryInterface) return answer_locally(call.args());
    const _IOP_IOR* const ior = object_ior(call.target());
    const _IOP_Profile bound = ior != nullptr ? ior->bound_profile() : _IOP_Profile();
    const _SOAP_Profile* const profile = _SOAP_Profile::narrow(bound);
    if (profile == nullptr) {
        diagnosis = "the target has no reference that is bound to this transport";
        return Kind::INV_OBJREF;
    }
    start_clock();
    if (!valid() || !take_oneway_reply() || !connection.outlives_first_reply()) return refuse_call();
    if (!prepare_for(call, *profile, ior->isSecure())) return Kind::COMM_FAILURE;
    return exchange(call);
}

/// Every object is taken to have the interface it is asked for; nobody is asked.
std::int32_t _SOAP_Transport_Client::answer_locally(_Caldane_ArgList& args) {
    void* const answer =
        _Caldane_Primitive1::_down_cast_prim(args.result().value(), _Caldane_TypeRef::tk_boolean);
    if (answer != nullptr) *static_cast<_Caldane_Boolean*>(answer) = _Caldane_TRUE;
    return 0;
}

std::int32_t _SOAP_Transport_Client::exchange(_Caldane_OutboundCall& call) {
    connection.start_request();
    const bool open = out_stream.open_body_over(std::unique_ptr<COutputStream>(new ClientOutput(connection)));
    if (!open) {
        diagnosis = "memory has ended";
        return Kind::COMM_FAILURE;
    }
    const bool written = write_envelope(out_stream, call.intf_id(), call.oper(), call.args()) != 0;
    if (out_stream.text_refused()) {
        diagnosis =
            "a parameter holds text that is not UTF-8 made of characters of XML, as SOAP_UTF8_TEXT asks for";
        return Kind::MARSHAL;
    }
    if (!written) {
        diagnosis = "a parameter could not be written as XML";
        return Kind::COMM_FAILURE;
    }
    out_stream.close_body();
    if (connection.sent_nothing() && !connection.send_failed()) {
        diagnosis = "memory has ended";
        return Kind::COMM_FAILURE;
    }
    if (_Caldane_CallDuration::is_oneway(call_info)) {
        reply_outstanding = true;
        if (connection.send_failed()) invalidate();
        return 0;
    }
    awaits_response = true;
    if (connection.send_failed() && connection.time_is_up()) {
        describe_time();
        return Kind::COMM_FAILURE;
    }
    if (read_response(call.args())) return 0;
    if (connection.request_never_arrived()) _Caldane_CallDiagnostics::not_delivered(call_info, true);
    return Kind::BAD_RESPONSE;
}

bool _SOAP_Transport_Client::read_response(_Caldane_ArgList& args) {
    in_stream.attach(message.get(), connection.handle(), connection.secure_channel());
    const char* failing = "the response's body is not a SOAP envelope";
    if (in_stream.open_envelope_from(std::unique_ptr<CInputStream>(new ClientInput(connection)))) {
        if (in_stream.read_fault(call_info) || read_values(args)) {
            if (in_stream.close_envelope()) return true;
            failing = "the response's envelope does not end";
        } else {
            failing = "the response does not hold the values that the operation gives";
        }
    }
    describe_response(failing);
    return false;
}

/// Result and parameters come in the order in which they are declared; their names do not matter.
bool _SOAP_Transport_Client::read_values(_Caldane_ArgList& args) {
    if (!in_stream.open_result()) return false;
    bool good = args.result().value()._demarshal(in_stream) != _Caldane_FALSE;
    const _Caldane_ULong count = args.count();
    for (_Caldane_ULong i = 0; i < count; ++i) {
        _Caldane_Parameter& parameter = args.parameter(i);
        const std::int32_t direction = parameter.direction();
        if (direction != _Caldane_Parameter::OUT && direction != _Caldane_Parameter::INOUT) continue;
        good = parameter.demarshal(in_stream) != _Caldane_FALSE;
        if (!good) return false;
    }
    return good && in_stream.close_result();
}

void _SOAP_Transport_Client::start_clock() {
    constexpr double kLongest = 1e9;
    time_limit = _Caldane_CallDuration::time_limit(call_info);
    auto deadline = ClientConnection::Clock::time_point::max();
    if (time_limit > 0) {
        const std::chrono::duration<double> limit(std::min(time_limit, kLongest));
        deadline = ClientConnection::Clock::now() +
                   std::chrono::duration_cast<ClientConnection::Clock::duration>(limit);
        deadline = std::min(deadline, _Caldane_CallDuration::end_of_call());
    }
    connection.set_deadline(deadline);
}

/// The next request is written only where the next response will start: what is left of this one is read and
/// dropped, or else the connection is given up.
void _SOAP_Transport_Client::settle() {
    awaits_response = false;
    connection.end_request();
    connection.set_deadline(
        std::min(connection.deadline(), ClientConnection::Clock::now() + kTimeForLeftovers));
    const bool clean = !connection.send_failed() && in_stream.drained(kMostLeftovers) &&
                       !connection.has_ended() && !announces_close(*message);
    if (!clean) invalidate();
}

/// Reads and drops the response to a one-way call, which is still to come ahead of that to the next request.
bool _SOAP_Transport_Client::take_oneway_reply() {
    if (!reply_outstanding) return true;
    reply_outstanding = false;
    const ClientConnection::Clock::time_point deadline = connection.deadline();
    connection.set_deadline(std::min(deadline, ClientConnection::Clock::now() + kTimeForOnewayReply));
    ClientInput input(connection);
    const std::unique_ptr<CBodyInputStream> body(message->OpenBodyReader(&input, 0));
    const bool clean = body && body->drain(kMostLeftovers) && !connection.has_ended() &&
                       !announces_close(*message) && connection.look() == vqNetState::idle;
    connection.end_request();
    connection.set_deadline(deadline);
    message.reset();  // its status is none of the next call's
    if (!clean) invalidate();
    return clean;
}
