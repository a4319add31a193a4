// The buffers of the stream's fuzz target, and where they are.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "sdk/buffer/PvBuffer.h"
#include "tests/fuzz/input.h"

namespace fuzz {

constexpr std::size_t guard = 64;

/// A buffer over a part of its memory. The rest must stay as it was.
struct Guarded {
    enum class Place { client, queue, assembler };

    explicit Guarded(std::size_t bytes) : size(bytes), memory(guard + bytes + guard, 0)
    {
        require(buffer.Attach(memory.data() + guard, static_cast<std::uint32_t>(bytes)).IsOK());
    }
    void check_guards() const
    {
        const auto untouched = [](std::uint8_t byte) { return byte == 0; };
        require(std::all_of(memory.begin(), memory.begin() + guard, untouched));
        require(std::all_of(memory.end() - guard, memory.end(), untouched));
    }
    [[nodiscard]] View content() const { return View(memory).subspan(guard, size); }

    std::size_t size;
    std::vector<std::uint8_t> memory;
    std::vector<std::uint8_t> handed_back;  ///< what it held when the client got it
    PvBuffer buffer;
    Place place = Place::client;
};

}  // namespace fuzz
