// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>

#include <cstdint>

#include "streams/body_stream.h"
#include "streams/message_head.h"
#include "streams/stream.h"
#include "streams/string_map.h"

class CBufferedInputStream;
class CLineInputStream;

/// Reads a request and writes a response.
inline constexpr std::int32_t HTTP_SERVER_SIDE = 0;
/// Writes a request and reads a response.
inline constexpr std::int32_t HTTP_CLIENT_SIDE = 1;

/// The most that a peer's head may have, so that it cannot make memory grow: bytes of one line, bytes of all
/// lines, start line and interim responses included, and lines.
inline constexpr int kMaxHeadLineBytes = 16 * 1024;
inline constexpr int kMaxHeadBytes = 64 * 1024;
inline constexpr int kMaxHeadLines = 200;

/// One HTTP exchange, request and response in one object, on either side.
///
/// Parses the incoming half from a stream, writes the outgoing half, and chooses the streams that carry the
/// bodies. Owns its texts, and neither socket nor streams. Made for one exchange and never used again. One
/// thread at a time.
class CHttpMessage final : public CMessageHead {
public:
    PEL_HEAP_OBJECT

    /// Any `message_side` but 0 is the client's.
    explicit CHttpMessage(std::int32_t message_side) : side(message_side) {}
    ~CHttpMessage();

    /// Parses the incoming head from `input`, once; a further call gives 1 right away. 0 for every head that
    /// is cut off, malformed or beyond the limits above, and when memory ends; what was parsed by then stays.
    /// From a `CBufferedInputStream` it goes faster; nothing behind the head is taken from that.
    int ReadHeader(CInputStream* input);
    int ReadHeader(CBufferedInputStream* input);

    /// Reads the head from `input` and gives the reader of the body, which the caller deletes; null when the
    /// head cannot be read or memory ends. With `own_input` the reader deletes `input`; where there is no
    /// reader `input` stays the caller's in any case.
    CBodyInputStream* OpenBodyReader(CInputStream* input, int own_input);

    /// The writer of the body, which the caller deletes: chunked if the outgoing headers have a
    /// Transfer-Encoding, else with Content-Length. It writes the head in time. Null when memory ends. With
    /// `own_output` the writer deletes `output`; where there is no writer `output` stays the caller's.
    COutputStream* OpenBodyWriter(COutputStream* output, int own_output);

    /// Files one complete header line ("name: value") among the incoming headers; drops one without ":".
    /// Changes the text in place. Without memory `GetError` is 2.
    void AddHeaderLine(char* line);

    /// Writes the outgoing head, once, in pieces: `output` should gather them.
    void WriteHeader(COutputStream* output) override;
    int IsHeaderWritten() const override { return header_written; }

    // Each keeps a copy; without memory the field becomes null and `GetError` 2.
    void SetMethod(const char* text) { set_text(&method, text); }
    /// On the client side without the leading "/", on the server side with it.
    void SetPath(const char* text) { set_text(&path, text); }
    void SetQuery(const char* text) { set_text(&query, text); }
    void SetStatus(std::int32_t number) { status = number; }

    const char* GetMethod() const { return method; }  ///< may be null
    const char* GetPath() const { return path; }      ///< may be null
    const char* GetQuery() const { return query; }    ///< may be null
    std::int32_t GetStatus() const { return status; }
    std::int32_t GetSide() const { return side; }
    int GetMajorVersion() const { return major_version; }
    int GetMinorVersion() const { return minor_version; }
    int GetError() const { return error; }
    int IsHeaderRead() const { return header_read; }
    /// Set by `WriteHeader`: the request asked for a connection that stays open.
    int IsKeepAlive() const { return keep_alive; }

    // Nothing happens where one of both is null. A repeated name gives its entry a new value. Without memory
    // the header has no value or is missing, and `GetError` is 2.
    void AddRequestHeader(const char* name, const char* value) { add(request_headers, name, value); }
    void AddResponseHeader(const char* name, const char* value) { add(response_headers, name, value); }
    // Null if there is none; stays the message's, until the name is set again.
    const char* GetRequestHeader(const char* name) const { return request_headers.Get(name); }
    const char* GetResponseHeader(const char* name) const { return response_headers.Get(name); }

    const char* GetOutgoingHeader(const char* name) const override { return outgoing().Get(name); }
    void AddOutgoingHeader(const char* name, const char* value) override { add(outgoing(), name, value); }
    const char* GetIncomingHeader(const char* name) const override { return incoming().Get(name); }

    std::int32_t GetIncomingStatus() const override { return is_client() ? status : 0; }

    /// Most bytes that the body read may have; 0, the default, is no limit. To be set before the body is
    /// read.
    void SetMaxBody(long long bytes) { max_body = bytes; }
    long long GetMaxBody() const override { return max_body; }
    /// True once the body's reader met more than that.
    bool BodyTooLarge() const { return body_too_large; }
    void SetBodyTooLarge() override { body_too_large = true; }

private:
    struct HeadInput;

    bool is_client() const { return side != HTTP_SERVER_SIDE; }
    CStringMap& incoming() { return is_client() ? response_headers : request_headers; }
    const CStringMap& incoming() const { return is_client() ? response_headers : request_headers; }
    CStringMap& outgoing() { return is_client() ? request_headers : response_headers; }
    const CStringMap& outgoing() const { return is_client() ? request_headers : response_headers; }

    void set_text(char** field, const char* text);
    void add(CStringMap& headers, const char* name, const char* value);
    int read_head(HeadInput& input);
    bool read_start_line(HeadInput& input);
    bool parse_status_line(const char* rest);
    bool parse_request_line(char* rest);
    bool read_header_block(HeadInput& input);
    void write_start_line(COutputStream* output);
    void write_field(COutputStream* output, const char* name, const char* value);

    std::int32_t side;
    std::int16_t major_version = 1;
    std::int16_t minor_version = 0;
    char* method = nullptr;
    char* path = nullptr;
    char* query = nullptr;
    std::int32_t status = 200;
    bool header_written = false;
    bool header_read = false;
    std::int16_t error = 0;
    CStringMap request_headers;
    CStringMap response_headers;
    bool keep_alive = false;
    bool body_too_large = false;
    long long max_body = 0;
};
