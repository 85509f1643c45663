// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include <caldane/arg_list.h>
#include <caldane/call_info.h>
#include <caldane/carrier.h>
#include <caldane/exceptions.h>
#include <caldane/interface.h>
#include <caldane/object.h>
#include <caldane/string.h>

// What stubs are made of. A stub is one static `Operation` and one `call`:
//
//     Receipt Teller::withdraw(const _Caldane_String& account, std::int32_t amount) const {
//         static const Caldane::Operation operation("withdraw", kInterface,
//                                                   Caldane::raises<UnknownAccount, InsufficientFunds>);
//         return Caldane::call<Receipt>(*this, operation, Caldane::in("account", account),
//                                       Caldane::in("amount", amount));
//     }
namespace Caldane {

/// The user exceptions that an operation declares.
struct Raises {
    const DeclaredException* table = nullptr;
    std::size_t count = 0;
};

template <class Exception>
_Caldane_ExceptionBase* make_exception(const void*) {
    return new Exception;
}

template <class Exception>
void raise_exception(const _Caldane_ExceptionBase& stored) {
    if (const auto* own = dynamic_cast<const Exception*>(&stored)) throw Exception(*own);
}

template <class Exception>
bool matches_exception(const _Caldane_ExceptionBase& thrown) {
    return dynamic_cast<const Exception*>(&thrown) != nullptr;
}

template <class... Exceptions>
inline constexpr DeclaredException kDeclared[sizeof...(Exceptions) + 1] = {
    {&make_exception<Exceptions>, &raise_exception<Exceptions>, &matches_exception<Exceptions>}...,
    {nullptr, nullptr, nullptr, nullptr}};

/// The table of the exceptions named.
template <class... Exceptions>
inline constexpr Raises raises = {kDeclared<Exceptions...>, sizeof...(Exceptions)};

/// What a stub knows about its operation; made once.
struct Operation {
    enum Mode { TWO_WAY, ONE_WAY };

    /// Both texts are constants that outlive the operation.
    Operation(const char* operation_name, const char* interface_id, Raises declared = {}, Mode mode = TWO_WAY)
        : name(_Caldane_String::constant(operation_name)),
          intf_id(_Caldane_String::constant(interface_id)),
          exceptions(declared),
          oneway(mode == ONE_WAY) {}

    const _Caldane_String name;
    const _Caldane_String intf_id;
    const Raises exceptions;
    const bool oneway;
};

/// Carries a call to its object: out parameters and result stand in `args` when it returns. Throws a declared
/// exception as its own type, and SystemError for all else that goes wrong; a one-way call returns when the
/// request has left. Blocks; safe for any thread.
void invoke(const _Caldane_Object& target, const Operation& operation, _Caldane_ArgList& args);

/// While it lives, the calls of its thread fail after `seconds` (0: without limit) in place of the property
/// `call_timeout`.
class CallTimeout {
public:
    explicit CallTimeout(double seconds);
    ~CallTimeout();
    CallTimeout(const CallTimeout&) = delete;
    CallTimeout& operator=(const CallTimeout&) = delete;

    /// What holds for the calls of this thread now.
    static double current();

private:
    double previous;
};

/// An argument that is a `bool`: a `_Caldane_Boolean` travels for it.
class BoolArgument {
public:
    BoolArgument(const char* name, _Caldane_Parameter::Direction direction, bool& value)
        : name_(name), direction_(direction), value_(value), held_(static_cast<_Caldane_Boolean>(value)) {}

    operator _Caldane_Parameter() { return {name_, direction_, _Caldane_AnyRef(held_)}; }
    /// Gives the caller what came back.
    void store() {
        if (direction_ != _Caldane_Parameter::IN) value_ = held_ != _Caldane_FALSE;
    }

private:
    const char* name_;
    _Caldane_Parameter::Direction direction_;
    bool& value_;
    _Caldane_Boolean held_;
};

// The bools are templates: an enum converts to bool as well as to a reference to its value.
inline _Caldane_Parameter in(const char* name, _Caldane_AnyConstRef value) {
    return {name, _Caldane_Parameter::IN, value};
}
inline _Caldane_Parameter out(const char* name, _Caldane_AnyRef value) {
    return {name, _Caldane_Parameter::OUT, value};
}
inline _Caldane_Parameter inout(const char* name, _Caldane_AnyRef value) {
    return {name, _Caldane_Parameter::INOUT, value};
}
template <std::same_as<bool> Bool>
BoolArgument in(const char* name, const Bool& value) {
    return {name, _Caldane_Parameter::IN, const_cast<Bool&>(value)};
}
template <std::same_as<bool> Bool>
BoolArgument out(const char* name, Bool& value) {
    return {name, _Caldane_Parameter::OUT, value};
}
template <std::same_as<bool> Bool>
BoolArgument inout(const char* name, Bool& value) {
    return {name, _Caldane_Parameter::INOUT, value};
}

namespace detail {

inline void store(const _Caldane_Parameter&) {}
inline void store(BoolArgument& argument) {
    argument.store();
}

}  // namespace detail

/// Makes the argument list on the stack and invokes; gives the result. An argument is what `in`, `out` and
/// `inout` make, so that the operations of one result type and number of arguments share their code.
template <class Result, class... Arguments>
Result call(const _Caldane_Object& target, const Operation& operation, Arguments&&... arguments) {
    constexpr std::size_t kCount = sizeof...(Arguments);
    _Caldane_Parameter parameters[] = {static_cast<_Caldane_Parameter>(arguments)..., _Caldane_Parameter()};
    if constexpr (std::is_void_v<Result>) {
        _Caldane_ArgList list(parameters, kCount, parameters[kCount]);
        invoke(target, operation, list);
        (detail::store(arguments), ...);
    } else {
        Result result{};
        Carrier<Result> carrier(result);
        _Caldane_Parameter holder("return", _Caldane_Parameter::OUT, carrier.reference());
        _Caldane_ArgList list(parameters, kCount, holder);
        invoke(target, operation, list);
        (detail::store(arguments), ...);
        carrier.store();
        return result;
    }
}

/// Base of the reference class (stub) of an interface: a value that refers to an object of it. An interface
/// that inherits from others has their classes as further bases.
template <class Stub>
class Reference : public virtual _Caldane_Object {
public:
    /// The same object seen through this interface; nil for nil, and for an object that says that it does not
    /// have the interface. A reference made from a URL tells no type: whether its object has the interface
    /// shows at the first call.
    static Stub _narrow(const _Caldane_Object& object) {
        if constexpr (requires { Stub::_interface(); }) {
            if (!object._may_be(Stub::_interface().id)) return Stub();
        }
        return _unchecked_narrow(object);
    }

    /// The same without a look at the type.
    static Stub _unchecked_narrow(const _Caldane_Object& object) {
        Stub reference;
        static_cast<_Caldane_Object&>(reference) = object;
        return reference;
    }

    const Stub* operator->() const { return static_cast<const Stub*>(this); }
};

}  // namespace Caldane
