// SPDX-License-Identifier: MIT
#include <string>
#include <string_view>

#include <vqsys/text.h>

#include <caldane/call_info.h>
#include <caldane/exceptions.h>

#include "call_features.h"

namespace {

using Same = bool (*)(const std::string& a, const std::string& b);

bool same_text(const std::string& a, const std::string& b) {
    return a == b;
}
bool same_but_for_case(const std::string& a, const std::string& b) {
    return vqOSstricmp(a.c_str(), b.c_str()) == 0;
}

/// The name part of a repository id with ":" for "/": "Acme:Bank:UnknownAccount".
std::string element_name(std::string_view id) {
    const std::size_t first = id.find(':');
    const std::size_t last = id.rfind(':');
    if (first != last) id = id.substr(first + 1, last - first - 1);
    std::string name(id);
    for (char& c : name) {
        if (c == '/') c = ':';
    }
    return name;
}

/// Our own fault writer makes the first component the element's prefix; other peers send the last component
/// alone, and some leave out the namespace of an element inside `detail`.
bool stands_for(const _Caldane_ExceptionBase& exception, const std::string& name_space,
                const std::string& name, Same same) {
    const std::string full = element_name(std::string_view(exception.repository_id()));
    const std::size_t first = full.find(':');
    if (first == std::string::npos) return same(name, full);
    if (!same(name, full) && !same(name, full.substr(first + 1)) &&
        !same(name, full.substr(full.rfind(':') + 1))) {
        return false;
    }
    return name_space.empty() || same(name_space, std::string(std::string_view(exception.namespace_text())));
}

_Caldane_ExceptionBase* copy_of(const _Caldane_ExceptionBase& original) {
    if (const auto* system = dynamic_cast<const _Caldane_SystemException*>(&original)) {
        return new _Caldane_SystemException(*system);
    }
    const _Caldane_TxType* copy = _Caldane_TxType::_down_cast_const(original._clone());
    return const_cast<_Caldane_ExceptionBase*>(dynamic_cast<const _Caldane_ExceptionBase*>(copy));
}

std::string text_of(const _Caldane_String& text) {
    return std::string(std::string_view(text));
}

}  // namespace

_Caldane_CallException::~_Caldane_CallException() {
    clear();
}

void _Caldane_CallException::clear() {
    delete stored_;
    stored_ = nullptr;
}

_Caldane_CallException* _Caldane_CallException::lookup_or_add(const _Caldane_CallInfo& info) {
    auto* features = info.features_or_add();
    return features != nullptr ? &features->exception : nullptr;
}

void _Caldane_CallException::exception(_Caldane_ExceptionBase* thrown, Caldane::Ownership ownership) {
    if (thrown == nullptr || thrown == stored_) return;
    _Caldane_ExceptionBase* own = static_cast<int>(ownership) == 1 ? thrown : copy_of(*thrown);
    if (own == nullptr) return;
    clear();
    stored_ = own;
}

void _Caldane_CallException::exception(const _Caldane_ExceptionBase& thrown, Caldane::Ownership ownership) {
    exception(const_cast<_Caldane_ExceptionBase*>(&thrown), ownership);
}

_Caldane_Boolean _Caldane_CallException::exception(const _Caldane_CallInfo& info,
                                                   _Caldane_ExceptionBase* thrown,
                                                   Caldane::Ownership ownership) {
    _Caldane_CallException* holder = lookup_or_add(info);
    if (holder == nullptr) return static_cast<_Caldane_Boolean>(0);
    holder->exception(thrown, ownership);
    return static_cast<_Caldane_Boolean>(1);
}

_Caldane_Boolean _Caldane_CallException::exception(const _Caldane_CallInfo& info,
                                                   const _Caldane_ExceptionBase& thrown,
                                                   Caldane::Ownership ownership) {
    return exception(info, const_cast<_Caldane_ExceptionBase*>(&thrown), ownership);
}

void _Caldane_CallException::declare(const Caldane::DeclaredException* table, std::size_t count) {
    declared = table;
    declared_count = count;
}

_Caldane_ExceptionBase* _Caldane_CallException::find_exception(const _Caldane_String& name_space,
                                                               const _Caldane_String& name,
                                                               std::int32_t kind) {
    constexpr std::int32_t kUserException = 1;
    if (kind != kUserException) return nullptr;
    const std::string space = text_of(name_space);
    const std::string element = text_of(name);
    for (const Same same : {&same_text, &same_but_for_case}) {
        for (std::size_t i = 0; i < declared_count; ++i) {
            _Caldane_ExceptionBase* candidate = declared[i].make(declared[i].type);
            if (candidate == nullptr) continue;
            if (stands_for(*candidate, space, element, same)) return candidate;
            delete candidate;
        }
    }
    return nullptr;
}
