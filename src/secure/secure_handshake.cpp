// SPDX-License-Identifier: MIT

// The handshakes of both sides: tokens go between the provider and the socket until the session stands.

#include <secprov/system.h>
#include <vqsys/net.h>

#include <cstdio>
#include <cstring>

#include "secure/peer_validation.h"
#include "secure/provider.h"
#include "secure/secure_channel.h"
#include "secure/sspi_credentials.h"

namespace {

constexpr ULONG kClientRequirements = ISC_REQ_SEQUENCE_DETECT | ISC_REQ_REPLAY_DETECT |
                                      ISC_REQ_CONFIDENTIALITY | ISC_REQ_ALLOCATE_MEMORY |
                                      ISC_REQ_EXTENDED_ERROR | ISC_REQ_STREAM;
constexpr ULONG kServerRequirements = ASC_REQ_SEQUENCE_DETECT | ASC_REQ_REPLAY_DETECT |
                                      ASC_REQ_CONFIDENTIALITY | ASC_REQ_ALLOCATE_MEMORY |
                                      ASC_REQ_EXTENDED_ERROR | ASC_REQ_STREAM;
static_assert(kClientRequirements == 0xC11C && kServerRequirements == 0x1811C);

/// In what a failed step returns: its token tells the peer why.
constexpr ULONG kTellsPeer = 0x4000;

constexpr char kTlsHandshake = 0x16;
constexpr char kOldHello = static_cast<char>(0x80);  // in the form of SSL 2.0

constexpr double kGoodbyeSeconds = 1;

unsigned in_hex(SECURITY_STATUS status) {
    return static_cast<unsigned>(status);
}

}  // namespace

/// The buffers of one step: what came, what is to go.
struct CSecureChannel::Tokens {
    Tokens(void* bytes, ULONG length) {
        in[0] = {length, SECBUFFER_TOKEN, bytes};
        out.BufferType = SECBUFFER_TOKEN;
    }
    Tokens(const Tokens&) = delete;
    Tokens& operator=(const Tokens&) = delete;
    ~Tokens() {
        if (out.pvBuffer != nullptr) SecurityProvider::table().FreeContextBuffer(out.pvBuffer);
    }

    bool has_extra() const { return in[1].BufferType == SECBUFFER_EXTRA; }
    /// True if the step's token is to be sent.
    bool to_send(SECURITY_STATUS status) const {
        const bool told = status < 0 && (attributes & kTellsPeer) != 0;
        const bool wanted = status == SEC_E_OK || status == SEC_I_CONTINUE_NEEDED || told;
        return wanted && out.cbBuffer != 0 && out.pvBuffer != nullptr;
    }

    SecBuffer in[2];
    SecBuffer out;
    SecBufferDesc input{SECBUFFER_VERSION, 2, in};
    SecBufferDesc output{SECBUFFER_VERSION, 1, &out};
    ULONG attributes = 0;
};

CSecureChannel::CSecureChannel(vqSocket connection, CSspiCredentials* configuration)
    : socket(connection), credentials(configuration) {}

void CSecureChannel::limitHandshake(double seconds) {
    using std::chrono::steady_clock;
    constexpr double kLongest = 1e9;
    handshake_end = steady_clock::time_point::max();
    if (!(seconds > 0)) return;
    const std::chrono::duration<double> limit(seconds < kLongest ? seconds : kLongest);
    handshake_end = steady_clock::now() + std::chrono::duration_cast<steady_clock::duration>(limit);
}

/// The memory that the blocking operations work in; a session that is driven by bytes does without.
bool CSecureChannel::make_buffer() {
    if (blocking_buffer) return true;
    blocking_buffer.reset(static_cast<char*>(PEL_array_new(kBufferSize)));
    ioBuffer = plainCursor = plainEnd = blocking_buffer.get();
    return blocking_buffer != nullptr;
}

/// A session that did not come to stand, or was cut off, has had no goodbye to end its context.
CSecureChannel::~CSecureChannel() {
    if (context_open) delete_context();
}

void CSecureChannel::delete_context() {
    SecurityProvider::table().DeleteSecurityContext(&contextHandle);
    context_open = false;
}

/// More of the peer's token behind the `pending` bytes that are there; false if none came, also when the
/// buffer is full without a whole token, or time is up.
bool CSecureChannel::receive(ULONG& pending) {
    if (pending >= kBufferSize) return false;
    if (handshake_end != std::chrono::steady_clock::time_point::max()) {
        const std::chrono::duration<double> left = handshake_end - std::chrono::steady_clock::now();
        if (left.count() <= 0) return false;
        vqNetSetTimeout(socket, left.count());
    }
    const int count = vqNetRecv(socket, ioBuffer + pending, kBufferSize - static_cast<int>(pending), 0);
    if (count <= 0) return false;
    pending += static_cast<ULONG>(count);
    return true;
}

