// The libraries that the converter is measured against.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "sdk/buffer/PvImage.h"
#include "sdk/convert/PvBufferConverter.h"

namespace bench {

using Byte = std::uint8_t;

/// A conversion of images that lie in memory without padding.
struct Task {
    PvPixelType from = PvPixelUndefined;
    PvPixelType to = PvPixelUndefined;
    PvBayerFilterType filter = PvBayerFilterSimple;
};

struct Size {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    [[nodiscard]] std::size_t pixels() const { return std::size_t{width} * height; }
};

using Convert = std::function<void(const Byte* from, Byte* to)>;

struct Contestant {
    std::string name;
    Convert convert;
};

/// Those that can do the task. `threads` is 1 or that of all processors.
[[nodiscard]] std::vector<Contestant> peers_for(const Task& task, Size size, unsigned threads);

/// Each adds itself, in a file of its own.
void add_opencv(const Task& task, Size size, unsigned threads, std::vector<Contestant>& peers);
void add_swscale(const Task& task, Size size, unsigned threads, std::vector<Contestant>& peers);

}  // namespace bench
