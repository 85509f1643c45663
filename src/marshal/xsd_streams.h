// SPDX-License-Identifier: MIT
#pragma once

#include "marshal/base64.h"
#include "marshal/soap_in_stream.h"
#include "marshal/soap_out_stream.h"
#include "transport/broker.h"

// Four structs stand for simple types of XML Schema (base64Binary, hexBinary, dateTime, decimal). Such a
// struct walks its one member as always, but into a stream of these classes, which makes one text of it, or
// out of one, which makes the member from a text. Each has few live operations; the others do nothing and
// report success.

/// Does nothing with everything but a constructed value, which it has walk itself.
class XsdOutStream : public _Caldane_Transport_OutStream {
public:
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
};

/// Bytes and characters as base64; the last group is written at destruction.
class _SOAP_Base64OutStream final : public XsdOutStream {
public:
    explicit _SOAP_Base64OutStream(_SOAP_OutStream* out) : coder(out) {}
    ~_SOAP_Base64OutStream() override { coder.finish(); }

    using XsdOutStream::marshal;
    _Caldane_Boolean marshal(const _Caldane_TxType& value) override;
    _Caldane_Boolean marshal(char value) override;
    _Caldane_Boolean marshal(unsigned char value) override;
    _Caldane_Boolean marshal_string(const char* chars, _Caldane_ULong length) override;
    _Caldane_Boolean marshal_octets(const unsigned char* data, _Caldane_ULong length) override;

private:
    CBase64Writer coder;
};

/// Bytes and characters as two upper-case hexadecimal digits each.
class _SOAP_HexOutStream final : public XsdOutStream {
public:
    explicit _SOAP_HexOutStream(_SOAP_OutStream* out) : target(out) {}

    using XsdOutStream::marshal;
    _Caldane_Boolean marshal(char value) override;
    _Caldane_Boolean marshal(unsigned char value) override;
    _Caldane_Boolean marshal_string(const char* chars, _Caldane_ULong length) override;
    _Caldane_Boolean marshal_octets(const unsigned char* data, _Caldane_ULong length) override;

private:
    _SOAP_OutStream* target;
};

/// A string, as it is.
class _SOAP_DecimalOutStream final : public XsdOutStream {
public:
    explicit _SOAP_DecimalOutStream(_SOAP_OutStream* out) : target(out) {}

    using XsdOutStream::marshal;
    _Caldane_Boolean marshal_string(const char* chars, _Caldane_ULong length) override;

private:
    _SOAP_OutStream* target;
};

/// Seconds since 1970 as a UTC date and time; an empty text for a time that the calendar cannot express.
class _SOAP_DateTimeOutStream final : public XsdOutStream {
public:
    explicit _SOAP_DateTimeOutStream(_SOAP_OutStream* out) : target(out) {}

    using XsdOutStream::marshal;
    _Caldane_Boolean marshal(_Caldane_Long value) override;

private:
    _SOAP_OutStream* target;
};

/// Base of the four readers: they read through the parser of the stream that made them, which stays that
/// stream's, and must not be asked for anything that they do not replace.
class XsdInStream : public _SOAP_InStream {
public:
    explicit XsdInStream(CXmlPullParser* source) : outer_parser(source) {}

protected:
    /// Steps over the start tag to the text behind it; false when there is none.
    bool to_text();
    /// Steps over the end tag; false when something else stands there.
    bool at_end();

    CXmlPullParser* outer_parser;
};

/// A sequence of octet out of base64 text.
class _SOAP_Base64InStream final : public XsdInStream {
public:
    using _SOAP_InStream::demarshal;
    using XsdInStream::XsdInStream;
    _Caldane_Boolean demarshal(_Caldane_TxType& value) override;
};

/// A sequence of octet out of hexadecimal text; a last digit without a partner counts for nothing.
class _SOAP_HexInStream final : public XsdInStream {
public:
    using _SOAP_InStream::demarshal;
    using XsdInStream::XsdInStream;
    _Caldane_Boolean demarshal(_Caldane_TxType& value) override;
};

/// Seconds since 1970 out of a date and time with its zone; 0 when it cannot be scanned.
class _SOAP_DateTimeInStream final : public XsdInStream {
public:
    using _SOAP_InStream::demarshal;
    using XsdInStream::XsdInStream;
    _Caldane_Boolean demarshal(_Caldane_Long& out) override;
};

/// A string that keeps its text exactly.
class _SOAP_DecimalInStream final : public XsdInStream {
public:
    using _SOAP_InStream::demarshal;
    using XsdInStream::XsdInStream;
    _Caldane_Boolean demarshal(_Caldane_TxType& value) override;
};
