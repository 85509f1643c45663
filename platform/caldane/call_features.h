// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>

#include <pelthread/memory.h>

#include <caldane/call_info.h>

/// Everything that can be attached to a call, in one block that copies of the call's information share.
struct _Caldane_CallInfo::Features {
    PEL_HEAP_OBJECT
    std::atomic<std::int32_t> references{1};
    _Caldane_CallException exception;
    _Caldane_PerformanceMetric metric;
    _Caldane_CallDuration duration;
    _Caldane_CallDiagnostics diagnostics;
};
