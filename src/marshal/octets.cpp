// SPDX-License-Identifier: MIT
#include "marshal/octets.h"

#include "marshal/base64.h"

namespace {

/// Texts of more bytes are decoded where they stay.
constexpr std::size_t kMuch = 4096;

bool within_bound(const _Caldane_AddressableSequence& sequence, std::size_t count) {
    return sequence.bound() == 0 || count <= sequence.bound();
}

/// Straight into the sequence's own memory, which saves as much again beside it; false if it has no such.
bool decode_in_place(const CRefString& text, std::size_t room, _Caldane_AddressableSequence& sequence) {
    if (sequence.element_type().kind() != _Caldane_TypeRef::tk_octet || !within_bound(sequence, room) ||
        sequence.length(static_cast<_Caldane_ULong>(room)) == _Caldane_FALSE)
        return false;
    const void* const block = sequence._block();
    if (block == nullptr) return false;
    const std::size_t count = base64_decode(text.c_str(), static_cast<std::size_t>(text.length()),
                                            static_cast<unsigned char*>(const_cast<void*>(block)));
    return sequence.length(static_cast<_Caldane_ULong>(count)) != _Caldane_FALSE;
}

}  // namespace

bool decode_base64(const CRefString& text, _Caldane_AddressableSequence& sequence) {
    const auto length = static_cast<std::size_t>(text.length());
    const std::size_t room = base64_room(length);
    if (room >= kMuch && decode_in_place(text, room, sequence)) return true;
    const OctetBuffer bytes = make_octets(room);
    if (!bytes) return false;
    const std::size_t count = base64_decode(text.c_str(), length, bytes.get());
    if (!within_bound(sequence, count)) return false;
    return sequence.length(static_cast<_Caldane_ULong>(count)) != _Caldane_FALSE &&
           store_octets(sequence, bytes.get(), count);
}
