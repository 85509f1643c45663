// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/byte_queue.h>
#include <pelthread/memory.h>
#include <vqsys/handle.h>
#include <vqsys/types.h>

#include <cstddef>
#include <cstdint>

#include "http/request_framing.h"
#include "server/deadline_wheel.h"
#include "server/outbox.h"

class CSecureChannel;
class CSspiCredentials;
class _SOAP_ConnectionList;

/// Where a connection stands in its life. docs/architecture.md has the table.
enum class Phase : std::uint8_t {
    handshake,  ///< the encrypted session is being made
    request,    ///< the next request is awaited, or part of it has come
    streamed,   ///< its head has come; a worker is to read its large body as it comes
    reply,      ///< the peer is still to take some of the reply
    parting,    ///< the reply is out; what the peer still sends is dropped before the connection is closed
};

/// What becomes of a connection behind a reply.
enum class After : std::uint8_t {
    keep,
    close,
    close_unread,  ///< there is a reply on its way, and more of the request may come
};

/// One accepted connection: waiting in the list, or owned by exactly one task.
struct _SOAP_Connection {
    PEL_HEAP_OBJECT

    _SOAP_Connection(vqSocket accepted, std::uint16_t listener_port, _SOAP_ConnectionList* owner);
    ~_SOAP_Connection();
    _SOAP_Connection(const _SOAP_Connection&) = delete;
    _SOAP_Connection& operator=(const _SOAP_Connection&) = delete;

    /// Ends the encrypted session, if there is one; the goodbye goes out as far as the socket takes it now.
    void stop_tls();
    /// True if bytes of the next request have arrived.
    bool asks() const;
    /// True while some of a request has come and not all of it.
    bool starts_request() const;
    /// Closes the socket and gives its unit back; the record itself stays. Not while a list has it.
    void close();
    /// Bytes of memory that wait with it.
    std::size_t memory() const { return gathered.capacity() + outbox.memory(); }

    _SOAP_Connection* link = nullptr;  ///< next in the list
    std::int32_t last_used;            ///< seconds; when it was accepted or last given back
    vqSocket socket;
    vqHandle block_handle;
    _SOAP_ConnectionList* list;
    std::uint16_t port;  ///< of the listener that accepted it
    CSecureChannel* channel = nullptr;

    _SOAP_Connection* back = nullptr;  ///< previous in the list
    DeadlineEntry wait{this};          ///< while it waits elsewhere than among the idle ones
    Phase phase = Phase::request;
    After after = After::close;
    bool idle = false;         ///< stands among the idle ones
    bool paused = false;       ///< nothing is read until less waits in memory
    bool input_ended = false;  ///< nothing more comes from the peer
    bool broken = false;       ///< nothing more can be sent
    bool reply_cut = false;    ///< a reply was given up on the way
    bool unlooked = false;     ///< bytes of the next request may be there that nobody looked at
    bool unanswered = false;   ///< its last request could not be read and got no answer
    bool has_stream_turn = false;
    bool admitted = false;  ///< counted for its address
    std::uint16_t peer_port = 0;
    std::uint32_t peer_address = 0;           ///< network byte order
    CSspiCredentials* credentials = nullptr;  ///< of a secure listener; the list keeps them
    RequestFraming framing;
    ByteQueue gathered;  ///< of the request, in the clear
    ByteQueue streamed;  ///< behind that, while a worker reads the body as it comes
    Outbox outbox;
    std::int64_t last_deadline = DeadlineWheel::kNever;  ///< of the whole handshake or request
    std::int64_t last_progress = 0;                      ///< milliseconds
    long long acknowledged = -1;                         ///< by the peer's system, when last looked at
    long dropped = 0;                                    ///< bytes, while parting
    std::size_t counted = 0;                             ///< of its memory, in the list's sum
};

/// Seconds of the clock by which connections are idle.
std::int32_t idle_clock();
/// Milliseconds of the clock by which they wait.
std::int64_t wait_clock();
/// The time on that clock in so many seconds; 0 seconds is never.
std::int64_t deadline_in(double seconds);
