// The families of line kernels, each in a file of its own. Null where a family has none for the pair.
#pragma once

#include "sdk/convert/simd/simd.h"

namespace vex::convert::simd {

/// From grey types; the samples of Bayer types are packed like these.
[[nodiscard]] LineKernel find_mono_kernel(const Format& from, const Format& to) noexcept;
/// Between types of RGB with interleaved bytes.
[[nodiscard]] LineKernel find_color_kernel(const Format& from, const Format& to) noexcept;
/// From RGB to other layouts and depths of it, and between its planes and everything else.
[[nodiscard]] LineKernel find_rgb_layout_kernel(const Format& from, const Format& to) noexcept;
/// From RGB packed more tightly than in bytes or in 16-bit words, to other RGB.
[[nodiscard]] LineKernel find_packed_rgb_kernel(const Format& from, const Format& to) noexcept;
/// From RGB to grey and YUV.
[[nodiscard]] LineKernel find_rgb_to_yuv_kernel(const Format& from, const Format& to) noexcept;
/// From YUV to RGB.
[[nodiscard]] LineKernel find_yuv_kernel(const Format& from, const Format& to) noexcept;
/// From YUV to grey and other YUV.
[[nodiscard]] LineKernel find_yuv_layout_kernel(const Format& from, const Format& to) noexcept;
[[nodiscard]] BayerKernels find_bayer_simple(const Format& from, const Format& to) noexcept;
[[nodiscard]] BayerKernels find_bayer_3x3(const Format& from, const Format& to) noexcept;

}  // namespace vex::convert::simd
