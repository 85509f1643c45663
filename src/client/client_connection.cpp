// SPDX-License-Identifier: MIT
#include "client/client_connection.h"

#include <utility>

#include <pelthread/thread.h>
#include <vqsys/names.h>
#include <vqsys/text.h>

#include <algorithm>
#include <bit>
#include <cerrno>

#include "addressing/url.h"
#include "client/proxy_tunnel.h"
#include "settings/settings.h"
#include "streams/wire_trace.h"

namespace {

constexpr int kFamilyInternet = 2;
constexpr int kTypeStream = 1;
constexpr int kHostRecordSize = 20;
constexpr std::uint16_t kDefaultPort = 80;

// How long the peer's system may take to refuse what came for a closed connection.
constexpr int kRefusalSteps = 200;
constexpr double kRefusalStep = 0.001;  // seconds

// How long after its first reply a server may take to close a connection that it does not keep.
constexpr std::chrono::milliseconds kTimeToClose{20};
constexpr double kCloseStep = 0.0002;  // seconds

// The system's timer may ring a little early. Short limits have less of that.
constexpr int kSlackOfLimit = 4;
constexpr std::chrono::milliseconds kTimerSlack{20};

std::uint16_t network_order(std::uint16_t number) {
    return std::endian::native == std::endian::little ? static_cast<std::uint16_t>(number << 8 | number >> 8)
                                                      : number;
}

/// The name that a certificate must be for: the one that was asked for, since what a look-up says of others,
/// a liar could say as well. "" for a dotted address, which is no name.
std::string name_to_prove(const std::string& host) {
    if (vqInet_addr(host.c_str()) != kVqNoAddress) return {};
    return host.ends_with('.') ? host.substr(0, host.size() - 1) : host;
}

}  // namespace

/// The text of an address, host:port, and what it means.
struct ClientConnection::Peer {
    explicit Peer(std::string_view address) : text(address), host(address.substr(0, address.find(':'))) {
        if (host.size() == address.size()) return;
        port = port_in(address.substr(host.size() + 1));
        if (vqOSstricmp(host.c_str(), "localhost") == 0) host = "127.0.0.1";
    }

    std::string authority() const {
        return text.size() > host.size() ? std::string(text) : host + ':' + std::to_string(port);
    }

    std::string_view text;
    std::string host;
    std::uint16_t port = kDefaultPort;
};

bool ClientConnection::connect(std::string_view address, bool secure, std::string_view tunnel_to) {
    if (connected) return true;
    error_.clear();
    is_refused = false;
    const Peer next(address);
    const Peer far_end(tunnel_to);
    if (!SOA::socketResource().acquire()) return fail("", "the process may not open another socket");
    if (vqNetSocket(&socket, kFamilyInternet, kTypeStream, 0) != VQOK) {
        fail("", vqNetErrorText());
        SOA::socketResource().release();
        return false;
    }
    if (!make(next, tunnel_to.empty() ? nullptr : &far_end, secure)) {
        vqNetClose(&socket);
        SOA::socketResource().release();
        return false;
    }
    acknowledged_at_first = vqNetAcknowledged(socket);
    arrived_at_first = vqNetArrived(socket);
    sent = sent_before = 0;
    received = received_before = 0;
    requests = 0;
    connected = true;
    return true;
}

bool ClientConnection::make(const Peer& next, const Peer* far_end, bool secure) {
    // One attempt has a time of its own, where that is shorter than the call's.
    const Clock::time_point of_call = deadline_;
    if (const double most = setting("SOAP_CONNECT_TIMEOUT").number(); most > 0) {
        const std::chrono::duration<double> time(most);
        deadline_ = std::min(deadline_, Clock::now() + std::chrono::duration_cast<Clock::duration>(time));
    }
    socket_is_timed = false;
    const bool reached = connect_socket(next) && (far_end == nullptr || open_tunnel(*far_end));
    deadline_ = of_call;
    if (!reached) return false;
    if (secure) return start_tls((far_end != nullptr ? *far_end : next).host);
    set_deadline(of_call);  // which takes the attempt's limit from the socket
    return true;
}

/// Asks for the host's address, where it is not one already, for as long as there is time.
bool ClientConnection::find_address(const std::string& host, std::uint32_t& address) {
    address = vqInet_addr(host.c_str());
    if (address != kVqNoAddress) return true;
    double left = 0;
    if (!time_left(left)) return false;
    vqHostEntry record;
    vqHostEntry* found = nullptr;
    const int failure = vqNetIPGetHostByName(host.c_str(), &found, &record, kHostRecordSize, left);
    if (failure == ETIMEDOUT) return fail("", "the look-up of the host's name took too long");
    if (failure != VQOK) return fail("the host's name is not known: ", vqNetErrorText());
    address = *found->addresses[0];
    return true;
}

bool ClientConnection::connect_socket(const Peer& peer) {
    vqAddress address;
    address.port = network_order(peer.port);
    if (!find_address(peer.host, address.address) || !arm_time()) return false;
    if (vqNetConnect(socket, &address, sizeof address) != VQOK) return fail("", vqNetErrorText());
    return true;
}

bool ClientConnection::open_tunnel(const Peer& far_end) {
    constexpr int kBlock = 4096;
    const std::string authority = far_end.authority();
    const std::string what = "the proxy gave no tunnel to " + authority + ": ";
    const std::string request = tunnel_request(authority);
    start_request();
    const int length = static_cast<int>(request.size());
    if (send(request.data(), length) < length) return fail(what.c_str(), std::string(error_).c_str());
    TunnelAnswer answer;
    TunnelAnswer::State state = TunnelAnswer::State::incomplete;
    while (state == TunnelAnswer::State::incomplete) {
        char block[kBlock];
        const int count = receive(block, kBlock);
        if (count <= 0) {
            const std::string reason = error_.empty() ? "it closed the connection" : error_;
            return fail(what.c_str(), reason.c_str());
        }
        state = answer.take({block, static_cast<std::size_t>(count)});
    }
    is_refused = state == TunnelAnswer::State::refused;
    return state == TunnelAnswer::State::open || fail(what.c_str(), answer.reason().c_str());
}

