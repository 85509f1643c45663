// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>

#include "marshal/number_text.h"
#include "marshal/piece_buffer.h"
#include "streams/stream.h"
#include "transport/broker.h"
#include "vqsys/types.h"

class CHttpMessage;
class CSecureChannel;

/// Typed values as XML text in the body of an HTTP message: what the broker's values write themselves to.
///
/// A primitive writes the text between two tags; the tags are written by the value writer
/// (`_SOAP_NamedValue`), and the two call each other for whatever has members. One stream serves many
/// messages in turn: `attach`, `open_body`, writes, `close_body`. It owns the body writer while a body is
/// open, and neither message, socket nor channel. One thread at a time.
///
/// A broken connection is not reported here; it shows when the answer cannot be read.
class _SOAP_OutStream final : public _Caldane_Transport_OutStream {
public:
    _SOAP_OutStream() = default;
    /// Drops a body that is still open: nothing more of it is sent.
    ~_SOAP_OutStream() override;
    _SOAP_OutStream(const _SOAP_OutStream&) = delete;
    _SOAP_OutStream& operator=(const _SOAP_OutStream&) = delete;

    /// Says which connection and message the next body belongs to. `channel` null is a plain connection. 1.
    int attach(CHttpMessage* http_message, vqSocket connection, CSecureChannel* secure_channel);

    /// SOAP section 5 encoding: types and array dimensions are written, octets go as base64.
    void set_rpc_encoding(bool flag) { rpc_encoding_ = flag; }
    bool rpc_encoding() const { return rpc_encoding_; }

    /// Makes the body writer that the message's headers ask for; nothing if one is open. 1, or 0 when memory
    /// ends: the stream then stays closed, and what is written to it is lost.
    int open_body(int unused = 0);

    /// The same over `bottom` in place of the socket; takes `bottom` over.
    int open_body_over(std::unique_ptr<COutputStream> bottom);

    /// Ends the body: the last of it leaves for the socket. Always 1, also with no body open.
    int close_body();

    /// Forgets the text of a body none of which has left yet, so that another can be written in its place.
    /// True when the body is empty again, false when some of it is gone already.
    bool discard();

    /// Deletes the body writer without sending anything more.
    void drop_body();

    /// True when memory ended while the body was gathered: `close_body` will then send nothing of it, since
    /// with a gap it must not look whole. `discard` mends it.
    bool body_lost() {
        if (gathers_pieces()) pieces.flush();
        return writer != nullptr && writer->status() != 0;
    }

    /// True when a text of this body was not written because it is not UTF-8 made of characters of XML, which
    /// counts where the property SOAP_UTF8_TEXT is set. `discard` mends it.
    bool text_refused() const { return text_refused_; }

    /// True while a body writer exists.
    bool body_open() const { return writer != nullptr; }

    /// The HTTP status that the message's head will carry.
    void set_status(int code);

    // Raw text: no escaping. Each gives 1 whatever the writer says.
    int put_char(char c) {
        if (writer) pieces.put(c);
        return 1;
    }
    int put_text(const char* text) { return put_bytes(text, std::strlen(text)); }
    int put_bytes(const char* bytes, std::size_t length) {
        if (writer) pieces.write(bytes, length);
        return 1;
    }
    int put_string(const _Caldane_String& text);

    /// The value of an attribute, with what none may hold as it is escaped: a namespace may be anybody's
    /// text. Bytes that are no UTF-8 are taken for characters of ISO-8859-1, as which they came.
    void put_value(const _Caldane_String& value);

    /// True while pieces are gathered into blocks, so that nobody can see how the text was cut up.
    bool gathers_pieces() const { return writer != nullptr && pieces.gathers(); }

    /// Room for up to `PieceBuffer::kLongestPiece` raw bytes, of which `commit_bytes` says how many were
    /// filled; only while a body is open.
    char* reserve_bytes(std::size_t length) { return pieces.reserve(length); }
    void commit_bytes(std::size_t length) { pieces.commit(length); }

    /// A number between two texts, in one go; only while pieces are gathered.
    template <class Number>
    void put_element(std::string_view start, Number value, std::string_view end);

    /// The `xsi:type` attribute of a simple value, an array or a sequence; nothing for any other kind.
    void write_type_attribute(_Caldane_AnyConstRef value);

    /// The value's own XML attributes, from its property "attributes", raw behind one blank.
    void write_attributes(_Caldane_AnyConstRef value);

    /// An object reference as the elements `type_id` and `profiles`; nothing for a nil reference. 1.
    _Caldane_Boolean marshal_object(const _Caldane_Object& object);

    _Caldane_Boolean marshal(const _Caldane_TxType& value) override;
    _Caldane_Boolean marshal(_Caldane_TypeRef::_ENUM_TCKind kind) override;
    _Caldane_Boolean marshal(double value) override;
    _Caldane_Boolean marshal(float value) override;
    _Caldane_Boolean marshal(_Caldane_ULong value) override;
    _Caldane_Boolean marshal(_Caldane_Long value) override;
    _Caldane_Boolean marshal(unsigned short value) override;
    _Caldane_Boolean marshal(short value) override;
    _Caldane_Boolean marshal(char value) override;
    _Caldane_Boolean marshal(unsigned char value) override;
    _Caldane_Boolean marshal(_Caldane_Boolean value) override;
    _Caldane_Boolean marshal_backptr(_Caldane_ULong offset) override;
    _Caldane_Boolean marshal_string(const char* chars, _Caldane_ULong length) override;
    _Caldane_Boolean marshal_octets(const unsigned char* data, _Caldane_ULong length) override;

private:
    _Caldane_Boolean marshal_union(const _Caldane_TxType& value);
    void put_any_value(std::string_view value);
    template <class Number>
    void put_number(Number value);
    template <bool exact>
    void put_escaped(const char* chars, std::size_t length);

    CSecureChannel* channel = nullptr;
    bool rpc_encoding_ = false;
    CHttpMessage* message = nullptr;
    vqSocket socket = kVqNoSocket;
    bool utf8_text_ = false;
    bool text_refused_ = false;
    std::unique_ptr<COutputStream> writer;
    PieceBuffer pieces;
};

template <class Number>
void _SOAP_OutStream::put_element(std::string_view start, Number value, std::string_view end) {
    char* const from = pieces.reserve(start.size() + kNumberRoom + end.size());
    std::memcpy(from, start.data(), start.size());
    char* to = from + start.size();
    to += text_of(value, to);
    std::memcpy(to, end.data(), end.size());
    pieces.commit(static_cast<std::size_t>(to - from) + end.size());
}
