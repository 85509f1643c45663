// SPDX-License-Identifier: MIT
#pragma once

#include "transport/broker.h"

/// Prints the transport's options on standard output at STAGE_USAGE.
void soap_usage_stage(Caldane::Stage stage);
