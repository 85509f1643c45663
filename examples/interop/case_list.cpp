// SPDX-License-Identifier: MIT
#include "case_list.h"

bool Case::is(std::string_view wanted) const {
    const std::string_view own(name);
    return own == wanted || own.substr(0, own.find('.')) == wanted;
}

std::vector<Sample<_Caldane_String>> text_samples(bool utf8) {
    std::vector<Sample<_Caldane_String>> samples = {
        {"ordinary", "Hello, world"},
        {"empty", ""},
        {"markup", "<a href=\"x\">'&amp;'</a> ]]> <!-- & -->"},
        {"blanks", "  two before, one\ttab, one behind "},
        {"lines", "one\ntwo\n\nfour\n"},
        {"long", std::string(100'000, 'x') + "<" + std::string(5000, '&')},
        {"numbers", "0123456789 -1 +1 1e5 NaN"},
    };
    if (utf8) {
        samples.push_back({"accents", "\u00e4\u00f6\u00fc \u00df \u00e9"});
        samples.push_back({"scripts", "\u4f60\u597d \u043f\u0440\u0438\u0432\u0435\u0442 \u263a \u20ac"});
        samples.push_back({"beyond_the_first_plane", "\U0001d11e \U0001f600 \U0010fffd"});
    }
    return samples;
}
