// SPDX-License-Identifier: MIT
#include "encoder/type_prefix.h"

#include <atomic>

#include "marshal/soap_out_stream.h"

namespace {

_Caldane_ULong next_number() {
    // Each message declares what it uses, so only the count matters, not the order among threads.
    static std::atomic<_Caldane_ULong> last{0};
    return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

}  // namespace

TypePrefix::TypePrefix(_SOAP_OutStream& out, const _Caldane_String& namespace_uri)
    : length(text_of(next_number(), number)) {
    out.put_text(" xmlns:m");
    out.put_bytes(number, length);
    out.put_text("=\"");
    out.put_value(namespace_uri);
    out.put_char('"');
}

void TypePrefix::put(_SOAP_OutStream& out) const {
    out.put_char('m');
    out.put_bytes(number, length);
    out.put_char(':');
}
