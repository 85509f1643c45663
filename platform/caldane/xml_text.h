// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// `text` made safe inside XML character data: markup escaped, control characters left out, what is not UTF-8
/// replaced by "?". No more than `limit` bytes of it are taken, and "..." stands for the rest.
std::string xml_safe(std::string_view text, std::size_t limit = std::string_view::npos);
