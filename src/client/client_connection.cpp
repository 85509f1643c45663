// SPDX-License-Identifier: MIT
#include "client/client_connection.h"

#include <utility>

#include <pelthread/thread.h>
#include <vqsys/names.h>
#include <vqsys/text.h>

#include <algorithm>
#include <bit>
#include <cstring>

#include "addressing/url.h"
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

struct ArrayDelete {
    void operator()(char* text) const { PEL_array_delete(text); }
};

}  // namespace

bool ClientConnection::connect(const _Caldane_String& address, bool secure) {
    if (connected) return true;
    error_.clear();
    const std::unique_ptr<char, ArrayDelete> text(static_cast<char*>(PEL_array_new(address.length() + 1)));
    if (!text) return fail("", "memory has ended");
    std::memcpy(text.get(), address.view().data(), address.length());
    text.get()[address.length()] = '\0';

    const char* host = text.get();
    std::uint16_t port = kDefaultPort;
    if (char* const colon = std::strchr(text.get(), ':')) {
        port = port_in(colon + 1);
        *colon = '\0';
        if (vqOSstricmp(host, "localhost") == 0) host = "127.0.0.1";
    }
    if (!SOA::socketResource().acquire()) return fail("", "the process may not open another socket");
    if (vqNetSocket(&socket, kFamilyInternet, kTypeStream, 0) != VQOK) {
        fail("", vqNetErrorText());
        SOA::socketResource().release();
        return false;
    }
    if (!connect_socket(host, port) || (secure && !start_tls())) {
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

bool ClientConnection::connect_socket(const char* host, std::uint16_t port) {
    host_text = host;
    canonical_name.clear();
    vqAddress address;
    address.port = network_order(port);
    address.address = vqInet_addr(host);
    if (address.address == kVqNoAddress) {
        vqHostEntry record;
        vqHostEntry* found = nullptr;
        if (vqNetIPGetHostByName(host, &found, &record, kHostRecordSize) != VQOK)
            return fail("the host's name is not known: ", vqNetErrorText());
        address.address = *found->addresses[0];
        // The name that was asked for: what the look-up says of others, a liar could say as well.
        canonical_name = host;
        if (canonical_name.ends_with('.')) canonical_name.pop_back();
    }
    socket_is_timed = false;
    if (!arm_time()) return false;
    const double most = setting("SOAP_CONNECT_TIMEOUT").number();
    const bool is_shorter =
        most > 0 && (!socket_is_timed || deadline_ - Clock::now() > std::chrono::duration<double>(most));
    if (is_shorter) vqNetSetTimeout(socket, most);
    if (vqNetConnect(socket, &address, sizeof address) != VQOK) return fail("", vqNetErrorText());
    if (is_shorter) vqNetSetTimeout(socket, 0);  // what is sent and received sets its own
    socket_is_timed = socket_is_timed && !is_shorter;
    return true;
}

bool ClientConnection::start_tls() {
    double left = 0;
    if (deadline_ != Clock::time_point::max()) {
        left = std::chrono::duration<double>(deadline_ - Clock::now()).count();
        if (left <= 0) return fail("", "time is up");
    }
    std::string reason;
    channel.reset(set_up_tls(socket, host_text.c_str(),
                             canonical_name.empty() ? nullptr : canonical_name.c_str(), left, reason));
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
    if (connected && socket_is_timed && when == Clock::time_point::max()) {
        vqNetSetTimeout(socket, 0);
        socket_is_timed = false;
    }
}

bool ClientConnection::time_is_up() const {
    return deadline_ != Clock::time_point::max() && Clock::now() + slack >= deadline_;
}

/// Lets the socket wait for as long as there is time; false where there is none left.
bool ClientConnection::arm_time() {
    if (deadline_ == Clock::time_point::max()) return true;
    const double left = std::chrono::duration<double>(deadline_ - Clock::now()).count();
    if (left <= 0) return fail("", "time is up");
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
