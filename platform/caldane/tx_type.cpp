// SPDX-License-Identifier: MIT
#include <caldane/tx_type.h>

#include <new>
#include <utility>
#include <vector>

#include <caldane/any_ref.h>
#include <caldane/string.h>
#include <caldane/value_support.h>

struct _Caldane_TxType::Properties {
    PEL_HEAP_OBJECT
    std::vector<std::pair<_Caldane_String, _Caldane_String>> entries;
};

void _Caldane_TxType::_release() const {
    delete this;
}

void* _Caldane_TxType::_safe_cast(const _Caldane_Representation&) const {
    return nullptr;
}

_Caldane_Boolean _Caldane_TxType::_convert_from(_Caldane_AnyConstRef) {
    return _Caldane_FALSE;
}

void* _Caldane_TxType::_base_cast(const void*) const {
    return nullptr;
}

const char* _Caldane_TxType::getProperty(const _Caldane_String& name) const {
    return name.is_null() ? nullptr : property(name.c_str());
}

const char* _Caldane_TxType::find_property(const char* name) const {
    for (const auto& [key, text] : properties_->entries) {
        if (key == name) return text.c_str();
    }
    return nullptr;
}

bool _Caldane_TxType::setProperty(const _Caldane_String& name, const _Caldane_String& text) {
    if (name.is_null()) return false;
    if (properties_ == nullptr) {
        if (text.is_null()) return true;
        properties_ = new Properties;
        if (properties_ == nullptr) return false;
    }
    auto& entries = properties_->entries;
    std::erase_if(entries, [&name](const auto& entry) { return entry.first == name; });
    if (text.is_null()) return true;
    try {
        entries.emplace_back(name, text);
    } catch (const std::bad_alloc&) {
        return false;
    }
    if (!entries.back().first.is_null() && !entries.back().second.is_null()) return true;
    entries.pop_back();
    return false;
}

void _Caldane_TxType::copy_properties(const _Caldane_TxType& other) noexcept {
    drop_properties();
    properties_ = nullptr;
    if (other.properties_ == nullptr) return;
    Properties* const copy = new Properties;
    if (copy == nullptr) return;
    try {
        copy->entries = other.properties_->entries;
        properties_ = copy;
    } catch (const std::bad_alloc&) {
        delete copy;
    }
}

void _Caldane_TxType::drop_properties() noexcept {
    delete properties_;
}
