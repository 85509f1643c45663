// SPDX-License-Identifier: MIT
#include <caldane/dynamic_types.h>

#include <new>
#include <utility>

#include <caldane/dynamic_values.h>

#include "dynamic_lists.h"

namespace Caldane {

namespace {

/// A value on the heap; null when memory ends, whether for the object or for what it holds.
template <class Value, class Type>
_Caldane_TxType* value_of(const Type& type) {
    try {
        return new Value(type);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace

void DynamicRecordType::add_member(std::string name, const _Caldane_TypeRef& type) {
    members_.push_back({std::move(name), type});
}

_Caldane_TxType* DynamicRecordType::_new_value() {
    if (kind() == _Caldane_TypeRef::tk_except) return value_of<DynamicException>(*this);
    return value_of<DynamicStruct>(*this);
}

void DynamicUnionType::add_branch(std::string name, const _Caldane_TypeRef& type,
                                  std::vector<_Caldane_Long> labels) {
    branches_.push_back({std::move(name), type, std::move(labels)});
}

std::size_t DynamicUnionType::select(_Caldane_Long discriminator) const {
    std::size_t otherwise = branches_.size();
    for (std::size_t i = 0; i < branches_.size(); ++i) {
        for (const _Caldane_Long label : branches_[i].labels) {
            if (label == discriminator) return i;
        }
        if (branches_[i].labels.empty()) otherwise = i;
    }
    return otherwise;
}

_Caldane_TxType* DynamicUnionType::_new_value() {
    return value_of<DynamicUnion>(*this);
}

DynamicEnumType::DynamicEnumType(DynamicName name, std::vector<std::string> members)
    : _Caldane_IDL_EnumType(nullptr, nullptr),
      name_(std::move(name)),
      handle_(*this, _Caldane_TypeRef::tk_enum),
      members_(std::move(members)),
      views_(members_.begin(), members_.end()),
      info_({name_.id, name_.name, name_.name_space}, views_.data(),
            static_cast<_Caldane_ULong>(views_.size())) {}

_Caldane_TxType* DynamicEnumType::_new_value() {
    return value_of<DynamicEnum>(*this);
}

_Caldane_TxType* DynamicListType::_new_value() {
    return make_dynamic_list(*this);
}

TypeLibrary::~TypeLibrary() {
    // Types refer to one another in rings: all handles go before the first type does.
    for (const auto& type : records) type->members_.clear();
    for (const auto& type : unions) {
        type->branches_.clear();
        type->discriminator_ = _Caldane_TypeRef();
    }
    for (const auto& type : lists) type->element_ = _Caldane_TypeRef();
}

DynamicRecordType& TypeLibrary::structure(DynamicName name) {
    return *records.emplace_back(
        std::make_unique<DynamicRecordType>(_Caldane_TypeRef::tk_struct, std::move(name)));
}

DynamicRecordType& TypeLibrary::exception(DynamicName name) {
    return *records.emplace_back(
        std::make_unique<DynamicRecordType>(_Caldane_TypeRef::tk_except, std::move(name)));
}

DynamicUnionType& TypeLibrary::choice(DynamicName name, const _Caldane_TypeRef& discriminator) {
    return *unions.emplace_back(std::make_unique<DynamicUnionType>(std::move(name), discriminator));
}

DynamicEnumType& TypeLibrary::enumeration(DynamicName name, std::vector<std::string> members) {
    return *enums.emplace_back(std::make_unique<DynamicEnumType>(std::move(name), std::move(members)));
}

const _Caldane_TypeRef& TypeLibrary::sequence(const _Caldane_TypeRef& element, _Caldane_ULong bound) {
    return lists
        .emplace_back(std::make_unique<DynamicListType>(_Caldane_TypeRef::tk_sequence, element, bound))
        ->handle();
}

const _Caldane_TypeRef& TypeLibrary::array(const _Caldane_TypeRef& element, _Caldane_ULong length) {
    return lists.emplace_back(std::make_unique<DynamicListType>(_Caldane_TypeRef::tk_array, element, length))
        ->handle();
}

void TypeLibrary::enter() {
    for (const auto& type : records) _Caldane_IDL_BaseType::enter(*type);
    for (const auto& type : unions) _Caldane_IDL_BaseType::enter(*type);
    for (const auto& type : enums) _Caldane_IDL_BaseType::enter(*type);
}

}  // namespace Caldane
