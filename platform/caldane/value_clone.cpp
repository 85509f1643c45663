// SPDX-License-Identifier: MIT
#include <caldane/value_support.h>

_Caldane_AnyRef _Caldane_clone_by_type(const _Caldane_TxType& value) {
    auto& type = const_cast<_Caldane_IDL_BaseType&>(value._get_typeref().type());
    try {
        _Caldane_TxType* const copy = type._new_value();
        if (copy == nullptr) return {};
        if (copy->_convert_from(value) != _Caldane_FALSE) return *copy;
        copy->_release();
    } catch (const std::bad_alloc&) {
        // Told by the null reference.
    }
    return {};
}
