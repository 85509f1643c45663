// SPDX-License-Identifier: MIT
#pragma once

#include "transport/broker.h"

class _SOAP_OutStream;

/// Writes the SOAP 1.1 envelope of one request to `out`, opening its body if need be: the thread's context as
/// `Header`, then the in and in-out parameters in the operation's element, whose namespace is `intf_id`.
/// Names and ids are written as they are. 1, or 0 when a value could not be written; the envelope then ends
/// where it stands.
int write_envelope(_SOAP_OutStream& out, const _Caldane_String& intf_id, const _Caldane_String& oper,
                   _Caldane_ArgList& args);
