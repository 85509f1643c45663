// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

class _SOAP_OutStream;

/// Writes bytes as base64 (RFC 2045 6.8) to an out-stream, in one line however long.
///
/// Lives on the stack of its user; `finish` must come after the last byte, or its last group is lost.
class CBase64Writer {
public:
    /// `out` stays the caller's and must have a body open.
    explicit CBase64Writer(_SOAP_OutStream* out) : target(out) {}

    void put(unsigned char byte);

    /// The same for `length` bytes.
    void put(const unsigned char* data, std::size_t length);

    /// Writes the bits that wait and the "=" that fill the last group up.
    void finish();

private:
    std::size_t put_groups(const unsigned char* data, std::size_t length);

    _SOAP_OutStream* target;
    int phase = 0;
    int pending = 0;
};

/// The most bytes that `base64_decode` gives for a text of `length` characters.
constexpr std::size_t base64_room(std::size_t length) {
    return (length + 3) / 4 * 3;
}

/// Decodes `length` characters of `text` into `out`, which has `base64_room(length)` bytes, and gives the
/// number of bytes. Characters outside the alphabet are left out, and so is a last group of fewer than four.
/// A null `out` gives 0. `out` may be `text` itself.
std::size_t base64_decode(const char* text, std::size_t length, unsigned char* out);
