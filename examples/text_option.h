// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include <caldane/caldane.h>

/// How the examples treat text: as UTF-8, by the property SOAP_UTF8_TEXT, unless the first word of the
/// command line is `--latin1`, which is taken out. Call it after `Caldane::init`.
inline void choose_text(int& argc, char** argv) {
    if (argc > 1 && std::string_view(argv[1]) == "--latin1") {
        for (int i = 1; i < argc; ++i) argv[i] = argv[i + 1];
        --argc;
        return;
    }
    SOA::getProperties().set("SOAP_UTF8_TEXT", "");
}

constexpr char kTextOptionHelp[] =
    "Text is UTF-8 on both sides (the property SOAP_UTF8_TEXT); with --latin1 as the first word it is one\n"
    "byte a character, and nothing is checked.\n";
