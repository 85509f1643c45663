// SPDX-License-Identifier: MIT
#include "xml/utf8_text.h"

#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

unsigned unsigned_byte(char c) {
    return static_cast<unsigned char>(c);
}

#if defined(__SSE2__)
__m128i load_sixteen(const char* text) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
}

/// True if sixteen bytes are ASCII that XML allows.
bool sixteen_are_plain(const char* text) {
    const __m128i bytes = load_sixteen(text);
    // Signed, so that what is beyond ASCII is below the blank as well.
    const __m128i low = _mm_cmplt_epi8(bytes, _mm_set1_epi8(' '));
    if (_mm_movemask_epi8(low) == 0) return true;
    const __m128i lines =
        _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('\n')), _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\r')));
    const __m128i blanks = _mm_or_si128(lines, _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\t')));
    return _mm_movemask_epi8(_mm_andnot_si128(blanks, low)) == 0;
}
#endif

struct Sequence {
    int length;      ///< 0 for a byte that begins none
    unsigned bits;   ///< of the first byte
    unsigned least;  ///< below it the form is overlong
};

Sequence sequence_of(unsigned first) {
    if ((first & 0xE0) == 0xC0) return {2, first & 0x1F, 0x80};
    if ((first & 0xF0) == 0xE0) return {3, first & 0x0F, 0x800};
    if ((first & 0xF8) == 0xF0) return {4, first & 0x07, 0x10000};
    return {0, 0, 0};
}

/// Checks the character beyond ASCII at `text`; gives its length, 0 with a fault.
std::size_t check_sequence(const char* text, std::size_t room, TextFault& fault) {
    const Sequence sequence = sequence_of(unsigned_byte(text[0]));
    fault = TextFault::malformed;
    if (sequence.length == 0) return 0;
    const auto length = static_cast<std::size_t>(sequence.length);
    unsigned code = sequence.bits;
    for (std::size_t i = 1; i < length; ++i) {
        if (i == room) {
            // A beginning that no continuation makes valid need not be waited for.
            const unsigned last = code << (6 * (length - i)) | ((1u << (6 * (length - i))) - 1);
            const bool surrogate = length == 3 && i == 2 && code >= 0x360 && code <= 0x37F;
            const unsigned lowest = code << (6 * (length - i));
            if (last >= sequence.least && lowest <= 0x10FFFF && !surrogate) fault = TextFault::cut;
            return 0;
        }
        const unsigned byte = unsigned_byte(text[i]);
        if ((byte & 0xC0) != 0x80) return 0;
        code = code << 6 | (byte & 0x3F);
    }
    if (code < sequence.least || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return 0;
    fault = is_xml_character(code) ? TextFault::none : TextFault::forbidden;
    return fault == TextFault::none ? length : 0;
}

}  // namespace

TextCheck check_utf8(const char* text, std::size_t length) {
    std::size_t at = 0;
    bool ascii = true;
    for (;;) {
#if defined(__SSE2__)
        while (length - at >= 16 && sixteen_are_plain(text + at)) at += 16;
#endif
        for (std::size_t stop = at + 16; at < length && at < stop;) {
            const unsigned byte = unsigned_byte(text[at]);
            if (byte < 0x80) {
                if (!is_xml_character(byte)) return {at, TextFault::forbidden, ascii};
                ++at;
                continue;
            }
            TextFault fault = TextFault::none;
            const std::size_t taken = check_sequence(text + at, length - at, fault);
            if (taken == 0) return {at, fault, ascii};
            ascii = false;
            at += taken;
        }
        if (at == length) return {at, TextFault::none, ascii};
    }
}

Utf8Character first_character(const char* text) {
    const unsigned first = unsigned_byte(text[0]);
    if (first < 0x80) return {first, 1};
    const Sequence sequence = sequence_of(first);
    unsigned code = sequence.bits;
    for (int i = 1; i < sequence.length; ++i) code = code << 6 | (unsigned_byte(text[i]) & 0x3F);
    return {code, static_cast<std::size_t>(sequence.length)};
}

std::size_t put_utf8(unsigned c, char* to) {
    const auto continuation = [c](int shift) { return static_cast<char>(0x80 | ((c >> shift) & 0x3F)); };
    if (c < 0x80) {
        to[0] = static_cast<char>(c);
        return 1;
    }
    if (c < 0x800) {
        to[0] = static_cast<char>(0xC0 | (c >> 6));
        to[1] = continuation(0);
        return 2;
    }
    if (c < 0x10000) {
        to[0] = static_cast<char>(0xE0 | (c >> 12));
        to[1] = continuation(6);
        to[2] = continuation(0);
        return 3;
    }
    to[0] = static_cast<char>(0xF0 | (c >> 18));
    to[1] = continuation(12);
    to[2] = continuation(6);
    to[3] = continuation(0);
    return 4;
}

int continuation_bytes(const char* text, int length) {
    int count = 0;
    int at = 0;
#if defined(__SSE2__)
    const __m128i first_lead = _mm_set1_epi8(static_cast<char>(0xC0));
    for (; length - at >= 16; at += 16) {
        const __m128i continuing = _mm_cmplt_epi8(load_sixteen(text + at), first_lead);
        if (_mm_movemask_epi8(continuing) == 0) continue;
        const __m128i sums = _mm_sad_epu8(_mm_and_si128(continuing, _mm_set1_epi8(1)), _mm_setzero_si128());
        count += _mm_cvtsi128_si32(sums) + _mm_cvtsi128_si32(_mm_srli_si128(sums, 8));
    }
#endif
    for (; at < length; ++at) count += (unsigned_byte(text[at]) & 0xC0) == 0x80 ? 1 : 0;
    return count;
}
