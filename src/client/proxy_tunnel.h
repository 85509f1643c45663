// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// The request that asks a proxy for a tunnel to `authority`, host:port (RFC 9110 9.3.6).
std::string tunnel_request(std::string_view authority);

/// What a proxy answers to it, as the bytes come.
class TunnelAnswer {
public:
    enum class State {
        incomplete,
        open,     // what follows is between us and the endpoint
        failed,   // another attempt may fare better
        refused,  // every other attempt will fare the same
    };

    State take(std::string_view bytes);
    /// Why there is no tunnel: the proxy's status line, else our words.
    const std::string& reason() const { return reason_; }

private:
    State fail(std::string_view words);
    State judge(std::string_view status_line, bool is_last);

    std::string head;
    std::size_t dropped = 0;  // of interim answers
    std::string reason_;
};
