// SPDX-License-Identifier: MIT
#pragma once

/// Seconds after which a server connection that makes no progress is closed: the property
/// `SOAP_READ_TIMEOUT`, 30 by default, 0 for none.
double read_timeout();

/// A whole request must be in within this many times that.
inline constexpr double kWholeRequestFactor = 10;
