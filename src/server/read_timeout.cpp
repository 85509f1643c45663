// SPDX-License-Identifier: MIT
#include "server/read_timeout.h"

#include <cstdlib>

#include "transport/broker.h"

double read_timeout() {
    constexpr double kDefault = 30;
    const char* const text = SOA::getProperties().get("SOAP_READ_TIMEOUT");
    if (text == nullptr) return kDefault;
    char* end = nullptr;
    const double seconds = std::strtod(text, &end);
    return end == text || !(seconds >= 0) ? kDefault : seconds;
}
