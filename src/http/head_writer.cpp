// SPDX-License-Identifier: MIT
// The outgoing half of an HTTP message: start line and headers into a stream.
#include <vqsys/text.h>

#include <charconv>
#include <cstring>

#include "http/http_message.h"
#include "http/http_text.h"
#include "streams/stream.h"

namespace {

/// Writes a constant word of the protocol, its length known beforehand.
template <std::size_t Size>
void put_word(COutputStream* output, const char (&word)[Size]) {
    output->write(word, static_cast<int>(Size - 1));
}

void put_text(COutputStream* output, const char* text) {
    if (text != nullptr) output->write(text, static_cast<int>(std::strlen(text)));
}

/// Gathers one short text; the callers' texts fit by their kinds.
class ShortText {
public:
    ShortText& add(const char* text) {
        const std::size_t length = std::strlen(text);
        std::memcpy(end, text, length);
        end += length;
        return *this;
    }
    ShortText& add(int number) {
        end = std::to_chars(end, bytes + sizeof bytes, number).ptr;
        return *this;
    }
    void put_to(COutputStream* output) const { output->write(bytes, static_cast<int>(end - bytes)); }

private:
    char bytes[96];
    char* end = bytes;
};

}  // namespace

void CHttpMessage::WriteHeader(COutputStream* output) {
    if (header_written) return;
    write_start_line(output);

    char date[kHttpDateRoom];
    HttpDate(-1, date);
    write_field(output, kHttpDate, date);
    if (!is_client()) write_field(output, kHttpServer, kHttpServerName);

    const char* connection = request_headers.Get(kHttpConnection);
    if (connection != nullptr && vqOSstricmp(connection, kHttpKeepAlive) == 0) keep_alive = true;
    if (!is_client() && !keep_alive) write_field(output, kHttpConnection, kHttpClose);

    {
        const CStringMap& headers = outgoing();
        const PEL_Lock lock(headers.GetMutex());
        CStringMapIterator entries = headers.Walk();
        const char* name = nullptr;
        const char* value = nullptr;
        while (entries.Next(&name, &value)) write_field(output, name, value);
    }
    put_word(output, kHttpLineEnd);
    header_written = true;
}

void CHttpMessage::write_start_line(COutputStream* output) {
    ShortText version;
    version.add(kHttpWord).add(kHttpSlash).add(major_version).add(kHttpDot).add(minor_version);
    if (!is_client()) {
        version.add(kHttpBlank).add(HttpStatusText(status)).add(kHttpLineEnd).put_to(output);
        return;
    }
    put_text(output, method);
    put_word(output, kHttpBlank);
    put_word(output, kHttpSlash);
    put_text(output, path);
    if (query != nullptr) {
        put_word(output, kHttpQuestion);
        put_text(output, query);
    }
    put_word(output, kHttpBlank);
    version.put_to(output);
    put_word(output, kHttpLineEnd);
}

void CHttpMessage::write_field(COutputStream* output, const char* name, const char* value) {
    put_text(output, name);
    put_word(output, kHttpColon);
    put_word(output, kHttpBlank);
    put_text(output, value);
    put_word(output, kHttpLineEnd);
}
