// SPDX-License-Identifier: MIT
#pragma once

#include <vqsys/types.h>

#include <atomic>

/// Copies what connections carry into a file, for people who look for the cause of a failure. Off unless it
/// is opened, and then one look at an atomic a block.
///
/// Each block is one line, `[2026-11-22T10:15:00.125Z #7 sent 512]` with the time in UTC, the socket, `sent`
/// or `received` and the number of bytes; then the bytes as they are, decrypted on secure connections, and a
/// line end. Blocks of several threads are never mixed. The file holds whatever was said, secrets included.
namespace wire_trace {

/// Appends to the file from now on, made for its owner alone if it is not there; null or an empty path ends
/// the trace. False, without a trace, if it cannot be opened; errno tells why.
bool open(const char* path);

extern std::atomic<int> file;  // -1: off
inline bool on() {
    return file.load(std::memory_order_relaxed) >= 0;
}

void sent(vqSocket socket, const char* data, int length);
void received(vqSocket socket, const char* data, int length);

}  // namespace wire_trace
