// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "server/connection.h"

/// The steps of one connection, each as far as it goes without waiting for the peer. One worker at a time.
class ConnectionSteps {
public:
    explicit ConnectionSteps(_SOAP_Connection& stepping) : connection(stepping) {}

    /// What is to be waited for before the next step.
    enum class Next {
        again,     ///< nothing
        idle,      ///< the next request
        readable,  ///< more of what the peer sends
        writable,  ///< that the peer takes some of what waits for it
        turn,      ///< a worker for a large body: the list gives the turn
        room,      ///< that less waits in memory
        nothing,   ///< the connection is to be closed
    };

    [[nodiscard]] Next step();

    /// No more comes from this peer, or the server is ending: what is there counts.
    void end_input() { connection.input_ended = true; }

private:
    enum class Came { some, nothing, end };

    Next step_handshake();
    Next step_request();
    Next step_streamed();
    Next step_reply();
    Next step_parting();

    bool begin_session();
    Next answer_tokens(bool failed);
    Came receive(std::string_view& received);
    Came receive_sealed(std::span<char> bytes);
    bool open_next_record(std::string_view& received);
    Next await_more() const;
    bool keep(std::string_view received);
    Next look(std::string_view received);
    Next serve(std::string_view received, std::size_t length);
    Next behind_request(After after);
    Next behind_reply();

    _SOAP_Connection& connection;
};
