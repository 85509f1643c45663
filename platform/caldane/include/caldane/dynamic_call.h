// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <caldane/any_value.h>
#include <caldane/dynamic_types.h>
#include <caldane/invoke.h>
#include <caldane/object.h>

namespace Caldane {

/// An operation that a program learns while it runs.
class DynamicOperation {
public:
    struct Parameter {
        std::string name;
        std::int32_t direction;  ///< of _Caldane_Parameter::Direction
        _Caldane_TypeRef type;
    };

    /// `result` is of kind null for an operation without one.
    DynamicOperation(std::string name, std::string interface_id, const _Caldane_TypeRef& result = {},
                     Operation::Mode mode = Operation::TWO_WAY)
        : name_(std::move(name)), interface_id_(std::move(interface_id)), result_(result), mode_(mode) {}

    /// All of these before the first call is made.
    void add_parameter(std::string name, std::int32_t direction, const _Caldane_TypeRef& type);
    /// The type must outlive the operation.
    void add_exception(const DynamicRecordType& type);

    const std::string& name() const { return name_; }
    const std::string& interface_id() const { return interface_id_; }
    const _Caldane_TypeRef& result() const { return result_; }
    Operation::Mode mode() const { return mode_; }
    const std::vector<Parameter>& parameters() const { return parameters_; }
    Raises exceptions() const { return {exceptions_.data(), exceptions_.size()}; }

private:
    std::string name_;
    std::string interface_id_;
    _Caldane_TypeRef result_;
    Operation::Mode mode_;
    std::vector<Parameter> parameters_;
    std::vector<DeclaredException> exceptions_;
};

/// One call of such an operation: fill in the arguments, invoke, look at what came back. The operation must
/// outlive it. May be invoked again. Making it throws `std::bad_alloc`.
class DynamicCall {
public:
    explicit DynamicCall(const DynamicOperation& operation);

    /// The value of a parameter, to be filled in or looked at; a reference to nothing beyond the last.
    _Caldane_AnyRef argument(std::size_t index);
    /// A reference to nothing for an operation without a result.
    _Caldane_AnyConstRef result() const { return result_.value(); }

    /// Blocks. Throws `DynamicException` for an exception that the operation declares, and `SystemError` for
    /// all else that goes wrong.
    void invoke(const _Caldane_Object& target);

private:
    const DynamicOperation& operation_;
    std::vector<_Caldane_Any> arguments_;
    _Caldane_Any result_;
};

}  // namespace Caldane
