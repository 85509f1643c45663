// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "streams/body_stream.h"
#include "streams/buffered_streams.h"
#include "streams/ref_string.h"
#include "streams/stream.h"
#include "transport/broker.h"
#include "vqsys/types.h"
#include "xml/pull_parser.h"

class CHttpMessage;
class CSecureChannel;

/// Most bytes that a message's body may have, from the property SOAP_MAX_BODY; 0 is no limit.
[[nodiscard]] long long max_body();

/// Typed values out of the XML of an HTTP message's body: what the broker's values read themselves from.
///
/// Values drive the reading: a value knows its type and takes the next element, struct members go by name in
/// any order, array elements and parameters by position. Every reader gives 0 for failure, else non-zero, and
/// none of them rewinds. Malformed XML leaves every operation as a `CXmlPullParserException`.
///
/// One stream serves many messages in turn: `attach`, `open_envelope`, on a client `read_fault`,
/// `open_result`, the values, `close_result`, `close_envelope`, `release`. What belongs to one message lives
/// from `open_envelope` to `release`. Neither message, socket nor channel is owned. One thread at a time.
class _SOAP_InStream : public _Caldane_Transport_InStream {
public:
    _SOAP_InStream();
    /// Releases what a message left behind.
    ~_SOAP_InStream() override;
    _SOAP_InStream(const _SOAP_InStream&) = delete;
    _SOAP_InStream& operator=(const _SOAP_InStream&) = delete;

    /// Says which connection and message are read next, and releases what the message before left. 1.
    int attach(CHttpMessage* http_message, vqSocket connection, CSecureChannel* secure_channel);

    /// SOAP section 5 encoding in force. A message's own `encodingStyle` overwrites it.
    void set_rpc_encoding(bool flag) { rpc_encoding_ = flag; }
    bool rpc_encoding() const { return rpc_encoding_; }

    /// Reads the HTTP head, then the envelope up to and with the start tag of `Body`; entries of the `Header`
    /// go to the default context. 0 when the head cannot be read or there is no `Body`.
    int open_envelope();

    /// The same with `source` in place of the socket's bytes; takes it over.
    int open_envelope_from(std::unique_ptr<CInputStream> source);

    /// If `Body` holds a `Fault`, stores its exception in the call's information and gives 1; 0 when the next
    /// element is none (nothing is consumed then) or the fault is not complete.
    int read_fault(_Caldane_CallInfo& info);

    /// Reads the start tag of the operation or response element; 0 at the end of the input.
    int open_result();

    /// Local name and namespace of that element; valid until `release`.
    const char* operation_name() const { return operation_name_.c_str(); }
    const char* operation_namespace() const { return operation_namespace_.c_str(); }

    /// Reads past the end tag of that element, whatever stands before it.
    int close_result();

    /// Reads to the end of the input; 1 if the end tags of `Body` and `Envelope` were seen.
    int close_envelope();

    /// Consumes what is left of the message's body, at most `limit` bytes. True when the body was consumed to
    /// its end, so that the connection stands at the start of the next message. Call it before `release`.
    bool drained(long limit);

    /// What made the message unreadable, with its place; null if nothing did. Stays until `release`.
    const CXmlPullParserException* failure() const { return parser ? parser->failure() : nullptr; }

    /// Deletes what belongs to the message. May be called at any time and again.
    void release();

    /// The text of the next element, whatever its name: its length, 1 for an element without text (`*text`
    /// then stays as the caller prepared it), or 0 when there is no element. The text stays valid until the
    /// next event. An element named `Payload` gives its inside as one text.
    int read_text(const char** text);
    /// The same; a `<` may follow the text instead of a zero.
    int read_text(std::string_view& text);

    /// Pulls events up to and with the next end tag. 1.
    int skip_to_end_tag();

