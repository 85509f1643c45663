// SPDX-License-Identifier: MIT
#pragma once

#include <caldane/caldane.h>

#include "flag.h"

/// How the examples treat text: as UTF-8, by the property SOAP_UTF8_TEXT, unless the arguments hold the flag
/// `--latin1`, which is taken out. Call it after `Caldane::init`.
inline void choose_text(int& argc, char** argv) {
    if (!take_flag(argc, argv, "--latin1")) SOA::getProperties().set("SOAP_UTF8_TEXT", "");
}

constexpr char kTextOptionHelp[] =
    "Text is UTF-8 on both sides (the property SOAP_UTF8_TEXT); with --latin1 it is one byte a character,\n"
    "and nothing is checked.\n";
