// SPDX-License-Identifier: MIT

// The server's secure side: its credentials, and the handshake with each client that a secure listener
// accepts.

#include <vqsys/net.h>

#include <memory>

#include "addressing/secure_options.h"
#include "secure/secure_channel.h"
#include "secure/sspi_credentials.h"
#include "server/connection.h"
#include "server/read_timeout.h"
#include "server/soap_server.h"

/// Once, for all secure connections. Where no certificate can be had, as standard output then tells, each
/// handshake fails.
void _SOAP_Transport_Server::make_credentials() {
    const PEL_Lock lock(listeners_mutex);
    if (ssl_context != nullptr || core == nullptr) return;
    const SecureOptions options = SecureOptions::current();
    CSspiCredentials* const credentials = createCredentials(options.vendor, options.protocol, nullptr);
    if (credentials == nullptr) return;
    static_cast<void>(credentials->acquireCredentials(options.subject, 0, options.exact));
    core->keep_credentials(credentials);
    ssl_context = credentials;
}

/// The credentials for a handshake on this socket, which the end of the server cuts short from now on; null
/// if there are none, or the end has come already. Without a socket: the handshake is over.
CSspiCredentials* _SOAP_Transport_Server::enter_handshake(vqSocket socket) {
    const PEL_Lock lock(listeners_mutex);
    in_handshake = socket;
    return server_running == 1 ? static_cast<CSspiCredentials*>(getSSLContext()) : nullptr;
}

void _SOAP_Transport_Server::cut_handshake() {
    const PEL_Lock lock(listeners_mutex);
    if (in_handshake != kVqNoSocket) vqNetShutdownRead(in_handshake);
}

/// The handshake, to its end; true if the session stands. The channel is the connection's in either case.
bool _SOAP_Transport_Server::start_tls(_SOAP_Connection& connection) {
    // The system held it back until bytes came or its patience ended: such a one is silent, and not waited
    // for.
    if (vqNetPeek(connection.socket) != vqNetState::readable) return false;
    bool stands = false;
    if (CSspiCredentials* const credentials = enter_handshake(connection.socket)) {
        connection.channel = credentials->createChannel(connection.socket);
        if (CSecureChannel* const channel = connection.channel) {
            channel->setClientAuthRequired(SOA::getProperties().get("ZOLT_SSL_CLIENT_AUTH") != nullptr ? 1
                                                                                                       : 0);
            channel->limitHandshake(SecureOptions::current().handshake_seconds);
            stands = channel->serverHandshake() != 0;
        }
    }
    static_cast<void>(enter_handshake(kVqNoSocket));
    vqNetSetTimeout(connection.socket, read_timeout());
    return stands;
}
