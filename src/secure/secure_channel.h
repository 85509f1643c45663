// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>
#include <secprov/sspi.h>
#include <vqsys/types.h>

#include <chrono>
#include <cstdint>
#include <memory>

class CSspiCredentials;

/// One TLS session over one connected, blocking socket: the handshake of either side, then records, then the
/// close notify. Stands in for the socket wherever a stream was given one.
///
/// A channel belongs to the client or the connection that made it; streams only borrow it. Neither socket nor
/// credentials are its own, but for `releaseCredentials`. One thread at a time: `read` and `write` share the
/// one buffer. What goes wrong is told on standard output; callers see only the results.
class CSecureChannel {
public:
    PEL_HEAP_OBJECT

    CSecureChannel(vqSocket connection, CSspiCredentials* configuration);
    CSecureChannel(const CSecureChannel&) = delete;
    CSecureChannel& operator=(const CSecureChannel&) = delete;

    /// 0, or -1, and then nothing is left to be closed.
    [[nodiscard]] virtual int clientHandshake();
    /// Exchanges tokens until the provider is content; without `doInitialRead` the first one is sent before
    /// anything is read. Gives the provider's last status; at a failure the context is gone.
    [[nodiscard]] virtual SECURITY_STATUS clientHandshakeLoop(int doInitialRead);
    /// 0 if the server is the one of this name, by a certificate that is trusted.
    [[nodiscard]] virtual SECURITY_STATUS authenticateServer(const char* hostName);
    /// Destroys the credentials: for a client, whose channel has them to itself.
    virtual void releaseCredentials();
    /// Says goodbye to the peer (close notify) before the socket is closed. 0, or a status. A second call
    /// does nothing.
    virtual SECURITY_STATUS closeClient();
    /// 1, or 0. In either case `closeServer` is to follow.
    [[nodiscard]] virtual int serverHandshake();
    /// The server's goodbye; always 1. A second call does nothing.
    virtual int closeServer();
    /// Up to `length` decrypted bytes, of one record at most. Blocks until some are there; 0 when no more
    /// come: the peer ended or something failed, which is not told apart.
    virtual int read(char* buffer, int length);
    /// Encrypts and sends all of it, in as many records as it takes. Bytes sent, which is more than `length`,
    /// or `length` where it waits for what follows; 0 if it could not be encrypted, -1 if it could not be
    /// sent. What was received and not read stays.
    virtual int write(const char* data, int length);
    /// Asks the provider; gives the largest message, or -1.
    virtual int getStreamSizes(int* header, int* trailer);
    virtual void setClientAuthRequired(int flag);

    virtual ~CSecureChannel() = default;

    /// A handshake that takes longer than this many seconds fails; 0 is no limit.
    void limitHandshake(double seconds);
    /// A further write follows right behind the next one, which waits for it if a record can hold both: one
    /// encryption and one send less. At the latest the next read or goodbye sends it.
    void moreFollows() { more = true; }
    /// Sends fail from `when` on, also in the middle of a write; `max()` is no limit. Takes the socket's own
    /// limit over.
    void limitSends(std::chrono::steady_clock::time_point when) { send_end = when; }
    /// Reads give 0 from `when` on, also in the middle of a record; `max()` is no limit. A receive that waits
    /// then is ended by the socket's own limit, which is taken over if `exactly`.
    void limitReads(std::chrono::steady_clock::time_point when, bool exactly) {
        read_end = when;
        reads_end_exactly = exactly;
    }
    /// True if bytes have been received that no `read` has given yet; the socket does not show them.
    bool hasUnread() const { return plainCursor != plainEnd || extraLength != 0 || saved; }

    static constexpr int kBufferSize = 30000;

private:
    struct ArrayDelete {
        void operator()(char* text) const { PEL_array_delete(text); }
    };
    struct Tokens;

    bool send_token(SecBuffer& token);
    bool receive(ULONG& pending);
    bool next_token_wanted(SECURITY_STATUS status) const;
    SECURITY_STATUS client_step(Tokens& tokens);
    SECURITY_STATUS server_step(Tokens& tokens, bool first);
    SECURITY_STATUS answer_server(ULONG& pending, int& doInitialRead);
    int negotiateServer();
    bool accept_tokens();
    void keep_extra(const SecBuffer& extra, ULONG pending);
    void delete_context();

    SECURITY_STATUS decryptRecord(ULONG pending, char*& plain, ULONG& plainLength);
    bool decrypt_next();
    int receive_more(ULONG pending);
    ULONG take_extra();
    bool save_unread();
    void restore_unread();
    int encryptRecord(const char* data, ULONG length);
    bool send_held();
    bool send_all(const char* data, int length, int flags);
    SECURITY_STATUS shutdownServer();
    SECURITY_STATUS send_goodbye(SecBuffer& token);

    vqSocket socket;
    alignas(16) char ioBuffer[kBufferSize];
    SecPkgContext_StreamSizes streamSizes;
    CtxtHandle contextHandle;
    std::int32_t serverContextOpen = 0;
    CSspiCredentials* credentials;
    char* plainCursor = ioBuffer;
    char* plainEnd = ioBuffer;
    char* extraData = nullptr;
    ULONG extraLength = 0;
    std::int32_t clientAuthRequired = 0;

    bool context_open = false;
    bool more = false;
    ULONG held = 0;  // bytes of the next record that stand in its place in the buffer already
    std::chrono::steady_clock::time_point handshake_end = std::chrono::steady_clock::time_point::max();
    std::chrono::steady_clock::time_point send_end = std::chrono::steady_clock::time_point::max();
    std::chrono::steady_clock::time_point read_end = std::chrono::steady_clock::time_point::max();
    bool reads_end_exactly = false;
    // What `write` found unread in the buffer that it needs.
    std::unique_ptr<char, ArrayDelete> saved;
    ULONG saved_plain = 0;
    ULONG saved_extra = 0;
};
