// Random images at any address, and what tests of the vector code begin and end with.
#pragma once

#include <gtest/gtest.h>

#include <random>

#include "sdk/convert/simd/simd.h"
#include "tests/sdk/convert/images.h"

namespace test {

class Random {
public:
    explicit Random(unsigned seed) : engine_(seed) {}
    unsigned below(unsigned limit) { return std::uniform_int_distribution<unsigned>(0, limit - 1)(engine_); }
    void fill(Bytes& bytes)
    {
        for (auto& byte : bytes) {
            byte = static_cast<std::uint8_t>(engine_());
        }
    }

private:
    std::mt19937 engine_;
};

/// An image in memory that begins at any address and ends with its last pixel.
struct Image {
    Image(std::uint32_t width, std::uint32_t height, PvPixelType type, Random& random)
    {
        const auto padding = static_cast<std::uint16_t>(random.below(3) == 0 ? random.below(70) : 0);
        const std::size_t skipped = random.below(65);
        EXPECT_TRUE(buffer.GetImage()->Alloc(width, height, type, padding).IsOK());
        bytes.resize(skipped + buffer.GetSize());
        EXPECT_TRUE(buffer.GetImage()->Attach(bytes.data() + skipped, width, height, type, padding).IsOK());
        random.fill(bytes);
    }
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    Bytes bytes;
    PvBuffer buffer;
};

/// Puts the choice of instructions back at the end of a test.
struct Simd : testing::Test {
    ~Simd() override { vex::convert::simd::force_target(vex::convert::simd::best_target); }
};

}  // namespace test
