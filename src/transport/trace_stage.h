// SPDX-License-Identifier: MIT
#pragma once

#include "transport/broker.h"

/// Opens the trace that the property SOAP_TRACE names when the process starts, and ends it with the process.
/// A file that cannot be opened is told on standard error, and there is no trace then.
void soap_trace_stage(Caldane::Stage stage);
