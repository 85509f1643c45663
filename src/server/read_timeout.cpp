// SPDX-License-Identifier: MIT
#include "server/read_timeout.h"

#include "addressing/secure_options.h"

double read_timeout() {
    constexpr double kDefault = 30;
    return seconds_property("SOAP_READ_TIMEOUT", kDefault);
}
