// SPDX-License-Identifier: MIT
#pragma once

#include <iostream>
#include <string>
#include <string_view>

#include <caldane/caldane.h>

#include "flag.h"
#include "text_option.h"

/// For a server without a word about its certificate: one that stands for the machine itself.
inline void choose_certificate() {
    _Caldane_Properties& properties = SOA::getProperties();
    if (properties.get("ZOLT_SSL_USR") == nullptr && properties.get("ZOLT_SSL_EXACT_USR") == nullptr)
        properties.set("ZOLT_SSL_USR", "localhost");
}

/// The `main` of a server of the examples: `NAME [-Dname=value]... [--latin1] [--secure] --listen HOST:PORT`.
/// `serve(address, secure)` publishes and runs until the end; `usage` says what the program is for.
template <class Serve>
int server_main(int argc, char** argv, const char* name, const char* usage, Serve serve) {
    constexpr char kSecureHelp[] =
        "--secure serves over HTTPS, with the certificate that ZOLT_SSL_USR or ZOLT_SSL_EXACT_USR names, "
        "else with\n"
        "one for localhost.\n";
    try {
        if (wants_help(argc, argv) || !Caldane::init(argc, argv)) {
            std::cout << usage << kTextOptionHelp << kSecureHelp;
            return 0;
        }
        choose_text(argc, argv);
        const bool secure = take_flag(argc, argv, "--secure");
        if (secure) choose_certificate();
        if (argc != 3 || std::string_view(argv[1]) != "--listen") {
            std::cerr << name << ": --listen HOST:PORT is wanted, and nothing else\n"
                      << usage << kTextOptionHelp << kSecureHelp;
            return 64;
        }
        serve(std::string(argv[2]), secure);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << name << ": " << error.what() << '\n';
        return 1;
    }
}
