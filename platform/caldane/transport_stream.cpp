// SPDX-License-Identifier: MIT
#include <caldane/transport_stream.h>

#include "dynamic_array.h"

_Caldane_Transport_OutStream::~_Caldane_Transport_OutStream() = default;
_Caldane_Transport_InStream::~_Caldane_Transport_InStream() = default;

void* _Caldane_Transport_OutStream::_safe_cast(const void*) {
    return nullptr;
}
void* _Caldane_Transport_InStream::_safe_cast(const void*) {
    return nullptr;
}

namespace {

class StandardMapping final : public _Caldane_Mapping {};

constinit const StandardMapping kStandard;

}  // namespace

_Caldane_IDL_BaseType* _Caldane_Mapping::type_for_kind(_Caldane_TypeRef::_ENUM_TCKind kind) const {
    switch (kind) {
        case _Caldane_TypeRef::tk_array:
            return new _Caldane_IDL_ArrayType;
        case _Caldane_TypeRef::tk_short:
        case _Caldane_TypeRef::tk_long:
        case _Caldane_TypeRef::tk_ushort:
        case _Caldane_TypeRef::tk_ulong:
        case _Caldane_TypeRef::tk_float:
        case _Caldane_TypeRef::tk_double:
        case _Caldane_TypeRef::tk_boolean:
        case _Caldane_TypeRef::tk_char:
        case _Caldane_TypeRef::tk_octet:
        case _Caldane_TypeRef::tk_any:
        case _Caldane_TypeRef::tk_TypeCode:
        case _Caldane_TypeRef::tk_string:
            return const_cast<_Caldane_IDL_BaseType*>(&_Caldane_TypeRef::_of_kind(kind).type());
        default:
            return nullptr;
    }
}

const _Caldane_Mapping& _Caldane_Mapping::standard() {
    return kStandard;
}
