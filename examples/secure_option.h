// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <string_view>

/// What a server's usage text says of the option below.
inline constexpr char kSecureOptionHelp[] =
    "--secure serves over HTTPS, with the certificate that ZOLT_SSL_USR or ZOLT_SSL_EXACT_USR names.\n";

/// Takes `--secure` out of a program's arguments, if it comes first; true if it did. To be called after
/// `Caldane::init` and behind other options of that kind.
inline bool choose_secure(int& argc, char** argv) {
    if (argc < 2 || std::string_view(argv[1]) != "--secure") return false;
    std::copy(argv + 2, argv + argc + 1, argv + 1);
    --argc;
    return true;
}
