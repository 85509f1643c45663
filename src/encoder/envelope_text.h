// SPDX-License-Identifier: MIT
#pragma once

#include "transport/broker.h"

class _SOAP_OutStream;

/// The frame that requests and replies share (SOAP 1.1 section 4): each piece in the order in which a message
/// uses it. All of them write raw text to a stream whose body is open.
namespace envelope_text {

/// Attributes of the `Envelope` start tag, each behind one blank: the encoding style and its prefix in
/// encoded mode, then the envelope's and the schema's prefixes.
void put_namespaces(_SOAP_OutStream& out);

/// XML declaration and the whole start tag of `Envelope`.
void put_head(_SOAP_OutStream& out);

/// The `Header` element with the default context's values in their order, or nothing if it holds none.
/// `typed`: each entry states its type in literal mode too. False when a value could not be written.
[[nodiscard]] bool put_header_block(_SOAP_OutStream& out, bool typed);

void put_body_start(_SOAP_OutStream& out);

/// The start tag `m:` `operation` `suffix`, with `m` bound to `namespace_uri` and the raw text of the
/// property
/// `<operation>_ATTRIBUTE` on a line of its own.
void put_operation_start(_SOAP_OutStream& out, const _Caldane_String& operation, const char* suffix,
                         const _Caldane_String& namespace_uri);
void put_operation_end(_SOAP_OutStream& out, const _Caldane_String& operation, const char* suffix);

/// End tags of `Body` and `Envelope`, and the empty line that closes a message.
void put_tail(_SOAP_OutStream& out);

}  // namespace envelope_text
