// SPDX-License-Identifier: MIT
#include "addressing/secure_options.h"

#include <cstdlib>
#include <string_view>

#include "transport/broker.h"

namespace {

constexpr double kHandshakeSeconds = 10;

std::int32_t number_property(const char* name, std::int32_t otherwise) {
    const char* const text = SOA::getProperties().get(name);
    return text != nullptr ? std::atoi(text) : otherwise;
}

bool is_off(std::string_view text) {
    return text == "off" || text == "0";
}

}  // namespace

double seconds_property(const char* name, double otherwise) {
    const char* const text = SOA::getProperties().get(name);
    if (text == nullptr) return otherwise;
    char* end = nullptr;
    const double seconds = std::strtod(text, &end);
    return end == text || !(seconds >= 0) ? otherwise : seconds;
}

SecureOptions SecureOptions::current() {
    SecureOptions options;
    options.protocol = number_property("ZOLT_SSL_PROTO", options.protocol);
    options.vendor = number_property("ZOLT_SSL_VENDOR", options.vendor);
    options.subject = SOA::getProperties().get("ZOLT_SSL_EXACT_USR");
    options.exact = options.subject != nullptr ? 1 : 0;
    if (options.exact == 0) options.subject = SOA::getProperties().get("ZOLT_SSL_USR");
    const char* const resumption = SOA::getProperties().get("SOAP_TLS_RESUMPTION");
    options.resumes = resumption == nullptr || !is_off(resumption);
    options.weak_ciphers = SOA::getProperties().get("SOAP_TLS_WEAK_CIPHERS") != nullptr;
    options.handshake_seconds = seconds_property("SOAP_HANDSHAKE_TIMEOUT", kHandshakeSeconds);
    return options;
}
