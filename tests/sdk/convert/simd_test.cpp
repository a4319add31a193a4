// The vector code of every instruction set that this machine has, against the plain code.
#include "sdk/convert/simd/simd.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <set>
#include <string>

#include "sdk/convert/PvBufferConverter.h"
#include "sdk/convert/PvFilterRGB.h"
#include "tests/sdk/convert/random_images.h"

using namespace vex;

namespace {

using test::Bytes;
using test::Image;
using test::Random;
using test::Simd;
namespace simd = convert::simd;

PvFilterRGB some_filter()
{
    PvFilterRGB filter;
    filter.SetGainR(1.37);
    filter.SetGainG(0.61);
    filter.SetGainB(15.9);
    filter.SetOffsetR(-11);
    filter.SetOffsetG(40);
    filter.SetOffsetB(0);
    return filter;
}

/// The destination's bytes, its padding and what lies before it included, after the conversion by each target must be
/// those that the plain code leaves.
void compare_targets(PvPixelType from, PvPixelType to, std::uint32_t width, std::uint32_t height,
                     PvBufferConverter& converter, Random& random)
{
    Image in(width, height, from, random);
    Image out(width, height, to, random);
    const Bytes before = out.bytes;
    simd::force_target(simd::plain_target);
    ASSERT_TRUE(converter.Convert(&in.buffer, &out.buffer).IsOK());
    const Bytes expected = out.bytes;
    simd::force_target(simd::best_target);
    for (const auto target : simd::vector_targets()) {
        simd::force_target(target);
        out.bytes = before;
        ASSERT_TRUE(converter.Convert(&in.buffer, &out.buffer).IsOK());
        const auto differs = std::mismatch(expected.begin(), expected.end(), out.bytes.begin());
        ASSERT_TRUE(differs.first == expected.end())
            << simd::target_name(target) << ", " << std::hex << from << " to " << to << std::dec << ", " << width
            << " x " << height << ", byte " << differs.first - expected.begin() << " of " << expected.size() << " is "
            << int{*differs.second} << ", not " << int{*differs.first};
    }
}

TEST_F(Simd, ForcedTargetsAreTheOnesUsed)
{
    const auto& from = *convert::find_format(PvPixelMono8);
    const auto& to = *convert::find_format(PvPixelBGRA8Packed);
    simd::force_target(simd::plain_target);
    EXPECT_EQ(simd::find_line_kernel(from, to), nullptr);
    simd::force_target(simd::best_target);
    std::set<simd::LineKernel> kernels;
    std::string names;
    for (const auto target : simd::vector_targets()) {
        simd::force_target(target);
        const auto kernel = simd::find_line_kernel(from, to);
        EXPECT_NE(kernel, nullptr) << simd::target_name(target);
        EXPECT_TRUE(kernels.insert(kernel).second) << simd::target_name(target);
        names += names.empty() ? "" : " ";
        names += simd::target_name(target);
    }
    RecordProperty("targets", names);
}

TEST_F(Simd, EveryTargetGivesTheBytesOfThePlainCode)
{
    const unsigned seed = std::random_device()();
    RecordProperty("seed", std::to_string(seed));
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    Random random(seed);
    PvBufferConverter plain(1);
    PvBufferConverter filtered(1);
    ASSERT_TRUE(filtered.SetRGBFilter(some_filter()).IsOK());
    for (const auto from : pv_pixel_types) {
        for (const auto to : pv_pixel_types) {
            if (!PvBufferConverter::IsConversionSupported(from, to)) {
                continue;
            }
            for (int round = 0; round < 8; ++round) {
                const auto filter = round % 2 == 0 ? PvBayerFilterSimple : PvBayerFilter3X3;
                auto& converter = round % 4 == 3 ? filtered : plain;
                ASSERT_TRUE(converter.SetBayerFilter(filter).IsOK());
                const unsigned width = 1 + random.below(round < 4 ? 40 : 300);
                compare_targets(from, to, width, 1 + random.below(6), converter, random);
                if (HasFatalFailure()) {
                    return;
                }
            }
        }
    }
}

/// What every conversion passes through where there are vectors: a kernel to the destination, or one to planes of RGB
/// and one from these.
TEST_F(Simd, EveryConversionOfColoursIsOfKernels)
{
    const bool vectors = !simd::vector_targets().empty();
    for (const auto from_type : pv_pixel_types) {
        for (const auto to_type : pv_pixel_types) {
            const auto& from = *convert::find_format(from_type);
            const auto& to = *convert::find_format(to_type);
            if (from_type == to_type || !to.destination || from.model == convert::Model::bayer) {
                continue;
            }
            const auto& planes = *convert::find_format(from.depth > 8 ? PvPixelRGB16Planar : PvPixelRGB8Planar);
            const bool by_planes = (from.model == convert::Model::rgb || to.model == convert::Model::rgb) &&
                                   simd::find_line_kernel(from, planes) != nullptr &&
                                   simd::find_line_kernel(planes, to) != nullptr;
            EXPECT_EQ(by_planes || simd::find_line_kernel(from, to) != nullptr, vectors)
                << std::hex << from_type << " to " << to_type;
        }
    }
}

TEST_F(Simd, WidthsAroundTheVectorsGiveTheBytesOfThePlainCode)
{
    Random random(7);
    PvBufferConverter converter(1);
    for (const auto from :
         {PvPixelMono8, PvPixelMono12Packed, PvPixelBayerGB8, PvPixelBayerGR10Packed, PvPixelYUV411Packed,
          PvPixelYUV422Packed, PvPixelYUV444Packed, PvPixelRGB8Packed, PvPixelBGR12Packed, PvPixelBGR10V1Packed,
          PvPixelBGR10V2Packed, PvPixelRGB12V1Packed, PvPixelWinRGB16}) {
        for (const auto to : {PvPixelBGRA8Packed, PvPixelMono8, PvPixelMono16, PvPixelRGB8Packed, PvPixelRGB16Packed,
                              PvPixelYUV422Packed, PvPixelYUV444Packed}) {
            for (unsigned width = 1; width < 140; ++width) {
                if (from == to) {
                    continue;
                }
                compare_targets(from, to, width, 2, converter, random);
                if (HasFatalFailure()) {
                    return;
                }
            }
        }
    }
}

TEST_F(Simd, LargeImagesGiveTheBytesOfThePlainCodeOnAnyNumberOfThreads)
{
    Random random(8);
    constexpr std::array destinations{PvPixelBGRA8Packed, PvPixelMono16,      PvPixelRGB8Planar,
                                      PvPixelWinRGB24,    PvPixelRGB16Packed, PvPixelYUV422Packed};
    std::size_t turn = 0;
    for (const int threads : {1, 2, 5}) {
        for (const auto from : {PvPixelMono8, PvPixelMono12Packed, PvPixelBayerRG8, PvPixelBayerBG12Packed,
                                PvPixelYUV411Packed, PvPixelYUV422Packed, PvPixelRGB8Packed, PvPixelRGB10Planar,
                                PvPixelBGR10V2Packed, PvPixelRGB12V1Packed, PvPixelWinRGB16}) {
            // every other destination, the others with the next number of threads; of sizes that go past the caches
            for (std::size_t i = ++turn % 2; i < destinations.size(); i += 2) {
                PvBufferConverter converter(threads);
                ASSERT_TRUE(converter.SetBayerFilter(PvBayerFilter3X3).IsOK());
                if (from == destinations[i]) {
                    continue;
                }
                compare_targets(from, destinations[i], 701, 509, converter, random);
                if (HasFatalFailure()) {
                    return;
                }
            }
        }
    }
}

TEST_F(Simd, LinesFarApartGiveTheBytesOfThePlainCode)
{
    Random random(9);
    constexpr std::uint32_t width = 1001, height = 1107;
    for (const int threads : {1, 2}) {
        for (const auto from : {PvPixelMono10, PvPixelMono12, PvPixelMono14, PvPixelMono16}) {
            PvBufferConverter converter(threads);
            Image in(width, height, from, random);
            const auto out = test::blank(width, height, PvPixelMono8, 1024 - width);
            // each line begins with a cache line; only then lines are converted in turn
            ASSERT_EQ(reinterpret_cast<std::uintptr_t>(out->GetDataPointer()) % simd::stream_alignment, 0u);
            const auto converted_by = [&](simd::Target target) {
                simd::force_target(target);
                std::fill_n(out->GetDataPointer(), out->GetSize(), std::uint8_t{0xEE});
                EXPECT_TRUE(converter.Convert(&in.buffer, out.get()).IsOK());
                return test::bytes_of(*out);
            };
            const Bytes expected = converted_by(simd::plain_target);
            simd::force_target(simd::best_target);
            for (const auto target : simd::vector_targets()) {
                EXPECT_TRUE(converted_by(target) == expected) << simd::target_name(target) << ", " << from;
            }
        }
    }
}

TEST_F(Simd, VectorsAreFoundWhereTheProcessorHasThem)
{
    for (const auto target : simd::vector_targets()) {
        EXPECT_STRNE(simd::target_name(target), "SCALAR");
    }
#if defined(__aarch64__)
    EXPECT_FALSE(simd::vector_targets().empty());
#elif defined(__x86_64__)
    EXPECT_EQ(simd::vector_targets().empty(), !__builtin_cpu_supports("sse4.2"));
#endif
}

}  // namespace
