// SPDX-License-Identifier: MIT
#pragma once

#include "transport/broker.h"

class _SOAP_OutStream;

/// What the value writer puts into the start tag of an array or sequence, and between its tags
/// (SOAP 1.1 section 5.4.2). `View` is `_Caldane_AddressableArray` or `_Caldane_AddressableSequence`.
namespace array_text {

/// The attribute with element type and dimensions: `SOAP-ENC:arrayType` in encoded mode, else `type`.
template <class View>
void put_type(_SOAP_OutStream& out, const View& view);

/// The items; those of nested levels stand side by side in row order.
template <class View>
void put_items(_SOAP_OutStream& out, const View& view, _Caldane_AnyConstRef value);

}  // namespace array_text
