// SPDX-License-Identifier: MIT
#include <caldane/soa.h>

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <limits>
#include <string>

#include <caldane/servant.h>

#include "broker_settings.h"
#include "object_adapter.h"
#include "process.h"

namespace {

/// Open files that are not ours to use for sockets: logs, libraries, what the application opens.
constexpr std::int64_t kReserve = 64;

_Caldane_String name_of_endpoint() {
    char host[256] = "";
    if (gethostname(host, sizeof host - 1) != 0) host[0] = '\0';
    return _Caldane_String(std::string(host[0] != '\0' ? host : "localhost") + ":" +
                           std::to_string(getpid()));
}

}  // namespace

/// The limit as properties and system have it now.
std::int64_t caldane_socket_limit() {
    const double wanted = broker_setting("socket_limit").number();
    if (wanted >= 1) return static_cast<std::int64_t>(wanted);
    struct rlimit files = {};
    if (getrlimit(RLIMIT_NOFILE, &files) != 0 || files.rlim_cur == RLIM_INFINITY) {
        return std::numeric_limits<std::int32_t>::max();
    }
    return std::max<std::int64_t>(1, static_cast<std::int64_t>(files.rlim_cur) - kReserve);
}

// These are never destroyed: threads and static destructors may still ask.
_Caldane_Properties& SOA::getProperties() {
    static _Caldane_Properties* const properties = new _Caldane_Properties;
    return *properties;
}

_Caldane_Context& SOA::get_default_context() {
    thread_local _Caldane_Context context;
    return context;
}

const _Caldane_String& SOA::endpoint() {
    static const _Caldane_String* const name = new _Caldane_String(name_of_endpoint());
    return *name;
}

bool SOA::ResourceCounter::acquire() {
    std::int64_t now = used.load(std::memory_order_relaxed);
    while (now < limit()) {
        if (used.compare_exchange_weak(now, now + 1, std::memory_order_relaxed)) return true;
    }
    return false;
}

void SOA::ResourceCounter::release() {
    std::int64_t now = used.load(std::memory_order_relaxed);
    while (now > 0 && !used.compare_exchange_weak(now, now - 1, std::memory_order_relaxed)) {
    }
}

SOA::ResourceCounter& SOA::socketResource() {
    static auto* const counter = new ResourceCounter(caldane_socket_limit());
    return *counter;
}

void SOA::publish(_Caldane_ImplBase& servant, std::string_view key, std::string_view address, bool secure) {
    ObjectAdapter::instance().publish(servant, nullptr, key, address, secure);
}

void SOA::publish(const std::shared_ptr<_Caldane_ImplBase>& servant, std::string_view key,
                  std::string_view address, bool secure) {
    ObjectAdapter::instance().publish(*servant, servant, key, address, secure);
}

bool SOA::withdraw(const _Caldane_ImplBase& servant) {
    return ObjectAdapter::instance().withdraw(servant);
}

_Caldane_Object SOA::reference(const _Caldane_ImplBase& servant) {
    return ObjectAdapter::instance().reference(servant);
}