bool ClientConnection::start_tls(const std::string& host) {
    double left = 0;
    if (!time_left(left)) return false;
    host_text = host;  // for as long as the channel
    const std::string name = name_to_prove(host);
    std::string reason;
    channel.reset(set_up_tls(socket, host_text.c_str(), name.empty() ? nullptr : name.c_str(), left, reason));
    if (!channel) return fail("", reason.c_str());
    // The handshake had a limit of its own; from here on that of the call counts.
    vqNetSetTimeout(socket, left);
    socket_is_timed = left > 0;
    return true;
}

void ClientConnection::close() {
    if (!connected) return;
    channel.reset();
    vqNetClose(&socket);
    SOA::socketResource().release();
    connected = false;
}

bool ClientConnection::fail(const char* what, const char* reason) {
    error_ = what;
    error_ += reason;
    return false;
}

void ClientConnection::set_deadline(Clock::time_point when) {
    deadline_ = when;
    slack = when == Clock::time_point::max()
                ? Clock::duration::zero()
                : std::clamp<Clock::duration>((when - Clock::now()) / kSlackOfLimit, Clock::duration::zero(),
                                              kTimerSlack);
    if (socket_is_timed && when == Clock::time_point::max()) {
        vqNetSetTimeout(socket, 0);
        socket_is_timed = false;
    }
}

bool ClientConnection::time_is_up() const {
    return deadline_ != Clock::time_point::max() && Clock::now() + slack >= deadline_;
}

/// The seconds until the deadline, 0 where there is none; false where it has passed.
bool ClientConnection::time_left(double& seconds) {
    seconds = 0;
    if (deadline_ == Clock::time_point::max()) return true;
    seconds = std::chrono::duration<double>(deadline_ - Clock::now()).count();
    return seconds > 0 || fail("", "time is up");
}

/// Lets the socket wait for as long as there is time; false where there is none left.
bool ClientConnection::arm_time() {
    double left = 0;
    if (!time_left(left)) return false;
    if (left == 0) return true;
    vqNetSetTimeout(socket, left);
    socket_is_timed = true;
    return true;
}

bool ClientConnection::outlives_first_reply() {
    if (requests != 1 || promised_to_stay) return true;
    if (deadline_ != Clock::time_point::max() && first_reply + kTimeToClose + slack >= deadline_ &&
        Clock::now() - first_reply < kTimeToClose)
        return false;
    while (look() == vqNetState::idle) {
        if (Clock::now() - first_reply >= kTimeToClose) return true;
        PEL_Thread::delay(kCloseStep);
    }
    return false;
}

void ClientConnection::end_request(bool promised) {
    if (requests != 1) return;
    first_reply = Clock::now();
    promised_to_stay = promised;
}

void ClientConnection::start_request() {
    ++requests;
    sent_before = sent;
    received_before += received;
    received = 0;
    end = End::open;
    send_failed_ = false;
    error_.clear();
}

int ClientConnection::send(const char* data, int length, bool more) {
    if (send_failed_ || length <= 0) return 0;
    int count = 0;
    if (arm_time()) {
        if (channel && more) channel->moreFollows();
        if (channel) channel->limitSends(deadline_);
        const int flags = (more ? kVqSendMoreFollows : 0) | (socket_is_timed ? kVqSendInTime : 0);
        count = channel ? channel->write(data, length) : vqNetSend(socket, data, length, flags);
        if (count < 0) fail("", vqNetErrorText());
    }
    if (count > 0) {
        sent += count;
        // A channel counts what it adds as well.
        if (wire_trace::on()) wire_trace::sent(socket, data, std::min(count, length));
    }
    if (count < length) send_failed_ = true;
    return count;
}

int ClientConnection::receive(char* buffer, int length) {
    if (end != End::open || length <= 0) return 0;
    int count = -1;
    if (arm_time()) {
        if (channel) channel->limitReads(deadline_, true);
        count = channel ? channel->read(buffer, length) : vqNetRecv(socket, buffer, length, 0);
        if (count < 0) fail("", vqNetErrorText());
    }
    if (count > 0) {
        received += count;
        if (wire_trace::on()) wire_trace::received(socket, buffer, count);
        return count;
    }
    end = count == 0 ? End::orderly : End::broken;
    return 0;
}

bool ClientConnection::request_never_arrived() const {
    if (channel || requests < 2 || received > 0 || acknowledged_at_first < 0) return false;
    // A reset alone proves nothing: it may come from a server that took the request in and then failed. Where
    // the end of the server's sending had come first, it would have acknowledged what it had by then.
    const bool ended_first =
        end == End::orderly || (end == End::broken && arrived_at_first >= 0 &&
                                vqNetArrived(socket) - arrived_at_first == received_before + 1);
    if (!ended_first) return false;
    for (int step = 0; step < kRefusalSteps; ++step) {
        const bool refused = vqNetReset(socket);
        const long long acknowledged = vqNetAcknowledged(socket);
        if (acknowledged < 0 || acknowledged - acknowledged_at_first > sent_before) return false;
        if (refused) return true;
        PEL_Thread::delay(kRefusalStep);
    }
    return false;
}

int ClientOutput::write(const char* data, int length) {
    return given_up ? 0 : connection.send(data, length, std::exchange(more, false));
}

int ClientInput::get() {
    char c = 0;
    return read(&c, 1) == 1 ? static_cast<unsigned char>(c) : -1;
}
