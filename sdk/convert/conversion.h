// One conversion: the stages put together for a source and a destination, working on any range of lines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "sdk/convert/PvBufferConverter.h"
#include "sdk/convert/color.h"
#include "sdk/convert/formats.h"
#include "sdk/convert/lines.h"

namespace vex::convert {

/// Working memory of one thread. Grows and is kept, so that converting a sequence allocates once.
class Scratch {
public:
    /// Makes room for that many lines of 16-bit samples and 64 bytes each. May throw std::bad_alloc.
    void reserve(std::size_t width, std::size_t lines);
    template <class Sample>
    [[nodiscard]] Sample* line(std::size_t index) noexcept
    {
        return reinterpret_cast<Sample*>(memory_.data() + index * pitch_);
    }

private:
    std::vector<std::uint16_t> memory_;
    std::size_t pitch_ = 0;  // samples from line to line
};

struct Conversion {
    const Format* source_format = nullptr;
    const Format* destination_format = nullptr;
    ImageView<const std::uint8_t> source;
    ImageView<std::uint8_t> destination;
    PvBayerFilterType bayer_filter = PvBayerFilterSimple;
    ColorGains gains;
};

/// Lines that convert_lines needs in its scratch memory.
inline constexpr std::size_t scratch_lines = 16;

/// Whether the pixels are only copied.
[[nodiscard]] bool is_copy(const Conversion& conversion) noexcept;
/// Converts lines `first` to `last` - 1. Ranges may be converted at the same time, each with a scratch of its own.
void convert_lines(const Conversion& conversion, std::size_t first, std::size_t last, Scratch& scratch) noexcept;

}  // namespace vex::convert
