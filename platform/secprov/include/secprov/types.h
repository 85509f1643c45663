// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// The plain types of the security provider's interface, 32 bits wide where the interface says so.
using BOOL = std::int32_t;
using DWORD = std::uint32_t;
using ULONG = std::uint32_t;
using SECURITY_STATUS = std::int32_t;
using WCHAR = char16_t;

inline constexpr BOOL TRUE = 1;
inline constexpr BOOL FALSE = 0;

/// A status as it is written down: failures have the highest bit set.
constexpr SECURITY_STATUS security_status(DWORD value) {
    return static_cast<SECURITY_STATUS>(value);
}

inline constexpr SECURITY_STATUS SEC_E_OK = 0;
inline constexpr SECURITY_STATUS SEC_I_CONTINUE_NEEDED = 0x00090312;
inline constexpr SECURITY_STATUS SEC_I_CONTEXT_EXPIRED = 0x00090317;
inline constexpr SECURITY_STATUS SEC_I_INCOMPLETE_CREDENTIALS = 0x00090320;
inline constexpr SECURITY_STATUS SEC_I_RENEGOTIATE = 0x00090321;
inline constexpr SECURITY_STATUS SEC_E_INSUFFICIENT_MEMORY = security_status(0x80090300);
inline constexpr SECURITY_STATUS SEC_E_INVALID_HANDLE = security_status(0x80090301);
inline constexpr SECURITY_STATUS SEC_E_UNSUPPORTED_FUNCTION = security_status(0x80090302);
inline constexpr SECURITY_STATUS SEC_E_INTERNAL_ERROR = security_status(0x80090304);
inline constexpr SECURITY_STATUS SEC_E_SECPKG_NOT_FOUND = security_status(0x80090305);
inline constexpr SECURITY_STATUS SEC_E_NOT_OWNER = security_status(0x80090306);
inline constexpr SECURITY_STATUS SEC_E_INVALID_TOKEN = security_status(0x80090308);
inline constexpr SECURITY_STATUS SEC_E_UNKNOWN_CREDENTIALS = security_status(0x8009030D);
inline constexpr SECURITY_STATUS SEC_E_NO_CREDENTIALS = security_status(0x8009030E);
inline constexpr SECURITY_STATUS SEC_E_MESSAGE_ALTERED = security_status(0x8009030F);
inline constexpr SECURITY_STATUS SEC_E_INCOMPLETE_MESSAGE = security_status(0x80090318);
inline constexpr SECURITY_STATUS SEC_E_BUFFER_TOO_SMALL = security_status(0x80090321);
inline constexpr SECURITY_STATUS SEC_E_WRONG_PRINCIPAL = security_status(0x80090322);
inline constexpr SECURITY_STATUS SEC_E_ILLEGAL_MESSAGE = security_status(0x80090326);
inline constexpr SECURITY_STATUS SEC_E_CERT_UNKNOWN = security_status(0x80090327);
inline constexpr SECURITY_STATUS SEC_E_ALGORITHM_MISMATCH = security_status(0x80090331);
