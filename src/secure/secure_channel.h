// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/byte_queue.h>
#include <pelthread/memory.h>
#include <secprov/sspi.h>
#include <vqsys/types.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

class CSspiCredentials;

/// How a session stands that is driven by bytes.
enum class TlsState {
    wants_input,  ///< the handshake goes on with what the peer sends next
    open,         ///< it stands
    ended,        ///< the peer said goodbye
    failed,       ///< it is of no more use
};

/// One TLS session: the handshake of either side, then records, then the close notify.
///
/// A client's session works over its connected, blocking socket and stands in for that wherever a stream was
/// given one. A server's is driven by bytes, in and out, and touches no socket; `serverHandshake` and what
/// follows it do the same over a blocking one. One of both ways is used for a session from its start.
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

    virtual ~CSecureChannel();

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
    /// True if bytes have been received that no `read` or `decrypt` has given yet; the socket does not show
    /// them.
    bool hasUnread() const {
        return plainCursor != plainEnd || extraLength != 0 || saved || !arrived.empty();
    }

    // A server's session driven by bytes.

    /// A step of the handshake with what has come; what is not a whole token yet is kept. What is to be sent,
    /// also where the peer is refused, is appended to `out`. Bytes behind the handshake are kept for
    /// `decrypt`.
    [[nodiscard]] TlsState stepServerHandshake(std::string_view received, ByteQueue& out);
    /// Opens the next record with data among what has come, in place, and appends its text to `plain`. What
    /// follows it is kept for a call without new bytes: one that spoils the session does not take the text
    /// before it along.
    [[nodiscard]] TlsState decrypt(std::span<char> received, ByteQueue& plain);
    /// Appends a record of the text to `out`; how much of it that holds, 0 on failure.
    [[nodiscard]] std::size_t seal(std::string_view text, ByteQueue& out);
    /// Appends the goodbye to `out`, once, where the session stands.
    void goodbye(ByteQueue& out);

    static constexpr int kBufferSize = 30000;

private:
    struct ArrayDelete {
        void operator()(char* text) const { PEL_array_delete(text); }
    };
    struct Tokens;

    bool send_token(SecBuffer& token);
    bool make_buffer();
    bool receive(ULONG& pending);
    bool next_token_wanted(SECURITY_STATUS status) const;
    SECURITY_STATUS client_step(Tokens& tokens);
    SECURITY_STATUS server_step(Tokens& tokens, bool first);
    SECURITY_STATUS answer_server(ULONG& pending, int& doInitialRead);
    TlsState acceptTokens(std::string_view bytes, std::size_t& used, ByteQueue& out);
    bool admitClient();
    int fail_handshake();
    TlsState openRecords(char* bytes, std::size_t length, std::size_t& used, ByteQueue& plain);
    void keep_extra(const SecBuffer& extra, ULONG pending);
    void delete_context();

    SECURITY_STATUS decryptRecord(ULONG pending, char*& plain, ULONG& plainLength);
    bool decrypt_next();
    int receive_more(ULONG pending);
    ULONG take_extra();
    bool save_unread();
    void restore_unread();
    int encryptRecord(const char* data, ULONG length);
    int sealRecord(char* record, ULONG length);
    bool send_held();
    bool send_all(const char* data, int length, int flags);
    SECURITY_STATUS shutdownServer();
    SECURITY_STATUS make_goodbye(Tokens& tokens);
    SECURITY_STATUS send_goodbye(SecBuffer& token);

    vqSocket socket;
    char* ioBuffer = nullptr;  // `blocking_buffer`'s, once it is needed
    SecPkgContext_StreamSizes streamSizes;
    CtxtHandle contextHandle;
    std::int32_t serverContextOpen = 0;
    CSspiCredentials* credentials;
    char* plainCursor = nullptr;
    char* plainEnd = nullptr;
    char* extraData = nullptr;
    ULONG extraLength = 0;
    std::int32_t clientAuthRequired = 0;

    std::unique_ptr<char, ArrayDelete> blocking_buffer;
    ByteQueue arrived;  // from the peer, and not a whole token or record yet
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
