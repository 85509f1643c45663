// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <caldane/any_ref.h>
#include <caldane/boolean.h>
#include <caldane/string.h>

class _Caldane_Transport_InStream;
class _Caldane_Transport_OutStream;

/// One parameter of a call, or its result: a name, a direction and a reference to the caller's value.
class _Caldane_Parameter {
public:
    /// Directions: in, out, in-out.
    enum Direction : std::int32_t { IN = 0, OUT = 1, INOUT = 2 };

    /// The result of an operation without one: kind null.
    _Caldane_Parameter();
    /// `parameter_name` is a text that outlives the call, usually a constant; nothing is copied.
    _Caldane_Parameter(const char* parameter_name, std::int32_t direction, _Caldane_AnyRef value);
    _Caldane_Parameter(const char* parameter_name, std::int32_t direction, _Caldane_AnyConstRef value);
    virtual ~_Caldane_Parameter() = default;
    _Caldane_Parameter(const _Caldane_Parameter&) = default;
    _Caldane_Parameter& operator=(const _Caldane_Parameter&) = delete;

    virtual _Caldane_AnyRef value() const;
    virtual std::int32_t direction() const;
    virtual _Caldane_String name() const;
    virtual _Caldane_Boolean marshal(_Caldane_Transport_OutStream& out) const;
    virtual _Caldane_Boolean demarshal(_Caldane_Transport_InStream& in);

    /// The name without a copy.
    const char* name_text() const { return name_; }

private:
    const char* name_;
    std::int32_t direction_;
    _Caldane_AnyRef value_;
};

/// The parameters of one call in their order, with the result's holder. Lives on the stack of the stub or
/// skeleton beside the parameters themselves, which it does not own.
class _Caldane_ArgList {
public:
    _Caldane_ArgList(_Caldane_Parameter* parameters, std::size_t count, _Caldane_Parameter& result)
        : parameters_(parameters), result_(&result), count_(static_cast<_Caldane_ULong>(count)) {}
    virtual ~_Caldane_ArgList() = default;
    _Caldane_ArgList(const _Caldane_ArgList&) = delete;
    _Caldane_ArgList& operator=(const _Caldane_ArgList&) = delete;

    virtual _Caldane_ULong count() const;
    virtual _Caldane_Parameter& parameter(_Caldane_ULong index);
    /// The index of a name, or -1.
    virtual std::int32_t index_of(std::string_view name) const;
    virtual _Caldane_Parameter& result();

private:
    _Caldane_Parameter* parameters_;
    _Caldane_Parameter* result_;
    _Caldane_ULong count_;
};
