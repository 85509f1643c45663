// SPDX-License-Identifier: MIT
#include "marshal/index_list.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "marshal/number_text.h"
#include "marshal/soap_in_stream.h"
#include "xml/pull_parser.h"

namespace {

std::int32_t number_at(const char* text) {
    while (*text == ' ') ++text;
    if (*text == ',' || *text == ']') return IndexList::kOpen;
    const std::int64_t number = integer_in(text);
    if (number < 0 || number > std::numeric_limits<std::int32_t>::max()) return IndexList::kBad;
    return static_cast<std::int32_t>(number);
}

}  // namespace

IndexList IndexList::parse(CXmlPullParser& parser, std::string_view key) {
    IndexList list;
    const int count = parser.getAttributeCount();
    for (int i = 0; i < count; ++i) {
        const CRefString name = parser.getAttributeName(i);
        if (name.view().find(key) == std::string_view::npos) continue;
        const CRefString value = parser.getAttributeValue(i);
        const char* at = std::strchr(value.c_str(), '[');
        if (at == nullptr || std::strchr(value.c_str(), ']') == nullptr) return {};
        list.numbers.clear();
        for (; at != nullptr; at = std::strchr(at + 1, ',')) {
            // No value has so many dimensions that a reader could reach the last of these.
            if (list.numbers.size() > static_cast<std::size_t>(_SOAP_InStream::kMaxDepth)) break;
            list.numbers.push_back(number_at(at + 1));
        }
    }
    return list;
}

IndexList IndexList::zeros(std::size_t dimensions) {
    IndexList list;
    list.numbers.assign(dimensions, 0);
    return list;
}

void IndexList::close() {
    std::replace(numbers.begin(), numbers.end(), kOpen, std::int32_t{0});
}
