// SPDX-License-Identifier: MIT
#include "server/server_limits.h"

#include "settings/settings.h"

namespace server_limits {

double read_timeout() {
    return setting("SOAP_READ_TIMEOUT").number();
}

std::int32_t idle_timeout() {
    return static_cast<std::int32_t>(setting("SOAP_IDLE_TIMEOUT").number());
}

long long stream_body() {
    return static_cast<long long>(setting("SOAP_STREAM_BODY").number());
}

std::size_t max_buffered() {
    return static_cast<std::size_t>(setting("SOAP_MAX_BUFFERED").number());
}

std::int32_t connections_per_peer() {
    return static_cast<std::int32_t>(setting("SOAP_MAX_CONNECTIONS_PER_PEER").number());
}

}  // namespace server_limits
