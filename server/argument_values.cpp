#include "server/argument_values.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>

namespace vex::server {

namespace {

/// A whole number from -2^63 to 2^64 - 1.
struct Whole {
    bool negative;
    std::uint64_t bits;  // two's complement if negative
};

Whole whole(std::int64_t number) noexcept { return {number < 0, static_cast<std::uint64_t>(number)}; }

Whole natural(std::uint64_t number) noexcept { return {false, number}; }

/// Rounds, halves to even; nothing for what is outside the range.
std::optional<Whole> rounded(double number) noexcept
{
    constexpr double lowest = -9223372036854775808.0;
    constexpr double beyond_signed = 9223372036854775808.0;
    constexpr double beyond = 18446744073709551616.0;
    const double nearest = std::nearbyint(number);
    if (!(nearest >= lowest && nearest < beyond)) {
        return std::nullopt;
    }
    return nearest < beyond_signed ? whole(static_cast<std::int64_t>(nearest))
                                   : natural(static_cast<std::uint64_t>(nearest));
}

constexpr std::int64_t currency_unit = 10000;

Whole rounded_currency(std::int64_t currency) noexcept
{
    std::int64_t units = currency / currency_unit;
    const std::int64_t rest = std::abs(currency % currency_unit);
    if (rest > currency_unit / 2 || (rest == currency_unit / 2 && units % 2 != 0)) {
        units += currency < 0 ? -1 : 1;
    }
    return whole(units);
}

bool is_whole(VARTYPE type) noexcept
{
    switch (type) {
    case VT_I1:
    case VT_I2:
    case VT_I4:
    case VT_I8:
    case VT_INT:
    case VT_UI1:
    case VT_UI2:
    case VT_UI4:
    case VT_UI8:
    case VT_UINT: return true;
    default: return false;
    }
}

/// Whether a decimal is a whole number whose sign and 64 bits say all.
bool is_whole(const DECIMAL& number) noexcept
{
    constexpr std::uint64_t most_below_zero = 1ULL << 63;
    return number.scale == 0 && number.Hi32 == 0 && (number.sign == 0 || number.Lo64 <= most_below_zero);
}

/// Whether to_whole takes the value. Truth, texts and other decimals are left to the system's conversions.
bool has_whole_form(const VARIANT& value) noexcept
{
    const VARTYPE type = V_VT(&value);
    return is_whole(type) || type == VT_R4 || type == VT_R8 || type == VT_DATE || type == VT_CY ||
           (type == VT_DECIMAL && is_whole(V_DECIMAL(&value)));
}

std::optional<Whole> to_whole(const VARIANT& value) noexcept
{
    switch (V_VT(&value)) {
    case VT_I1: return whole(static_cast<signed char>(V_I1(&value)));
    case VT_I2: return whole(V_I2(&value));
    case VT_I4:
    case VT_INT: return whole(V_I4(&value));
    case VT_I8: return whole(V_I8(&value));
    case VT_UI1: return natural(V_UI1(&value));
    case VT_UI2: return natural(V_UI2(&value));
    case VT_UI4:
    case VT_UINT: return natural(V_UI4(&value));
    case VT_UI8: return natural(V_UI8(&value));
    case VT_R4: return rounded(static_cast<double>(V_R4(&value)));
    case VT_R8: return rounded(V_R8(&value));
    case VT_DATE: return rounded(V_DATE(&value));
    case VT_CY: return rounded_currency(V_CY(&value).int64);
    case VT_DECIMAL: {
        const DECIMAL& number = V_DECIMAL(&value);
        return number.sign != 0 ? whole(static_cast<std::int64_t>(0 - number.Lo64)) : natural(number.Lo64);
    }
    default: return std::nullopt;
    }
}

template <class T>
HRESULT store_whole(T& place, const Whole& number) noexcept
{
    const bool fits =
        number.negative ? std::in_range<T>(static_cast<std::int64_t>(number.bits)) : std::in_range<T>(number.bits);
    if (!fits) {
        return DISP_E_OVERFLOW;
    }
    place = static_cast<T>(number.bits);
    return S_OK;
}

HRESULT store_currency(CY& place, const Whole& number) noexcept
{
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max() / currency_unit;
    std::int64_t units = 0;
    if (FAILED(store_whole(units, number)) || units > most || units < -most) {
        return DISP_E_OVERFLOW;
    }
    place.int64 = units * currency_unit;
    return S_OK;
}

HRESULT store_whole(VARIANT& to, const Whole& number, VARTYPE type) noexcept
{
    switch (type) {
    case VT_CY: return store_currency(V_CY(&to), number);
    case VT_I1: {
        signed char narrow = 0;
        const HRESULT stored = store_whole(narrow, number);
        V_I1(&to) = static_cast<CHAR>(narrow);
        return stored;
    }
    case VT_I2: return store_whole(V_I2(&to), number);
    case VT_I4:
    case VT_INT: return store_whole(V_I4(&to), number);
    case VT_I8: return store_whole(V_I8(&to), number);
    case VT_UI1: return store_whole(V_UI1(&to), number);
    case VT_UI2: return store_whole(V_UI2(&to), number);
    case VT_UI4:
    case VT_UINT: return store_whole(V_UI4(&to), number);
    default: return store_whole(V_UI8(&to), number);
    }
}

std::size_t size_of(VARTYPE type) noexcept
{
    switch (type) {
    case VT_I1:
    case VT_UI1: return 1;
    case VT_I2:
    case VT_UI2:
    case VT_BOOL: return 2;
    case VT_I4:
    case VT_INT:
    case VT_UI4:
    case VT_UINT:
    case VT_R4: return 4;
    default: return 8;
    }
}

/// What a reference to a plain value refers to, without owning it.
VARIANT dereferenced(const VARIANT& value) noexcept
{
    if (!(V_VT(&value) & VT_BYREF)) {
        return value;
    }
    VARIANT seen{};
    const auto type = static_cast<VARTYPE>(V_VT(&value) & ~VT_BYREF);
    if (type == VT_DECIMAL) {
        V_DECIMAL(&seen) = *V_DECIMALREF(&value);  // it fills the VARIANT, but for the type
    } else {
        std::memcpy(&V_NONE(&seen), V_BYREF(&value), size_of(type));
    }
    V_VT(&seen) = type;
    return seen;
}

}  // namespace

bool is_plain(VARTYPE type) noexcept
{
    switch (type) {
    case VT_R4:
    case VT_R8:
    case VT_CY:
    case VT_DATE:
    case VT_DECIMAL:
    case VT_BOOL:
    case VT_BSTR: return true;
    default: return is_whole(type);
    }
}

HRESULT change_type(VARIANT& to, const VARIANT& from, VARTYPE type) noexcept
{
    if (!is_plain(static_cast<VARTYPE>(V_VT(&from) & ~VT_BYREF))) {
        return VariantChangeType(&to, const_cast<VARIANT*>(&from), 0, type);
    }
    VARIANT value = dereferenced(from);
    // a currency keeps four digits of a fraction
    const bool is_target = is_whole(type) || (type == VT_CY && is_whole(V_VT(&value)));
    if (!is_target || !has_whole_form(value)) {
        return VariantChangeType(&to, &value, 0, type);
    }
    const std::optional<Whole> number = to_whole(value);
    const HRESULT stored = number ? store_whole(to, *number, type) : DISP_E_OVERFLOW;
    if (SUCCEEDED(stored)) {
        V_VT(&to) = type;
    }
    return stored;
}

void move_into(const VARIANT& place, VARIANT& value) noexcept
{
    switch (V_VT(&value)) {
    case VT_DECIMAL: {
        DECIMAL& target = *V_DECIMALREF(&place);
        // the variable may be the inside of a VARIANT, whose type stands there
        V_DECIMAL(&value).wReserved = target.wReserved;
        target = V_DECIMAL(&value);
        break;
    }
    case VT_BSTR: SysFreeString(std::exchange(*V_BSTRREF(&place), V_BSTR(&value))); break;
    default: std::memcpy(V_BYREF(&place), &V_NONE(&value), size_of(V_VT(&value)));
    }
    V_VT(&value) = VT_EMPTY;
}

}  // namespace vex::server
