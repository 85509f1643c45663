// SPDX-License-Identifier: MIT
#include "messages.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <utility>

#include "failures.h"

namespace {

constexpr char kHead[] = "\033[1;34m";
constexpr char kTag[] = "\033[36m";
constexpr char kText[] = "\033[1m";
constexpr char kPlain[] = "\033[0m";

/// The chunked coding (RFC 9112, 7.1) taken off; what cannot be read is left out.
std::string without_chunks(std::string_view coded) {
    std::string body;
    for (;;) {
        std::size_t size = 0;
        const auto [end, error] = std::from_chars(coded.data(), coded.data() + coded.size(), size, 16);
        const std::size_t line = coded.find('\n');
        if (error != std::errc() || size == 0 || line == std::string_view::npos) return body;
        coded.remove_prefix(line + 1);
        body += coded.substr(0, size);
        coded.remove_prefix(std::min(coded.size(), size + 2));
    }
}

std::string lower(std::string_view text) {
    std::string result(text);
    for (char& c : result) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return result;
}

bool is_blank(std::string_view text) {
    return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

/// How far the markup goes that a document begins with, or the text up to the next one.
std::size_t token_length(std::string_view bytes) {
    if (bytes[0] != '<') return std::min(bytes.find('<'), bytes.size());
    constexpr std::pair<std::string_view, std::string_view> kForms[] = {
        {"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}};
    for (const auto& [begin, end] : kForms) {
        if (!bytes.starts_with(begin)) continue;
        const std::size_t at = bytes.find(end, begin.size());
        return at == std::string_view::npos ? bytes.size() : at + end.size();
    }
    char quote = 0;
    for (std::size_t at = 1; at < bytes.size(); ++at) {
        const char c = bytes[at];
        if (quote == 0 && c == '>') return at + 1;
        if (quote == 0 && (c == '"' || c == '\'')) {
            quote = c;
        } else if (c == quote) {
            quote = 0;
        }
    }
    return bytes.size();
}

class Printer {
public:
    Printer(std::ostream& out, bool coloured) : out_(out), coloured_(coloured) {}

    void text(std::string_view bytes, const char* colour = kPlain) {
        if (coloured_) out_ << colour;
        for (const char c : bytes) {
            const auto code = static_cast<unsigned char>(c);
            if (c == '\r') continue;
            out_ << ((code < 0x20 && c != '\n' && c != '\t') || code == 0x7F ? '.' : c);
        }
        if (coloured_) out_ << kPlain;
    }

    /// The bytes of a document, a line for each element; only line ends and blanks between tags are made
    /// anew.
    void document(std::string_view bytes) {
        std::size_t depth = 0;
        bool behind_start = false;  // of an element that may hold nothing but a text
        while (!bytes.empty()) {
            const std::string_view token = bytes.substr(0, token_length(bytes));
            bytes.remove_prefix(token.size());
            const bool is_end = token.starts_with("</");
            if (token[0] != '<') {
                const bool is_all = behind_start && bytes.starts_with("</");
                if (is_all) {
                    text(token, kText);
                } else if (!is_blank(token)) {
                    if (behind_start) text("\n");
                    text(std::string(2 * depth, ' ').append(token) + '\n', kText);
                    behind_start = false;
                }
                continue;
            }
            if (is_end && depth > 0) --depth;
            if (behind_start && !is_end) text("\n");
            if (!behind_start || !is_end) text(std::string(2 * depth, ' '));
            text(token, kTag);
            behind_start = !is_end && token[1] != '!' && token[1] != '?' && !token.ends_with("/>");
            if (behind_start) {
                ++depth;
            } else {
                text("\n");
            }
        }
        if (behind_start) text("\n");
    }

private:
    std::ostream& out_;
    bool coloured_;
};

}  // namespace

std::string WireMessage::body() const {
    std::size_t end = bytes.find("\r\n\r\n");
    if (end == std::string::npos) return {};
    const std::string head = lower(std::string_view(bytes).substr(0, end));
    const std::string body = bytes.substr(end + 4);
    return head.find("transfer-encoding: chunked") != std::string::npos ? without_chunks(body) : body;
}

Trace::Trace() {
    const char* const folder = std::getenv("TMPDIR");
    path_ = std::string(folder != nullptr && *folder != '\0' ? folder : "/tmp") + "/soapcall-XXXXXX";
    const int file = ::mkstemp(path_.data());
    if (file < 0) throw Failure(kSystemException, "cannot make " + path_ + ": " + std::strerror(errno));
    ::close(file);
}

Trace::~Trace() {
    ::unlink(path_.c_str());
}

std::vector<WireMessage> Trace::take() {
    std::ifstream file(path_, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(position));
    std::vector<WireMessage> messages;
    std::string line;
    while (std::getline(file, line)) {
        // [time #socket sent|received count]
        std::istringstream words(line);
        std::string time;
        std::string socket;
        std::string direction;
        std::size_t count = 0;
        if (!(words >> time >> socket >> direction >> count)) break;
        std::string block(count, '\0');
        if (!file.read(block.data(), static_cast<std::streamsize>(count))) break;
        file.get();
        const bool sent = direction == "sent";
        if (messages.empty() || messages.back().sent != sent) messages.push_back({sent, {}});
        messages.back().bytes += block;
        position = static_cast<std::size_t>(file.tellg());
    }
    return messages;
}

void show(std::ostream& out, const WireMessage& message, bool coloured) {
    Printer printer(out, coloured);
    const std::size_t end = message.bytes.find("\r\n\r\n");
    std::istringstream head(message.bytes.substr(0, end));
    for (std::string line; std::getline(head, line);)
        printer.text((message.sent ? "> " : "< ") + line + "\n", kHead);
    out << '\n';
    printer.document(message.body());
    out << '\n';
}
