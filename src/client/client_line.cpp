// SPDX-License-Identifier: MIT
#include "client/client_line.h"

#include <algorithm>
#include <new>

#include "addressing/soap_profile.h"
#include "client/request_envelope.h"
#include "client/response_framing.h"

namespace {

using Kind = _Caldane_SystemException;

}  // namespace

/// Leaves the client ready for the next call, however this one ends.
class ClientLine::CallScope {
public:
    explicit CallScope(ClientLine& of) : line(of) {}
    CallScope(const CallScope&) = delete;
    CallScope& operator=(const CallScope&) = delete;
    ~CallScope() {
        if (!ended) end_by_exception();
    }

    void end() {
        ended = true;
        if (line.out_stream.body_open()) {
            line.out_stream.drop_body();
            // Half a request must not be completed by the next one.
            if (!line.connection.sent_nothing()) line.spoil();
        }
        if (line.awaits_response) line.settle();
        line.in_stream.release();
    }

private:
    void end_by_exception() {
        try {
            if (line.awaits_response) line.describe_response(what_is_malformed().c_str());
            _Caldane_CallDiagnostics::describe(line.call_info, line.diagnosis);
            if (line.awaits_response && !is_status_of_call(line.last_status()))
                _Caldane_CallDiagnostics::kind(line.call_info, Kind::HTTP_STATUS);
        } catch (const std::bad_alloc&) {
            line.spoil();
        }
        end();
    }

    std::string what_is_malformed() const {
        std::string words = "the response is not well-formed XML";
        if (const CXmlPullParserException* const failure = line.in_stream.failure()) {
            words += ": line " + std::to_string(failure->line()) + ", column " +
                     std::to_string(failure->column()) + ": " + failure->message();
        }
        return words;
    }

    ClientLine& line;
    bool ended = false;
};

ClientLine::ClientLine(const _Caldane_String& address, bool is_secure_line, bool rpc_encoding)
    : endpoint(address), is_secure(is_secure_line) {
    in_stream.set_rpc_encoding(rpc_encoding);
    out_stream.set_rpc_encoding(rpc_encoding);
}

ClientLine::~ClientLine() {
    message.reset();
    connection.close();
}

bool ClientLine::is_fresh() const {
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

std::int32_t ClientLine::carry(_Caldane_OutboundCall& call, const _SOAP_Profile& profile) {
    call_info = call.info();
    diagnosis.clear();
    CallScope scope(*this);
    start_clock();
    std::int32_t kind = 0;
    if (spoiled || !is_fresh() || !take_oneway_reply() || !connection.outlives_first_reply()) {
        kind = refuse_call();
    } else {
        kind = prepare_for(call, profile) ? exchange(call) : Kind::COMM_FAILURE;
    }
    scope.end();
    return kind;
}

std::int32_t ClientLine::exchange(_Caldane_OutboundCall& call) {
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
        if (connection.send_failed()) return fail_oneway();
        reply_outstanding = true;
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

/// A one-way call whose request did not leave as a whole. There is no reply from which its caller would learn
/// it.
std::int32_t ClientLine::fail_oneway() {
    spoil();
    if (connection.time_is_up()) {
        describe_time();
        diagnosis += " while the request was sent";
        return Kind::COMM_FAILURE;
    }
    diagnosis = "the connection to ";
    diagnosis += endpoint.view();
    diagnosis += " broke while the request was sent";
    if (!connection.error().empty()) diagnosis += ": " + connection.error();
    // How it broke, which a receive finds out, tells whether anything arrived.
    char ignored = 0;
    if (connection.look() == vqNetState::closed) static_cast<void>(connection.receive(&ignored, 1));
    if (connection.request_never_arrived()) _Caldane_CallDiagnostics::not_delivered(call_info, true);
    return Kind::COMM_FAILURE;
}

bool ClientLine::read_response(_Caldane_ArgList& args) {
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
bool ClientLine::read_values(_Caldane_ArgList& args) {
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

void ClientLine::start_clock() {
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
void ClientLine::settle() {
    awaits_response = false;
    connection.end_request(promises_to_stay(*message));
    connection.set_deadline(
        std::min(connection.deadline(), ClientConnection::Clock::now() + kTimeForLeftovers));
    const bool clean = !connection.send_failed() && in_stream.drained(kMostLeftovers) &&
                       !connection.has_ended() && !announces_close(*message);
    if (!clean) spoil();
}

/// Reads and drops the response to a one-way call, which is still to come ahead of that to the next request.
bool ClientLine::take_oneway_reply() {
    if (!reply_outstanding) return true;
    reply_outstanding = false;
    const ClientConnection::Clock::time_point deadline = connection.deadline();
    connection.set_deadline(std::min(deadline, ClientConnection::Clock::now() + kTimeForOnewayReply));
    ClientInput input(connection);
    const std::unique_ptr<CBodyInputStream> body(message->OpenBodyReader(&input, 0));
    const bool clean = body && body->drain(kMostLeftovers) && !connection.has_ended() &&
                       !announces_close(*message) && connection.look() == vqNetState::idle;
    connection.end_request(promises_to_stay(*message));
    connection.set_deadline(deadline);
    message.reset();  // its status is none of the next call's
    if (!clean && connection.time_is_up()) {
        describe_time();
        diagnosis += ", waiting for the reply to a one-way call before it; nothing was sent";
    }
    if (!clean) spoil();
    return clean;
}
