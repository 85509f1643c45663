// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "openssl_handles.h"

/// An X.500 name from text: `KEY=value` pieces in the order of the certificate, parted by "," ";" or "+",
/// where a value may stand in double quotes (a doubled one is one of its own). Null if the text is none.
NameHandle name_from_text(std::string_view text);
