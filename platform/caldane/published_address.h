// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

/// host:port/path, as objects are published under.
struct PublishedAddress {
    std::string host;  // may be empty
    int port = 0;      // 0: the system chooses
    std::string path;

    /// Throws SetupError for a text of another form.
    static PublishedAddress parse(std::string_view text);

    /// "port/path": what the object is to the transports, and to nobody else.
    [[nodiscard]] std::string route() const { return std::to_string(port) + "/" + path; }
};

/// Throws the SetupError of an address at which nothing can be published.
[[noreturn]] void refuse_to_publish(std::string_view address, const std::string& reason);
