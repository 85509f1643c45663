// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// A truth value of 32 bits: what the broker's operations answer with, and IDL's `boolean`.
/// Any value but 0 is true.
enum _Caldane_Boolean : std::int32_t { _Caldane_FALSE = 0, _Caldane_TRUE = 1 };

// IDL's integers, the same width on every machine.
using _Caldane_Short = std::int16_t;
using _Caldane_UShort = std::uint16_t;
using _Caldane_Long = std::int32_t;
using _Caldane_ULong = std::uint32_t;
using _Caldane_Octet = unsigned char;
