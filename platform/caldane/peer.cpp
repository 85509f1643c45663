// SPDX-License-Identifier: MIT
#include <caldane/peer.h>

#include <utility>

namespace {

thread_local const SOA::Peer* current = nullptr;

}  // namespace

const SOA::Peer& SOA::current_peer() {
    // Never destroyed: threads may still ask when the process ends.
    static const Peer* const nobody = new Peer;
    return current != nullptr ? *current : *nobody;
}

SOA::PeerScope::PeerScope(const Peer& peer) : before_(std::exchange(current, &peer)) {}

SOA::PeerScope::~PeerScope() {
    current = before_;
}
