// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>

#include <cstddef>
#include <cstring>
#include <memory>

#include "streams/ref_string.h"
#include "transport/broker.h"

struct PelArrayDelete {
    void operator()(unsigned char* bytes) const { PEL_array_delete(bytes); }
};

/// Bytes on the heap; null when memory ended.
using OctetBuffer = std::unique_ptr<unsigned char[], PelArrayDelete>;

inline OctetBuffer make_octets(std::size_t count) {
    return OctetBuffer(static_cast<unsigned char*>(PEL_array_new(count == 0 ? 1 : count)));
}

/// Copies octets into a sequence or array of octet that is as long already; false when an element is none.
template <class View>
bool store_octets(View& view, const unsigned char* bytes, std::size_t count) {
    if (count == 0) return true;
    if (const void* block = view._block()) {
        std::memcpy(const_cast<void*>(block), bytes, count);
        return true;
    }
    const _Caldane_Representation& octet = _Caldane_Primitive1::_prim_rep(_Caldane_TypeRef::tk_octet);
    for (std::size_t i = 0; i < count; ++i) {
        const void* byte = view.element(static_cast<_Caldane_ULong>(i))._safe_cast(octet);
        if (byte == nullptr) return false;
        *static_cast<unsigned char*>(const_cast<void*>(byte)) = bytes[i];
    }
    return true;
}

/// Base64 text into a sequence of octet; false when it refuses the length, an element is no octet, or memory
/// ends.
bool decode_base64(const CRefString& text, _Caldane_AddressableSequence& sequence);
