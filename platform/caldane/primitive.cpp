// SPDX-License-Identifier: MIT
#include <caldane/primitive.h>

namespace {

using Kind = _Caldane_TypeRef::_ENUM_TCKind;

constinit const _Caldane_Representation kNone("none");

// In the order of the kinds, from short to octet.
constinit const _Caldane_Representation kPrimitives[] = {
    _Caldane_Representation("short"),   _Caldane_Representation("long"),  _Caldane_Representation("ushort"),
    _Caldane_Representation("ulong"),   _Caldane_Representation("float"), _Caldane_Representation("double"),
    _Caldane_Representation("boolean"), _Caldane_Representation("char"),  _Caldane_Representation("octet"),
};

}  // namespace

const _Caldane_Representation& _Caldane_Primitive1::_prim_rep(Kind kind) {
    if (kind < _Caldane_TypeRef::tk_short || kind > _Caldane_TypeRef::tk_octet) return kNone;
    return kPrimitives[kind - _Caldane_TypeRef::tk_short];
}

void* _Caldane_Primitive1::_down_cast_prim(_Caldane_AnyRef value, Kind kind) {
    return value._tx_type() == nullptr ? value._safe_cast(_prim_rep(kind)) : nullptr;
}
