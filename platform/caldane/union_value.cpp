// SPDX-License-Identifier: MIT
#include <caldane/union_value.h>

_Caldane_ULong _Caldane_UnionInfo::select(_Caldane_Long discriminator) const {
    for (std::size_t i = 0; i < case_count; ++i) {
        if (cases[i].label == discriminator) return cases[i].member;
    }
    return default_member == kNoDefault ? count : default_member;
}

_Caldane_Long _Caldane_UnionInfo::label_of(_Caldane_ULong member) const {
    for (std::size_t i = 0; i < case_count; ++i) {
        if (cases[i].member == member) return cases[i].label;
    }
    // Of the default member: the smallest number that no case has.
    _Caldane_Long free_label = 0;
    for (std::size_t i = 0; i < case_count; ++i) {
        if (cases[i].label == free_label) {
            ++free_label;
            i = static_cast<std::size_t>(-1);
        }
    }
    return free_label;
}
