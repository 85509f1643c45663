// SPDX-License-Identifier: MIT
#pragma once

#include "marshal/soap_in_stream.h"

/// What a type reads its parameters from: an array's length and element type, out of the attributes of the
/// start tag ahead. Moves nothing. Reads only what it replaces.
class _SOAP_TypeInStream final : public _SOAP_InStream {
public:
    /// `source` stays the stream's that reads the message and stands before the element; `level` is the
    /// dimension that is told of, from 1.
    _SOAP_TypeInStream(_SOAP_InStream& reader, CXmlPullParser* source, int level)
        : outer(reader), outer_parser(source), nesting(level) {}

    using _SOAP_InStream::demarshal;
    /// The dimension's number in brackets; `out` stays where there is none, and for a value that is nil. 0
    /// for a length that the message cannot mean.
    _Caldane_Boolean demarshal(_Caldane_ULong& out) override;
    /// The element type of an array, for a value that is a type; nothing for any other. While dimensions are
    /// left it is an array again; arrays that tell their own types are anys.
    _Caldane_Boolean demarshal(_Caldane_TxType& value) override;

private:
    _SOAP_InStream& outer;
    CXmlPullParser* outer_parser;
    int nesting;
};
