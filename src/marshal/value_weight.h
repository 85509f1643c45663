// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "transport/broker.h"

/// About as many bytes as a value takes: in memory, or as the text of an element in section 5 encoding,
/// whichever is more. For values that a message declares without bringing them.
std::int64_t weight_of(_Caldane_AnyConstRef value);

/// The same for a row of an array that a message does not bring.
inline constexpr std::int64_t kMissingRow = 256;
