// SPDX-License-Identifier: MIT
#pragma once

#include "transport/broker.h"

class _SOAP_OutStream;

/// An element name with a value; writes the element: start tag, attributes, content, end tag.
///
/// In encoded mode each element states its type; in literal mode only a value inside an `any` does, or one
/// whose `typed` was set. Lives on the stack for one element.
class _SOAP_NamedValue {
public:
    /// `name` is written without change, stays the caller's and must outlive the object.
    _SOAP_NamedValue(const char* name, _Caldane_AnyRef value);
    _SOAP_NamedValue(const char* name, _Caldane_AnyConstRef value);

    /// Writes the element. 0 only when an object reference could not be written; what was written stays.
    _Caldane_Boolean write(_SOAP_OutStream& out);

    const char* name;
    _Caldane_AnyRef value;
    /// The element states its type.
    bool typed = false;
};
