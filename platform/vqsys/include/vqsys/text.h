// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

/// Compares two zero-terminated texts without regard to the case of ASCII letters, whatever the locale:
/// 0 for equal, else the order of the first bytes (as unsigned values, lower case) that differ.
[[nodiscard]] int vqOSstricmp(const char* a, const char* b);

/// Raw memory for temporary texts; null when memory ends.
[[nodiscard]] void* vqOSMalloc(std::size_t size);

/// Gives back what `vqOSMalloc` gave; null is allowed.
void vqOSFree(void* pointer);
