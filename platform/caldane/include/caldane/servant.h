// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include <caldane/arg_list.h>
#include <caldane/carrier.h>
#include <caldane/interface.h>
#include <caldane/invoke.h>

class _Caldane_ImplBase;

// What skeletons are made of. A skeleton derives from `_Caldane_ImplBase`, declares the operations as pure
// virtual functions, and has one table:
//
//     const Caldane::OperationTable& POA_Teller::_operations() const {
//         using enum _Caldane_Parameter::Direction;
//         static const Caldane::OperationTable table(kInterface, {
//             Caldane::method<&POA_Teller::withdraw>("withdraw", {{"account", IN}, {"amount", IN}},
//                                                    Caldane::raises<UnknownAccount, InsufficientFunds>),
//         });
//         return table;
//     }
namespace Caldane {

struct ServantOperation;

/// One incoming call on its way through a skeleton.
class IncomingRequest {
public:
    /// Has the transport read the in parameters; false when the call has failed and was answered.
    virtual bool read(_Caldane_ArgList& args) = 0;
    /// Calls `step(state)`; false when it threw, and the caller was told.
    virtual bool run(void (*step)(void*), void* state) = 0;
    /// Has the transport write the reply.
    virtual void reply(_Caldane_ArgList& args) = 0;

protected:
    ~IncomingRequest() = default;
};

struct ParameterInfo {
    const char* name;
    std::int32_t direction;
};

/// What a skeleton knows about one operation.
struct ServantOperation {
    using Dispatch = void (*)(_Caldane_ImplBase& servant, IncomingRequest& request,
                              const ServantOperation& operation);

    const char* name;
    std::vector<ParameterInfo> parameters;
    Raises exceptions;
    Dispatch dispatch;
};

/// The operations of an interface, its inherited ones included.
class OperationTable {
public:
    OperationTable(const char* interface_id, std::initializer_list<ServantOperation> operations);
    OperationTable(const Interface& interface, std::initializer_list<ServantOperation> operations);

    /// Null if there is no operation of that name. Exact case. `_is_a` is there without being told.
    const ServantOperation* find(std::string_view name) const;
    const char* interface_id() const { return interface_id_; }
    /// Whether it is the table of that interface, or of one that inherits from it.
    bool is_a(std::string_view repository_id) const;

private:
    const char* interface_id_;
    const Interface* interface_ = nullptr;
    std::vector<ServantOperation> sorted;
};

}  // namespace Caldane

/// Base of all servants: an object that calls can be made on. Called by several workers at once.
class _Caldane_ImplBase {
public:
    virtual ~_Caldane_ImplBase();

    /// What the interface offers.
    virtual const Caldane::OperationTable& _operations() const = 0;

    /// Whether it has the interface of that repository id: what callers ask by the operation of this name,
    /// which every object has.
    bool _is_a(const _Caldane_String& repository_id);

    /// True for an implementation that is reached by a secure transport.
    bool getSecurity() const { return secure; }
    void setSecurity(bool flag) { secure = flag; }

protected:
    _Caldane_ImplBase() = default;
    _Caldane_ImplBase(const _Caldane_ImplBase&) = default;
    _Caldane_ImplBase& operator=(const _Caldane_ImplBase&) = default;

private:
    bool secure = false;
};

namespace Caldane {

namespace detail {

/// A parameter or result of a servant's operation with what travels for it.
template <class T>
struct Stored {
    T value{};
    Carrier<T> carrier{value};
};

template <class Servant>
Servant& servant_of(_Caldane_ImplBase& base) {
    if constexpr (requires { static_cast<Servant&>(base); }) {
        return static_cast<Servant&>(base);
    } else {
        return dynamic_cast<Servant&>(base);
    }
}

/// The code between an argument list and the member function of a servant.
template <auto Function, class Servant, class Result, class... Parameters>
struct Skeleton {
    struct NoResult {};
    using Held = std::conditional_t<std::is_void_v<Result>, NoResult, Stored<std::remove_cvref_t<Result>>>;
    using Indexes = std::index_sequence_for<Parameters...>;

    Servant& servant;
    std::tuple<Stored<std::remove_cvref_t<Parameters>>...> values{};
    Held result{};

    static void step(void* opaque) { static_cast<Skeleton*>(opaque)->call(Indexes()); }

    template <std::size_t... I>
    void call(std::index_sequence<I...>) {
        if constexpr (std::is_void_v<Result>) {
            (servant.*Function)(static_cast<Parameters>(std::get<I>(values).value)...);
        } else {
            result.value = (servant.*Function)(static_cast<Parameters>(std::get<I>(values).value)...);
        }
    }

    template <std::size_t... I>
    void serve(IncomingRequest& request, const ServantOperation& operation, std::index_sequence<I...>) {
        _Caldane_Parameter parameters[] = {
            _Caldane_Parameter(operation.parameters[I].name, operation.parameters[I].direction,
                               std::get<I>(values).carrier.reference())...,
            returned()};
        _Caldane_ArgList args(parameters, sizeof...(I), parameters[sizeof...(I)]);
        if (!request.read(args)) return;
        (std::get<I>(values).carrier.store(), ...);
        if (!request.run(&step, this)) return;
        (std::get<I>(values).carrier.load(), ...);
        if constexpr (!std::is_void_v<Result>) result.carrier.load();
        request.reply(args);
    }

    _Caldane_Parameter returned() {
        if constexpr (std::is_void_v<Result>) {
            return {};
        } else {
            return {"return", _Caldane_Parameter::OUT, result.carrier.reference()};
        }
    }
};

template <auto Function, class Servant, class Result, class... Parameters>
void dispatch(Result (Servant::*)(Parameters...), _Caldane_ImplBase& base, IncomingRequest& request,
              const ServantOperation& operation) {
    Skeleton<Function, Servant, Result, Parameters...> skeleton{servant_of<Servant>(base)};
    skeleton.serve(request, operation, std::index_sequence_for<Parameters...>());
}

template <class Servant, class Result, class... Parameters>
constexpr std::size_t arity_of(Result (Servant::*)(Parameters...)) {
    return sizeof...(Parameters);
}

template <auto Function>
void dispatch(_Caldane_ImplBase& base, IncomingRequest& request, const ServantOperation& operation) {
    dispatch<Function>(Function, base, request, operation);
}

}  // namespace detail

/// An entry of an operation table: `Function` is a member function pointer, `parameters` has one entry for
/// each of its parameters in their order.
template <auto Function, std::size_t Count>
ServantOperation method(const char* name, const ParameterInfo (&parameters)[Count], Raises exceptions = {}) {
    static_assert(Count == detail::arity_of(Function), "one entry for each parameter");
    return {name, {parameters, parameters + Count}, exceptions, &detail::dispatch<Function>};
}

template <auto Function>
ServantOperation method(const char* name, Raises exceptions = {}) {
    static_assert(detail::arity_of(Function) == 0, "one entry for each parameter");
    return {name, {}, exceptions, &detail::dispatch<Function>};
}

}  // namespace Caldane
