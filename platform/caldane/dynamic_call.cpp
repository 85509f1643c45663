// SPDX-License-Identifier: MIT
#include <caldane/dynamic_call.h>

#include <new>
#include <utility>

#include <caldane/dynamic_values.h>

namespace Caldane {

namespace {

_Caldane_ExceptionBase* make_dynamic(const void* type) {
    try {
        return new DynamicException(*static_cast<const DynamicRecordType*>(type));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace

void DynamicOperation::add_parameter(std::string name, std::int32_t direction, const _Caldane_TypeRef& type) {
    parameters_.push_back({std::move(name), direction, type});
}

void DynamicOperation::add_exception(const DynamicRecordType& type) {
    exceptions_.push_back(
        {&make_dynamic, &raise_exception<DynamicException>, &matches_exception<DynamicException>, &type});
}

DynamicCall::DynamicCall(const DynamicOperation& operation)
    : operation_(operation), arguments_(operation.parameters().size()) {
    for (std::size_t i = 0; i < arguments_.size(); ++i) {
        if (!arguments_[i].make(operation.parameters()[i].type)) throw std::bad_alloc();
    }
    if (operation.result().kind() != _Caldane_TypeRef::tk_null && !result_.make(operation.result()))
        throw std::bad_alloc();
}

_Caldane_AnyRef DynamicCall::argument(std::size_t index) {
    return index < arguments_.size() ? arguments_[index]._value() : _Caldane_AnyRef();
}

void DynamicCall::invoke(const _Caldane_Object& target) {
    std::vector<_Caldane_Parameter> parameters;
    parameters.reserve(arguments_.size());
    for (std::size_t i = 0; i < arguments_.size(); ++i) {
        const DynamicOperation::Parameter& known = operation_.parameters()[i];
        parameters.emplace_back(known.name.c_str(), known.direction, arguments_[i]._value());
    }
    _Caldane_Parameter nothing;
    _Caldane_Parameter holder("return", _Caldane_Parameter::OUT, result_._value());
    const bool has_result = operation_.result().kind() != _Caldane_TypeRef::tk_null;
    _Caldane_ArgList list(parameters.data(), parameters.size(), has_result ? holder : nothing);
    const Operation operation(operation_.name().c_str(), operation_.interface_id().c_str(),
                              operation_.exceptions(), operation_.mode());
    Caldane::invoke(target, operation, list);
}

}  // namespace Caldane
