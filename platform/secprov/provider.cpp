// SPDX-License-Identifier: MIT
// The function table: the provider's interface over SecurityContext and Credentials.
#include <secprov/sspi.h>

#include <cstdlib>
#include <cstring>

#include "context.h"
#include "credentials.h"
#include "record.h"
#include "status.h"

namespace {

template <class T>
T* object_of(const SecHandle* handle) {
    return handle != nullptr ? reinterpret_cast<T*>(handle->dwLower) : nullptr;
}

SecBuffer* find(SecBufferDesc* list, ULONG type) {
    for (ULONG i = 0; list != nullptr && i < list->cBuffers; ++i) {
        if (list->pBuffers[i].BufferType == type) return &list->pBuffers[i];
    }
    return nullptr;
}

/// Hands the bytes to be sent over to the caller.
SECURITY_STATUS give_token(SecurityContext& context, SecBufferDesc* list) {
    std::vector<char>& bytes = context.output();
    SecBuffer* const token = find(list, SECBUFFER_TOKEN);
    if (token == nullptr) return SEC_E_INVALID_TOKEN;
    token->cbBuffer = 0;
    token->pvBuffer = nullptr;
    if (bytes.empty()) return SEC_E_OK;
    token->pvBuffer = std::malloc(bytes.size());
    if (token->pvBuffer == nullptr) return SEC_E_INSUFFICIENT_MEMORY;
    std::memcpy(token->pvBuffer, bytes.data(), bytes.size());
    token->cbBuffer = static_cast<ULONG>(bytes.size());
    bytes = {};  // with its memory: the next token may be far away
    return SEC_E_OK;
}

/// One step of either side: handshake, or the goodbye that was asked for.
SECURITY_STATUS step(SecurityContext& context, SecBufferDesc* input, SecBufferDesc* output,
                     ULONG failure_bits, ULONG requirements, ULONG* attributes) {
    if (attributes != nullptr) *attributes = requirements;
    if (context.is_shutting_down()) {
        context.close();
        return give_token(context, output);
    }
    const SecBuffer* const token = find(input, SECBUFFER_TOKEN);
    std::size_t left_over = 0;
    const SECURITY_STATUS status =
        context.handshake(token != nullptr ? static_cast<const unsigned char*>(token->pvBuffer) : nullptr,
                          token != nullptr ? token->cbBuffer : 0, left_over);
    if (input != nullptr && left_over > 0) {
        if (SecBuffer* const rest = find(input, SECBUFFER_EMPTY)) {
            rest->BufferType = SECBUFFER_EXTRA;
            rest->cbBuffer = static_cast<ULONG>(left_over);
        }
    }
    const SECURITY_STATUS given = give_token(context, output);
    if (given != SEC_E_OK && status >= 0) return given;
    if (attributes != nullptr && status < 0 && status != SEC_E_INCOMPLETE_MESSAGE)
        *attributes |= failure_bits;
    return status;
}

/// The context that a call is about; one that it makes is `fresh` until the call has succeeded so far that
/// the caller gets it.
SecurityContext* started(CredHandle* credential, CtxtHandle* context, const char* target,
                         bool wants_certificate, bool is_server, std::unique_ptr<SecurityContext>& fresh) {
    if (SecurityContext* const known = object_of<SecurityContext>(context)) return known;
    const auto* const credentials = object_of<Credentials>(credential);
    if (credentials == nullptr || credentials->is_server() != is_server) return nullptr;
    fresh = std::make_unique<SecurityContext>(*credentials, target, wants_certificate);
    return fresh.get();
}

void hand_over(std::unique_ptr<SecurityContext> fresh, CtxtHandle* out) {
    if (fresh && out != nullptr) out->dwLower = reinterpret_cast<std::uintptr_t>(fresh.release());
}

SECURITY_STATUS acquire(const char*, const char* package, ULONG use, void*, void* data, void*, void*,
                        CredHandle* credential, TimeStamp*) {
    if (package == nullptr || std::strcmp(package, UNISP_NAME_A) != 0) return SEC_E_SECPKG_NOT_FOUND;
    if (data == nullptr || credential == nullptr) return SEC_E_UNKNOWN_CREDENTIALS;
    if (use != SECPKG_CRED_INBOUND && use != SECPKG_CRED_OUTBOUND) return SEC_E_NOT_OWNER;
    return guarded([&] {
        std::unique_ptr<Credentials> made;
        const SECURITY_STATUS status =
            Credentials::make(*static_cast<SCHANNEL_CRED*>(data), use == SECPKG_CRED_INBOUND, made);
        if (made) credential->dwLower = reinterpret_cast<std::uintptr_t>(made.release());
        return status;
    });
}

SECURITY_STATUS free_credentials(CredHandle* credential) {
    if (credential == nullptr || credential->dwLower == 0) return SEC_E_INVALID_HANDLE;
    delete object_of<Credentials>(credential);
    *credential = CredHandle();
    return SEC_E_OK;
}

SECURITY_STATUS initialize(CredHandle* credential, CtxtHandle* context, const char* target,
                           ULONG requirements, ULONG, ULONG, SecBufferDesc* input, ULONG,
                           CtxtHandle* new_context, SecBufferDesc* output, ULONG* attributes, TimeStamp*) {
    return guarded([&] {
        std::unique_ptr<SecurityContext> fresh;
        SecurityContext* const own = started(credential, context, target, false, false, fresh);
        if (own == nullptr || own->is_server()) return SEC_E_INVALID_HANDLE;
        const SECURITY_STATUS status =
            step(*own, input, output, ISC_RET_EXTENDED_ERROR, requirements, attributes);
        hand_over(std::move(fresh), new_context);
        return status;
    });
}

SECURITY_STATUS accept(CredHandle* credential, CtxtHandle* context, SecBufferDesc* input, ULONG requirements,
                       ULONG, CtxtHandle* new_context, SecBufferDesc* output, ULONG* attributes, TimeStamp*) {
    if (object_of<SecurityContext>(context) == nullptr) {
        // Nothing is made for a peer before its first record is whole.
        const SecBuffer* const token = find(input, SECBUFFER_TOKEN);
        if (token == nullptr) return SEC_E_INVALID_TOKEN;
        const Record record =
            Record::at(static_cast<const unsigned char*>(token->pvBuffer), token->cbBuffer, true);
        if (record.state == Record::State::malformed) return SEC_E_INVALID_TOKEN;
        if (record.state == Record::State::incomplete) return SEC_E_INCOMPLETE_MESSAGE;
    }
    return guarded([&] {
        std::unique_ptr<SecurityContext> fresh;
        SecurityContext* const own =
            started(credential, context, nullptr, (requirements & ASC_REQ_MUTUAL_AUTH) != 0, true, fresh);
        if (own == nullptr || !own->is_server()) return SEC_E_INVALID_HANDLE;
        const SECURITY_STATUS status = step(
            *own, input, output, ASC_RET_EXTENDED_ERROR | ASC_RET_THIRD_LEG_FAILED, requirements, attributes);
        hand_over(std::move(fresh), new_context);
        return status;
    });
}

SECURITY_STATUS delete_context(CtxtHandle* context) {
    if (context == nullptr || context->dwLower == 0) return SEC_E_INVALID_HANDLE;
    delete object_of<SecurityContext>(context);
    *context = CtxtHandle();
    return SEC_E_OK;
}

SECURITY_STATUS apply_control_token(CtxtHandle* context, SecBufferDesc* input) {
    auto* const own = object_of<SecurityContext>(context);
    if (own == nullptr) return SEC_E_INVALID_HANDLE;
    const SecBuffer* const token = find(input, SECBUFFER_TOKEN);
    DWORD command = 0;
    if (token == nullptr || token->cbBuffer != sizeof command) return SEC_E_INVALID_TOKEN;
    std::memcpy(&command, token->pvBuffer, sizeof command);
    if (command != SCHANNEL_SHUTDOWN) return SEC_E_UNSUPPORTED_FUNCTION;
    own->ask_for_shutdown();
    return SEC_E_OK;
}

SECURITY_STATUS query(CtxtHandle* context, ULONG attribute, void* out) {
    const auto* const own = object_of<SecurityContext>(context);
    if (own == nullptr || out == nullptr || !own->is_established()) return SEC_E_INVALID_HANDLE;
    return guarded([&] {
        if (attribute == SECPKG_ATTR_STREAM_SIZES) {
            *static_cast<SecPkgContext_StreamSizes*>(out) = own->stream_sizes();
        } else if (attribute == SECPKG_ATTR_REMOTE_CERT_CONTEXT) {
            *static_cast<const CERT_CONTEXT**>(out) = own->peer_certificate();
        } else {
            return SEC_E_UNSUPPORTED_FUNCTION;
        }
        return SEC_E_OK;
    });
}

SECURITY_STATUS free_buffer(void* buffer) {
    std::free(buffer);
    return SEC_E_OK;
}

SECURITY_STATUS encrypt(CtxtHandle* context, ULONG, SecBufferDesc* message, ULONG) {
    auto* const own = object_of<SecurityContext>(context);
    SecBuffer* const header = find(message, SECBUFFER_STREAM_HEADER);
    SecBuffer* const data = find(message, SECBUFFER_DATA);
    SecBuffer* const trailer = find(message, SECBUFFER_STREAM_TRAILER);
    if (own == nullptr) return SEC_E_INVALID_HANDLE;
    if (header == nullptr || data == nullptr || trailer == nullptr) return SEC_E_INVALID_TOKEN;
    return guarded([&] { return own->seal(*header, *data, *trailer); });
}

SECURITY_STATUS decrypt(CtxtHandle* context, SecBufferDesc* message, ULONG, ULONG*) {
    auto* const own = object_of<SecurityContext>(context);
    if (own == nullptr) return SEC_E_INVALID_HANDLE;
    SecBuffer* const data = find(message, SECBUFFER_DATA);
    if (data == nullptr || message->cBuffers != 4) return SEC_E_INVALID_TOKEN;
    return guarded([&] {
        auto* const bytes = static_cast<unsigned char*>(data->pvBuffer);
        const std::size_t length = data->cbBuffer;
        SecurityContext::Opened opened;
        const SECURITY_STATUS status = own->open(bytes, length, opened);
        if (status != SEC_E_OK) return status;
        SecBuffer* const list = message->pBuffers;
        const auto head = static_cast<ULONG>(opened.plain != nullptr ? opened.plain - bytes : 0);
        list[0] = {head, SECBUFFER_STREAM_HEADER, bytes};
        list[1] = {};
        if (opened.plain != nullptr)
            list[1] = {static_cast<ULONG>(opened.length), SECBUFFER_DATA, opened.plain};
        list[2] = {0, SECBUFFER_STREAM_TRAILER, nullptr};
        list[3] = {};
        if (opened.left_over > 0) {
            list[3] = {static_cast<ULONG>(opened.left_over), SECBUFFER_EXTRA,
                       bytes + length - opened.left_over};
        }
        return SEC_E_OK;
    });
}

SecurityFunctionTableA make_table() {
    SecurityFunctionTableA table{};
    table.dwVersion = 1;
    table.AcquireCredentialsHandleA = &acquire;
    table.FreeCredentialsHandle = &free_credentials;
    table.InitializeSecurityContextA = &initialize;
    table.AcceptSecurityContext = &accept;
    table.DeleteSecurityContext = &delete_context;
    table.ApplyControlToken = &apply_control_token;
    table.QueryContextAttributesA = &query;
    table.FreeContextBuffer = &free_buffer;
    table.EncryptMessage = &encrypt;
    table.DecryptMessage = &decrypt;
    return table;
}

}  // namespace

extern "C" SecurityFunctionTableA* InitSecurityInterfaceA() {
    static SecurityFunctionTableA table = make_table();
    // It must not clean up when the process begins to end: threads that still run would lose what they have
    // in it.
    return OPENSSL_init_ssl(OPENSSL_INIT_LOAD_CONFIG | OPENSSL_INIT_NO_ATEXIT, nullptr) == 1 ? &table
                                                                                             : nullptr;
}
