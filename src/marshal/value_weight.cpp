// SPDX-License-Identifier: MIT
#include "marshal/value_weight.h"

#include "marshal/in_views.h"

namespace {

constexpr std::int64_t kSimple = 64;  ///< an element with its type and a short text
constexpr std::int64_t kNamed = 128;  ///< one with a type that has a name, and its object
constexpr std::int64_t kList = 128;   ///< one with the type of an array

std::int64_t names(const _Caldane_String& element, const _Caldane_String& type_namespace) {
    return static_cast<std::int64_t>(2 * element.length() + type_namespace.length());
}

}  // namespace

std::int64_t weight_of(_Caldane_AnyConstRef value) {
    std::int64_t weight = 0;
    switch (value._get_typeref().kind()) {
        case _Caldane_TypeRef::tk_struct: {
            const auto* view = _Caldane_AddressableStruct::_down_cast_const(value);
            weight = kNamed + names(view->type_name(), view->type_namespace());
            for (_Caldane_ULong i = 0; i < view->member_count(); ++i)
                weight += names(view->member_name(i), {}) + weight_of(view->member(i));
            return weight;
        }
        case _Caldane_TypeRef::tk_union: {
            const auto* view = _Caldane_AddressableUnion::_down_cast_const(value);
            weight = kNamed + names(view->type_name(), view->type_namespace()) + kSimple;
            if (view->active_member().is_null()) return weight;
            return weight + names(view->member_name(view->active_index()), {}) +
                   weight_of(view->active_member());
        }
        case _Caldane_TypeRef::tk_array: {
            const auto* view = _Caldane_AddressableArray::_down_cast_const(value);
            return kList + (view->length() == 0 ? 0 : view->length() * weight_of(view->element(0)));
        }
        case _Caldane_TypeRef::tk_sequence:
        case _Caldane_TypeRef::tk_objref:
            return kList;
        default:
            return kSimple;
    }
}
