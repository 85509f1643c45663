// SPDX-License-Identifier: MIT
#include <caldane/context.h>

#include <algorithm>

#include <caldane/primitive.h>
#include <caldane/soa.h>
#include <caldane/tx_type.h>
#include <caldane/type_ref.h>
#include <caldane/value_support.h>

#include "broker_settings.h"

namespace {

bool matches(std::string_view name, std::string_view pattern) {
    if (pattern.empty() || pattern.back() != '*') return name == pattern;
    return name.starts_with(pattern.substr(0, pattern.size() - 1));
}

/// The value that a primitive of type `T` holds, into `own`; false if `value` is no such primitive.
template <class T>
bool take(_Caldane_AnyRef value, T& own) {
    void* address = _Caldane_Primitive1::_down_cast_prim(value, value._get_typeref().kind());
    if (address == nullptr) return false;
    own = *static_cast<const T*>(address);
    return true;
}

}  // namespace

_Caldane_NamedValue::_Caldane_NamedValue(const _Caldane_String& value_name, _Caldane_AnyConstRef original)
    : name_(value_name), value_(copy_of(original.cast_away_constness())) {}

_Caldane_NamedValue::~_Caldane_NamedValue() {
    if (object != nullptr) object->_release();
}

_Caldane_AnyRef _Caldane_NamedValue::copy_of(_Caldane_AnyRef original) {
    const auto copy = [original](auto& own) {
        return take(original, own) ? _Caldane_AnyRef(own) : _Caldane_AnyRef();
    };
    if (const _Caldane_TxType* value = _Caldane_TxType::_down_cast_const(original)) {
        const _Caldane_AnyRef clone = value->_clone();
        object = const_cast<_Caldane_TxType*>(_Caldane_TxType::_down_cast_const(clone));
        return clone;
    }
    switch (original._get_typeref().kind()) {
        case _Caldane_TypeRef::tk_short:
            return copy(primitive.short_value);
        case _Caldane_TypeRef::tk_ushort:
            return copy(primitive.ushort_value);
        case _Caldane_TypeRef::tk_long:
            return copy(primitive.long_value);
        case _Caldane_TypeRef::tk_ulong:
            return copy(primitive.ulong_value);
        case _Caldane_TypeRef::tk_float:
            return copy(primitive.float_value);
        case _Caldane_TypeRef::tk_double:
            return copy(primitive.double_value);
        case _Caldane_TypeRef::tk_char:
            return copy(primitive.char_value);
        case _Caldane_TypeRef::tk_octet:
            return copy(primitive.octet_value);
        case _Caldane_TypeRef::tk_boolean:
            return copy(primitive.boolean_value);
        default:
            return _Caldane_AnyRef();
    }
}

bool _Caldane_NVList::item(_Caldane_ULong index, _Caldane_NamedValue*& out) const {
    out = index < count() ? values[index].get() : nullptr;
    return out != nullptr;
}

_Caldane_Context::Messages::Messages() : context_(SOA::get_default_context()) {
    ++context_.in_messages;
}

_Caldane_Context::Messages::~Messages() {
    --context_.in_messages;
}

void _Caldane_Context::mark_received() {
    for (const auto& value : values) value->received_ = true;
}

void _Caldane_Context::delete_values(std::string_view pattern) {
    if (values.empty()) return;
    std::erase_if(values, [pattern](const auto& value) { return matches(value->name(), pattern); });
}

bool _Caldane_Context::has(std::string_view name) const {
    return std::any_of(values.begin(), values.end(),
                       [name](const auto& value) { return value->name() == name; });
}

bool _Caldane_Context::get_one_value(std::string_view name, _Caldane_AnyRef target) const {
    const auto found = std::find_if(values.begin(), values.end(),
                                    [name](const auto& value) { return value->name() == name; });
    return found != values.end() && _Caldane_copy((*found)->value(), target);
}

_Caldane_NVList* _Caldane_Context::get_values(std::string_view pattern) const {
    auto* list = new _Caldane_NVList;
    if (list == nullptr) return nullptr;
    const bool own_only = in_messages > 0 && broker_setting("no_context_relay").is_set();
    for (const auto& value : values) {
        if (own_only && value->received()) continue;
        if (matches(value->name(), pattern)) list->values.push_back(value);
    }
    return list;
}

void _Caldane_Context::set_one_value(const _Caldane_String& name, _Caldane_AnyConstRef value) {
    std::shared_ptr<_Caldane_NamedValue> own(new _Caldane_NamedValue(name, value));
    if (own == nullptr) return;
    own->received_ = in_messages > 0;
    const auto same = std::find_if(values.begin(), values.end(), [&name](const auto& present) {
        return std::string_view(present->name()) == std::string_view(name);
    });
    if (same != values.end()) {
        *same = std::move(own);
    } else {
        values.push_back(std::move(own));
    }
}

void _Caldane_Context::set_one_value(const _Caldane_String& name, _Caldane_AnyRef value) {
    set_one_value(name, _Caldane_AnyConstRef(value));
}
