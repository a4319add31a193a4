// Images for tests: made from bytes, read back as bytes.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "sdk/buffer/PvBuffer.h"

namespace test {

using Bytes = std::vector<std::uint8_t>;

inline std::unique_ptr<PvBuffer> blank(std::uint32_t width, std::uint32_t height, PvPixelType type,
                                       std::uint16_t padding_x = 0, std::uint16_t padding_y = 0)
{
    auto buffer = std::make_unique<PvBuffer>();
    EXPECT_TRUE(buffer->GetImage()->Alloc(width, height, type, padding_x, padding_y).IsOK());
    return buffer;
}

/// An image whose bytes begin with these.
inline std::unique_ptr<PvBuffer> image(std::uint32_t width, std::uint32_t height, PvPixelType type, const Bytes& bytes,
                                       std::uint16_t padding_x = 0)
{
    auto buffer = blank(width, height, type, padding_x);
    EXPECT_LE(bytes.size(), buffer->GetSize());
    std::memcpy(buffer->GetDataPointer(), bytes.data(), std::min<std::size_t>(bytes.size(), buffer->GetSize()));
    return buffer;
}

inline Bytes bytes_of(const PvBuffer& buffer)
{
    return {buffer.GetDataPointer(), buffer.GetDataPointer() + buffer.GetSize()};
}

inline void fill_random(PvBuffer& buffer, unsigned seed)
{
    std::mt19937 random(seed);
    for (std::uint32_t i = 0; i < buffer.GetSize(); ++i) {
        buffer.GetDataPointer()[i] = static_cast<std::uint8_t>(random());
    }
}

}  // namespace test
