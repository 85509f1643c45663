// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>
#include <vqsys/net.h>

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "client/secure_setup.h"
#include "secure/secure_channel.h"
#include "streams/stream.h"
#include "transport/broker.h"

/// A client's one TCP connection: makes it, carries bytes with an eye on the time, and remembers what is to
/// be known when it fails. Holds one unit of `SOA::socketResource` while it stands. One thread at a time.
class ClientConnection {
public:
    using Clock = std::chrono::steady_clock;

    ClientConnection() = default;
    ~ClientConnection() { close(); }
    ClientConnection(const ClientConnection&) = delete;
    ClientConnection& operator=(const ClientConnection&) = delete;

    /// One attempt at `address` (host:port, port 80 where it has none), with TLS on it if `secure`. With
    /// `tunnel_to`, which reads the same, `address` is a proxy that is asked to connect us there, and TLS is
    /// with the far end. On failure all is undone and `error` tells why.
    [[nodiscard]] bool connect(std::string_view address, bool secure = false,
                               std::string_view tunnel_to = {});
    /// False where the last attempt failed and every other one would.
    bool may_try_again() const { return !is_refused; }
    void close();

    bool is_connected() const { return connected; }
    vqSocket handle() const { return socket; }
    CSecureChannel* secure_channel() const { return channel.get(); }
    /// What a receive would meet now; never blocks.
    vqNetState look() const {
        return channel && channel->hasUnread() ? vqNetState::readable : vqNetPeek(socket);
    }

    /// No send and no receive goes on beyond `when`; `Clock::time_point::max()` is no limit.
    void set_deadline(Clock::time_point when);
    Clock::time_point deadline() const { return deadline_; }
    bool time_is_up() const;

    /// Where the first reply did not promise that the connection stays, waits out the moment in which a
    /// server that does not keep connections would close this one: a request that crosses the close on the
    /// way would be lost, and may not be sent again. False if the connection is of no more use, or the
    /// deadline leaves no time to find out.
    [[nodiscard]] bool outlives_first_reply();
    /// The response to the request has been read; `promised`: the server keeps the connection.
    void end_request(bool promised);

    /// The bytes sent and received from now on belong to a new request and its response.
    void start_request();
    /// `more`: a further send follows right away.
    int send(const char* data, int length, bool more = false);
    int receive(char* buffer, int length);

    bool sent_nothing() const { return sent == sent_before; }
    bool received_nothing() const { return received == 0; }
    /// True once a receive of this request found no more.
    bool has_ended() const { return end != End::open; }
    /// True once a send of this request did not take everything.
    bool send_failed() const { return send_failed_; }

    /// True where it is certain that no byte of the request reached the peer: the connection had been used
    /// before, the peer had closed it in order, and its system refused the request without acknowledging
    /// anything of it. Waits a moment for the refusal.
    [[nodiscard]] bool request_never_arrived() const;

    /// Why the last operation failed; empty where the peer closed in order.
    const std::string& error() const { return error_; }

private:
    enum class End { open, orderly, broken };

    struct Peer;

    bool make(const Peer& next, const Peer* far_end, bool secure);
    bool connect_socket(const Peer& peer);
    bool find_address(const std::string& host, std::uint32_t& address);
    bool open_tunnel(const Peer& far_end);
    bool start_tls(const std::string& host);
    bool fail(const char* what, const char* reason);
    bool time_left(double& seconds);
    bool arm_time();

    std::string host_text;  // whom TLS is with
    std::unique_ptr<CSecureChannel, EndClientChannel> channel;
    vqSocket socket = kVqNoSocket;
    bool connected = false;

    bool is_refused = false;

    Clock::time_point deadline_ = Clock::time_point::max();
    Clock::duration slack{};
    bool socket_is_timed = false;

    // Bytes that the system took, over the connection's life, and what the peer's system had acknowledged
    // when there were none.
    long long sent = 0;
    long long sent_before = 0;
    long long acknowledged_at_first = -1;
    long long arrived_at_first = -1;
    long long received_before = 0;  // in all, up to this request
    int requests = 0;
    Clock::time_point first_reply;
    bool promised_to_stay = false;  // by the first reply

    long long received = 0;  // of this response
    End end = End::open;
    bool send_failed_ = false;
    std::string error_;
};

/// The bottom of the request's streams.
class ClientOutput final : public COutputStream {
public:
    PEL_HEAP_OBJECT
    explicit ClientOutput(ClientConnection& to) : connection(to) {}

    int write(const char* data, int length) override;
    int put(char c) override { return write(&c, 1); }
    void flush() override {}
    void close() override {}
    int status() override { return kStreamGood; }
    void abandon() override { given_up = true; }
    void more_follows() override { more = true; }

private:
    ClientConnection& connection;
    bool given_up = false;
    bool more = false;
};

/// The bottom of the response's streams. 0 when nothing more comes, as from a socket's own stream.
class ClientInput final : public CInputStream {
public:
    PEL_HEAP_OBJECT
    explicit ClientInput(ClientConnection& from) : connection(from) {}

    int get() override;
    int read(char* buffer, int length) override { return connection.receive(buffer, length); }
    int available() override { return -1; }
    int status() override { return kStreamGood; }

private:
    ClientConnection& connection;
};
