// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

#include "marshal/number_text.h"
#include "transport/broker.h"

class _SOAP_OutStream;

/// A namespace prefix `m<n>` that is declared on the element that uses it. The numbers come from one counter
/// for the process, so they differ from message to message.
class TypePrefix {
public:
    /// Writes the declaration as an attribute of the start tag being written.
    TypePrefix(_SOAP_OutStream& out, const _Caldane_String& namespace_uri);

    /// Writes the prefix with its colon.
    void put(_SOAP_OutStream& out) const;

private:
    char number[kNumberRoom];
    std::size_t length;
};
