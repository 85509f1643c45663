// SPDX-License-Identifier: MIT
#pragma once

#include "streams/buffered_streams.h"

/// A growing buffer of raw document text: what multi-references may lead to is gathered in it.
///
/// Like `CBufferedOutputStream` without a sink, but for the status: -102, the parser's code for memory, when
/// the first block could not be had.
class CXmlSubtreeWriter final : public COutputStream {
public:
    PEL_HEAP_OBJECT

    int write(const char* data, int length) override { return content.write(data, length); }
    int put(char c) override { return content.put(c); }
    void flush() override { content.flush(); }
    void close() override { flush(); }
    int status() override { return content.status() == 0 ? 0 : -102; }

    int length() const { return content.length(); }
    /// Terminated, without counting the terminator; null when there was no memory for it.
    char* text() { return content.text(); }

private:
    CBufferedOutputStream content;
};
