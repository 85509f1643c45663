// SPDX-License-Identifier: MIT

// Any bytes as an HTTP message, head and body. The first byte says which side reads them and in what pieces
// they arrive, the second how much of the body is asked for at a time. Neither may change what is read.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "http/http_message.h"
#include "support/piecewise_stream.h"

namespace {

constexpr long long kMaxBody = 4096;

std::string text_or_none(const char* text) {
    return text == nullptr ? "none" : std::string("=") + text;
}

/// What one reading of a message gave.
struct Reading {
    Reading(std::string_view bytes, std::int32_t side, int step, int wanted) {
        CHttpMessage message(side);
        message.SetMaxBody(kMaxBody);
        PiecewiseInputStream source(bytes, step);
        const std::unique_ptr<CBodyInputStream> reader(message.OpenBodyReader(&source, 0));
        opened = reader != nullptr;
        if (!opened) return;
        body = read_all(*reader, wanted);
        too_large = message.BodyTooLarge();
        // A body that ended has nothing more, however often it is asked.
        if (reader->end() == BodyEnd::exact && reader->get() >= 0) __builtin_trap();
        if (body.size() > static_cast<std::size_t>(kMaxBody)) __builtin_trap();
        head = text_or_none(message.GetMethod()) + text_or_none(message.GetPath()) +
               text_or_none(message.GetQuery()) + std::to_string(message.GetStatus()) + '/' +
               std::to_string(message.GetMajorVersion()) + '.' + std::to_string(message.GetMinorVersion());
        for (const char* name : {"Content-Length", "Transfer-Encoding", "Connection", "Host", "SOAPAction"})
            head += text_or_none(message.GetIncomingHeader(name));
    }

    bool operator==(const Reading& other) const = default;

    bool opened = false;
    bool too_large = false;
    std::string head;
    std::string body;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const std::int32_t side = (data[0] & 0x80) != 0 ? HTTP_CLIENT_SIDE : HTTP_SERVER_SIDE;
    const int step = 1 + (data[0] & 0x7F);
    const int wanted = 1 + data[1];
    const std::string_view bytes(reinterpret_cast<const char*>(data) + 2, size - 2);
    if (Reading(bytes, side, step, wanted) != Reading(bytes, side, 1 << 20, 1 << 12)) __builtin_trap();
    return 0;
}
