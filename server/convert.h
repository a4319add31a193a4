// Values across the automation boundary: from the SDK's types to automation's and back.
#pragma once

#include <concepts>
#include <type_traits>

#include "sdk/base/PvString.h"
#include "server/com.h"
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

/// The pointer, or E_POINTER for null.
template <class T>
[[nodiscard]] T* not_null(T* pointer)
{
    if (pointer == nullptr) {
        throw HresultError{E_POINTER};
    }
    return pointer;
}

/// Writes a value the SDK returned to an out-parameter by the conversion rules. Throws E_POINTER for a null `out`.
inline void store(VARIANT_BOOL* out, bool value) { *not_null(out) = to_variant_bool(value); }
inline void store(BSTR* out, const PvString& value) { *not_null(out) = to_bstr(value); }
inline void store(INT_PTR* out, const void* value) { *not_null(out) = to_address(value); }
/// Numbers of the same width and enumerations pass by value, unchecked.
template <class To, class From>
    requires((std::is_arithmetic_v<To> || std::is_enum_v<To>) && (std::is_arithmetic_v<From> || std::is_enum_v<From>) &&
             !std::same_as<From, bool> && sizeof(To) == sizeof(From))
void store(To* out, From value)
{
    *not_null(out) = static_cast<To>(value);
}

}  // namespace vex::server
