// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

std::string to_base64(const unsigned char* bytes, std::size_t count);

/// False if the text is not base64 (RFC 4648, padding optional).
bool from_base64(std::string_view text, std::vector<unsigned char>& bytes);
