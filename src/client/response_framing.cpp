// SPDX-License-Identifier: MIT
#include "client/response_framing.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include <vqsys/text.h>

#include "http/http_message.h"
#include "http/http_text.h"

namespace {

/// True if `option` is among those of the Connection header, in any case.
bool has_option(const CHttpMessage& response, const char* option) {
    const char* const header = response.GetIncomingHeader(kHttpConnection);
    if (header == nullptr) return false;
    constexpr std::string_view kBetween = ", \t";
    std::string_view options = header;
    for (;;) {
        const std::size_t start = options.find_first_not_of(kBetween);
        if (start == std::string_view::npos) return false;
        options.remove_prefix(start);
        const std::size_t end = std::min(options.find_first_of(kBetween), options.size());
        if (vqOSstricmp(std::string(options.substr(0, end)).c_str(), option) == 0) return true;
        options.remove_prefix(end);
    }
}

}  // namespace

bool announces_close(const CHttpMessage& response) {
    return has_option(response, kHttpClose);
}

bool promises_to_stay(const CHttpMessage& response) {
    if (announces_close(response)) return false;
    // A server of this library never closes without a word. Others do, whatever their version promises.
    const char* const server = response.GetIncomingHeader(kHttpServer);
    const bool is_ours = server != nullptr && std::strcmp(server, kHttpServerName) == 0;
    return is_ours || has_option(response, kHttpKeepAlive);
}

bool tells_its_length(const CHttpMessage& response) {
    return response.GetIncomingHeader(kHttpTransferEncoding) != nullptr ||
           response.GetIncomingHeader(kHttpContentLength) != nullptr;
}
