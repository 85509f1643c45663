// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

/// What `CXmlPullParser` throws for input that is not the XML it reads: the message, and the position of the
/// last character read. Copied by value.
class CXmlPullParserException {
public:
    CXmlPullParserException(const char* text, int at_line, int at_column)
        : line_(at_line), column_(at_column) {
        std::size_t i = 0;
        for (; i + 1 < sizeof message_ && text[i] != '\0'; ++i) message_[i] = text[i];
        message_[i] = '\0';
    }

    const char* message() const { return message_; }
    int line() const { return line_; }
    int column() const { return column_; }

private:
    char message_[96];
    int line_;
    int column_;
};
