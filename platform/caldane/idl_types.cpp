// SPDX-License-Identifier: MIT
#include <caldane/idl_types.h>

#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <shared_mutex>
#include <unordered_map>

#include <caldane/string.h>

namespace {

/// Local name and namespace; both point to constant texts of the type.
struct TypeName {
    std::string_view name;
    std::string_view name_space;

    friend bool operator==(const TypeName&, const TypeName&) = default;
};

struct TypeNameHash {
    std::size_t operator()(const TypeName& key) const noexcept {
        const std::hash<std::string_view> hash;
        return hash(key.name) * 31 + hash(key.name_space);
    }
};

struct Registry {
    std::shared_mutex mutex;
    std::unordered_map<TypeName, _Caldane_IDL_BaseType*, TypeNameHash> types;
};

// Made at the first use, which may be in a static initialiser, and never destroyed.
Registry& registry() {
    static Registry& instance = *new Registry;
    return instance;
}

/// The names of an enum's members as strings, as many as the info has; null when memory ends.
const _Caldane_String* make_names(const _Caldane_EnumInfo& info) {
    void* const memory = PEL_array_new(sizeof(_Caldane_String) * info.count);
    if (memory == nullptr) return nullptr;
    auto* const names = static_cast<_Caldane_String*>(memory);
    for (_Caldane_ULong i = 0; i < info.count; ++i) {
        ::new (static_cast<void*>(names + i)) _Caldane_String(_Caldane_String::constant(info.members[i]));
    }
    return names;
}

}  // namespace

_Caldane_Boolean _Caldane_IDL_BaseType::demarshal_parameters(_Caldane_Transport_InStream&) {
    return _Caldane_TRUE;
}
std::string_view _Caldane_IDL_BaseType::name() const {
    return "";
}
std::string_view _Caldane_IDL_BaseType::name_space() const {
    return "";
}
std::string_view _Caldane_IDL_BaseType::repository_id() const {
    return "";
}
_Caldane_TxType* _Caldane_IDL_BaseType::_new_value() {
    return nullptr;
}
void _Caldane_IDL_BaseType::_add_ref() {}
void _Caldane_IDL_BaseType::_release() {}

_Caldane_IDL_BaseType* _Caldane_IDL_BaseType::search(const _Caldane_String& name,
                                                     const _Caldane_String& name_space) {
    Registry& all = registry();
    const std::shared_lock lock(all.mutex);
    const auto found = all.types.find(TypeName{name.view(), name_space.view()});
    return found == all.types.end() ? nullptr : found->second;
}

void _Caldane_IDL_BaseType::enter(_Caldane_IDL_BaseType& type) {
    if (type.name().empty()) return;
    Registry& all = registry();
    const std::unique_lock lock(all.mutex);
    all.types.try_emplace(TypeName{type.name(), type.name_space()}, &type);
}

std::string_view _Caldane_IDL_Type::name() const {
    return describe_ == nullptr ? "" : describe_().name;
}
std::string_view _Caldane_IDL_Type::name_space() const {
    return describe_ == nullptr ? "" : describe_().name_space;
}
std::string_view _Caldane_IDL_Type::repository_id() const {
    return describe_ == nullptr ? "" : describe_().id;
}
_Caldane_TxType* _Caldane_IDL_Type::_new_value() {
    return make_ == nullptr ? nullptr : make_();
}

const _Caldane_IDL_EnumType* _Caldane_IDL_EnumType::narrow(const _Caldane_IDL_BaseType& type) {
    return type.kind() == _Caldane_TypeRef::tk_enum ? static_cast<const _Caldane_IDL_EnumType*>(&type)
                                                    : nullptr;
}

_Caldane_ULong _Caldane_IDL_EnumType::member_count() const {
    return info().count;
}

const _Caldane_String& _Caldane_IDL_EnumType::member_name(_Caldane_ULong index) const {
    static const _Caldane_String& none = *new _Caldane_String(_Caldane_String::constant(""));
    const _Caldane_EnumInfo& known = info();
    if (index >= known.count) return none;
    const _Caldane_String* names = names_.load(std::memory_order_acquire);
    if (names == nullptr) {
        // Made once, by whoever comes first, and kept: the type lives as long as the process.
        const _Caldane_String* const made = make_names(known);
        if (made == nullptr) return none;
        if (names_.compare_exchange_strong(names, made, std::memory_order_acq_rel)) {
            names = made;
        } else {
            PEL_array_delete(const_cast<_Caldane_String*>(made));
        }
    }
    return names[index];
}

void _Caldane_IDL_EnumType::drop_names() {
    const _Caldane_String* const names = names_.exchange(nullptr);
    if (names == nullptr) return;
    std::destroy_n(names, info().count);
    PEL_array_delete(const_cast<_Caldane_String*>(names));
}

std::string_view _Caldane_IDL_EnumType::name() const {
    return info().name;
}
std::string_view _Caldane_IDL_EnumType::name_space() const {
    return info().name_space;
}
std::string_view _Caldane_IDL_EnumType::repository_id() const {
    return info().id;
}
_Caldane_TxType* _Caldane_IDL_EnumType::_new_value() {
    return make_ == nullptr ? nullptr : make_();
}
