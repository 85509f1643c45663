// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>

/// What a parser throws at the first error of a document: the one thrown object of this library.
///
/// It owns its text, so it may outlive the parser; copying never fails. The parser's `getErrorCode` has the
/// number that goes with the text.
class CXmlPullParserException {
public:
    CXmlPullParserException(const char* text, int at_line, int at_column) noexcept
        : line(at_line), column(at_column) {
        std::snprintf(message, sizeof message, "%s", text);
    }

    char message[96];  ///< zero-terminated
    int line;          ///< of the last character read, from 1
    int column;        ///< of the last character read, from 0
};