bool CSecureChannel::send_token(SecBuffer& token) {
    return vqNetSend(socket, static_cast<const char*>(token.pvBuffer), static_cast<int>(token.cbBuffer), 0) >
           0;
}

bool CSecureChannel::next_token_wanted(SECURITY_STATUS status) const {
    return status == SEC_I_CONTINUE_NEEDED || status == SEC_E_INCOMPLETE_MESSAGE ||
           status == SEC_I_INCOMPLETE_CREDENTIALS;
}

/// Bytes behind the handshake are the first of the data.
void CSecureChannel::keep_extra(const SecBuffer& extra, ULONG pending) {
    extraData = ioBuffer + (pending - extra.cbBuffer);
    extraLength = extra.cbBuffer;
}

int CSecureChannel::clientHandshake() {
    if (!make_buffer()) return -1;
    const SecurityFunctionTableA& table = SecurityProvider::table();
    {
        Tokens tokens(nullptr, 0);
        const SECURITY_STATUS status = table.InitializeSecurityContextA(
            credentials->getCredentialsHandle(), nullptr, credentials->getTargetName(), kClientRequirements,
            0, SECURITY_NATIVE_DREP, nullptr, 0, &contextHandle, &tokens.output, &tokens.attributes, nullptr);
        context_open = contextHandle.dwLower != 0 || contextHandle.dwUpper != 0;
        if (status != SEC_I_CONTINUE_NEEDED) {
            std::printf("**** Error %d returned by InitializeSecurityContext (1)\n", status);
            if (context_open) delete_context();
            return -1;
        }
        context_open = true;
        if (tokens.out.cbBuffer != 0 && !send_token(tokens.out)) {
            delete_context();
            return -1;
        }
    }
    if (clientHandshakeLoop(1) != SEC_E_OK) return -1;
    if (table.QueryContextAttributesA(&contextHandle, SECPKG_ATTR_STREAM_SIZES, &streamSizes) == SEC_E_OK)
        return 0;
    delete_context();
    return -1;
}

SECURITY_STATUS CSecureChannel::client_step(Tokens& tokens) {
    return SecurityProvider::table().InitializeSecurityContextA(
        credentials->getCredentialsHandle(), &contextHandle, nullptr, kClientRequirements, 0,
        SECURITY_NATIVE_DREP, &tokens.input, 0, nullptr, &tokens.output, &tokens.attributes, nullptr);
}

SECURITY_STATUS CSecureChannel::clientHandshakeLoop(int doInitialRead) {
    ULONG pending = 0;
    SECURITY_STATUS status = make_buffer() ? SEC_I_CONTINUE_NEEDED : SEC_E_INSUFFICIENT_MEMORY;
    while (next_token_wanted(status)) {
        if (pending == 0 || status == SEC_E_INCOMPLETE_MESSAGE) {
            if (doInitialRead == 0) {
                doInitialRead = 1;
            } else if (!receive(pending)) {
                status = SEC_E_INTERNAL_ERROR;
                break;
            }
        }
        status = answer_server(pending, doInitialRead);
    }
    if (status != SEC_E_OK && context_open) delete_context();
    return status;
}

/// One pass of the client's loop: a step of the provider with the `pending` bytes, and its token to the
/// server.
SECURITY_STATUS CSecureChannel::answer_server(ULONG& pending, int& doInitialRead) {
    Tokens tokens(ioBuffer, pending);
    const SECURITY_STATUS status = client_step(tokens);
    if (tokens.to_send(status) && !send_token(tokens.out)) {
        std::printf("**** Error %d sending data to server (2)\n", WSAGetLastError());
        return SEC_E_INTERNAL_ERROR;
    }
    if (status == SEC_E_INCOMPLETE_MESSAGE) return status;
    if (status == SEC_E_OK) {
        if (tokens.has_extra()) keep_extra(tokens.in[1], pending);
        return status;
    }
    if (status < 0) {
        std::printf("**** Error 0x%x returned by InitializeSecurityContext (2)\n", in_hex(status));
        return status;
    }
    if (status == SEC_I_INCOMPLETE_CREDENTIALS) {
        doInitialRead = 0;
        return SEC_I_CONTINUE_NEEDED;
    }
    const ULONG rest = tokens.has_extra() ? tokens.in[1].cbBuffer : 0;
    std::memmove(ioBuffer, ioBuffer + (pending - rest), rest);
    pending = rest;
    return status;
}

