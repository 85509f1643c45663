// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// This host's IPv4 address in host byte order: that of the first interface that is up and not the
/// loopback, else what the host's own name stands for, else 127.0.0.1. Asks the system at each call.
[[nodiscard]] std::uint32_t PEL_GetHostID();
