// SPDX-License-Identifier: MIT
#pragma once

#include <ostream>
#include <string>
#include <vector>

/// One HTTP message as it went over the wire.
struct WireMessage {
    bool sent;
    std::string bytes;

    /// The body, with the chunked coding taken off.
    std::string body() const;
};

/// Where the transport leaves what its connections carry (the property SOAP_TRACE): a file that goes with
/// this object.
class Trace {
public:
    /// Throws Failure if no file can be made.
    Trace();
    ~Trace();
    Trace(const Trace&) = delete;
    Trace& operator=(const Trace&) = delete;

    const std::string& path() const { return path_; }
    /// What went to and fro since the last call of this: adjacent blocks of one direction make one message.
    std::vector<WireMessage> take();

private:
    std::string path_;
    std::size_t position = 0;
};

/// Prints a message: its head, and its XML as it went over the wire, but indented. Bytes that could steer a
/// terminal are shown as dots.
void show(std::ostream& out, const WireMessage& message, bool coloured);
