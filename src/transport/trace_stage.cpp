// SPDX-License-Identifier: MIT
#include "transport/trace_stage.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "settings/settings.h"
#include "streams/wire_trace.h"

void soap_trace_stage(Caldane::Stage stage) {
    const char* path = nullptr;
    switch (stage) {
        case Caldane::STAGE_INIT:
        case Caldane::STAGE_REOPEN:
            path = setting("SOAP_TRACE").text();
            break;
        case Caldane::STAGE_SHUTDOWN:
            break;
        default:
            return;
    }
    if (wire_trace::open(path)) return;
    std::fprintf(stderr, "SOAP_TRACE: cannot write to %s: %s; there is no trace\n", path,
                 std::strerror(errno));
}
