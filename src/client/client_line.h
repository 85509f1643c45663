// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>

#include <cstdint>
#include <memory>
#include <string>

#include "client/client_connection.h"
#include "http/http_message.h"
#include "marshal/soap_in_stream.h"
#include "marshal/soap_out_stream.h"
#include "transport/broker.h"

class _SOAP_Profile;

/// One connection of a client with all that carries one call after the other over it. Of one kind: encrypted
/// or not, from its first connection on. One thread at a time.
class ClientLine {
public:
    PEL_HEAP_OBJECT

    /// `address` is the client's: host and port, also the value of the Host header.
    ClientLine(const _Caldane_String& address, bool is_secure_line, bool rpc_encoding);
    ~ClientLine();
    ClientLine(const ClientLine&) = delete;
    ClientLine& operator=(const ClientLine&) = delete;

    /// Carries a call, see `_SOAP_Transport_Client::invoke`: 0, or the kind of its failure.
    std::int32_t carry(_Caldane_OutboundCall& call, const _SOAP_Profile& profile);
    /// Puts the failure of the call that was carried last into its information.
    void store_failure(std::int32_t kind);

    /// The HTTP status of the last response, 0 if there is none.
    std::int32_t last_status() const { return message ? message->GetStatus() : 0; }

    /// The connection, or something about it, is of no more use.
    bool is_spoiled() const { return spoiled; }
    /// False where the peer has closed the connection or sent what no request asked for. Never blocks.
    bool is_fresh() const;
    /// A one-way call's reply is still to come, and the next call would wait for it.
    bool awaits_reply() const { return reply_outstanding; }
    bool secure() const { return is_secure; }
    /// When a call on it ended last; the pool's.
    ClientConnection::Clock::time_point idle_since;

private:
    class CallScope;

    std::int32_t exchange(_Caldane_OutboundCall& call);

    bool prepare_for(const _Caldane_OutboundCall& call, const _SOAP_Profile& profile);
    const char* own_property(const _Caldane_String& oper, const char* suffix);
    _Caldane_String quoted_action(const _Caldane_String& oper);
    int prepare_request(const _Caldane_String& path, const _Caldane_String& action);
    bool connect_repeatedly();
    bool start_message();

    std::int32_t fail_oneway();
    bool read_response(_Caldane_ArgList& args);
    bool read_values(_Caldane_ArgList& args);
    bool take_oneway_reply();
    void start_clock();
    void settle();

    std::int32_t refuse_call();
    void describe_response(const char* failing);
    void describe_time();
    void spoil() { spoiled = true; }

    _SOAP_InStream in_stream;
    _SOAP_OutStream out_stream;
    const _Caldane_String endpoint;
    const bool is_secure;
    bool spoiled = false;
    _Caldane_String last_error;
    _Caldane_CallInfo call_info;
    std::unique_ptr<CHttpMessage> message;
    ClientConnection connection;

    bool awaits_response = false;    // of the current call, whose request has left
    bool reply_outstanding = false;  // of a one-way call before
    double time_limit = 0;           // of the current call in seconds, 0 for none
    std::string diagnosis;           // what failed in the current call
    std::string property;            // a property's name, kept for its memory
};
