// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>

#include "xml/utf8_text.h"

class CInputStream;

/// Gives a document as UTF-8 made of XML's characters, whatever its encoding is: UTF-8 is checked, UTF-16
/// with its surrogate pairs and ISO-8859-1 are converted. Blocks end where characters end.
///
/// The stream is borrowed. What precedes a fault is given first, so that the fault shows in its place.
class Utf8Input {
public:
    PEL_HEAP_OBJECT

    enum class Source { utf8, utf16_little_endian, utf16_big_endian, latin1 };

    static constexpr int kBlockSize = 512;

    Utf8Input(CInputStream* input, Source encoding) : stream(input), source(encoding) {}

    /// The encoding of that name, which is compared without regard to case; false if it is none of these.
    static bool find(const char* name, Source& found);

    /// Bytes of the document that were taken from the stream already, `kBlockSize` at most.
    void put_back(const char* bytes, int count);

    /// At most `kBlockSize` bytes into `destination`, which has room for so many; 0 or -1 at the end of the
    /// document and at a fault.
    int read(char* destination);

    /// True if what `read` gave last is ASCII.
    bool ascii() const { return ascii_; }

    /// `none`, `malformed` or `forbidden`: what ended the document, once `read` gave nothing more.
    TextFault fault() const { return fault_; }

private:
    int read_utf8(char* destination);
    int read_converted(char* destination);
    int convert(char* destination);
    int character_at(int at, unsigned& code);

    CInputStream* stream;
    Source source;
    TextFault fault_ = TextFault::none;
    bool ascii_ = true;
    int held = 0;          ///< bytes in `raw`
    char raw[kBlockSize];  ///< not converted yet; of UTF-8 only the begin of a character
};
