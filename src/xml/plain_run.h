// SPDX-License-Identifier: MIT
#pragma once

#include "xml/character_classes.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

/// Where the first byte of a class stands in `text`, or its end.
inline int run_length(const char* text, int length, xml_characters::Class stop) {
    int at = 0;
#if defined(__SSE2__)
    // Long character data goes sixteen bytes at a time: what stops it is a line end, < or &, and where bytes
    // are not text as they stand, whatever is beyond ASCII, and zero.
    if (stop == xml_characters::TEXT_STOP || stop == xml_characters::UTF8_TEXT_STOP) {
        const __m128i beyond_ascii_too = _mm_set1_epi8(stop == xml_characters::TEXT_STOP ? -1 : 0);
        const __m128i line_feed = _mm_set1_epi8('\n');
        const __m128i carriage_return = _mm_set1_epi8('\r');
        const __m128i less = _mm_set1_epi8('<');
        const __m128i ampersand = _mm_set1_epi8('&');
        const __m128i one = _mm_set1_epi8(1);
        for (; length - at >= 16; at += 16) {
            const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + at));
            const __m128i lines =
                _mm_or_si128(_mm_cmpeq_epi8(bytes, line_feed), _mm_cmpeq_epi8(bytes, carriage_return));
            const __m128i marks = _mm_or_si128(_mm_cmpeq_epi8(bytes, less), _mm_cmpeq_epi8(bytes, ampersand));
            const __m128i odd = _mm_and_si128(_mm_cmplt_epi8(bytes, one), beyond_ascii_too);
            const int stops = _mm_movemask_epi8(_mm_or_si128(_mm_or_si128(lines, marks), odd));
            if (stops != 0) return at + __builtin_ctz(static_cast<unsigned>(stops));
        }
    }
#endif
    while (at < length && !is_class(text[at], stop)) ++at;
    return at;
}
