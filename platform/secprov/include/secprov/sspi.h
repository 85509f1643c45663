// SPDX-License-Identifier: MIT
#pragma once

#include <secprov/types.h>

/// The security provider: TLS as an exchange of tokens and records in memory. The provider touches no
/// socket; its caller carries the bytes. All of it is reached through the table that
/// `InitSecurityInterfaceA` gives.

struct SecHandle {
    std::uintptr_t dwLower = 0;
    std::uintptr_t dwUpper = 0;
};
using CredHandle = SecHandle;
using CtxtHandle = SecHandle;

inline constexpr ULONG SECBUFFER_VERSION = 0;
inline constexpr ULONG SECBUFFER_EMPTY = 0;
inline constexpr ULONG SECBUFFER_DATA = 1;
inline constexpr ULONG SECBUFFER_TOKEN = 2;
inline constexpr ULONG SECBUFFER_EXTRA = 5;
inline constexpr ULONG SECBUFFER_STREAM_TRAILER = 6;
inline constexpr ULONG SECBUFFER_STREAM_HEADER = 7;

struct SecBuffer {
    ULONG cbBuffer = 0;
    ULONG BufferType = SECBUFFER_EMPTY;
    void* pvBuffer = nullptr;
};

struct SecBufferDesc {
    ULONG ulVersion = SECBUFFER_VERSION;
    ULONG cBuffers = 0;
    SecBuffer* pBuffers = nullptr;
};

struct TimeStamp {
    std::uint32_t LowPart = 0;
    std::int32_t HighPart = 0;
};

struct SecPkgContext_StreamSizes {
    ULONG cbHeader = 0;
    ULONG cbTrailer = 0;
    ULONG cbMaximumMessage = 0;
    ULONG cBuffers = 0;
    ULONG cbBlockSize = 0;
};

inline constexpr char UNISP_NAME_A[] = "Microsoft Unified Security Protocol Provider";

inline constexpr ULONG SECPKG_CRED_INBOUND = 1;
inline constexpr ULONG SECPKG_CRED_OUTBOUND = 2;
inline constexpr ULONG SECURITY_NATIVE_DREP = 0x10;

inline constexpr ULONG ISC_REQ_REPLAY_DETECT = 0x4;
inline constexpr ULONG ISC_REQ_SEQUENCE_DETECT = 0x8;
inline constexpr ULONG ISC_REQ_CONFIDENTIALITY = 0x10;
inline constexpr ULONG ISC_REQ_ALLOCATE_MEMORY = 0x100;
inline constexpr ULONG ISC_REQ_EXTENDED_ERROR = 0x4000;
inline constexpr ULONG ISC_REQ_STREAM = 0x8000;
inline constexpr ULONG ISC_RET_EXTENDED_ERROR = 0x4000;

inline constexpr ULONG ASC_REQ_MUTUAL_AUTH = 0x2;
inline constexpr ULONG ASC_REQ_REPLAY_DETECT = 0x4;
inline constexpr ULONG ASC_REQ_SEQUENCE_DETECT = 0x8;
inline constexpr ULONG ASC_REQ_CONFIDENTIALITY = 0x10;
inline constexpr ULONG ASC_REQ_ALLOCATE_MEMORY = 0x100;
inline constexpr ULONG ASC_REQ_EXTENDED_ERROR = 0x8000;
inline constexpr ULONG ASC_REQ_STREAM = 0x10000;
inline constexpr ULONG ASC_RET_THIRD_LEG_FAILED = 0x4000;
inline constexpr ULONG ASC_RET_EXTENDED_ERROR = 0x8000;

inline constexpr ULONG SECPKG_ATTR_STREAM_SIZES = 4;
inline constexpr ULONG SECPKG_ATTR_REMOTE_CERT_CONTEXT = 0x53;
inline constexpr DWORD SCHANNEL_SHUTDOWN = 1;

inline constexpr DWORD SCHANNEL_CRED_VERSION = 4;
inline constexpr DWORD SCH_CRED_MANUAL_CRED_VALIDATION = 0x8;
inline constexpr DWORD SCH_CRED_NO_DEFAULT_CREDS = 0x10;
/// Sessions are not resumed.
inline constexpr DWORD SCH_CRED_DISABLE_RECONNECTS = 0x80;
/// This provider's own: ciphers without forward secrecy or authenticated encryption are allowed as well.
inline constexpr DWORD kCredWeakCiphers = 0x40000000;

