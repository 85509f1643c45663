// SPDX-License-Identifier: MIT
#pragma once

#include "transport/broker.h"

/// Opens the trace that the property SOAP_TRACE names when the process starts, opens it anew where files are
/// to be (STAGE_REOPEN), and ends it with the process; other stages leave it alone. A file that cannot be
/// opened is told on standard error, and there is no trace then.
void soap_trace_stage(Caldane::Stage stage);
