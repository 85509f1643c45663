// SPDX-License-Identifier: MIT
#include "marshal/octets.h"

#include "marshal/base64.h"

namespace {

bool within_bound(const _Caldane_AddressableSequence& sequence, std::size_t count) {
    return sequence.bound() == 0 || count <= sequence.bound();
}

}  // namespace

bool decode_base64(const CRefString& text, _Caldane_AddressableSequence& sequence) {
    const auto length = static_cast<std::size_t>(text.length());
    const OctetBuffer bytes = make_octets(base64_room(length));
    if (!bytes) return false;
    const std::size_t count = base64_decode(text.c_str(), length, bytes.get());
    if (!within_bound(sequence, count)) return false;
    return sequence.length(static_cast<_Caldane_ULong>(count)) != _Caldane_FALSE &&
           store_octets(sequence, bytes.get(), count);
}
