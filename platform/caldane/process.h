// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// The limit of `SOA::socketResource` as properties and system have it now.
std::int64_t caldane_socket_limit();
