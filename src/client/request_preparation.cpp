// SPDX-License-Identifier: MIT
// What comes ahead of a request's envelope: the connection, and the HTTP head.
#include <pelthread/thread.h>

#include <algorithm>
#include <string_view>

#include "addressing/soap_profile.h"
#include "addressing/url.h"
#include "client/client_line.h"
#include "http/http_text.h"
#include "settings/settings.h"

namespace {

// Without its path or a header a request would be another one.
constexpr char kNoMemory[] = "memory has ended";
constexpr double kBetweenAttempts = 1.0;  // seconds

// In a URL the path cannot start ahead of this index: "https://" has as many characters.
constexpr std::size_t kShortestScheme = 8;

_Caldane_String path_in_url(const _IOP_OctetSeq& url) {
    const std::string_view text = url.view();
    const std::size_t slash = text.find('/', kShortestScheme);
    return _Caldane_String(slash == std::string_view::npos ? text : text.substr(slash + 1));
}

}  // namespace

bool ClientLine::prepare_for(const _Caldane_OutboundCall& call, const _SOAP_Profile& profile) {
    const _Caldane_String action = quoted_action(call.oper());
    if (profile.is_local()) return prepare_request(profile.path_text(), action) != 0;
    return prepare_request(path_in_url(profile.object_key()), call.oper()) != 0;
}

const char* ClientLine::own_property(const _Caldane_String& oper, const char* suffix) {
    property.assign(oper.view());
    property += suffix;
    return SOA::getProperties().get(property);
}

_Caldane_String ClientLine::quoted_action(const _Caldane_String& oper) {
    const char* value = own_property(oper, "_SOAPAction");
    if (value == nullptr) value = SOA::getProperties().get("default_SOAPAction", oper);
    property = '"';
    property += value;
    property += '"';
    return _Caldane_String(property);
}

int ClientLine::prepare_request(const _Caldane_String& path, const _Caldane_String& action) {
    if (path.is_null() || action.is_null()) {
        diagnosis = kNoMemory;
        return 0;
    }
    if (!connection.is_connected() && !connect_repeatedly()) return 0;
    if (!start_message()) {
        diagnosis = kNoMemory;
        return 0;
    }
    out_stream.attach(message.get(), connection.handle(), connection.secure_channel());
    in_stream.attach(message.get(), connection.handle(), connection.secure_channel());
    message->SetPath(request_target(path.c_str(), property));
    message->SetMethod(kHttpPost);
    message->AddRequestHeader(kHttpContentType, "text/xml; charset=\"utf-8\"");
    message->AddRequestHeader(kHttpHost, endpoint.c_str());
    message->AddRequestHeader("SOAPAction", action.c_str());
    message->AddRequestHeader(kHttpConnection, kHttpKeepAlive);
    if (message->GetError() == 0) return 1;
    diagnosis = kNoMemory;
    return 0;
}

bool ClientLine::connect_repeatedly() {
    const char* const proxy = SOA::getProperties().get("proxy");
    const std::string address(proxy != nullptr ? std::string_view(proxy) : endpoint.view());
    const bool tunnels = proxy != nullptr && setting("SOAP_PROXY_CONNECT").is_set();
    const std::string_view far_end = tunnels ? endpoint.view() : std::string_view();
    std::string reason;
    const int attempts = static_cast<int>(setting("SOAP_CONNECT_ATTEMPTS").number());
    int attempt = 1;
    for (;; ++attempt) {
        if (connection.connect(address, is_secure, far_end)) return true;
        if (connection.time_is_up()) {
            describe_time();
            diagnosis += " without a connection to ";
            diagnosis += address;
            if (!reason.empty()) diagnosis += ": " + reason;
            return false;
        }
        reason = connection.error();
        if (attempt >= attempts || !connection.may_try_again()) break;
        double pause = kBetweenAttempts;
        if (time_limit > 0) {
            const std::chrono::duration<double> left = connection.deadline() - ClientConnection::Clock::now();
            pause = std::min(pause, left.count());
        }
        PEL_Thread::delay(pause);
    }
    diagnosis = "could not connect to ";
    diagnosis += address;
    diagnosis += " after " + std::to_string(attempt) + (attempt == 1 ? " attempt: " : " attempts: ");
    diagnosis += reason;
    return false;
}

bool ClientLine::start_message() {
    message.reset(new CHttpMessage(HTTP_CLIENT_SIDE));
    if (!message) {
        connection.close();
        return false;
    }
    if (SOA::getProperties().get("SOAP_CLIENT_CHUNKING") != nullptr)
        message->AddRequestHeader(kHttpTransferEncoding, kHttpChunked);
    return true;
}
