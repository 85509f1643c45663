// SPDX-License-Identifier: MIT
#include "dynamic_array.h"

#include <new>

#include <caldane/transport_stream.h>

namespace {

/// How many array types of this thread are reading their parameters, one inside the other.
thread_local int nesting = 0;

struct NestingGuard {
    NestingGuard() { ++nesting; }
    ~NestingGuard() { --nesting; }
    NestingGuard(const NestingGuard&) = delete;
    NestingGuard& operator=(const NestingGuard&) = delete;
};

}  // namespace

_Caldane_Boolean _Caldane_IDL_ArrayType::demarshal_parameters(_Caldane_Transport_InStream& in) {
    const NestingGuard guard;
    if (nesting > kMaxNesting) return _Caldane_FALSE;
    if (in.demarshal(length_) == _Caldane_FALSE) return _Caldane_FALSE;
    return in.demarshal(element_type_);
}

_Caldane_TxType* _Caldane_IDL_ArrayType::_new_value() {
    return new _Caldane_DynamicArray(*this);
}

void _Caldane_IDL_ArrayType::_add_ref() {
    references_.fetch_add(1, std::memory_order_relaxed);
}

void _Caldane_IDL_ArrayType::_release() {
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

_Caldane_AnyConstRef _Caldane_DynamicArray::element(_Caldane_ULong index) const {
    if (index >= length()) return {};
    try {
        while (elements_.size() <= index) {
            if (!elements_.emplace_back().make(element_type())) {
                elements_.pop_back();
                return {};
            }
        }
    } catch (const std::bad_alloc&) {
        return {};
    }
    return elements_[index].value();
}

_Caldane_Boolean _Caldane_DynamicArray::_marshal(_Caldane_Transport_OutStream& out) const {
    for (_Caldane_ULong i = 0; i < length(); ++i) {
        const _Caldane_AnyConstRef item = element(i);
        if (item.is_null() || item._marshal(out) == _Caldane_FALSE) return _Caldane_FALSE;
    }
    return _Caldane_TRUE;
}

_Caldane_Boolean _Caldane_DynamicArray::_demarshal(_Caldane_Transport_InStream& in) {
    for (_Caldane_ULong i = 0; i < length(); ++i) {
        const _Caldane_AnyConstRef item = element(i);
        if (item.is_null() || item.cast_away_constness()._demarshal(in) == _Caldane_FALSE)
            return _Caldane_FALSE;
    }
    return _Caldane_TRUE;
}
