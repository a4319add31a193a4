// Calling the SDK with a member's arguments: by the parameters of what is called, each argument is converted on its way
// in and each output stored on its way out.
#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

#include "server/convert.h"

namespace vex::server {

namespace detail {

template <class... Parameters>
struct Types {
    static constexpr std::size_t count = sizeof...(Parameters);
};

/// The parameters of a function, function object or member function; the latter's first is its object.
template <class Call>
struct Parameters : Parameters<decltype(&Call::operator())> {
    using Type = typename Parameters<decltype(&Call::operator())>::WithoutObject;
};
template <class Result, class... Taken, bool Noexcept>
struct Parameters<Result (*)(Taken...) noexcept(Noexcept)> {
    using Type = Types<Taken...>;
};
template <class Result, class Object, class... Taken, bool Noexcept>
struct Parameters<Result (Object::*)(Taken...) noexcept(Noexcept)> {
    using Type = Types<Object&, Taken...>;
    using WithoutObject = Types<Taken...>;
};
template <class Result, class Object, class... Taken, bool Noexcept>
struct Parameters<Result (Object::*)(Taken...) const noexcept(Noexcept)> {
    using Type = Types<const Object&, Taken...>;
    using WithoutObject = Types<Taken...>;
};

/// The parameters that a member's arguments are for: without the SDK object, where the call takes that first.
template <class Taken, bool WithSdk>
struct ForArguments {
    using Type = Taken;
    static constexpr bool takes_sdk = false;
};
template <class Object, class... Taken>
struct ForArguments<Types<Object, Taken...>, true> {
    using Type = Types<Taken...>;
    static constexpr bool takes_sdk = true;
};

template <class Call, std::size_t Arguments>
using ShapeOf = ForArguments<typename Parameters<Call>::Type, (Parameters<Call>::Type::count == Arguments + 1)>;

/// How `argument` knows a parameter.
template <class Parameter>
using Asked =
    As<std::conditional_t<std::is_lvalue_reference_v<Parameter> && !std::is_const_v<std::remove_reference_t<Parameter>>,
                          Parameter, std::remove_cvref_t<Parameter>>>;

template <class Value, class Out>
void deliver(Output<Value, Out>& output)
{
    output.deliver();
}
template <class Other>
void deliver(Other& /*input*/) noexcept
{}

/// Calls, with the SDK object first if the call takes it. Not by std::invoke, which the compiler inlines too late to
/// see which member it calls.
template <bool WithSdk, class Call, class Sdk, class... Passed>
[[gnu::always_inline]] inline decltype(auto) invoke(Call call, Sdk* sdk, Passed&&... passed)
{
    if constexpr (!WithSdk) {
        return call(std::forward<Passed>(passed)...);
    } else if constexpr (std::is_member_function_pointer_v<Call>) {
        return (sdk->*call)(std::forward<Passed>(passed)...);
    } else {
        return call(*sdk, std::forward<Passed>(passed)...);
    }
}

template <bool WithSdk, class Call, class Sdk, class... Passed>
using Answer = decltype(invoke<WithSdk>(std::declval<Call>(), std::declval<Sdk*>(), std::declval<Passed>()...));

/// Calls with arguments that are converted already, and stores the outputs.
template <bool WithSdk, class Call, class Sdk, class... Passed>
    requires std::is_void_v<Answer<WithSdk, Call, Sdk, Passed...>>
[[gnu::always_inline]] inline void call_and_deliver(Call call, Sdk* sdk, Passed&&... passed)
{
    invoke<WithSdk>(call, sdk, std::forward<Passed>(passed)...);
    (deliver(passed), ...);
}
/// The answer stands in no inner block: there the compiler would copy it on its way out.
template <bool WithSdk, class Call, class Sdk, class... Passed>
[[gnu::always_inline]] inline Answer<WithSdk, Call, Sdk, Passed...> call_and_deliver(Call call, Sdk* sdk,
                                                                                     Passed&&... passed)
{
    Answer<WithSdk, Call, Sdk, Passed...> answer = invoke<WithSdk>(call, sdk, std::forward<Passed>(passed)...);
    (deliver(passed), ...);
    return answer;
}

template <bool WithSdk, class... Taken, std::size_t... At, class Call, class Sdk, class... Arguments>
[[gnu::always_inline]] inline decltype(auto) convert_and_call(Types<Taken...>, std::index_sequence<At...>, Call call,
                                                              Sdk* sdk, Arguments... arguments)
{
    return call_and_deliver<WithSdk>(call, sdk, argument(Asked<Taken>(), arguments, static_cast<int>(At) + 1)...);
}

template <class Taken, class Given>
void leave_default(Given given)
{
    if constexpr (requires { argument(Asked<Taken>(), given, 0).deliver(); }) {
        argument(Asked<Taken>(), given, 0).deliver();
    }
}

template <class... Taken, class... Arguments>
void leave_defaults(Types<Taken...>, Arguments... arguments)
{
    (leave_default<Taken>(arguments), ...);
}

template <class Signature>
struct Overload;
template <class Result, class... Taken>
struct Overload<Result(Taken...)> {
    template <class Object>
    constexpr auto operator()(Result (Object::*member)(Taken...)) const noexcept
    {
        return member;
    }
};
template <class Result, class... Taken>
struct Overload<Result(Taken...) const> {
    template <class Object>
    constexpr auto operator()(Result (Object::*member)(Taken...) const) const noexcept
    {
        return member;
    }
};

}  // namespace detail

/// Chooses among an SDK member's overloads: overload<PvResult(PvString&) const>(&PvGenEnum::GetValue).
template <class Signature>
inline constexpr detail::Overload<Signature> overload{};

/// Whether a call with that many arguments takes the SDK object as well.
template <class Call, std::size_t Arguments>
inline constexpr bool takes_sdk = detail::ShapeOf<Call, Arguments>::takes_sdk;

/// Calls with the converted arguments, and with the SDK object first if the call takes it: the outputs are stored as
/// the call left them. What conversions and the call throw passes through, and leaves the outputs as they were.
template <class Call, class Sdk, class... Arguments>
[[gnu::always_inline]] inline decltype(auto) call_sdk(Call call, Sdk* sdk, Arguments... arguments)
{
    using Shape = detail::ShapeOf<Call, sizeof...(Arguments)>;
    return detail::convert_and_call<Shape::takes_sdk>(typename Shape::Type{}, std::index_sequence_for<Arguments...>{},
                                                      call, sdk, arguments...);
}

/// What is left in the outputs of a call that could not be made: nothing.
template <class Call, class... Arguments>
void leave_outputs_empty(Arguments... arguments)
{
    using Shape = detail::ShapeOf<Call, sizeof...(Arguments)>;
    detail::leave_defaults(typename Shape::Type{}, arguments...);
}

}  // namespace vex::server