inline constexpr DWORD SP_PROT_SSL2 = 0xC;
inline constexpr DWORD SP_PROT_SSL3 = 0x30;
inline constexpr DWORD SP_PROT_TLS1_0 = 0xC0;
inline constexpr DWORD SP_PROT_TLS1_1 = 0x300;
inline constexpr DWORD SP_PROT_TLS1_2 = 0xC00;
inline constexpr DWORD SP_PROT_TLS1_3 = 0x3000;

struct CERT_CONTEXT;

/// What credentials are made of.
struct SCHANNEL_CRED {
    DWORD dwVersion = 0;
    DWORD cCreds = 0;
    const CERT_CONTEXT** paCred = nullptr;
    void* hRootStore = nullptr;
    DWORD cMappers = 0;
    void** aphMappers = nullptr;
    DWORD cSupportedAlgs = 0;
    DWORD* palgSupportedAlgs = nullptr;
    DWORD grbitEnabledProtocols = 0;
    DWORD dwMinimumCipherStrength = 0;
    DWORD dwMaximumCipherStrength = 0;
    DWORD dwSessionLifespan = 0;
    DWORD dwFlags = 0;
    DWORD dwCredFormat = 0;
};

/// The provider's operations in their published order; those that this provider does not have are null.
/// Any thread may call them; one context is used by one thread at a time, credentials by any number.
struct SecurityFunctionTableA {
    ULONG dwVersion;
    void* EnumerateSecurityPackagesA;
    void* QueryCredentialsAttributesA;
    /// Credentials for one direction from an SCHANNEL_CRED in `auth_data`.
    SECURITY_STATUS(*AcquireCredentialsHandleA)
    (const char* principal, const char* package, ULONG use, void* logon_id, void* auth_data, void* get_key,
     void* get_key_argument, CredHandle* credential, TimeStamp* expiry);
    SECURITY_STATUS (*FreeCredentialsHandle)(CredHandle* credential);
    void* Reserved2;
    /// One step of a client's handshake. Without a context it starts one; after the shutdown token it gives
    /// the close notify. Output tokens are the provider's, for `FreeContextBuffer`.
    SECURITY_STATUS(*InitializeSecurityContextA)
    (CredHandle* credential, CtxtHandle* context, const char* target, ULONG requirements, ULONG reserved1,
     ULONG representation, SecBufferDesc* input, ULONG reserved2, CtxtHandle* new_context,
     SecBufferDesc* output, ULONG* attributes, TimeStamp* expiry);
    /// The same for a server.
    SECURITY_STATUS(*AcceptSecurityContext)
    (CredHandle* credential, CtxtHandle* context, SecBufferDesc* input, ULONG requirements,
     ULONG representation, CtxtHandle* new_context, SecBufferDesc* output, ULONG* attributes,
     TimeStamp* expiry);
    void* CompleteAuthToken;
    SECURITY_STATUS (*DeleteSecurityContext)(CtxtHandle* context);
    SECURITY_STATUS (*ApplyControlToken)(CtxtHandle* context, SecBufferDesc* input);
    SECURITY_STATUS (*QueryContextAttributesA)(CtxtHandle* context, ULONG attribute, void* out);
    void* ImpersonateSecurityContext;
    void* RevertSecurityContext;
    void* MakeSignature;
    void* VerifySignature;
    SECURITY_STATUS (*FreeContextBuffer)(void* buffer);
    void* QuerySecurityPackageInfoA;
    void* Reserved3;
    void* Reserved4;
    void* ExportSecurityContext;
    void* ImportSecurityContextA;
    void* AddCredentialsA;
    void* Reserved8;
    void* QuerySecurityContextToken;
    /// Seals the data buffer in place; header and trailer buffers take what comes ahead and behind.
    SECURITY_STATUS(*EncryptMessage)
    (CtxtHandle* context, ULONG quality, SecBufferDesc* message, ULONG sequence);
    /// Opens the first records of a data buffer in place. On success one entry of the list is the plaintext
    /// and one, if any, what lies behind; an entry of plaintext is missing where the records held none.
    SECURITY_STATUS(*DecryptMessage)
    (CtxtHandle* context, SecBufferDesc* message, ULONG sequence, ULONG* quality);
    void* SetContextAttributesA;
};

using InitSecurityInterfaceFunction = SecurityFunctionTableA* (*)();
