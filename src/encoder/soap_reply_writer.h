// SPDX-License-Identifier: MIT
#pragma once

#include "transport/broker.h"

class _SOAP_OutStream;

/// Writes the envelope of one reply: the frame, the result as "return", out and in-out parameters.
///
/// Lives on the stack of the function that replies. Arguments and call information stay the caller's.
class _SOAP_ReplyWriter {
public:
    _SOAP_ReplyWriter(const _Caldane_String& oper, const _Caldane_String& ns_name, _Caldane_ArgList* args,
                      _Caldane_CallInfo* info);

    /// 1, or 0 when a value could not be written; the text so far stays in the body.
    int write(_SOAP_OutStream& out);

private:
    bool write_values(_SOAP_OutStream& out);

    _Caldane_String ns_name;
    _Caldane_String oper;
    _Caldane_ArgList* args;
    [[maybe_unused]] _Caldane_CallInfo* info;
};
