// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>

#include "client/connection_pool.h"
#include "transport/broker.h"

class _SOAP_Profile;

/// The client side for one endpoint (host and port): one connection of each kind and one call at a time on
/// it, or as many side by side as the property SOAP_CLIENT_CONNECTIONS allows.
///
/// Connects at the first call and keeps the connection for further ones. With one connection the client never
/// replaces it: where it is of no more use, the client says so by `invalidate` and `usable`, and the broker
/// takes another client. With several, one that is of no more use is closed and costs the others nothing; the
/// call it failed goes over another where no byte of it arrived. Any thread may call; a call waits where all
/// connections have calls.
class _SOAP_Transport_Client final : public _Caldane_Transport_RPC_Client {
public:
    /// `address`: host and port, also the value of the Host header. Reads SOAP_ENABLE_RPC_ENCODER once. Does
    /// not touch the network.
    explicit _SOAP_Transport_Client(const _Caldane_String& address);

    /// Carries one call. 1 when the exchange went through, also with a Fault as its outcome, and for one-way
    /// calls as soon as the request has left. 0 with a system exception in the call's information, of kind
    /// 2 no connection or request, 3 no reference, 4 nil target, 6 unreadable response, 8 an HTTP status that
    /// is none of 0, 200, 405, 500. A response that is no XML leaves as `CXmlPullParserException`. What
    /// failed is told through `_Caldane_CallDiagnostics`. Blocks, also for connecting: ten attempts, a second
    /// apart, unless the call's time limit ends them. The second call on a connection waits besides, until 20
    /// milliseconds after the first reply, for a server that closes without having said so; `usable` does
    /// not.
    _Caldane_Boolean invoke(_Caldane_OutboundCall& call) override;

    bool usable() override;

private:
    _Caldane_Boolean carry(_Caldane_OutboundCall& call, const _SOAP_Profile& profile, bool secure);

    _Caldane_Boolean refuse(const _Caldane_CallInfo& info);
    _Caldane_Boolean fail_unsent(const _Caldane_CallInfo& info, std::int32_t kind, const char* words) const;

    const _Caldane_String endpoint;
    ConnectionPool pool;
    std::atomic<std::int32_t> last_status = 0;  // of the call that ended last
};
