// SPDX-License-Identifier: MIT
#pragma once

#include <secprov/types.h>

#include <cstddef>

/// What the secure channel asks of the operating system beside the provider itself. This part is linked; the
/// provider is loaded through it, and with it the TLS library, no earlier than somebody needs it.

inline constexpr DWORD VER_PLATFORM_WIN32_WINDOWS = 1;
inline constexpr DWORD VER_PLATFORM_WIN32_NT = 2;
inline constexpr DWORD CP_ACP = 0;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
inline constexpr DWORD ERROR_PROC_NOT_FOUND = 127;

struct OSVERSIONINFOA {
    DWORD dwOSVersionInfoSize = sizeof(OSVERSIONINFOA);
    DWORD dwMajorVersion = 0;
    DWORD dwMinorVersion = 0;
    DWORD dwBuildNumber = 0;
    DWORD dwPlatformId = 0;
    char szCSDVersion[128] = {};
};

/// Tells of a system of the NT family, whose provider is called "Secur32.dll".
[[nodiscard]] BOOL GetVersionExA(OSVERSIONINFOA* version);

using HMODULE = void*;

/// Loads a module by name; null on failure. The names of the provider's modules ("Secur32.dll",
/// "Security.dll", "Crypt32.dll") stand for `libsecprov.so`, which is looked for beside the caller's own
/// library or program, in the `lib` folder next to that, and where the system looks for libraries.
[[nodiscard]] HMODULE LoadLibraryA(const char* name);
/// A function of a module by its name; null if there is none.
[[nodiscard]] void* GetProcAddress(HMODULE module, const char* name);
BOOL FreeLibrary(HMODULE module);

/// This thread's last error of the functions here and of the certificate functions.
[[nodiscard]] DWORD GetLastError();
void SetLastError(DWORD error);
/// The number of this thread's last failed socket call; to be asked right behind it.
[[nodiscard]] int WSAGetLastError();

/// Memory from `PEL_new`; `flags` are not looked at.
[[nodiscard]] void* LocalAlloc(DWORD flags, std::size_t size);
void* LocalFree(void* pointer);

/// UTF-8 text as UTF-16. `length` -1: up to and with the terminator. Gives the number of units, with `room` 0
/// only that; 0 on failure (malformed text, no room).
[[nodiscard]] int MultiByteToWideChar(DWORD code_page, DWORD flags, const char* text, int length, WCHAR* wide,
                                      int room);
