// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
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

/// The code between an argument list and the member function of a servant.
template <class Servant, class Result, class... Parameters>
struct Skeleton {
    using Storage = std::tuple<std::remove_cvref_t<Parameters>...>;
    using Carriers = std::tuple<Carrier<std::remove_cvref_t<Parameters>>...>;
    using Member = Result (Servant::*)(Parameters...);
    struct NoResult {};
    using Held = std::conditional_t<std::is_void_v<Result>, NoResult, std::remove_cvref_t<Result>>;

    struct State {
        Servant& servant;
        Member member;
        Storage& values;
        Held& result;
    };

    static Servant& servant_of(_Caldane_ImplBase& base) {
        if constexpr (requires { static_cast<Servant&>(base); }) {
            return static_cast<Servant&>(base);
        } else {
            return dynamic_cast<Servant&>(base);
        }
    }

    static void step(void* opaque) {
        State& state = *static_cast<State*>(opaque);
        std::apply(
            [&state](auto&... value) {
                if constexpr (std::is_void_v<Result>) {
                    (state.servant.*state.member)(static_cast<Parameters>(value)...);
                } else {
                    state.result = (state.servant.*state.member)(static_cast<Parameters>(value)...);
                }
            },
            state.values);
    }

    template <std::size_t... I>
    static void dispatch(Member member, _Caldane_ImplBase& base, IncomingRequest& request,
                         const ServantOperation& operation, std::index_sequence<I...>) {
        Storage values{};
        Carriers carriers(Carrier<std::remove_cvref_t<Parameters>>(std::get<I>(values))...);
        std::array<_Caldane_Parameter, sizeof...(I) + 1> parameters{
            _Caldane_Parameter(operation.parameters[I].name, operation.parameters[I].direction,
                               std::get<I>(carriers).reference())...,
            _Caldane_Parameter()};
        Held result{};
        State state{servant_of(base), member, values, result};
        const auto run = [&](_Caldane_Parameter& holder) {
            _Caldane_ArgList args(parameters.data(), sizeof...(I), holder);
            if (!request.read(args)) return false;
            (std::get<I>(carriers).store(), ...);
            return request.run(&step, &state);
        };
        const auto reply = [&](_Caldane_Parameter& holder) {
            (std::get<I>(carriers).load(), ...);
            _Caldane_ArgList args(parameters.data(), sizeof...(I), holder);
            request.reply(args);
        };
        if constexpr (std::is_void_v<Result>) {
            if (run(parameters.back())) reply(parameters.back());
        } else {
            Carrier<Held> carrier(result);
            _Caldane_Parameter holder("return", _Caldane_Parameter::OUT, carrier.reference());
            if (!run(holder)) return;
            carrier.load();
            reply(holder);
        }
    }
};

namespace detail {

template <class Servant, class Result, class... Parameters>
Skeleton<Servant, Result, Parameters...> skeleton_of(Result (Servant::*)(Parameters...));

template <class Servant, class Result, class... Parameters>
constexpr std::size_t arity_of(Result (Servant::*)(Parameters...)) {
    return sizeof...(Parameters);
}

template <auto Function>
void dispatch(_Caldane_ImplBase& base, IncomingRequest& request, const ServantOperation& operation) {
    decltype(skeleton_of(Function))::dispatch(Function, base, request, operation,
                                              std::make_index_sequence<arity_of(Function)>());
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