    _Caldane_Boolean demarshal(_Caldane_TxType& value) override;
    _Caldane_Boolean demarshal(double& out) override;
    _Caldane_Boolean demarshal(float& out) override;
    _Caldane_Boolean demarshal(_Caldane_ULong& out) override;
    _Caldane_Boolean demarshal(_Caldane_Long& out) override;
    _Caldane_Boolean demarshal(unsigned short& out) override;
    _Caldane_Boolean demarshal(short& out) override;
    _Caldane_Boolean demarshal(char& out) override;
    _Caldane_Boolean demarshal(unsigned char& out) override;
    _Caldane_Boolean demarshal(_Caldane_Boolean& out) override;
    _Caldane_Boolean demarshal_kind_or_backptr(_Caldane_Boolean& is_backptr, _Caldane_ULong& kind,
                                               _Caldane_ULong& offset) override;
    _Caldane_Boolean demarshal_string(char*& chars, _Caldane_ULong& length) override;
    /// Stores exactly `count` bytes of base64 text, or nothing.
    _Caldane_Boolean demarshal_octets(unsigned char* out, _Caldane_ULong count) override;

    /// A string's own reader, for texts that the library reads for itself.
    int demarshal_string_value(_Caldane_TxType& value);
    int demarshal_object(_Caldane_Object& object);

    /// Readers of values nest at most so deep; beyond that they give 0.
    static constexpr int kMaxDepth = 512;

    /// So many bytes may a message make of elements that it declares and does not bring, and so many times
    /// what has come of it: of memory, or of the text that they would be written as.
    static constexpr std::int64_t kMaxUnsent = 16 << 20;
    static constexpr std::int64_t kMaxUnsentFactor = 100;

private:
    friend class SequenceReader;
    friend class _SOAP_TypeInStream;
    struct Fault;

    template <class Number>
    _Caldane_Boolean read_integer(Number& out);
    int read_payload(const char** text);
    int read_to_end_tag(const char** text);

    int to_body();
    int read_header();
    void read_encoding_style();
    bool read_fault_elements(Fault& fault, _Caldane_CallException& holder);
    void read_fault_element(Fault& fault, _Caldane_CallException& holder);
    void read_fault_detail(Fault& fault, _Caldane_CallException& holder);

    int read_value(_Caldane_TxType& value);
    int demarshal_any(_Caldane_TxType& value);
    int demarshal_enum(_Caldane_TxType& value);
    int demarshal_struct(_Caldane_TxType& value);
    bool read_member(_Caldane_AddressableStruct& view, _Caldane_ULong index);
    void skip_element();
    int demarshal_union(_Caldane_TxType& value);
    bool read_profiles(_IOP_ProfileList& profiles, bool& secure);
    int demarshal_array(_Caldane_TxType& value);
    int read_array_octets(_Caldane_AddressableArray& view);
    bool read_rows(_Caldane_AddressableArray& view);
    int demarshal_sequence(_Caldane_TxType& value);
    int read_sequence_octets(_Caldane_AddressableSequence& view);
    int demarshal_type(_Caldane_TxType& value);
    bool store_type(_Caldane_TypeRef& value, _Caldane_TypeRef::_ENUM_TCKind kind, std::string_view name,
                    CXmlPullParser& source, int nesting);

    bool may_make(std::int64_t bytes);

    CSecureChannel* channel = nullptr;
    std::unique_ptr<CInputStream> socket_in;
    std::unique_ptr<CBodyInputStream> body_reader;
    std::unique_ptr<CXmlPullParser> parser;
    CRefString operation_name_;
    CRefString operation_namespace_;
    bool rpc_encoding_ = false;
    bool utf8_text_ = false;
    CHttpMessage* message = nullptr;
    vqSocket socket = kVqNoSocket;

    CRefString text_;
    std::unique_ptr<CBufferedOutputStream> payload_;
    int depth_ = 0;           // of nested readers
    unsigned types_read = 0;  // values that are types, which leave their element ahead

    int anys_ = 0;             // readers of anys among them
    std::int64_t unsent_ = 0;  // bytes of elements that the message did not bring
};
