// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

/// What a server allows its peers, as the properties say at this moment.
namespace server_limits {

/// Seconds after which a connection that makes no progress is closed: `SOAP_READ_TIMEOUT`, 30 by default, 0
/// for none.
double read_timeout();

/// A whole request must be in within this many times that.
inline constexpr double kWholeRequestFactor = 10;

/// Seconds after which a kept connection without a request is closed, when it is looked at:
/// `SOAP_IDLE_TIMEOUT`, 60 by default, 0 for none.
std::int32_t idle_timeout();

/// Bodies up to so many bytes are gathered before a worker is taken for them: `SOAP_STREAM_BODY`, 1 MiB by
/// default, 0 for all of them.
long long stream_body();

/// Bytes that may wait with all connections together: `SOAP_MAX_BUFFERED`, 256 MiB by default, 0 for no
/// limit.
std::size_t max_buffered();

/// Connections that one address may have: `SOAP_MAX_CONNECTIONS_PER_PEER`; 0, the default, is no limit.
std::int32_t connections_per_peer();

}  // namespace server_limits
