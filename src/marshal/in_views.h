// SPDX-License-Identifier: MIT
#pragma once

#include <cassert>
#include <cstdint>

#include "transport/broker.h"
#include "vqsys/text.h"

/// The view of a value whose kind says that it has one.
template <class View>
View& view_of(_Caldane_TxType& value) {
    View* view = View::_down_cast(_Caldane_AnyRef(value));
    assert(view != nullptr && "aval");
    return *view;
}

/// The member of an enumeration with this name, ignoring case; -1 if there is none.
inline _Caldane_Long enum_index(const _Caldane_IDL_EnumType& type, const char* name) {
    auto index = static_cast<_Caldane_Long>(type.member_count());
    while (--index >= 0) {
        if (vqOSstricmp(type.member_name(static_cast<_Caldane_ULong>(index)).c_str(), name) == 0) break;
    }
    return index;
}