/// Over the blocking socket: receives and sends until the session stands or cannot.
int CSecureChannel::serverHandshake() {
    TlsState state = make_buffer() ? TlsState::wants_input : TlsState::failed;
    while (state == TlsState::wants_input) {
        ULONG count = 0;
        if (!receive(count)) return fail_handshake();
        ByteQueue out;
        state = stepServerHandshake({ioBuffer, count}, out);
        const bool sent = out.empty() || vqNetSend(socket, out.data(), static_cast<int>(out.size()), 0) > 0;
        if (!sent && state != TlsState::failed) return fail_handshake();
    }
    if (state != TlsState::open) return 0;
    extraLength = static_cast<ULONG>(arrived.size());
    extraData = extraLength != 0 ? ioBuffer : nullptr;
    if (extraLength != 0) std::memcpy(ioBuffer, arrived.data(), extraLength);
    arrived.clear();
    return 1;
}

TlsState CSecureChannel::stepServerHandshake(std::string_view received, ByteQueue& out) {
    const bool waited = !arrived.empty();
    std::size_t used = 0;
    TlsState state = TlsState::failed;
    if (!waited || arrived.append(received)) {
        state = acceptTokens(waited ? arrived.view() : received, used, out);
        if (waited) {
            arrived.consume(used);
        } else if (!arrived.append(received.substr(used))) {
            state = TlsState::failed;
        }
    }
    // A token that never becomes whole would let memory grow.
    if (state == TlsState::wants_input && arrived.size() >= kBufferSize) state = TlsState::failed;
    if (state == TlsState::open) {
        serverContextOpen = 1;
        if (!admitClient()) return TlsState::failed;
        SecurityProvider::table().QueryContextAttributesA(&contextHandle, SECPKG_ATTR_STREAM_SIZES,
                                                          &streamSizes);
    } else if (state == TlsState::failed) {
        fail_handshake();
    }
    return state;
}

/// Gives the context back, which nobody else would: `closeServer` ends only what came to stand. Always 0.
int CSecureChannel::fail_handshake() {
    std::printf("SSL handshake fail, Couldn't connect\n");
    if (context_open) delete_context();
    serverContextOpen = 0;
    arrived.clear();
    return 0;
}

/// Looks at the client's certificate, where one is demanded.
bool CSecureChannel::admitClient() {
    if (clientAuthRequired == 0) return true;
    const SECURITY_STATUS status = validatePeer(&contextHandle, 0, 0, nullptr);
    if (status != SEC_E_OK) {
        std::printf("Error 0x%lx authenticating client credentials\n",
                    static_cast<unsigned long>(in_hex(status)));
        return false;
    }
    std::printf("\nAuth succeeded, ready for command\n");
    return true;
}

/// Gives the provider all whole tokens; `used` bytes are done with then.
TlsState CSecureChannel::acceptTokens(std::string_view bytes, std::size_t& used, ByteQueue& out) {
    while (used < bytes.size()) {
        if (!context_open && bytes[used] != kTlsHandshake && bytes[used] != kOldHello) {
            std::printf("not a correct ClientHello Message\n");
            return TlsState::failed;
        }
        const std::string_view pending = bytes.substr(used);
        // The provider only reads from it.
        Tokens tokens(const_cast<char*>(pending.data()), static_cast<ULONG>(pending.size()));
        const SECURITY_STATUS status = server_step(tokens, !context_open);
        if (tokens.to_send(status) &&
            !out.append({static_cast<const char*>(tokens.out.pvBuffer), tokens.out.cbBuffer}))
            return TlsState::failed;
        if (status == SEC_E_INCOMPLETE_MESSAGE) return TlsState::wants_input;
        if (status < 0) {
            std::printf("Accept Security Context Failed with error code %lx\n",
                        static_cast<unsigned long>(in_hex(status)));
            return TlsState::failed;
        }
        if (status == SEC_I_INCOMPLETE_CREDENTIALS) continue;
        used = bytes.size() - (tokens.has_extra() ? tokens.in[1].cbBuffer : 0);
        if (status == SEC_E_OK) return TlsState::open;
        if (!next_token_wanted(status)) return TlsState::failed;
    }
    return TlsState::wants_input;
}

SECURITY_STATUS CSecureChannel::server_step(Tokens& tokens, bool first) {
    const ULONG requirements =
        clientAuthRequired != 0 ? kServerRequirements | ASC_REQ_MUTUAL_AUTH : kServerRequirements;
    const SECURITY_STATUS status = SecurityProvider::table().AcceptSecurityContext(
        credentials->getCredentialsHandle(), first ? nullptr : &contextHandle, &tokens.input, requirements,
        SECURITY_NATIVE_DREP, first ? &contextHandle : nullptr, &tokens.output, &tokens.attributes, nullptr);
    if (first) context_open = contextHandle.dwLower != 0 || contextHandle.dwUpper != 0;
    return status;
}

