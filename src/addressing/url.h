// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// The parts of a URL that a profile is made of.
struct UrlParts {
    std::string authority;  ///< host and port as an address text: a port that the URL leaves out is added
    std::string host;
    std::uint16_t port = 0;
    std::string path;  ///< without its leading "/"; empty where the URL has none
};

/// Cuts `url` by position, without further validation: the authority goes from behind "://" to the next "/",
/// the host up to its first ":", the port is what `atoi` makes of the rest, cut to 16 bits. A port that is
/// left out is 80, or 443 for https. False for a text without "://", without a host, with control characters,
/// or with a blank or "#" in its authority.
[[nodiscard]] bool split_url(std::string_view url, UrlParts& parts);

/// `path` as it may stand in a request line: blanks are encoded, and from "#" on it is cut off, as a fragment
/// is no server's business (RFC 9110 7.1). The path itself where nothing is to be changed, else what `memory`
/// then holds.
[[nodiscard]] const char* request_target(const char* path, std::string& memory);

/// The number at the start of `text` as `atoi` reads it, cut to 16 bits.
[[nodiscard]] std::uint16_t port_in(std::string_view text);
