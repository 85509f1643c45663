// SPDX-License-Identifier: MIT
#pragma once

#include <caldane/any_ref.h>
#include <caldane/representation.h>
#include <caldane/type_ref.h>

/// The primitive kinds as they lie in memory.
class _Caldane_Primitive1 {
public:
    /// The representation of a primitive kind; of any other kind one that no value has.
    static const _Caldane_Representation& _prim_rep(_Caldane_TypeRef::_ENUM_TCKind kind);

    /// The address of the primitive, null if the value is not of that kind.
    static void* _down_cast_prim(_Caldane_AnyRef value, _Caldane_TypeRef::_ENUM_TCKind kind);
};
