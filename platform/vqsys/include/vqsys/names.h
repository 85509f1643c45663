// SPDX-License-Identifier: MIT
#pragma once

#include <vqsys/types.h>

inline constexpr std::uint32_t kVqNoAddress = 0xFFFFFFFF;

/// A dotted IPv4 address of four decimal numbers as a number in network byte order; `kVqNoAddress` if
/// `text` is anything else.
[[nodiscard]] std::uint32_t vqInet_addr(const char* text);

/// The dotted text of an address in network byte order; valid until this thread's next call.
[[nodiscard]] const char* vqInet_ntoa(std::uint32_t network_order);

/// This host's name, terminated, into `buffer` of `size` bytes; 0 on success, not 0 if it does not fit.
[[nodiscard]] int vqNetIPGetHostname(char* buffer, int size);

/// Looks up the IPv4 addresses of `name`, with its canonical name (`name` itself where the system knows
/// none). Blocks, for at most so many seconds if `seconds` is above 0; the failure is then `ETIMEDOUT`, and
/// the look-up goes on by itself for whoever asks next. 0 on success: `record` is filled, `*result` points to
/// it, and what it points to is valid until this thread's next call. `size` is the size that callers tell for
/// the record, at least its 20 bytes of five words.
[[nodiscard]] int vqNetIPGetHostByName(const char* name, vqHostEntry** result, vqHostEntry* record, int size,
                                       double seconds = 0);