SECURITY_STATUS CSecureChannel::authenticateServer(const char* hostName) {
    const SECURITY_STATUS status = validatePeer(&contextHandle, 0, 1, hostName);
    if (status != SEC_E_OK)
        std::printf("**** Error 0x%x authenticating server credentials!\n", in_hex(status));
    return status;
}

void CSecureChannel::setClientAuthRequired(int flag) {
    clientAuthRequired = flag;
}

void CSecureChannel::releaseCredentials() {
    destroyCredentials(credentials);
    credentials = nullptr;
}

/// Sends the close notify, if the provider made one. 0, or the number of the socket's error.
SECURITY_STATUS CSecureChannel::send_goodbye(SecBuffer& token) {
    if (token.pvBuffer == nullptr || token.cbBuffer == 0) return SEC_E_OK;
    vqNetSetTimeout(socket, kGoodbyeSeconds);
    if (send_token(token)) return SEC_E_OK;
    const int error = WSAGetLastError();
    std::printf("**** Error %d sending close notify\n", error);
    return error;
}

namespace {

SECURITY_STATUS ask_for_shutdown(CtxtHandle* context) {
    DWORD command = SCHANNEL_SHUTDOWN;
    SecBuffer buffer{sizeof command, SECBUFFER_TOKEN, &command};
    SecBufferDesc list{SECBUFFER_VERSION, 1, &buffer};
    const SECURITY_STATUS status = SecurityProvider::table().ApplyControlToken(context, &list);
    if (status < 0) std::printf("**** Error 0x%x returned by ApplyControlToken\n", in_hex(status));
    return status;
}

}  // namespace

SECURITY_STATUS CSecureChannel::closeClient() {
    if (!context_open) return SEC_E_OK;
    static_cast<void>(send_held());
    SECURITY_STATUS status = ask_for_shutdown(&contextHandle);
    if (status >= 0) {
        Tokens tokens(nullptr, 0);
        status = SecurityProvider::table().InitializeSecurityContextA(
            credentials->getCredentialsHandle(), &contextHandle, nullptr, kClientRequirements, 0,
            SECURITY_NATIVE_DREP, nullptr, 0, &contextHandle, &tokens.output, &tokens.attributes, nullptr);
        if (status < 0) {
            std::printf("**** Error 0x%x returned by InitializeSecurityContext\n", in_hex(status));
        } else if (const SECURITY_STATUS unsent = send_goodbye(tokens.out)) {
            status = unsent;
        }
    }
    delete_context();
    return status;
}

/// Has the provider make the server's close notify. 0, or a status.
SECURITY_STATUS CSecureChannel::make_goodbye(Tokens& tokens) {
    SECURITY_STATUS status = ask_for_shutdown(&contextHandle);
    if (status < 0) return status;
    status = SecurityProvider::table().AcceptSecurityContext(
        credentials->getCredentialsHandle(), &contextHandle, nullptr, kServerRequirements,
        SECURITY_NATIVE_DREP, nullptr, &tokens.output, &tokens.attributes, nullptr);
    if (status < 0) {
        print_status_text(status);
        std::printf("**** Error 0x%x returned by AcceptSecurityContext\n", in_hex(status));
    }
    return status;
}

SECURITY_STATUS CSecureChannel::shutdownServer() {
    static_cast<void>(send_held());
    Tokens tokens(nullptr, 0);
    SECURITY_STATUS status = make_goodbye(tokens);
    if (status >= 0) {
        if (const SECURITY_STATUS unsent = send_goodbye(tokens.out)) status = unsent;
    }
    delete_context();
    return status;
}

void CSecureChannel::goodbye(ByteQueue& out) {
    if (serverContextOpen == 0) return;
    Tokens tokens(nullptr, 0);
    if (make_goodbye(tokens) < 0) {
        std::printf("Error disconnecting from client\n");
    } else if (tokens.out.cbBuffer != 0) {
        // Without memory the peer meets the end of the connection all the same.
        static_cast<void>(out.append({static_cast<const char*>(tokens.out.pvBuffer), tokens.out.cbBuffer}));
    }
    delete_context();
    serverContextOpen = 0;
}

int CSecureChannel::closeServer() {
    if (serverContextOpen == 0) return 1;
    if (shutdownServer() != SEC_E_OK) std::printf("Error disconnecting from client\n");
    serverContextOpen = 0;
    return 1;
}
