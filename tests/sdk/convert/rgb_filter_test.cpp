#include "sdk/convert/PvFilterRGB.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "sdk/convert/PvBufferConverter.h"
#include "tests/sdk/convert/images.h"

namespace {

using test::Bytes;

TEST(RgbFilter, ANewOneChangesNothing)
{
    PvFilterRGB filter;
    EXPECT_EQ(filter.GetGainR(), 1.0);
    EXPECT_EQ(filter.GetGainG(), 1.0);
    EXPECT_EQ(filter.GetGainB(), 1.0);
    EXPECT_EQ(filter.GetOffsetR(), 0);
    EXPECT_EQ(filter.GetOffsetG(), 0);
    EXPECT_EQ(filter.GetOffsetB(), 0);
    for (const auto type : {PvPixelRGB8Packed, PvPixelRGB16Packed, PvPixelBayerRG10Packed, PvPixelRGB12V1Packed}) {
        const auto image = test::blank(3, 3, type);
        test::fill_random(*image, 4);
        const auto before = test::bytes_of(*image);
        EXPECT_TRUE(filter.Apply(image.get()).IsOK());
        EXPECT_EQ(test::bytes_of(*image), before);
    }
}

TEST(RgbFilter, KeepsWhatIsSetAndResetForgetsIt)
{
    PvFilterRGB filter;
    filter.SetGainR(1.25);
    filter.SetGainG(-2);
    filter.SetGainB(1e9);
    filter.SetOffsetR(1);
    filter.SetOffsetG(-1000);
    filter.SetOffsetB(3);
    EXPECT_EQ(filter.GetGainR(), 1.25);
    EXPECT_EQ(filter.GetGainG(), -2.0);
    EXPECT_EQ(filter.GetGainB(), 1e9);
    EXPECT_EQ(filter.GetOffsetR(), 1);
    EXPECT_EQ(filter.GetOffsetG(), -1000);
    EXPECT_EQ(filter.GetOffsetB(), 3);
    filter.Reset();
    EXPECT_EQ(filter.GetGainR(), 1.0);
    EXPECT_EQ(filter.GetGainG(), 1.0);
    EXPECT_EQ(filter.GetGainB(), 1.0);
    EXPECT_EQ(filter.GetOffsetR(), 0);
    EXPECT_EQ(filter.GetOffsetG(), 0);
    EXPECT_EQ(filter.GetOffsetB(), 0);
}

TEST(RgbFilter, MultipliesThenAddsRoundsAndLimits)
{
    PvFilterRGB filter;
    filter.SetGainR(1.5);
    filter.SetGainG(0.5);
    filter.SetGainB(2);
    filter.SetOffsetG(10);
    filter.SetOffsetB(-100);
    const auto rgb = test::image(2, 1, PvPixelRGB8Packed, {11, 21, 30, 200, 255, 200});
    ASSERT_TRUE(filter.Apply(rgb.get()).IsOK());
    EXPECT_EQ(test::bytes_of(*rgb), (Bytes{17, 21, 0, 255, 138, 255}));  // 16.5 -> 17, 10.5 -> 11 + 10, 60 - 100 -> 0
    const auto bgra = test::image(1, 1, PvPixelBGRA8Packed, {30, 21, 11, 77});
    ASSERT_TRUE(filter.Apply(bgra.get()).IsOK());
    EXPECT_EQ(test::bytes_of(*bgra), (Bytes{0, 21, 17, 77}));
}

TEST(RgbFilter, OffsetsScaleWithTheDepth)
{
    PvFilterRGB filter;
    filter.SetOffsetR(255);
    filter.SetOffsetG(1);
    const auto deep = test::blank(1, 1, PvPixelRGB16Packed);
    ASSERT_TRUE(filter.Apply(deep.get()).IsOK());
    EXPECT_EQ(test::bytes_of(*deep), (Bytes{0xFF, 0xFF, 0x01, 0x01, 0, 0}));
    const auto twelve = test::blank(1, 1, PvPixelRGB12Packed);
    ASSERT_TRUE(filter.Apply(twelve.get()).IsOK());
    EXPECT_EQ(test::bytes_of(*twelve), (Bytes{0xFF, 0x0F, 0x10, 0x00, 0, 0}));
}

TEST(RgbFilter, ExtremeSettingsActAsTheNearestPossible)
{
    PvFilterRGB filter;
    filter.SetGainR(-1);
    filter.SetGainG(std::numeric_limits<double>::quiet_NaN());
    filter.SetGainB(std::numeric_limits<double>::infinity());
    filter.SetOffsetR(std::numeric_limits<int>::max());
    filter.SetOffsetG(std::numeric_limits<int>::min());
    const auto rgb = test::image(1, 1, PvPixelRGB8Packed, {10, 10, 10});
    ASSERT_TRUE(filter.Apply(rgb.get()).IsOK());
    EXPECT_EQ(test::bytes_of(*rgb), (Bytes{255, 0, 160}));
}

TEST(RgbFilter, WorksOnEveryLayoutOfColours)
{
    PvFilterRGB all_green;
    all_green.SetGainR(0);
    all_green.SetGainG(0);
    all_green.SetOffsetG(255);
    all_green.SetGainB(0);
    PvBufferConverter converter;
    for (const auto type : pv_pixel_types) {
        const auto image = test::blank(5, 4, type);
        test::fill_random(*image, 6);
        const auto before = test::bytes_of(*image);
        const auto result = all_green.Apply(image.get());
        const auto rgb = test::blank(5, 4, PvPixelRGB8Packed);
        ASSERT_TRUE(converter.SetBayerFilter(PvBayerFilter3X3).IsOK());
        ASSERT_TRUE(converter.Convert(image.get(), rgb.get()).IsOK());
        if (result.IsOK()) {
            for (std::uint32_t i = 0; i < rgb->GetSize(); ++i) {
                ASSERT_EQ(rgb->GetDataPointer()[i], i % 3 == 1 ? 255 : 0) << std::hex << type;
            }
        } else {
            EXPECT_EQ(result.GetCode(), PvResult::NotSupported);
            EXPECT_EQ(test::bytes_of(*image), before);
        }
        const bool colour = (type >> 24) == 2;
        const bool yuv = type == PvPixelYUV411Packed || type == PvPixelYUV422Packed || type == PvPixelYUV444Packed ||
                         type == PvPixelYUV422YUYVPacked;
        const auto id = type & 0xFFFF;
        const bool bayer = !colour && ((id >= 0x08 && id <= 0x13) || (id >= 0x26 && id <= 0x31));
        EXPECT_EQ(result.IsOK(), (colour && !yuv) || bayer) << std::hex << type;
    }
}

TEST(RgbFilter, FromOneBufferIntoAnother)
{
    PvFilterRGB filter;
    filter.SetGainR(2);
    const auto in = test::image(2, 1, PvPixelRGB8Packed, {1, 2, 3, 4, 5, 6});
    PvBuffer out;
    ASSERT_TRUE(filter.Apply(in.get(), &out).IsOK());
    EXPECT_EQ(test::bytes_of(out), (Bytes{2, 2, 3, 8, 5, 6}));
    EXPECT_EQ(out.GetImage()->GetPixelType(), PvPixelRGB8Packed);
    EXPECT_EQ(test::bytes_of(*in), (Bytes{1, 2, 3, 4, 5, 6}));
    ASSERT_TRUE(filter.Apply(in.get(), in.get()).IsOK());
    EXPECT_EQ(test::bytes_of(*in), (Bytes{2, 2, 3, 8, 5, 6}));

    const auto grey = test::image(1, 1, PvPixelMono8, {5});
    EXPECT_EQ(filter.Apply(grey.get(), &out).GetCode(), PvResult::NotSupported);
    EXPECT_EQ(out.GetImage()->GetWidth(), 2u);
    EXPECT_EQ(filter.Apply(nullptr, &out).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(filter.Apply(in.get(), nullptr).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(filter.Apply(static_cast<PvBuffer*>(nullptr)).GetCode(), PvResult::InvalidParameter);
}

TEST(RgbFilter, ActsOnConversionsOfColourUntilReset)
{
    PvBufferConverter converter;
    {
        PvFilterRGB filter;
        filter.SetGainR(2);
        filter.SetOffsetB(7);
        ASSERT_TRUE(converter.SetRGBFilter(filter).IsOK());
        filter.SetGainR(9);  // the converter took the settings of the moment
    }
    const auto rgb = test::image(1, 1, PvPixelRGB8Packed, {10, 20, 30});
    const auto bgr = test::blank(1, 1, PvPixelBGR8Packed);
    ASSERT_TRUE(converter.Convert(rgb.get(), bgr.get()).IsOK());
    EXPECT_EQ(test::bytes_of(*bgr), (Bytes{37, 20, 20}));
    const auto same = test::blank(1, 1, PvPixelRGB8Packed);
    ASSERT_TRUE(converter.Convert(rgb.get(), same.get()).IsOK());
    EXPECT_EQ(test::bytes_of(*same), (Bytes{20, 20, 37}));
    const auto bayer = test::image(2, 2, PvPixelBayerRG8, {10, 20, 20, 30});
    const auto from_bayer = test::blank(2, 2, PvPixelRGB8Packed);
    ASSERT_TRUE(converter.Convert(bayer.get(), from_bayer.get()).IsOK());
    EXPECT_EQ(test::bytes_of(*from_bayer), (Bytes{20, 20, 37, 20, 20, 37, 20, 20, 37, 20, 20, 37}));
    const auto bayer_copy = test::blank(2, 2, PvPixelBayerRG8);
    ASSERT_TRUE(converter.Convert(bayer.get(), bayer_copy.get()).IsOK());
    EXPECT_EQ(test::bytes_of(*bayer_copy), test::bytes_of(*bayer));
    const auto yuv = test::image(1, 1, PvPixelYUV444Packed, {128, 20, 128});
    ASSERT_TRUE(converter.Convert(yuv.get(), same.get()).IsOK());
    EXPECT_EQ(test::bytes_of(*same), (Bytes{40, 20, 27}));
    const auto grey = test::image(1, 1, PvPixelMono8, {20});
    ASSERT_TRUE(converter.Convert(grey.get(), same.get()).IsOK());
    EXPECT_EQ(test::bytes_of(*same), (Bytes{20, 20, 20}));

    ASSERT_TRUE(converter.ResetRGBFilter().IsOK());
    ASSERT_TRUE(converter.Convert(rgb.get(), same.get()).IsOK());
    EXPECT_EQ(test::bytes_of(*same), (Bytes{10, 20, 30}));
}

TEST(WhiteBalance, MakesTheAverageGreyAndNoGainSmallerThanOne)
{
    PvFilterRGB filter;
    filter.SetOffsetR(9);
    const auto image = test::image(2, 1, PvPixelRGB8Packed, {100, 150, 30, 60, 50, 50});
    ASSERT_TRUE(filter.WhiteBalance(image.get()).IsOK());  // sums 160, 200, 80
    EXPECT_DOUBLE_EQ(filter.GetGainR(), 1.25);
    EXPECT_DOUBLE_EQ(filter.GetGainG(), 1.0);
    EXPECT_DOUBLE_EQ(filter.GetGainB(), 2.5);
    EXPECT_EQ(filter.GetOffsetR(), 0);
}

TEST(WhiteBalance, LeavesSaturatedPixelsOut)
{
    PvFilterRGB filter;
    const auto image = test::image(3, 1, PvPixelRGB8Packed, {100, 200, 50, 10, 250, 10, 255, 255, 255});
    ASSERT_TRUE(filter.WhiteBalance(image.get()).IsOK());
    EXPECT_DOUBLE_EQ(filter.GetGainR(), 2.0);
    EXPECT_DOUBLE_EQ(filter.GetGainG(), 1.0);
    EXPECT_DOUBLE_EQ(filter.GetGainB(), 4.0);
    const auto limit = test::image(1, 1, PvPixelRGB8Packed, {249, 249, 83});
    ASSERT_TRUE(filter.WhiteBalance(limit.get()).IsOK());
    EXPECT_DOUBLE_EQ(filter.GetGainB(), 3.0);
}

TEST(WhiteBalance, CountsWholeCellsOfBayerImages)
{
    for (const auto& [type, cell] : {std::pair{PvPixelBayerRG8, Bytes{50, 90, 110, 25}},
                                     {PvPixelBayerGR8, Bytes{90, 50, 25, 110}},
                                     {PvPixelBayerGB8, Bytes{90, 25, 50, 110}},
                                     {PvPixelBayerBG8, Bytes{25, 90, 110, 50}}}) {
        // a second cell with a saturated pixel, then a lone column and a lone line
        const auto image =
            test::image(5, 3, type, {cell[0], cell[1], 255, 77, 1, cell[2], cell[3], 77, 77, 1, 9, 9, 9, 9, 9});
        PvFilterRGB filter;
        ASSERT_TRUE(filter.WhiteBalance(image.get()).IsOK());
        EXPECT_DOUBLE_EQ(filter.GetGainR(), 2.0);
        EXPECT_DOUBLE_EQ(filter.GetGainG(), 1.0);
        EXPECT_DOUBLE_EQ(filter.GetGainB(), 4.0);
    }
}

TEST(WhiteBalance, WorksOnDeepPackedAndYuvImages)
{
    PvFilterRGB filter;
    const auto deep = test::image(1, 1, PvPixelRGB16Packed, {0, 0x20, 0, 0x40, 0, 0x10});
    ASSERT_TRUE(filter.WhiteBalance(deep.get()).IsOK());
    EXPECT_DOUBLE_EQ(filter.GetGainR(), 2.0);
    EXPECT_DOUBLE_EQ(filter.GetGainB(), 4.0);
    const auto yuv = test::image(2, 1, PvPixelYUV422Packed, {128, 100, 128, 90});
    ASSERT_TRUE(filter.WhiteBalance(yuv.get()).IsOK());
    EXPECT_DOUBLE_EQ(filter.GetGainR(), 1.0);
    EXPECT_DOUBLE_EQ(filter.GetGainB(), 1.0);
    const auto bayer = test::image(2, 2, PvPixelBayerRG16, {0, 0x20, 0, 0x40, 0, 0x40, 0, 0x10});
    ASSERT_TRUE(filter.WhiteBalance(bayer.get()).IsOK());
    EXPECT_DOUBLE_EQ(filter.GetGainR(), 2.0);
    EXPECT_DOUBLE_EQ(filter.GetGainB(), 4.0);
}

TEST(WhiteBalance, FailsWhereThereIsNothingToBalanceAndKeepsTheGains)
{
    PvFilterRGB filter;
    filter.SetGainR(3);
    const auto check = [&](const PvBuffer* buffer, PvResult::Code code) {
        EXPECT_EQ(filter.WhiteBalance(buffer).GetCode(), code);
        EXPECT_EQ(filter.GetGainR(), 3.0);
    };
    check(test::image(1, 1, PvPixelMono8, {5}).get(), PvResult::NotSupported);
    check(test::image(1, 1, PvPixelRGB8Packed, {255, 255, 255}).get(), PvResult::ImageError);
    check(test::image(1, 1, PvPixelRGB8Packed, {9, 0, 9}).get(), PvResult::ImageError);
    check(test::image(1, 4, PvPixelBayerRG8, {9, 9, 9, 9}).get(), PvResult::ImageError);
    check(nullptr, PvResult::InvalidParameter);
    const PvBuffer raw(PvPayloadTypeRawData);
    check(&raw, PvResult::InvalidParameter);
}

TEST(WhiteBalance, AppliedToItsOwnImageGivesGrey)
{
    const auto image = test::blank(16, 16, PvPixelRGB8Packed);
    for (std::uint32_t i = 0; i < 256; ++i) {
        image->GetDataPointer()[3 * i] = static_cast<std::uint8_t>(20 + i / 4);
        image->GetDataPointer()[3 * i + 1] = static_cast<std::uint8_t>(40 + i / 2);
        image->GetDataPointer()[3 * i + 2] = static_cast<std::uint8_t>(10 + i / 8);
    }
    PvFilterRGB filter;
    ASSERT_TRUE(filter.WhiteBalance(image.get()).IsOK());
    ASSERT_TRUE(filter.Apply(image.get()).IsOK());
    double sums[3] = {};
    for (std::uint32_t i = 0; i < image->GetSize(); ++i) {
        sums[i % 3] += image->GetDataPointer()[i] / 256.0;
    }
    EXPECT_NEAR(sums[0], sums[1], 0.5);
    EXPECT_NEAR(sums[2], sums[1], 0.5);
}

}  // namespace
