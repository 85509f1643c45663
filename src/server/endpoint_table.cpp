// SPDX-License-Identifier: MIT
#include "server/endpoint_table.h"

#include <vqsys/text.h>

namespace {

constexpr std::uint32_t kBuckets = 10;

}  // namespace

EndpointTable& endpoint_table() {
    static EndpointTable table(kBuckets, &hash_endpoint, &compare_endpoints);
    return table;
}

std::uint32_t hash_endpoint(_Caldane_String key) {
    const std::string_view text = key.view();
    return text.empty() ? 0 : static_cast<std::uint32_t>(static_cast<signed char>(text.back()));
}

int compare_endpoints(_Caldane_String a, _Caldane_String b) {
    if (a.is_null() || b.is_null()) return 1;
    return vqOSstricmp(a.c_str(), b.c_str());
}
