// BT.601 over the full range, with 14 fractional bits.
#pragma once

namespace vex::convert::yuv {

inline constexpr int fraction_bits = 14;
inline constexpr int half = 1 << (fraction_bits - 1);

// The rows for Y, U and V sum to 1, 0 and 0, so that grey stays exactly grey.
inline constexpr int y_red = 4899, y_green = 9617, y_blue = 1868;
inline constexpr int u_red = -2765, u_green = -5427, u_blue = 8192;
inline constexpr int v_red = 8192, v_green = -6860, v_blue = -1332;
static_assert(y_red + y_green + y_blue == 1 << fraction_bits);
static_assert(u_red + u_green + u_blue == 0 && v_red + v_green + v_blue == 0);

inline constexpr int red_v = 22970, green_u = -5638, green_v = -11700, blue_u = 29032;

}  // namespace vex::convert::yuv
