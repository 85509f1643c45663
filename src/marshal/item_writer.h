// SPDX-License-Identifier: MIT
#pragma once

#include "transport/broker.h"

class _SOAP_OutStream;

/// Writes `length` primitives of `kind` that lie at `block` one behind the other in memory, each as an
/// element "item": what the value writer makes of each of them in turn, at a fraction of its cost. False,
/// with nothing written, for kinds that it does not know.
bool write_items(_SOAP_OutStream& out, _Caldane_TypeRef::_ENUM_TCKind kind, const void* block,
                 _Caldane_ULong length);
