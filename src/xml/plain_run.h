// SPDX-License-Identifier: MIT
#pragma once

#include "xml/character_classes.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

/// Where the first byte of a class stands in `text`, or its end.
inline int run_length(const char* text, int length, xml_characters::Class stop) {
    using namespace xml_characters;
    int at = 0;
#if defined(__SSE2__)
    // Sixteen bytes at a time, up to the first that may be of the class: a line end, < or & in text, these
    // with their neighbours and quotes in a value, and where bytes are not text as they stand, whatever is
    // beyond ASCII.
    const bool in_value = stop == VALUE_STOP || stop == UTF8_VALUE_STOP;
    const __m128i low = _mm_set1_epi8(stop == TEXT_STOP || stop == VALUE_STOP ? 1 : -128);
    for (; length - at >= 16; at += 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + at));
        const auto is = [bytes](char c) { return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(c)); };
        __m128i found = _mm_or_si128(_mm_or_si128(is('\n'), is('\r')), _mm_cmplt_epi8(bytes, low));
        if (in_value) {
            const __m128i brackets = _mm_or_si128(bytes, _mm_set1_epi8(3));  // < = > and ?
            const __m128i quotes = _mm_or_si128(_mm_or_si128(is('"'), is('\'')), is('&'));
            found = _mm_or_si128(found, _mm_or_si128(quotes, _mm_cmpeq_epi8(brackets, _mm_set1_epi8('?'))));
        } else {
            found = _mm_or_si128(found, _mm_or_si128(is('<'), is('&')));
        }
        if (const int places = _mm_movemask_epi8(found); places != 0) {
            at += __builtin_ctz(static_cast<unsigned>(places));
            break;
        }
    }
#endif
    while (at < length && !is_class(text[at], stop)) ++at;
    return at;
}
