// SPDX-License-Identifier: MIT
#pragma once

#include "transport/broker.h"

class _SOAP_OutStream;

/// What the value writer puts into the start tag of an array or sequence, and between its tags
/// (SOAP 1.1 section 5.4.2). `View` is `_Caldane_AddressableArray` or `_Caldane_AddressableSequence`.
namespace array_text {

/// How elements that are arrays or sequences themselves are written.
enum class Layout {
    flat,        ///< all innermost items side by side in row order; the dimensions tell the shape
    nested,      ///< each in an item of its own, where no dimensions are written
    typed_rows,  ///< each in an item of its own that tells its type, where rows differ in length
};

template <class View>
Layout layout_of(const View& view, bool typed);

/// The attribute with element type and dimensions: `SOAP-ENC:arrayType` in encoded mode, else `type`.
template <class View>
void put_type(_SOAP_OutStream& out, const View& view, Layout layout);

/// The items.
template <class View>
void put_items(_SOAP_OutStream& out, const View& view, _Caldane_AnyConstRef value, Layout layout);

}  // namespace array_text
