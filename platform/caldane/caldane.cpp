// SPDX-License-Identifier: MIT
#include <caldane/caldane.h>

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <utility>
#include <vector>

#include "broker_settings.h"
#include "object_adapter.h"
#include "process.h"

namespace {

bool started = false;

struct Options {
    std::vector<std::pair<std::string, std::string>> properties;
    std::vector<std::string> files;
    bool help = false;
};

/// Takes one argument if it is the broker's.
bool take_option(std::string_view argument, Options& options) {
    if (argument == "-help") {
        options.help = true;
        return true;
    }
    if (!argument.starts_with("-D")) return false;
    const std::string_view setting = argument.substr(2);
    const std::string_view name = setting.substr(0, setting.find('='));
    const bool has_value = name.size() != setting.size();
    const std::string_view value = has_value ? setting.substr(name.size() + 1) : std::string_view();
    if (name.empty() || name.find_first_of(" \t") != std::string_view::npos) {
        throw Caldane::SetupError("the option " + std::string(argument) + " is not -Dname or -Dname=value");
    }
    if (name != "properties") {
        options.properties.emplace_back(name, value);
    } else if (value.empty()) {
        throw Caldane::SetupError("the option " + std::string(argument) +
                                  " names no file: -Dproperties=FILE");
    } else {
        options.files.emplace_back(value);
    }
    return true;
}

/// Takes the broker's options out of the arguments; those behind "--" are the application's.
Options take_options(int& argc, char** argv) {
    Options options;
    int kept = std::min(argc, 1);
    int i = kept;
    for (; i < argc && std::string_view(argv[i]) != "--"; ++i) {
        if (!take_option(argv[i], options)) argv[kept++] = argv[i];
    }
    for (; i < argc; ++i) argv[kept++] = argv[i];
    argc = kept;
    argv[argc] = nullptr;
    return options;
}

const Caldane::SettingTable settings(kBrokerSettings);

[[noreturn]] void refuse(std::string_view url, const std::string& reason) {
    throw Caldane::SystemError(_Caldane_SystemException::INV_OBJREF, reason, "string_to_object",
                               std::string(url));
}

void check_authority(std::string_view url, std::string_view authority) {
    const std::size_t colon = authority.find(':');
    const std::string_view host = authority.substr(0, colon);
    if (host.empty()) refuse(url, "the URL has no host");
    if (authority.find('@') != std::string_view::npos)
        refuse(url, "the URL names a user, which is not supported");
    if (host.find_first_of("[]") != std::string_view::npos)
        refuse(url, "the URL's host is no name and no IPv4 address");
    if (colon == std::string_view::npos) return;
    const std::string_view digits = authority.substr(colon + 1);
    unsigned port = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
    if (error != std::errc() || end != digits.data() + digits.size() || port == 0 || port > 65535) {
        refuse(url, "the URL's port is not a number from 1 to 65535");
    }
}

}  // namespace

bool Caldane::init(int& argc, char** argv, const char* usage) {
    if (started) throw SetupError("Caldane::init was called twice");
    const std::string_view only = argc == 2 ? argv[1] : "";
    if (usage != nullptr && (only == "-h" || only == "--help" || only == "-help")) {
        std::fputs(usage, stdout);
        if (only != "-help") return false;
    }
    const Options options = take_options(argc, argv);
    _Caldane_Properties& properties = SOA::getProperties();
    properties.read_environment(environ);
    for (const std::string& file : options.files) {
        const std::string error = properties.read_file(file);
        if (!error.empty()) throw SetupError(error);
    }
    for (const auto& [name, value] : options.properties) properties.set(name, value);
    // A number that is none would go unnoticed until it is needed.
    SettingTable::check(properties);
    SOA::socketResource().limit(caldane_socket_limit());
    if (options.help) {
        runCallbacks(STAGE_USAGE);
        SettingTable::print(stdout);
        return false;
    }
    started = true;
    runCallbacks(STAGE_INIT);
    return true;
}

void Caldane::shutdown() {
    if (!std::exchange(started, false)) return;
    ObjectAdapter::instance().end_servers();
    static_cast<void>(Dispatcher::stop(ObjectAdapter::instance().time_to_end()));
    ObjectAdapter::instance().let_go();
    runCallbacks(STAGE_SHUTDOWN);
}

_Caldane_Object Caldane::string_to_object(std::string_view given) {
    // Schemes count without regard to case (RFC 3986 section 3.1); from here on this one is in lower case.
    std::string url(given);
    const auto colon = url.begin() + static_cast<std::ptrdiff_t>(std::min(url.find(':'), url.size()));
    std::transform(url.begin(), colon, url.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? char(c + 32) : c; });
    const std::size_t scheme = url.starts_with("http://") ? 7 : url.starts_with("https://") ? 8 : 0;
    if (scheme == 0) refuse(given, "an object's URL begins with http:// or https://");
    const auto unfit = [](char c) { return static_cast<unsigned char>(c) <= ' ' || c == 0x7F; };
    if (std::any_of(url.begin(), url.end(), unfit))
        refuse(given, "the URL holds blanks or control characters");
    check_authority(given, std::string_view(url).substr(scheme, url.find('/', scheme) - scheme));
    _IOP_IOR* ior = _IOP_IOR::from_url(_Caldane_String(url));
    if (ior == nullptr) refuse(given, "memory has ended");
    _Caldane_Object object(ior);
    object.setSecurity(static_cast<_Caldane_Boolean>(ior->isSecure()));
    return object;
}

std::string Caldane::object_to_string(const _Caldane_Object& object) {
    return object.url();
}
