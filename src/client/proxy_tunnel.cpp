// SPDX-License-Identifier: MIT
#include "client/proxy_tunnel.h"

#include <algorithm>

namespace {

/// The most that the answer's heads hold together.
constexpr std::size_t kMostHead = 16384;
constexpr std::size_t kMostReason = 100;
constexpr std::size_t kMinorVersion = 7;  // its place in "HTTP/1.1 200 Fine"
constexpr std::size_t kStatus = 9;
constexpr std::size_t kBehindStatus = 12;

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

bool is_status_line(std::string_view line) {
    return line.size() >= kBehindStatus && line.starts_with("HTTP/1.") && is_digit(line[kMinorVersion]) &&
           line[kMinorVersion + 1] == ' ' &&
           std::all_of(line.begin() + kStatus, line.begin() + kBehindStatus, is_digit) &&
           (line.size() == kBehindStatus || line[kBehindStatus] == ' ');
}

/// Behind the empty line that ends the head, where it has come; else `npos`.
std::size_t end_of_head(std::string_view text) {
    for (std::size_t at = text.find('\n'); at != std::string_view::npos; at = text.find('\n', at + 1)) {
        const std::string_view rest = text.substr(at + 1);
        if (rest.starts_with("\n")) return at + 2;
        if (rest.starts_with("\r\n")) return at + 3;
    }
    return std::string_view::npos;
}

}  // namespace

std::string tunnel_request(std::string_view authority) {
    std::string text = "CONNECT ";
    text += authority;
    text += " HTTP/1.1\r\nHost: ";
    text += authority;
    text += "\r\n\r\n";
    return text;
}

TunnelAnswer::State TunnelAnswer::take(std::string_view bytes) {
    if (head.size() + dropped + bytes.size() > kMostHead) return fail("its answer has no end");
    head += bytes;
    for (;;) {
        const std::size_t end = end_of_head(head);
        if (end == std::string::npos) return State::incomplete;
        std::string_view line = std::string_view(head).substr(0, head.find('\n'));
        if (line.ends_with('\r')) line.remove_suffix(1);
        if (!is_status_line(line)) return fail("its answer is not HTTP/1.1");
        if (line[kStatus] != '1') return judge(line, end == head.size());
        dropped += end;
        head.erase(0, end);
    }
}

TunnelAnswer::State TunnelAnswer::fail(std::string_view words) {
    reason_ = words;
    return State::failed;
}

TunnelAnswer::State TunnelAnswer::judge(std::string_view status_line, bool is_last) {
    const char kind = status_line[kStatus];
    // The endpoint speaks when it is spoken to.
    if (kind == '2') return is_last ? State::open : fail("more followed its answer");
    reason_ = status_line.substr(kStatus, kMostReason);
    std::replace_if(
        reason_.begin(), reason_.end(),
        [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7F; }, '?');
    return kind == '4' ? State::refused : State::failed;
}
