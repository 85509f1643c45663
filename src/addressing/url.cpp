// SPDX-License-Identifier: MIT
#include "addressing/url.h"

#include <vqsys/text.h>

#include <algorithm>

namespace {

constexpr std::uint16_t kHttpPort = 80;
constexpr std::uint16_t kHttpsPort = 443;

bool is_space(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// A reference comes from a peer: a line end in it must not become one in a request's head.
bool is_control(char c) {
    return static_cast<unsigned char>(c) < ' ' || c == 0x7F;
}

}  // namespace

std::uint16_t port_in(std::string_view text) {
    while (!text.empty() && is_space(text.front())) text.remove_prefix(1);
    const bool negative = !text.empty() && text.front() == '-';
    if (!text.empty() && (negative || text.front() == '+')) text.remove_prefix(1);
    std::uint32_t value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') break;
        value = value * 10 + static_cast<std::uint32_t>(c - '0');
    }
    return static_cast<std::uint16_t>(negative ? 0U - value : value);
}

const char* request_target(const char* path, std::string& memory) {
    const std::string_view whole = path;
    if (whole.find_first_of(" #") == std::string_view::npos) return path;
    memory.clear();
    for (const char c : whole.substr(0, whole.find('#'))) {
        if (c == ' ') {
            memory += "%20";
        } else {
            memory += c;
        }
    }
    return memory.c_str();
}

bool split_url(std::string_view url, UrlParts& parts) {
    constexpr std::string_view kMark = "://";
    const std::size_t mark = url.find(kMark);
    if (mark == std::string_view::npos || std::any_of(url.begin(), url.end(), is_control)) return false;
    const std::string scheme(url.substr(0, mark));
    url.remove_prefix(mark + kMark.size());

    const std::size_t slash = url.find('/');
    parts.path = slash == std::string_view::npos ? std::string_view() : url.substr(slash + 1);
    const std::string_view authority = url.substr(0, slash);
    if (authority.find_first_of(" #") != std::string_view::npos) return false;
    const std::size_t colon = authority.find(':');
    parts.host = authority.substr(0, colon);
    if (parts.host.empty()) return false;

    if (colon != std::string_view::npos && colon + 1 < authority.size()) {
        parts.authority = authority;
        parts.port = port_in(authority.substr(colon + 1));
    } else {
        parts.port = vqOSstricmp(scheme.c_str(), "https") == 0 ? kHttpsPort : kHttpPort;
        parts.authority = parts.host + ':' + std::to_string(parts.port);
    }
    return true;
}
