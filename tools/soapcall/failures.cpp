// SPDX-License-Identifier: MIT
#include "failures.h"

#include <iostream>

void tell(const std::string& line) {
    std::string shown = line;
    for (std::size_t i = 0; i < shown.size(); ++i) {
        const auto code = static_cast<unsigned char>(shown[i]);
        const auto next = i + 1 < shown.size() ? static_cast<unsigned char>(shown[i + 1]) : 0;
        // The control characters beyond 127 are two bytes of UTF-8, of which the second is below A0.
        if (code < 0x20 || code == 0x7F || (code == 0xC2 && next >= 0x80 && next < 0xA0)) shown[i] = '.';
    }
    std::cerr << "soapcall: " << shown << '\n';
}
