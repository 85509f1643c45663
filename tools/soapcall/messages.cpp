// SPDX-License-Identifier: MIT
#include "messages.h"

#include <tinyxml2.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

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

    void element(const tinyxml2::XMLElement& element, std::size_t depth) {
        const std::string indent(2 * depth, ' ');
        std::string start = "<" + std::string(element.Name());
        for (const auto* attribute = element.FirstAttribute(); attribute != nullptr;
             attribute = attribute->Next())
            start += std::string(" ") + attribute->Name() + "=\"" + attribute->Value() + "\"";
        text(indent);
        if (element.NoChildren()) {
            text(start + "/>\n", kTag);
            return;
        }
        text(start + ">", kTag);
        const std::string end = std::string("</") + element.Name() + ">\n";
        if (const auto* only = element.FirstChild()->ToText();
            only != nullptr && only->NextSibling() == nullptr) {
            text(only->Value(), kText);
            text(end, kTag);
            return;
        }
        text("\n");
        for (const auto* child = element.FirstChild(); child != nullptr; child = child->NextSibling()) {
            if (const auto* inner = child->ToElement()) {
                this->element(*inner, depth + 1);
            } else if (child->ToText() != nullptr) {
                text(indent + "  " + child->Value() + "\n", kText);
            }
        }
        text(indent);
        text(end, kTag);
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
    const std::string body = message.body();
    tinyxml2::XMLDocument document;
    if (!body.empty() && document.Parse(body.data(), body.size()) == tinyxml2::XML_SUCCESS) {
        printer.element(*document.RootElement(), 0);
    } else {
        printer.text(body + "\n");
    }
    out << '\n';
}
