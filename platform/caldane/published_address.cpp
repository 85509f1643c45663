// SPDX-License-Identifier: MIT
#include "published_address.h"

#include <algorithm>
#include <charconv>

#include <caldane/exceptions.h>

void refuse_to_publish(std::string_view address, const std::string& reason) {
    throw Caldane::SetupError("cannot publish at " + std::string(address) + ": " + reason);
}

PublishedAddress PublishedAddress::parse(std::string_view text) {
    PublishedAddress parts;
    const std::size_t colon = text.find(':');
    const std::size_t slash = text.find('/');
    if (colon == std::string_view::npos || slash == std::string_view::npos || slash < colon)
        refuse_to_publish(text, "it is not HOST:PORT/PATH");
    const std::string_view digits = text.substr(colon + 1, slash - colon - 1);
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), parts.port);
    if (digits.empty() || error != std::errc() || end != digits.data() + digits.size() || parts.port < 0 ||
        parts.port > 65535) {
        refuse_to_publish(text, "the port is not a number from 0 to 65535");
    }
    const auto unfit = [](char c) {
        // What follows a '#' stays with the caller (RFC 3986 3.5).
        return static_cast<unsigned char>(c) <= ' ' || c == '"' || c == '<' || c == '>' || c == '#' ||
               c == 0x7F;
    };
    if (std::any_of(text.begin(), text.end(), unfit))
        refuse_to_publish(text, "it holds characters that no URL may have");
    parts.host = text.substr(0, colon);
    parts.path = text.substr(slash + 1);
    return parts;
}
