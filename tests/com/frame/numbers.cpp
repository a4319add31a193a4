#include "tests/com/frame/numbers.h"

#include <cmath>
#include <cstring>

namespace {

template <class T>
bool write(Exact number, void* place)
{
    const auto value = static_cast<T>(number);
    std::memcpy(place, &value, sizeof value);
    return static_cast<Exact>(value) == number;
}

template <class T>
Exact read(const void* place)
{
    T value;
    std::memcpy(&value, place, sizeof value);
    return static_cast<Exact>(value);
}

bool write_decimal(Exact number, void* place)
{
    DECIMAL value{};
    value.scale = number != std::nearbyint(number) ? 1 : 0;
    value.sign = number < 0 ? DECIMAL_NEG : 0;
    const Exact digits = std::fabs(number) * (value.scale != 0 ? 10 : 1);
    const Exact high = std::floor(digits / 18446744073709551616.0L);
    value.Hi32 = static_cast<ULONG>(high);
    value.Lo64 = static_cast<ULONGLONG>(digits - high * 18446744073709551616.0L);
    std::memcpy(place, &value, sizeof value);
    return digits == std::nearbyint(digits);
}

Exact read_decimal(const void* place)
{
    DECIMAL value;
    std::memcpy(&value, place, sizeof value);
    const Exact digits = static_cast<Exact>(value.Lo64) + static_cast<Exact>(value.Hi32) * 18446744073709551616.0L;
    const Exact number = digits / std::pow(10.0L, static_cast<int>(value.scale));
    return value.sign & DECIMAL_NEG ? -number : number;
}

}  // namespace

bool write_number(VARTYPE type, Exact number, void* place)
{
    for (const NumberType& known : number_types) {
        Exact held = 0;
        if (known.type == type && (!fitted(known, number, held) || (known.whole && held != number))) {
            return false;
        }
    }
    switch (type) {
    case VT_I1: return write<signed char>(number, place);
    case VT_I2: return write<short>(number, place);
    case VT_I4:
    case VT_INT: return write<int>(number, place);
    case VT_I8: return write<long long>(number, place);
    case VT_UI1: return write<unsigned char>(number, place);
    case VT_UI2: return write<unsigned short>(number, place);
    case VT_UI4:
    case VT_UINT: return write<unsigned int>(number, place);
    case VT_UI8: return write<unsigned long long>(number, place);
    case VT_R4: return write<float>(number, place);
    case VT_R8:
    case VT_DATE: return write<double>(number, place);
    case VT_CY: return write<long long>(number * 10000, place);
    case VT_DECIMAL: return write_decimal(number, place);
    default: return false;
    }
}

Exact read_number(VARTYPE type, const void* place)
{
    switch (type) {
    case VT_I1: return read<signed char>(place);
    case VT_I2:
    case VT_BOOL: return read<short>(place);
    case VT_I4:
    case VT_INT: return read<int>(place);
    case VT_I8: return read<long long>(place);
    case VT_UI1: return read<unsigned char>(place);
    case VT_UI2: return read<unsigned short>(place);
    case VT_UI4:
    case VT_UINT: return read<unsigned int>(place);
    case VT_UI8: return read<unsigned long long>(place);
    case VT_R4: return read<float>(place);
    case VT_R8:
    case VT_DATE: return read<double>(place);
    case VT_CY: return read<long long>(place) / 10000;
    case VT_DECIMAL: return read_decimal(place);
    default: return std::nan("");
    }
}

bool fitted(const NumberType& type, Exact number, Exact& held)
{
    switch (type.type) {
    case VT_R4: held = static_cast<float>(number); break;
    case VT_R8:
    case VT_DATE: held = static_cast<double>(number); break;
    default: held = type.whole ? std::nearbyint(number) : number;
    }
    return held >= type.lowest && held <= type.highest;
}
