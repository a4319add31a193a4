// Lines of pixels: as they lie in an image, and unpacked into one array a channel.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace vex::convert {

/// Channels of an unpacked line, `width` samples each. Samples are scaled to their type's full range. Channel 0 is
/// grey, the Bayer value, red or Y; 1 green or U; 2 blue or V. Alpha has 8 bits always; null means opaque when packed
/// and not wanted when unpacked.
template <class Sample>
struct Channels {
    std::array<Sample*, 3> color{};
    std::uint8_t* alpha = nullptr;
};

/// Where a line lies in an image: one address, or three in a planar one.
template <class Byte>
using PackedLine = std::array<Byte*, 3>;

/// An image's memory. Lines of the planes follow each other.
template <class Byte>
struct ImageView {
    Byte* data = nullptr;
    std::size_t width = 0;
    std::size_t height = 0;
    std::size_t stride = 0;      ///< bytes from one line to the next
    std::size_t line_bytes = 0;  ///< of a plane's line
    std::size_t planes = 1;

    [[nodiscard]] PackedLine<Byte> line(std::size_t y) const noexcept
    {
        Byte* first = data + y * stride;
        const std::size_t plane = planes > 1 ? stride * height : 0;
        return {first, first + plane, first + 2 * plane};
    }
    /// The bytes of a line of the first plane; none beyond the last.
    [[nodiscard]] std::span<Byte> bytes_of(std::size_t y) const noexcept
    {
        return y < height ? std::span<Byte>{data + y * stride, line_bytes} : std::span<Byte>{};
    }
};

/// `bits` low bits of `value` scaled to 16, the upper bits repeated below; `bits` is 8 to 16.
[[nodiscard]] constexpr std::uint16_t widen(unsigned value, unsigned bits) noexcept
{
    const unsigned aligned = value << (16 - bits);
    return static_cast<std::uint16_t>(aligned | aligned >> bits);
}

[[nodiscard]] inline unsigned load16(const std::uint8_t* at) noexcept
{
    return static_cast<unsigned>(at[0] | at[1] << 8);
}

inline void store16(std::uint8_t* at, unsigned value) noexcept
{
    at[0] = static_cast<std::uint8_t>(value);
    at[1] = static_cast<std::uint8_t>(value >> 8);
}

}  // namespace vex::convert
