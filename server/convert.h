// Values across the automation boundary: from the SDK's types to automation's and back.
#pragma once

#include <concepts>
#include <cstdint>
#include <span>
#include <type_traits>

#include "sdk/base/PvString.h"
#include "server/byte_array.h"
#include "server/com.h"
#include "server/sdk_face.h"
#include "server/wall.h"

namespace vex::server {

/// A VARIANT_BOOL is 1 for true, not VARIANT_TRUE: clients were built on it.
[[nodiscard]] constexpr VARIANT_BOOL to_variant_bool(bool value) noexcept { return value ? 1 : 0; }
[[nodiscard]] constexpr bool from_variant_bool(VARIANT_BOOL value) noexcept { return value != 0; }

/// A new BSTR for the caller to free; null when memory is exhausted.
[[nodiscard]] BSTR to_bstr(const PvString& text) noexcept;
/// From the zero-terminated characters of a BSTR; a null BSTR goes to the string's constructor as a null pointer.
[[nodiscard]] inline PvString from_bstr(BSTR text) { return {static_cast<const wchar_t*>(text)}; }

/// An address in the client's process, taken as it is.
[[nodiscard]] inline unsigned char* from_address(INT_PTR address) noexcept
{
    return reinterpret_cast<unsigned char*>(address);
}
[[nodiscard]] inline INT_PTR to_address(const void* pointer) noexcept { return reinterpret_cast<INT_PTR>(pointer); }

/// Throws E_POINTER for a missing out-parameter. `position` counts a member's arguments from 1; 0 for its value.
[[noreturn]] void throw_null_output(int position);

/// The pointer of an out-parameter, or E_POINTER for null.
template <class T>
[[nodiscard]] T* not_null(T* pointer, int position = 0)
{
    if (pointer == nullptr) {
        throw_null_output(position);
    }
    return pointer;
}

template <class T>
concept Number = (std::is_arithmetic_v<T> && !std::same_as<T, bool>) || std::is_enum_v<T>;

/// Numbers of the same width and enumerations pass by value, unchecked.
template <class To, class From>
concept SameWidth = Number<To> && Number<From> && sizeof(To) == sizeof(From);

// ---- what the SDK returned, into an out-parameter; E_POINTER for a null `out` ----

inline void store(VARIANT_BOOL* out, bool value) { *not_null(out) = to_variant_bool(value); }
inline void store(BSTR* out, const PvString& value) { *not_null(out) = to_bstr(value); }
inline void store(INT_PTR* out, const void* value) { *not_null(out) = to_address(value); }
/// A new array of bytes; null for null data.
inline void store(SAFEARRAY** out, std::span<const std::uint8_t> bytes)
{
    *not_null(out) = nullptr;
    *out = new_byte_array(bytes);
}
template <class To, class From>
    requires SameWidth<To, From>
void store(To* out, From value)
{
    *not_null(out) = static_cast<To>(value);
}
/// A number without a sign may widen.
template <class To, class From>
    requires(std::unsigned_integral<To> && std::unsigned_integral<From> && !std::same_as<From, bool> &&
             sizeof(To) > sizeof(From))
void store(To* out, From value)
{
    *not_null(out) = value;
}

// ---- a member's arguments, to what the SDK's parameter takes ----
//
// argument(As<Parameter>, value, position) for each pair of types there is. Parameter stands without const and without
// its reference, except that As<Value&> is an output.

template <class Parameter>
struct As {};

inline PvString argument(As<PvString>, BSTR text, int /*position*/) { return from_bstr(text); }
inline bool argument(As<bool>, VARIANT_BOOL value, int /*position*/) noexcept { return from_variant_bool(value); }

template <class To, class From>
    requires SameWidth<To, From>
To argument(As<To>, From value, int /*position*/) noexcept
{
    return static_cast<To>(value);
}

/// An address that the client passes as a number.
template <class Memory>
Memory* argument(As<Memory*>, INT_PTR address, int /*position*/) noexcept
{
    return reinterpret_cast<Memory*>(address);
}

/// An array's memory, locked for the duration of the call.
template <class Byte>
    requires(std::same_as<std::remove_const_t<Byte>, std::uint8_t>)
ArrayLock argument(As<Byte*>, SAFEARRAY* array, int position)
{
    return ArrayLock(array, position);
}

/// An object of this library, as the SDK object behind it.
template <class Sdk, std::derived_from<IUnknown> Interface>
Sdk* argument(As<Sdk*>, Interface* object, int position)
{
    return &sdk_as<Sdk>(object, position);
}
template <class Sdk, std::derived_from<IUnknown> Interface>
    requires std::is_class_v<Sdk>
Sdk& argument(As<Sdk>, Interface* object, int position)
{
    return sdk_as<Sdk>(object, position);
}
template <class Sdk, std::derived_from<IUnknown> Interface>
Sdk& argument(As<Sdk&>, Interface* object, int position)
{
    return sdk_as<Sdk>(object, position);
}

/// A value for the SDK to fill, and the out-parameter that takes it after the call.
template <class Value, class Out>
class Output {
public:
    Output(Out* out, int position) : out_(not_null(out, position)) {}
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output() = default;

    operator Value&() noexcept { return value_; }  // NOLINT(google-explicit-constructor)
    void deliver() { store(out_, value_); }

private:
    Out* out_;
    Value value_{};
};

template <class Value, class Out>
    requires(!std::derived_from<Out, IUnknown>)
Output<Value, Out> argument(As<Value&>, Out* out, int position)
{
    return {out, position};
}

}  // namespace vex::server
