// SPDX-License-Identifier: MIT
#pragma once

#include "transport/broker.h"

class _SOAP_InStream;
class _SOAP_OutStream;

/// What the broker sees of one incoming call: reads its arguments, then writes its reply or its exception.
///
/// Lives on the stack of the connection task and uses the task's two streams, which it does not own.
class _SOAP_ServerFrame final : public _Caldane_Transport_ServerFrame {
public:
    /// Where the connection is to stay open, up to `bytes_to_drain` of a request that is answered before its
    /// end are read off ahead of the answer: what the peer sends after the answer is its next request.
    _SOAP_ServerFrame(_SOAP_InStream& request, _SOAP_OutStream& reply, long bytes_to_drain = 0)
        : in_stream(request), out_stream(reply), drain_limit(bytes_to_drain) {}

    /// Reads the in and in-out parameters in their order, and the request to its end.
    _Caldane_Boolean demarshal_args(_SOA_Call& call, _Caldane_ArgList& args) override;

    /// The reply, or a fault of class Client in its place when a value cannot be written; on the wire when
    /// this returns.
    _Caldane_Boolean marshal_reply(_SOA_Call& call, _Caldane_ArgList& args) override;

    /// A fault of class Server.
    _Caldane_Boolean marshal_exception(_SOA_Call& call, _Caldane_ExceptionBase& exception) override;

    /// True once the arguments and the rest of the request were read.
    bool request_was_read() const { return request_read; }

private:
    bool write_marshal_fault(int fault_class, const char* message);

    _SOAP_InStream& in_stream;
    _SOAP_OutStream& out_stream;
    long drain_limit;
    bool request_read = false;
};
