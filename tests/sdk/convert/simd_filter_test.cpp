// Filters by the vector code of every instruction set that this machine has, against the plain code.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "sdk/convert/PvFilterRGB.h"
#include "tests/sdk/convert/random_images.h"

using namespace vex;

namespace {

using test::Bytes;
using test::Image;
using test::Random;
using test::Simd;
namespace simd = convert::simd;

PvFilterRGB random_filter(Random& random)
{
    PvFilterRGB filter;
    const auto gain = [&] {
        constexpr std::array limits{0.0, 1.0, 15.9998, 16.0};
        return random.below(3) == 0 ? limits[random.below(4)] : random.below(17 * 4096) / 4096.0;
    };
    const auto offset = [&] { return random.below(3) == 0 ? 0 : static_cast<int>(random.below(513)) - 256; };
    filter.SetGainR(gain());
    filter.SetGainG(gain());
    filter.SetGainB(gain());
    filter.SetOffsetR(offset());
    filter.SetOffsetG(offset());
    filter.SetOffsetB(offset());
    return filter;
}

/// Calls compare(type, image, random) for every pixel type and some images of it.
template <class Compare>
void with_random_images(Compare&& compare)
{
    const unsigned seed = std::random_device()();
    testing::Test::RecordProperty("seed", std::to_string(seed));
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    Random random(seed);
    for (const auto type : pv_pixel_types) {
        for (int round = 0; round < 24; ++round) {
            const unsigned width = 1 + random.below(round < 12 ? 40 : 400);
            Image image(width, 1 + random.below(6), type, random);
            SCOPED_TRACE(testing::Message() << std::hex << type << std::dec << ", width " << width);
            compare(image, random);
            if (testing::Test::HasFatalFailure()) {
                return;
            }
        }
    }
}

TEST_F(Simd, EveryTargetAppliesGainsAndOffsetsLikeThePlainCode)
{
    with_random_images([](Image& image, Random& random) {
        auto filter = random_filter(random);
        const Bytes before = image.bytes;
        simd::force_target(simd::plain_target);
        const bool applied = filter.Apply(&image.buffer).IsOK();
        const Bytes expected = image.bytes;
        simd::force_target(simd::best_target);
        for (const auto target : simd::vector_targets()) {
            simd::force_target(target);
            image.bytes = before;
            ASSERT_EQ(filter.Apply(&image.buffer).IsOK(), applied);
            ASSERT_TRUE(image.bytes == expected) << simd::target_name(target);
        }
    });
}

TEST_F(Simd, EveryTargetBalancesLikeThePlainCode)
{
    with_random_images([](Image& image, Random& random) {
        // of some images most pixels count, of others few
        if (const unsigned shift = random.below(3); shift > 0) {
            for (auto& byte : image.bytes) {
                byte = static_cast<std::uint8_t>(byte >> shift);
            }
        }
        simd::force_target(simd::plain_target);
        PvFilterRGB plain;
        const auto expected = plain.WhiteBalance(&image.buffer);
        simd::force_target(simd::best_target);
        for (const auto target : simd::vector_targets()) {
            simd::force_target(target);
            PvFilterRGB filter;
            ASSERT_EQ(filter.WhiteBalance(&image.buffer).GetCode(), expected.GetCode()) << simd::target_name(target);
            ASSERT_EQ(filter.GetGainR(), plain.GetGainR()) << simd::target_name(target);
            ASSERT_EQ(filter.GetGainG(), plain.GetGainG()) << simd::target_name(target);
            ASSERT_EQ(filter.GetGainB(), plain.GetGainB()) << simd::target_name(target);
        }
    });
}

TEST_F(Simd, EveryValueIsScaledByEveryKindOfGainLikeThePlainCode)
{
    for (const auto type : {PvPixelRGB8Planar, PvPixelRGB10Planar, PvPixelRGB12Planar, PvPixelRGB16Planar}) {
        constexpr std::uint32_t values = 65536;
        const auto image = test::blank(values, 1, type);
        const std::size_t sample_bytes = type == PvPixelRGB8Planar ? 1 : 2;
        Bytes all(image->GetSize());
        for (std::size_t i = 0; i < all.size(); ++i) {
            all[i] = static_cast<std::uint8_t>(i / sample_bytes % values >> (8 * (i % sample_bytes)));
        }
        Random random(11);
        for (int round = 0; round < 40; ++round) {
            auto filter = random_filter(random);
            const auto filtered = [&](simd::Target target) {
                simd::force_target(target);
                std::copy(all.begin(), all.end(), image->GetDataPointer());
                EXPECT_TRUE(filter.Apply(image.get()).IsOK());
                return test::bytes_of(*image);
            };
            const Bytes expected = filtered(simd::plain_target);
            simd::force_target(simd::best_target);
            for (const auto target : simd::vector_targets()) {
                ASSERT_TRUE(filtered(target) == expected) << simd::target_name(target) << ", round " << round;
            }
        }
    }
}

}  // namespace
