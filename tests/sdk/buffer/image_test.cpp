#include "sdk/buffer/PvImage.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/buffer/acquisition.h"
#include "sdk/buffer/memory.h"
#include "sdk/buffer/pixel_type_names.h"

using namespace vex;

namespace {

TEST(PixelType, ThereAre57AndEachCodeTellsItsSizeAndKind)
{
    EXPECT_EQ(pv_pixel_types.size(), 57u);
    for (const auto type : pv_pixel_types) {
        const auto bits = PvImage::GetPixelBitCount(type);
        EXPECT_TRUE(bits == 8 || bits == 12 || bits == 16 || bits == 24 || bits == 32 || bits == 36 || bits == 48);
        EXPECT_TRUE((type >> 24) == 1 || (type >> 24) == 2);
    }
    EXPECT_EQ(PvImage::GetPixelBitCount(PvPixelRGB12V1Packed), 36u);
    EXPECT_EQ(PvImage::GetPixelBitCount(PvPixelYUV411Packed), 12u);
    EXPECT_EQ(PvImage::GetPixelBitCount(PvPixelUndefined), 0u);
}

TEST(PixelType, IsFoundByItsNameInEitherCase)
{
    EXPECT_EQ(pixel_type_name(PvPixelBayerRG12Packed), "BayerRG12Packed");
    EXPECT_EQ(pixel_type_name(PvPixelUndefined), "");
    EXPECT_EQ(pixel_type_of_name("bayerrg12packed"), PvPixelBayerRG12Packed);
    EXPECT_EQ(pixel_type_of_name("BayerRG12"), PvPixelBayerRG12);
    EXPECT_EQ(pixel_type_of_name("BayerRG12Packe"), std::nullopt);
    EXPECT_EQ(pixel_type_of_name(""), std::nullopt);
    for (const auto type : pv_pixel_types) {
        EXPECT_EQ(pixel_type_of_name(pixel_type_name(type)), type);
    }
}

TEST(Image, AllocSetsTheGeometryAndAllocatesWhatItNeeds)
{
    PvBuffer buffer;
    auto& image = *buffer.GetImage();
    ASSERT_TRUE(image.Alloc(640, 480, PvPixelMono8).IsOK());
    EXPECT_EQ(image.GetWidth(), 640u);
    EXPECT_EQ(image.GetHeight(), 480u);
    EXPECT_EQ(image.GetPixelType(), PvPixelMono8);
    EXPECT_EQ(image.GetBitsPerPixel(), 8u);
    EXPECT_EQ(image.GetRequiredSize(), 307200u);
    EXPECT_EQ(image.GetImageSize(), 307200u);
    EXPECT_EQ(image.GetEffectiveImageSize(), 307200u);
    EXPECT_EQ(buffer.GetSize(), 307200u);
    EXPECT_EQ(image.GetDataPointer(), buffer.GetDataPointer());
}

TEST(Image, PaddingCountsPerLineAndOnceAfterTheImage)
{
    PvBuffer buffer;
    auto& image = *buffer.GetImage();
    ASSERT_TRUE(image.Alloc(10, 4, PvPixelRGB8Packed, 2, 7).IsOK());
    EXPECT_EQ(image.GetLineSize(), 30u);
    EXPECT_EQ(image.GetLineStride(), 32u);
    EXPECT_EQ(image.GetPaddingX(), 2u);
    EXPECT_EQ(image.GetPaddingY(), 7u);
    EXPECT_EQ(image.GetRequiredSize(), 32u * 4 + 7);
    EXPECT_EQ(image.GetEffectiveImageSize(), 30u * 4);
    EXPECT_EQ(image.GetImageSize(), 135u);
}

TEST(Image, PackedLinesStartOnBytes)
{
    PvBuffer buffer;
    auto& image = *buffer.GetImage();
    ASSERT_TRUE(image.Alloc(5, 2, PvPixelMono12Packed).IsOK());
    EXPECT_EQ(image.GetLineSize(), 8u);  // 60 bits
    EXPECT_EQ(image.GetRequiredSize(), 16u);
}

TEST(Image, PlanarTypesHaveTheLinesOfThreePlanes)
{
    PvBuffer buffer;
    auto& image = *buffer.GetImage();
    ASSERT_TRUE(image.Alloc(5, 2, PvPixelRGB8Planar, 3, 1).IsOK());
    EXPECT_EQ(image.GetLineSize(), 5u);
    EXPECT_EQ(image.GetRequiredSize(), (5u + 3) * 2 * 3 + 1);
    EXPECT_EQ(image.GetEffectiveImageSize(), 30u);
    ASSERT_TRUE(image.Alloc(5, 2, PvPixelRGB12Planar).IsOK());
    EXPECT_EQ(image.GetLineSize(), 10u);
    EXPECT_EQ(image.GetRequiredSize(), 60u);
}

TEST(Image, SizeNeverExceedsTheMemory)
{
    std::array<std::uint8_t, 10> memory{};
    PvBuffer buffer;
    auto& image = *buffer.GetImage();
    ASSERT_TRUE(image.Alloc(100, 100, PvPixelMono8).IsOK());
    ASSERT_TRUE(buffer.Attach(memory.data(), 10).IsOK());
    EXPECT_EQ(image.GetRequiredSize(), 10000u);
    EXPECT_EQ(image.GetImageSize(), 10u);
}

TEST(Image, ImpossibleGeometriesFailAndChangeNothing)
{
    PvBuffer buffer;
    auto& image = *buffer.GetImage();
    ASSERT_TRUE(image.Alloc(4, 4, PvPixelMono8).IsOK());
    std::uint8_t byte = 0;
    struct Case {
        std::uint32_t width, height;
        PvPixelType type;
        PvResult::Code code;
    };
    for (const auto& [width, height, type, code] :
         {Case{0, 4, PvPixelMono8, PvResult::InvalidParameter}, Case{4, 0, PvPixelMono8, PvResult::InvalidParameter},
          Case{4, 4, PvPixelUndefined, PvResult::InvalidParameter},
          Case{4, 4, static_cast<PvPixelType>(0xFFFFFFFF), PvResult::InvalidParameter},
          Case{4, 4, static_cast<PvPixelType>(0x00080001), PvResult::InvalidParameter},
          Case{65536, 65536, PvPixelMono8, PvResult::ErrOverflow},  // 4 GiB exactly
          Case{0xFFFFFFFF, 0xFFFFFFFF, PvPixelRGB16Packed, PvResult::ErrOverflow},
          Case{0x80000000, 2, PvPixelBGRA8Packed, PvResult::ErrOverflow}}) {
        EXPECT_EQ(image.Alloc(width, height, type).GetCode(), code);
        EXPECT_EQ(image.Attach(&byte, width, height, type).GetCode(), code);
    }
    EXPECT_EQ(image.Attach(nullptr, 4, 4, PvPixelMono8).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(image.GetWidth(), 4u);
    EXPECT_EQ(image.GetPixelType(), PvPixelMono8);
    EXPECT_EQ(buffer.GetSize(), 16u);
}

TEST(Image, AllocationFailureKeepsImageAndMemory)
{
    PvBuffer buffer;
    auto& image = *buffer.GetImage();
    ASSERT_TRUE(image.Alloc(4, 4, PvPixelMono8).IsOK());
    buffer_memory::fail_next_allocations(1);
    EXPECT_EQ(image.Alloc(60000, 60000, PvPixelMono8).GetCode(), PvResult::NotEnoughMemory);
    EXPECT_EQ(image.GetWidth(), 4u);
    EXPECT_EQ(buffer.GetSize(), 16u);
}

TEST(Image, SizesSaturateForGeometriesThatNoMemoryHolds)
{
    EXPECT_EQ(acquisition::required_size({0xFFFFFFFF, 0xFFFFFFFF, static_cast<PvPixelType>(0x02FF0000)}),
              0xFFFFFFFFFFFFFFFFull);
    PvBuffer buffer;
    EXPECT_EQ(
        acquisition::begin(buffer, {.image = acquisition::ImageGeometry{0xFFFFFFFF, 0xFFFFFFFF, PvPixelRGB16Packed}})
            .GetCode(),
        PvResult::ErrOverflow);
    EXPECT_EQ(buffer.GetImage()->GetRequiredSize(), 0xFFFFFFFFu);
    EXPECT_EQ(buffer.GetImage()->GetEffectiveImageSize(), 0xFFFFFFFFu);
    EXPECT_EQ(buffer.GetImage()->GetImageSize(), 0u);
}

TEST(Image, AttachAndDetachLeaveTheCallersBytes)
{
    std::array<std::uint8_t, 6> memory{1, 2, 3, 4, 5, 6};
    PvBuffer buffer;
    auto& image = *buffer.GetImage();
    ASSERT_TRUE(image.Attach(memory.data(), 2, 2, PvPixelMono8, 1, 0).IsOK());
    EXPECT_EQ(image.GetImageSize(), 6u);
    EXPECT_EQ(image.GetDataPointer(), memory.data());
    EXPECT_EQ(image.Detach(), memory.data());
    EXPECT_EQ(memory, (std::array<std::uint8_t, 6>{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(image.GetDataPointer(), nullptr);
    EXPECT_EQ(image.GetImageSize(), 0u);
}

TEST(Image, FreeKeepsTheGeometry)
{
    PvBuffer buffer;
    auto& image = *buffer.GetImage();
    ASSERT_TRUE(image.Alloc(8, 2, PvPixelMono16).IsOK());
    image.Free();
    EXPECT_EQ(buffer.GetSize(), 0u);
    EXPECT_EQ(image.GetWidth(), 8u);
    EXPECT_EQ(image.GetPixelType(), PvPixelMono16);
    EXPECT_EQ(image.GetRequiredSize(), 32u);
    EXPECT_EQ(image.GetImageSize(), 0u);
}

TEST(Image, AllocClearsOffsetsAndStatus)
{
    PvBuffer buffer;
    auto& image = *buffer.GetImage();
    ASSERT_TRUE(acquisition::begin(buffer, {.image = acquisition::ImageGeometry{4, 4, PvPixelMono8, 1, 2}}).IsOK());
    acquisition::finish(buffer, {.status = {.partial_line_missing = true,
                                            .full_line_missing = true,
                                            .eof_by_line_count = true,
                                            .interlaced_even = true,
                                            .interlaced_odd = true,
                                            .image_dropped = true,
                                            .data_overrun = true}});
    EXPECT_EQ(image.GetOffsetX(), 1u);
    EXPECT_EQ(image.GetOffsetY(), 2u);
    EXPECT_TRUE(image.IsImageDropped());
    ASSERT_TRUE(image.Alloc(4, 4, PvPixelMono8).IsOK());
    EXPECT_EQ(image.GetOffsetX(), 0u);
    EXPECT_EQ(image.GetOffsetY(), 0u);
    EXPECT_FALSE(image.IsPartialLineMissing());
    EXPECT_FALSE(image.IsFullLineMissing());
    EXPECT_FALSE(image.IsEOFByLineCount());
    EXPECT_FALSE(image.IsInterlacedEven());
    EXPECT_FALSE(image.IsInterlacedOdd());
    EXPECT_FALSE(image.IsImageDropped());
    EXPECT_FALSE(image.IsDataOverrun());
}

TEST(Image, StandardsUnknownToThisVersionAreSizedByTheirCode)
{
    PvBuffer buffer;
    auto& image = *buffer.GetImage();
    ASSERT_TRUE(image.Alloc(8, 1, static_cast<PvPixelType>(0x010A0046)).IsOK());  // 10 bits, packed without gaps
    EXPECT_EQ(image.GetRequiredSize(), 10u);
    EXPECT_EQ(image.GetBitsPerPixel(), 10u);
    ASSERT_TRUE(image.Alloc(8, 1, static_cast<PvPixelType>(0x810C1234)).IsOK());  // a maker's own
    EXPECT_EQ(image.GetRequiredSize(), 12u);
}

TEST(Image, EveryPixelTypeCanBeAllocated)
{
    PvBuffer buffer;
    for (const auto type : pv_pixel_types) {
        EXPECT_TRUE(buffer.GetImage()->Alloc(4, 4, type).IsOK()) << pixel_type_name(type);
    }
}

TEST(Image, APixelTypeThatIsNoneIsNamedInTheDescription)
{
    PvBuffer buffer;
    const auto result = buffer.GetImage()->Alloc(4, 4, static_cast<PvPixelType>(0xFFFFFFFF));
    EXPECT_EQ(result.description(), "4294967295 is not a pixel type");
}

}  // namespace
