// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "http/http_message.h"
#include "marshal/soap_in_stream.h"
#include "marshal/soap_out_stream.h"
#include "streams/stream.h"
#include "support/piecewise_stream.h"

namespace soap_test {

/// Keeps what is written to it in a string of the test's.
class MemorySink final : public COutputStream {
public:
    explicit MemorySink(std::string& to) : text(to) {}
    int write(const char* data, int length) override {
        text.append(data, static_cast<std::size_t>(length));
        return length;
    }
    int put(char c) override { return write(&c, 1); }
    void flush() override {}
    void close() override {}
    int status() override { return 0; }

private:
    std::string& text;
};

/// A request being written into memory, by default with Content-Length and in literal mode.
class SoapWriter {
public:
    explicit SoapWriter(bool encoded = false, bool chunked = false) : message(HTTP_CLIENT_SIDE) {
        message.SetMethod("POST");
        message.SetPath("x");
        if (chunked) message.AddRequestHeader("Transfer-Encoding", "chunked");
        out.attach(&message, kVqNoSocket, nullptr);
        out.set_rpc_encoding(encoded);
        out.open_body_over(std::make_unique<MemorySink>(wire));
    }

    /// Ends the body and gives it as it went over the wire, without the head.
    std::string body() {
        out.close_body();
        const std::size_t end = wire.find("\r\n\r\n");
        return end == std::string::npos ? std::string() : wire.substr(end + 4);
    }

    CHttpMessage message;
    std::string wire;
    _SOAP_OutStream out;
};

/// A response being read from memory.
class SoapReader {
public:
    SoapReader() : message(HTTP_CLIENT_SIDE) { in.attach(&message, kVqNoSocket, nullptr); }

    /// Reads a message up to the content of `Body`.
    int open_message(const std::string& bytes, int piece = 1 << 20) {
        return in.open_envelope_from(std::make_unique<PiecewiseInputStream>(bytes, piece));
    }
    /// The same for a body with a head.
    int open(const std::string& body) {
        return open_message("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
                            body);
    }

    /// Puts `values` into an envelope and reads up to the first of them; `attributes` go to the element
    /// around.
    bool open_values(const std::string& values, bool encoded = false, const std::string& attributes = "") {
        return open(envelope(values, encoded, attributes)) == 1 && in.open_result() == 1;
    }

    static std::string envelope(const std::string& values, bool encoded, const std::string& attributes = "") {
        std::string text =
            "<E:Envelope xmlns:E='http://schemas.xmlsoap.org/soap/envelope/'"
            " xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' "
            "xmlns:xsd='http://www.w3.org/2001/XMLSchema'"
            " xmlns:SOAP-ENC='http://schemas.xmlsoap.org/soap/encoding/'";
        if (encoded) text += " E:encodingStyle='http://schemas.xmlsoap.org/soap/encoding/'";
        return text + "><E:Body><r " + attributes + ">" + values + "</r></E:Body></E:Envelope>";
    }

    CHttpMessage message;
    _SOAP_InStream in;
};

}  // namespace soap_test
