// SPDX-License-Identifier: MIT
#include "transport/trace_stage.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "streams/wire_trace.h"

void soap_trace_stage(Caldane::Stage stage) {
    if (stage == Caldane::STAGE_USAGE) return;
    const char* const path = stage == Caldane::STAGE_INIT ? SOA::getProperties().get("SOAP_TRACE") : nullptr;
    if (wire_trace::open(path)) return;
    std::fprintf(stderr, "SOAP_TRACE: cannot write to %s: %s; there is no trace\n", path,
                 std::strerror(errno));
}
