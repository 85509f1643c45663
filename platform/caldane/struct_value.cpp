// SPDX-License-Identifier: MIT
#include <caldane/struct_value.h>

_Caldane_Boolean _Caldane_StructInfo::marshal_members(const void* object,
                                                      _Caldane_Transport_OutStream& out) const {
    for (_Caldane_ULong i = 0; i < count; ++i) {
        if (members[i].access(const_cast<void*>(object))._marshal(out) == _Caldane_FALSE)
            return _Caldane_FALSE;
    }
    return _Caldane_TRUE;
}

_Caldane_Boolean _Caldane_StructInfo::demarshal_members(void* object, _Caldane_Transport_InStream& in) const {
    for (_Caldane_ULong i = 0; i < count; ++i) {
        if (members[i].access(object)._demarshal(in) == _Caldane_FALSE) return _Caldane_FALSE;
    }
    return _Caldane_TRUE;
}
