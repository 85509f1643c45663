// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <string_view>

/// Whether help is asked for, and nothing else.
inline bool wants_help(int argc, char** argv) {
    const std::string_view word = argc == 2 ? argv[1] : "";
    return word == "--help" || word == "-h";
}

/// Takes a flag out of the arguments of a program, wherever it stands ahead of a URL; true if it was there.
inline bool take_flag(int& argc, char** argv, std::string_view flag) {
    for (int i = 1; i < argc; ++i) {
        const std::string_view word = argv[i];
        if (word.find("://") != std::string_view::npos) return false;
        if (word != flag) continue;
        std::copy(argv + i + 1, argv + argc + 1, argv + i);
        --argc;
        return true;
    }
    return false;
}
