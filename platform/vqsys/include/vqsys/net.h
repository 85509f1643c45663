// SPDX-License-Identifier: MIT
#pragma once

#include <vqsys/types.h>

#include <cstddef>

/// Blocking sockets. Each call but the transfers gives 0 (VQOK) on success and otherwise the system's
/// error number; `vqNetErrorText` then has the words. Signals never cut a call short and a broken
/// connection never raises one. Every socket is closed when the process executes another program.

/// A new socket into `out`; family 2, type 1, protocol 0 is TCP over IPv4. Stream sockets, and all that
/// a listener accepts, send small pieces at once (TCP_NODELAY).
[[nodiscard]] int vqNetSocket(vqSocket* out, int family, int type, int protocol);

/// Blocks until the connection stands or has failed, at the longest the time of `vqNetSetTimeout`.
/// `size` is the size of the record, 16.
[[nodiscard]] int vqNetConnect(vqSocket socket, const vqAddress* address, int size);

/// Takes a local address; port 0 lets the system choose. One that a former listener used can be had at
/// once again, one that is being listened on cannot.
[[nodiscard]] int vqNetBind(vqSocket socket, const vqAddress* address, int size);

/// Starts to listen; a `backlog` of 0 or less means the longest queue that the system allows.
[[nodiscard]] int vqNetListen(vqSocket socket, int backlog);

/// Lets the system hold a connection back for up to `seconds` until its first bytes are there, so that
/// a silent peer does not hold up the accepting thread.
[[nodiscard]] int vqNetDeferAccept(vqSocket listener, int seconds);

/// The next connection into `out`, in blocking mode. `peer` and `length` (in: at least 16, out: 16) take
/// the peer's address and may be null. A non-blocking listener with nothing queued fails at once.
[[nodiscard]] int vqNetAccept(vqSocket listener, vqSocket* out, vqAddress* peer, int* length);

/// The socket's own address; `length` as for `vqNetAccept`.
[[nodiscard]] int vqNetGetSockName(vqSocket socket, vqAddress* address, int* length);

/// Non-blocking if `flag` is not 0, else blocking.
int vqNetSetNonBlocking(vqSocket socket, int flag);

/// How long a connect, send or receive may make no progress before it fails; in seconds, 0 for ever. A send
/// makes progress while the peer's system acknowledges some of what was sent before.
int vqNetSetTimeout(vqSocket socket, double seconds);

/// Closes the socket and sets the handle to `kVqNoSocket`.
int vqNetClose(vqSocket* socket);

/// Has the close of the socket, which is to follow, reset the connection: what the system holds for a peer
/// that does not take it is given back at once.
int vqNetResetOnClose(vqSocket socket);

/// Tells the peer that nothing more will be sent; reading goes on.
int vqNetShutdownWrite(vqSocket socket);

/// Ends reading: what has arrived can still be read, then the end of input is found; also by a thread that
/// waits in a receive now.
int vqNetShutdownRead(vqSocket socket);

/// A flag of `vqNetSend`: another send follows right away, so that the system may put both into one segment.
inline constexpr int kVqSendMoreFollows = 0x8000;

/// A flag of `vqNetSend`: the time of `vqNetSetTimeout` is for all of this send, progress or not.
inline constexpr int kVqSendInTime = 0x1000000;

/// Sends all of it: the count, which is less than `length` where the connection broke or time ended on the
/// way, or a socket in non-blocking mode took no more; -1 if nothing was sent.
[[nodiscard]] int vqNetSend(vqSocket socket, const char* data, int length, int flags);

/// Blocks until something is there: the count, 0 when the peer has ended the connection, or -1.
[[nodiscard]] int vqNetRecv(vqSocket socket, char* buffer, int length, int flags);

/// What has arrived already, without waiting, on sockets of either mode: the count, 0 when the peer has ended
/// the connection, `kVqNothingYet`, or `kVqBroken`.
[[nodiscard]] int vqNetRecvNow(vqSocket socket, char* buffer, int length);

inline constexpr int kVqNothingYet = -1;
inline constexpr int kVqBroken = -2;

/// Two pieces of bytes, the second behind the first; either may be empty.
struct vqPieces {
    const char* first;
    std::size_t first_length;
    const char* second;
    std::size_t second_length;
};

/// Sends what the system takes at once, without waiting, on sockets of either mode: the count, which may be
/// 0, or `kVqBroken`. At most 1 GiB at a time.
[[nodiscard]] long vqNetSendNow(vqSocket socket, const vqPieces& pieces);

enum class vqNetState {
    idle,      ///< the connection stands and no byte waits
    readable,  ///< bytes wait
    closed     ///< the peer closed or reset it, or this is no connected socket
};

/// What a receive would meet now. Never blocks, takes nothing away.
[[nodiscard]] vqNetState vqNetPeek(vqSocket socket);

/// Bytes that the peer's system has acknowledged so far, also after a reset; -1 if that is not known.
/// Opening and ending the connection may count for one each: compare a value from before a transfer
/// with one from after it.
[[nodiscard]] long long vqNetAcknowledged(vqSocket socket);

/// Bytes that have arrived in order from the peer so far, also after a reset; the end of its sending counts
/// as one. -1 if that is not known.
[[nodiscard]] long long vqNetArrived(vqSocket socket);

/// True if the TCP connection is gone altogether (reset, or never made), as opposed to half closed.
[[nodiscard]] bool vqNetReset(vqSocket socket);

/// Words for this thread's last failed call of the network or of name look-up, such as "Connection
/// refused"; "" before the first. Valid until the next call of this function on this thread.
[[nodiscard]] const char* vqNetErrorText();
