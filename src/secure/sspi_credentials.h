// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>
#include <secprov/certificates.h>
#include <secprov/sspi.h>
#include <vqsys/types.h>

#include <cstdint>

class CSecureChannel;

/// One configuration of TLS as the transport's client and server see it.
class CSspiCredentialsBase {
public:
    CSspiCredentialsBase(const CSspiCredentialsBase&) = delete;
    CSspiCredentialsBase& operator=(const CSspiCredentialsBase&) = delete;

    /// A new channel over the connected socket, linked to these credentials; null if memory is short. The
    /// caller's; neither socket nor credentials become the channel's.
    [[nodiscard]] virtual CSecureChannel* createChannel(vqSocket socket) = 0;

    /// Gets what a handshake needs. `subject` (may be null: no certificate) names the certificate to show:
    /// its whole subject if `exact`, else a part of it. 0, or a status, whose reason is then on standard
    /// output.
    [[nodiscard]] virtual SECURITY_STATUS acquireCredentials(const char* subject, int isClient,
                                                             int exact) = 0;

protected:
    CSspiCredentialsBase(std::int8_t mask, const char* target) : protocolMask(mask), targetName(target) {}
    ~CSspiCredentialsBase() = default;

    std::int8_t vendor = 2;
    std::int8_t protocolMask;  ///< bits of the protocols; 0 leaves the choice to the provider
    const char* targetName;    ///< not owned; the host a client wants to reach, null on a server
};

struct TlsChoices {
    bool resumes = true;        ///< a session may take up an earlier one with the same peer
    bool weak_ciphers = false;  ///< also ciphers without forward secrecy or authenticated encryption
};

/// Credentials of the security provider. A server has one object for all its secure connections, whose
/// channels use it at the same time; a client makes one for each connection.
class CSspiCredentials final : public CSspiCredentialsBase {
public:
    PEL_HEAP_OBJECT

    /// One user of the provider becomes this object's. `protocol`: 2, 3, 4, or anything else for the default.
    CSspiCredentials(std::int32_t protocol, const char* target);
    /// `SecurityProvider::release` is the caller's, behind this.
    ~CSspiCredentials();

    [[nodiscard]] CSecureChannel* createChannel(vqSocket socket) override;
    [[nodiscard]] SECURITY_STATUS acquireCredentials(const char* subject, int isClient, int exact) override;

    /// What else counts for the sessions of the credentials that are acquired from now on.
    void choose(const TlsChoices& wanted) { choices = wanted; }

    CredHandle* getCredentialsHandle() { return &credentialsHandle; }
    const char* getTargetName() const { return targetName; }

private:
    bool open_store(bool is_client);
    const CERT_CONTEXT* find_exact(const char* subject);
    SECURITY_STATUS acquire_with(const CERT_CONTEXT* certificate, bool is_client);

    TlsChoices choices;
    CredHandle credentialsHandle;
    HCERTSTORE certificateStore = nullptr;
    std::int32_t credentialsAcquired = 0;
};

/// New credentials; null if `vendor` is not 2, memory is short, or the provider cannot be loaded, which a
/// line on standard output then tells. `targetName` must live as long as they do.
[[nodiscard]] CSspiCredentials* createCredentials(std::int32_t vendor, std::int32_t protocol,
                                                  const char* targetName);

/// Ends credentials that have no channel any more; null is allowed.
void destroyCredentials(CSspiCredentials* credentials);
