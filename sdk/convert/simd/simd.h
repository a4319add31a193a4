// Vector code, compiled for several instruction sets; what the machine has is found out when it runs. Every function
// here gives the bytes of the plain code in unpack, demosaic, color and pack, which it is tested against.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "sdk/convert/PvBufferConverter.h"
#include "sdk/convert/color.h"
#include "sdk/convert/formats.h"
#include "sdk/convert/lines.h"

namespace vex::convert::simd {

/// A part of a line: from the first pixel to the one before `last`.
struct Part {
    std::size_t first;
    std::size_t last;
    /// Written past the caches. Then where it goes is aligned; and finish_streaming() has to be called on the same
    /// thread before another may read what was written.
    bool streamed = false;
};
/// Parts of lines begin at multiples of so many pixels, and end there or with their line.
inline constexpr std::size_t part_alignment = 64;
/// Places to which streamed parts go are multiples of so many bytes.
inline constexpr std::size_t stream_alignment = 64;

/// Turns part of a line of `width` pixels into another pixel type. `from` is where the line begins, `to` where the part
/// goes. Reads no byte beyond the line and writes none beyond the line that `to` is a place in; those after the part
/// are undefined.
using LineKernel = void (*)(const PackedLine<const std::uint8_t>& from, std::size_t width, Part part,
                            const PackedLine<std::uint8_t>& to);

/// Null when there is none and the conversion has to go step by step, or when the machine has no vectors to speak of.
[[nodiscard]] LineKernel find_line_kernel(const Format& from, const Format& to) noexcept;

/// Lines that lie in different pages of memory. A processor fetches ahead by itself, but only within a page: it reads
/// faster with several of them at work.
inline constexpr std::size_t far_lines = 4;
template <class Byte>
using FarLines = std::array<Byte*, far_lines>;

/// Converts such lines in turn, a stretch of each at a time, and writes them past the caches; `to` is aligned for that.
using FarLinesKernel = void (*)(const FarLines<const std::uint8_t>& from, std::size_t width,
                                const FarLines<std::uint8_t>& to);

/// For conversions that would otherwise wait for what they read; null for others.
[[nodiscard]] FarLinesKernel find_far_lines_kernel(const Format& from, const Format& to) noexcept;

/// For the values of mono and Bayer types, whatever their colours: to samples of 8 or of 16 bits.
[[nodiscard]] LineKernel find_samples_kernel(const Format& from, unsigned bits) noexcept;

/// Kernels for the even and the odd lines of a Bayer image. Of the lines of samples that they get, the first is the one
/// above, the second the one to convert, the third the one below; see BayerLines. Samples are of 8 bits, or of 16 when
/// the type has more than 8.
using BayerKernels = std::array<LineKernel, 2>;

/// Null when there are none.
[[nodiscard]] BayerKernels find_bayer_kernels(const Format& from, const Format& to, PvBayerFilterType filter) noexcept;

/// Applies gains and offsets to that many samples in place: bytes, or words with the kernel's depth of low bits.
using GainKernel = void (*)(const LineGains& gains, std::size_t samples, std::uint8_t* line);

/// For bytes (8) or words with so many significant bits. Null when there is none.
[[nodiscard]] GainKernel find_gain_kernel(unsigned depth) noexcept;

/// Adds up the colours of those pixels of a line, or cells of two by two, of which no sample reaches `limit`. Samples
/// are of 8 bits or of 16.
using SumKernel = void (*)(const PackedLine<const std::uint8_t>& lines, std::size_t width, unsigned limit,
                           ColorSums& sums);

/// Of a line each for red, green and blue. Null when there is none.
[[nodiscard]] SumKernel find_pixel_sums_kernel(bool words) noexcept;
/// Of two lines, of even `width`, with red in the first of the first and blue in the second of the second; both greens
/// are added. Null when there is none.
[[nodiscard]] SumKernel find_cell_sums_kernel(bool words) noexcept;

/// Copies past the caches, meanwhile fetching `upcoming` into them. `to` and `bytes` are multiples of stream_alignment.
void stream_copy(std::uint8_t* to, const std::uint8_t* from, std::size_t bytes,
                 std::span<const std::uint8_t> upcoming) noexcept;
/// Makes what this thread has streamed visible to others.
void finish_streaming() noexcept;

/// A set of instructions. The plain code counts as one of them.
enum Target : std::int64_t { best_target = 0, plain_target = std::int64_t{1} << 62 };
/// Those with vectors that this machine can run, the best first.
[[nodiscard]] std::vector<Target> vector_targets();
[[nodiscard]] const char* target_name(Target target) noexcept;
/// For tests: what all conversions of this process use from now on. Not while one is running.
void force_target(Target target) noexcept;

}  // namespace vex::convert::simd
