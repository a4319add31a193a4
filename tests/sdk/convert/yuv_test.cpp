#include <gtest/gtest.h>

#include <cmath>

#include "sdk/convert/PvBufferConverter.h"
#include "tests/sdk/convert/images.h"

namespace {

using test::Bytes;

Bytes converted(PvPixelType from, std::uint32_t width, const Bytes& bytes, PvPixelType to)
{
    const auto source = test::image(width, 1, from, bytes);
    const auto destination = test::blank(width, 1, to);
    PvBufferConverter converter;
    EXPECT_TRUE(converter.Convert(source.get(), destination.get()).IsOK());
    return test::bytes_of(*destination);
}

TEST(Yuv, OrdersOfTheBytes)
{
    // pixels with Y 10, 20, 30, 40; U 50 for the first two and 60, V 70 and 80
    const Bytes expected = {50, 10, 70, 50, 20, 70, 60, 30, 80, 60, 40, 80};
    EXPECT_EQ(converted(PvPixelYUV422Packed, 4, {50, 10, 70, 20, 60, 30, 80, 40}, PvPixelYUV444Packed), expected);
    EXPECT_EQ(converted(PvPixelYUV422YUYVPacked, 4, {10, 50, 20, 70, 30, 60, 40, 80}, PvPixelYUV444Packed), expected);
    EXPECT_EQ(converted(PvPixelYUV411Packed, 4, {50, 10, 20, 70, 30, 40}, PvPixelYUV444Packed),
              (Bytes{50, 10, 70, 50, 20, 70, 50, 30, 70, 50, 40, 70}));
    EXPECT_EQ(converted(PvPixelYUV444Packed, 1, {1, 2, 3}, PvPixelYUV444Packed), (Bytes{1, 2, 3}));
}

TEST(Yuv, SubsampledTypesConvertIntoEachOtherWithoutLoss)
{
    const Bytes uyvy = {50, 10, 70, 20, 61, 30, 83, 40};
    const Bytes yuyv = {10, 50, 20, 70, 30, 61, 40, 83};
    EXPECT_EQ(converted(PvPixelYUV422Packed, 4, uyvy, PvPixelYUV422YUYVPacked), yuyv);
    EXPECT_EQ(converted(PvPixelYUV422YUYVPacked, 4, yuyv, PvPixelYUV422Packed), uyvy);
}

TEST(Yuv, ChromaOfAPairIsTheRoundedMean)
{
    EXPECT_EQ(converted(PvPixelYUV444Packed, 2, {10, 1, 20, 13, 2, 21}, PvPixelYUV422Packed), (Bytes{12, 1, 21, 2}));
}

TEST(Yuv, OddWidthsEndWithoutAV)
{
    EXPECT_EQ(converted(PvPixelYUV422Packed, 3, {50, 10, 70, 20, 60, 30}, PvPixelYUV444Packed),
              (Bytes{50, 10, 70, 50, 20, 70, 60, 30, 70}));
    EXPECT_EQ(converted(PvPixelYUV422Packed, 1, {50, 10}, PvPixelYUV444Packed), (Bytes{50, 10, 128}));
    EXPECT_EQ(converted(PvPixelYUV444Packed, 3, {1, 2, 3, 1, 5, 3, 7, 8, 9}, PvPixelYUV422YUYVPacked),
              (Bytes{2, 1, 5, 3, 8, 7}));
    // four to a group: with one or two pixels left the V is absent, with three it is there
    EXPECT_EQ(converted(PvPixelYUV411Packed, 1, {50, 10}, PvPixelYUV444Packed), (Bytes{50, 10, 128}));
    EXPECT_EQ(converted(PvPixelYUV411Packed, 2, {50, 10, 20}, PvPixelYUV444Packed), (Bytes{50, 10, 128, 50, 20, 128}));
    EXPECT_EQ(converted(PvPixelYUV411Packed, 3, {50, 10, 20, 70, 30}, PvPixelYUV444Packed),
              (Bytes{50, 10, 70, 50, 20, 70, 50, 30, 70}));
}

TEST(Yuv, PrimariesByTheStandardsFormula)
{
    // U = 128 + 0.564 (B - Y), V = 128 + 0.713 (R - Y)
    EXPECT_EQ(converted(PvPixelRGB8Packed, 1, {255, 0, 0}, PvPixelYUV444Packed), (Bytes{85, 76, 255}));
    EXPECT_EQ(converted(PvPixelRGB8Packed, 1, {0, 255, 0}, PvPixelYUV444Packed), (Bytes{44, 150, 21}));
    EXPECT_EQ(converted(PvPixelRGB8Packed, 1, {0, 0, 255}, PvPixelYUV444Packed), (Bytes{255, 29, 107}));
    EXPECT_EQ(converted(PvPixelYUV444Packed, 1, {128, 100, 228}, PvPixelRGB8Packed),
              (Bytes{240, 29, 100}));  // 100 + 140.2, 100 - 71.4, 100
    EXPECT_EQ(converted(PvPixelYUV444Packed, 1, {28, 200, 128}, PvPixelRGB8Packed),
              (Bytes{200, 234, 23}));  // 200, 200 + 34.4, 200 - 177.2
}

TEST(Yuv, DeepColoursAreNarrowedFirst)
{
    const Bytes deep = {0x99, 200, 0x99, 100, 0x99, 50, 0, 255, 0, 0, 0, 0};
    const Bytes shallow = {200, 100, 50, 255, 0, 0};
    for (const auto type : {PvPixelYUV444Packed, PvPixelYUV422Packed, PvPixelYUV422YUYVPacked}) {
        EXPECT_EQ(converted(PvPixelRGB16Packed, 2, deep, type), converted(PvPixelRGB8Packed, 2, shallow, type));
        EXPECT_EQ(converted(PvPixelMono16, 2, {0x99, 200, 0x99, 100}, type),
                  converted(PvPixelMono8, 2, {200, 100}, type));
    }
}

TEST(Yuv, GreyStaysGreyAtEveryLevel)
{
    for (unsigned level = 0; level < 256; ++level) {
        const auto grey = static_cast<std::uint8_t>(level);
        EXPECT_EQ(converted(PvPixelRGB8Packed, 1, {grey, grey, grey}, PvPixelYUV444Packed), (Bytes{128, grey, 128}));
        EXPECT_EQ(converted(PvPixelMono8, 1, {grey}, PvPixelYUV444Packed), (Bytes{128, grey, 128}));
        EXPECT_EQ(converted(PvPixelYUV444Packed, 1, {128, grey, 128}, PvPixelRGB8Packed), (Bytes{grey, grey, grey}));
        EXPECT_EQ(converted(PvPixelYUV444Packed, 1, {3, grey, 250}, PvPixelMono8), (Bytes{grey}));
    }
}

TEST(Yuv, EveryColourIsWithinOneOfTheExactFormula)
{
    Bytes rgb;
    for (int r = 0; r < 256; r += 15) {
        for (int g = 0; g < 256; g += 15) {
            for (int b = 0; b < 256; b += 15) {
                for (const int value : {r, g, b}) {
                    rgb.push_back(static_cast<std::uint8_t>(value));
                }
            }
        }
    }
    const auto width = static_cast<std::uint32_t>(rgb.size() / 3);
    const auto yuv = converted(PvPixelRGB8Packed, width, rgb, PvPixelYUV444Packed);
    const auto back = converted(PvPixelYUV444Packed, width, yuv, PvPixelRGB8Packed);
    for (std::size_t i = 0; i < rgb.size(); i += 3) {
        const double y = 0.299 * rgb[i] + 0.587 * rgb[i + 1] + 0.114 * rgb[i + 2];
        EXPECT_NEAR(yuv[i + 1], y, 0.51);
        EXPECT_NEAR(yuv[i], std::min(255.0, 128 + (rgb[i + 2] - y) * 0.5 / 0.886), 0.51);
        EXPECT_NEAR(yuv[i + 2], std::min(255.0, 128 + (rgb[i] - y) * 0.5 / 0.701), 0.51);
        for (std::size_t c = 0; c < 3; ++c) {
            EXPECT_NEAR(back[i + c], rgb[i + c], 2);
        }
    }
}

}  // namespace
