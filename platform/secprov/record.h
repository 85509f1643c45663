// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

/// The TLS record at the head of some bytes (RFC 8446 5.1), told from its first five.
struct Record {
    enum class State { incomplete, whole, malformed };

    State state = State::incomplete;
    std::size_t size = 0;  ///< with its header; of a whole one

    static constexpr std::size_t kHeader = 5;
    static constexpr unsigned char kHandshake = 22;

    /// `first`: a server has read nothing yet, and a hello in the old form of SSL 2.0 may come.
    static Record at(const unsigned char* bytes, std::size_t length, bool first);
};
