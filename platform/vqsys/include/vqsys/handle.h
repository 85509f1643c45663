// SPDX-License-Identifier: MIT
#pragma once

#include <vqsys/types.h>

/// A set of sockets that one thread waits on until one of them can be read or written to. Every call but
/// `vqHandleDestroy` may come from any thread at any time; one thread at a time is in `vqBlock`.
///
/// Made for a set of thousands that is emptied and filled again on each pass: emptying takes constant
/// time, adding a socket that has stayed quiet costs no system call, and sockets that stay quiet cost
/// nothing in `vqBlock`. Before a socket is closed otherwise than by `vqNetClose` it must be taken out
/// with `vqHandleClearResourceMode`; its number may then come back as another socket.
class vqWaitSet;
using vqHandle = vqWaitSet*;

/// Waiting until there is something to read, an end of input or an error.
inline constexpr int kVqReadable = 1;
/// Waiting until the system takes bytes to send, or the connection is broken.
inline constexpr int kVqWritable = 2;

/// Longest wait: whole seconds; a negative number is taken as 0.
struct vqTimeout {
    std::int32_t seconds;
    std::int32_t zero;
};

/// Results of `vqBlock` besides 0.
inline constexpr int kVqTimedOut = 1;
inline constexpr int kVqUnblocked = 2;

/// A new empty set; 0 on success, else `*handle` is null.
[[nodiscard]] int vqHandleCreate(vqHandle* handle);

/// Frees the set, not the sockets; null is allowed. No other call on it may be under way.
int vqHandleDestroy(vqHandle handle);

/// Empties the set.
int vqHandleClearAllResources(vqHandle handle);

/// Adds `socket`, effective at once also while another thread is in `vqBlock`; adding it twice is
/// allowed. A socket is waited for in one mode at a time, the one it was added with last. 0 on success, else
/// the system's error number and the set is as before.
[[nodiscard]] int vqHandleAddResourceMode(vqHandle handle, vqSocket socket, int mode);

/// Takes `socket` out, effective at once; 0 also if it was not in the set.
int vqHandleClearResourceMode(vqHandle handle, vqSocket socket, int mode);

/// 1 if the last `vqBlock` found `socket` ready and it is still in the set, else 0.
[[nodiscard]] int vqHandleQueryResource(vqHandle handle, vqSocket socket, int mode);

/// The sockets for which `vqHandleQueryResource` would give 1, up to `capacity` of them: their number.
[[nodiscard]] int vqHandleReady(vqHandle handle, vqSocket* out, int capacity);

/// Waits: 0 if a socket of the set is ready, otherwise another value: the time is over, somebody
/// called `vqUnblock` since the last return, or (negative) the system failed. Null waits for ever. At
/// most 256 sockets are found at a time; the others' turn is the next call.
[[nodiscard]] int vqBlock(vqHandle handle, const vqTimeout* timeout);

/// The same for at most so many milliseconds; negative: for ever.
[[nodiscard]] int vqBlockFor(vqHandle handle, int milliseconds);

/// Makes the `vqBlock` that is under way, or else the next one, return now. `reason` is for readers of
/// the calling code only.
int vqUnblock(vqHandle handle, int reason);
