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

_Caldane_AnyConstRef _Caldane_StructValue::member(_Caldane_ULong index) const {
    const Described own = _described();
    return own.info->member_of(const_cast<void*>(own.object), index);
}
_Caldane_String _Caldane_StructValue::repository_id() const {
    return _Caldane_String::constant(_described().info->id);
}
_Caldane_String _Caldane_StructValue::type_name() const {
    return _Caldane_String::constant(_described().info->name);
}
_Caldane_String _Caldane_StructValue::type_namespace() const {
    return _Caldane_String::constant(_described().info->name_space);
}
_Caldane_ULong _Caldane_StructValue::member_count() const {
    return _described().info->count;
}
_Caldane_String _Caldane_StructValue::member_name(_Caldane_ULong index) const {
    return _described().info->name_of(index);
}
_Caldane_Boolean _Caldane_StructValue::demarshal_member(_Caldane_ULong index,
                                                        _Caldane_Transport_InStream& in) {
    const Described own = _described();
    return own.info->demarshal_member(const_cast<void*>(own.object), index, in);
}

_Caldane_Boolean _Caldane_StructValue::_marshal(_Caldane_Transport_OutStream& out) const {
    const Described own = _described();
    return own.info->marshal_members(own.object, out);
}
_Caldane_Boolean _Caldane_StructValue::_demarshal(_Caldane_Transport_InStream& in) {
    const Described own = _described();
    return own.info->demarshal_members(const_cast<void*>(own.object), in);
}
_Caldane_AnyRef _Caldane_StructValue::_clone() const {
    return _Caldane_clone_by_type(*this);
}
