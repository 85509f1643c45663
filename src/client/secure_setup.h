// SPDX-License-Identifier: MIT
#pragma once

#include <vqsys/types.h>

#include <string>

class CSecureChannel;

/// Sets TLS up on a connected socket, as the properties say, and checks the server unless
/// ZOLT_SSL_NO_SERVER_AUTH is set. `host` goes to the server as the name that is wanted and must live as long
/// as the channel; `canonical_name` is the one that the certificate must be for, null for a host that was
/// given as a dotted address. `most_seconds` bounds the handshake beside the property, 0 does not. Null on
/// failure, with the reason in `error`; else the channel with its credentials is the caller's, to be torn
/// down by `closeClient`, `releaseCredentials` and delete.
[[nodiscard]] CSecureChannel* set_up_tls(vqSocket socket, const char* host, const char* canonical_name,
                                         double most_seconds, std::string& error);

/// Ends a client's channel in that order; null is allowed.
struct EndClientChannel {
    void operator()(CSecureChannel* channel) const;
};
