// Numbers of automation's types, written and read without automation's own conversions.
#pragma once

#include <array>
#include <limits>

#include "server/com.h"

/// Whole numbers of 64 bits, signed and unsigned, are exact in it.
using Exact = long double;
static_assert(std::numeric_limits<Exact>::digits >= 64);

struct NumberType {
    VARTYPE type;
    const char* name;
    Exact lowest;
    Exact highest;
    bool whole;
};

inline constexpr std::array number_types{
    NumberType{VT_I1, "I1", -128, 127, true},
    NumberType{VT_I2, "I2", -32768, 32767, true},
    NumberType{VT_I4, "I4", -2147483648.0L, 2147483647, true},
    NumberType{VT_INT, "INT", -2147483648.0L, 2147483647, true},
    NumberType{VT_I8, "I8", -9223372036854775808.0L, 9223372036854775807.0L, true},
    NumberType{VT_UI1, "UI1", 0, 255, true},
    NumberType{VT_UI2, "UI2", 0, 65535, true},
    NumberType{VT_UI4, "UI4", 0, 4294967295, true},
    NumberType{VT_UINT, "UINT", 0, 4294967295, true},
    NumberType{VT_UI8, "UI8", 0, 18446744073709551615.0L, true},
    NumberType{VT_R4, "R4", -3.4e38L, 3.4e38L, false},
    NumberType{VT_R8, "R8", -1.7e308L, 1.7e308L, false},
    NumberType{VT_CY, "CY", -922337203685477.5808L, 922337203685477.5807L, false},
    NumberType{VT_DECIMAL, "DECIMAL", -79228162514264337593543950335.0L, 79228162514264337593543950335.0L, false},
    NumberType{VT_DATE, "DATE", -657434, 2958465, false},
};

/// What a type can lose, at every edge, and what rounds.
inline constexpr Exact telling_numbers[] = {
    0,
    1,
    -1,
    5,
    127,
    128,
    -128,
    -129,
    255,
    256,
    -200,
    32767,
    32768,
    -32768,
    -32769,
    65535,
    65536,
    70000,
    2958465,
    2958467,
    2147483647,
    2147483648,
    -2147483648.0L,
    -2147483649.0L,
    4294967295,
    4294967296,
    9007199254740993,
    922337203685477,
    922337203685478,
    -922337203685478,
    9223372036854775807.0L,
    9223372036854775808.0L,
    -9223372036854775808.0L,
    18446744073709551615.0L,
    18446744073709551616.0L,
    0.5L,
    2.5L,
    3.5L,
    -0.5L,
    -1.5L,
    255.5L,
};

/// Writes a number as a `type`; false where that type does not hold exactly this number.
[[nodiscard]] bool write_number(VARTYPE type, Exact number, void* place);
[[nodiscard]] Exact read_number(VARTYPE type, const void* place);

/// The number as `type` holds it after rounding, halves to even; false where it does not fit.
[[nodiscard]] bool fitted(const NumberType& type, Exact number, Exact& held);
