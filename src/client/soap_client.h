// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/mutex.h>

#include <memory>
#include <string>

#include "client/client_connection.h"
#include "http/http_message.h"
#include "marshal/soap_in_stream.h"
#include "marshal/soap_out_stream.h"
#include "transport/broker.h"

class _SOAP_Profile;

/// The client side for one endpoint (host and port): one connection, one call at a time.
///
/// Connects at the first call and keeps the connection for all further ones; it neither closes nor replaces
/// it. Where the connection is of no more use, the client says so by `invalidate` and `usable`, and the
/// broker takes another client. Any thread may call; a call waits until the one before it has ended.
class _SOAP_Transport_Client final : public _Caldane_Transport_RPC_Client {
public:
    /// `address`: host and port, also the value of the Host header. Reads SOAP_ENABLE_RPC_ENCODER once. Does
    /// not touch the network.
    explicit _SOAP_Transport_Client(const _Caldane_String& address);
    ~_SOAP_Transport_Client() override;

    /// Carries one call. 1 when the exchange went through, also with a Fault as its outcome, and for one-way
    /// calls as soon as the request has left. 0 with a system exception in the call's information, of kind
    /// 2 no connection or request, 3 no reference, 4 nil target, 6 unreadable response, 8 an HTTP status that
    /// is none of 0, 200, 405, 500. A response that is no XML leaves as `CXmlPullParserException`. What
    /// failed is told through `_Caldane_CallDiagnostics`. Blocks, also for connecting: ten attempts, a second
    /// apart, unless the call's time limit ends them. The second call on a connection waits besides, until 20
    /// milliseconds after the first reply, for a server that closes without having said so; `usable` does
    /// not.
    _Caldane_Boolean invoke(_Caldane_OutboundCall& call) override;

    /// Waits for a call under way, as long as the thread's own call has time; see the base class.
    bool usable() override;

private:
    class CallScope;

    // One call; each gives 0 or the kind of its failure.
    std::int32_t perform(_Caldane_OutboundCall& call);
    std::int32_t answer_locally(_Caldane_ArgList& args);
    std::int32_t exchange(_Caldane_OutboundCall& call);

    bool prepare_for(const _Caldane_OutboundCall& call, const _SOAP_Profile& profile, bool secure);
    const char* own_property(const _Caldane_String& oper, const char* suffix);
    _Caldane_String quoted_action(const _Caldane_String& oper);
    int prepare_request(const _Caldane_String& path, const _Caldane_String& action, bool secure);
    int connect_repeatedly(const _Caldane_String& address, bool secure);
    int connect(const _Caldane_String& address, bool secure);

    bool read_response(_Caldane_ArgList& args);
    bool read_values(_Caldane_ArgList& args);
    bool take_oneway_reply();
    void start_clock();
    void settle();

    std::int32_t refuse_call();
    static void store_late(const _Caldane_CallInfo& info);
    void store_failure(std::int32_t kind);
    void describe_response(const char* failing);
    void describe_time();

    _SOAP_InStream in_stream;
    _SOAP_OutStream out_stream;
    _Caldane_String endpoint;
    _Caldane_String last_error;
    _Caldane_CallInfo call_info;
    std::unique_ptr<CHttpMessage> message;
    ClientConnection connection;
    PEL_TimedMutex lock;

    bool awaits_response = false;    // of the current call, whose request has left
    bool reply_outstanding = false;  // of a one-way call before
    double time_limit = 0;           // of the current call in seconds, 0 for none
    std::string diagnosis;           // what failed in the current call
    std::string property;            // a property's name, kept for its memory
};
