// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string_view>

#include "marshal/soap_in_stream.h"
#include "marshal/soap_out_stream.h"
#include "server/connection.h"

class CHttpMessage;

/// One request that is served: the envelope is read, the object called, the reply written. What of the reply
/// the peer does not take at once is in the connection's outbox then.
class RequestTask {
public:
    /// `request` is the parsed head, null or incomplete where it could not be parsed; `head` its bytes and
    /// `body` what follows them.
    RequestTask(_SOAP_Connection& served, std::unique_ptr<CHttpMessage> request,
                std::unique_ptr<CInputStream> body_source);

    /// Serves it; nothing is thrown. `more_came`: bytes behind the request are there already.
    After run(bool more_came);

private:
    After exchange(bool more_came);
    void serve();
    bool read_request();
    void call();
    SOA::Peer caller() const;
    _Caldane_String target_key(const char* path) const;
    bool wants_to_stay() const;
    bool drained();

    _SOAP_Connection& connection;
    std::unique_ptr<CHttpMessage> message;
    std::unique_ptr<CInputStream> source;
    _SOAP_InStream in_stream;
    _SOAP_OutStream out_stream;
    bool replied = false;
    bool request_read = false;
};
