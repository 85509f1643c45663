// SPDX-License-Identifier: MIT
#include "client/secure_setup.h"

#include <algorithm>
#include <memory>

#include "addressing/secure_options.h"
#include "secure/secure_channel.h"
#include "secure/sspi_credentials.h"
#include "transport/broker.h"

namespace {

struct EndCredentials {
    void operator()(CSspiCredentials* credentials) const { destroyCredentials(credentials); }
};

}  // namespace

void EndClientChannel::operator()(CSecureChannel* channel) const {
    if (channel == nullptr) return;
    channel->closeClient();
    channel->releaseCredentials();
    delete channel;
}

CSecureChannel* set_up_tls(vqSocket socket, const char* host, const char* canonical_name, double most_seconds,
                           std::string& error) {
    const SecureOptions options = SecureOptions::current();
    std::unique_ptr<CSspiCredentials, EndCredentials> credentials(
        createCredentials(options.vendor, options.protocol, host));
    if (!credentials) return error = "no security provider is there for TLS", nullptr;
    credentials->choose({options.resumes, options.weak_ciphers});
    if (credentials->acquireCredentials(options.subject, 1, options.exact) != 0)
        return error = "the certificate or the protocol to use for TLS is not there", nullptr;
    std::unique_ptr<CSecureChannel, EndClientChannel> channel(credentials->createChannel(socket));
    if (!channel) return error = "memory has ended", nullptr;
    credentials.release();  // with the channel from now on

    double limit = options.handshake_seconds;
    if (most_seconds > 0) limit = limit > 0 ? std::min(limit, most_seconds) : most_seconds;
    channel->limitHandshake(limit);
    if (channel->clientHandshake() != 0) return error = "the TLS handshake failed", nullptr;
    if (SOA::getProperties().get("ZOLT_SSL_NO_SERVER_AUTH") != nullptr) return channel.release();
    if (channel->authenticateServer(canonical_name) == 0) return channel.release();
    error = "the server did not prove that it is ";
    error +=
        canonical_name != nullptr ? canonical_name : "the one that is meant: an address is no name to prove";
    return nullptr;
}
