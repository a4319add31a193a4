// Buffers on their way into a window: copied and converted, or told as texts.
#include "sdk/display/pictures.h"

#include <gtest/gtest.h>

#include <array>
#include <thread>

#include "sdk/buffer/acquisition.h"

namespace vex::display {
namespace {

class PicturesTest : public testing::Test {
protected:
    void image(std::uint32_t width, std::uint32_t height, PvPixelType type, std::uint8_t value)
    {
        ASSERT_TRUE(buffer.GetImage()->Alloc(width, height, type).IsOK());
        std::fill_n(buffer.GetDataPointer(), buffer.GetSize(), value);
    }
    [[nodiscard]] std::array<int, 3> first_pixel()
    {
        const Picture* const picture = pictures.drawn();
        if (picture == nullptr || picture->size().empty()) {
            return {-1, -1, -1};
        }
        const std::uint8_t* const bytes = picture->pixels.GetDataPointer();
        return {bytes[2], bytes[1], bytes[0]};
    }
    [[nodiscard]] std::string text()
    {
        const Picture* const picture = pictures.drawn();
        return picture != nullptr ? picture->text : "no picture";
    }

    PvBuffer buffer;
    Pictures pictures;
};

TEST_F(PicturesTest, NothingIsThereAtFirst) { EXPECT_EQ(pictures.drawn(), nullptr); }

TEST_F(PicturesTest, ConvertsAndCopies)
{
    image(3, 2, PvPixelMono8, 77);
    ASSERT_TRUE(pictures.show(&buffer, false).IsOK());
    buffer.Free();
    ASSERT_NE(pictures.drawn(), nullptr);
    EXPECT_EQ(pictures.drawn()->size(), (Size{3, 2}));
    EXPECT_EQ(first_pixel(), (std::array{77, 77, 77}));
    EXPECT_FALSE(pictures.drawn()->vsync);
}

TEST_F(PicturesTest, ShowsTheNewestOfSeveral)
{
    for (int value = 1; value <= 5; ++value) {
        image(4, 4, PvPixelMono8, static_cast<std::uint8_t>(value));
        ASSERT_TRUE(pictures.show(&buffer, true).IsOK());
    }
    EXPECT_EQ(first_pixel(), (std::array{5, 5, 5}));
    EXPECT_EQ(first_pixel(), (std::array{5, 5, 5}));
    EXPECT_TRUE(pictures.drawn()->vsync);
}

TEST_F(PicturesTest, TakesSizesAndTypesAsTheyCome)
{
    const std::array<Size, 3> sizes{{{8, 8}, {2, 3}, {64, 5}}};
    for (const Size size : sizes) {
        for (const PvPixelType type : {PvPixelMono8, PvPixelBayerRG8, PvPixelRGB8Packed, PvPixelMono16}) {
            image(static_cast<std::uint32_t>(size.width), static_cast<std::uint32_t>(size.height), type, 200);
            ASSERT_TRUE(pictures.show(&buffer, false).IsOK());
            ASSERT_NE(pictures.drawn(), nullptr);
            EXPECT_EQ(pictures.drawn()->size(), size);
            EXPECT_EQ(first_pixel(), (std::array{200, 200, 200}));
        }
    }
}

TEST_F(PicturesTest, TellsWhatCannotBeShown)
{
    EXPECT_EQ(pictures.show(nullptr, false).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(pictures.drawn(), nullptr);

    EXPECT_EQ(pictures.show(&buffer, false).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(text(), "The buffer is empty");

    PvBuffer raw(PvPayloadTypeRawData);
    ASSERT_TRUE(raw.Alloc(16).IsOK());
    EXPECT_EQ(pictures.show(&raw, false).GetCode(), PvResult::NotSupported);
    EXPECT_EQ(text(), "The buffer holds no image: its payload type is 2");
    EXPECT_TRUE(pictures.drawn()->size().empty());

    image(4, 4, static_cast<PvPixelType>(0x01080123), 1);
    EXPECT_EQ(pictures.show(&buffer, false).GetCode(), PvResult::NotSupported);
    EXPECT_EQ(text(), "Images of pixel type 0x01080123 cannot be shown");

    image(4, 4, PvPixelMono8, 9);
    ASSERT_TRUE(pictures.show(&buffer, false).IsOK());
    EXPECT_EQ(text(), "");
    EXPECT_EQ(first_pixel(), (std::array{9, 9, 9}));
}

TEST_F(PicturesTest, ClearsUntilTheNext)
{
    image(4, 4, PvPixelMono8, 9);
    ASSERT_TRUE(pictures.show(&buffer, false).IsOK());
    pictures.clear();
    EXPECT_EQ(pictures.drawn(), nullptr);
    ASSERT_TRUE(pictures.show(&buffer, false).IsOK());
    EXPECT_NE(pictures.drawn(), nullptr);
    pictures.clear();
    EXPECT_EQ(pictures.drawn(), nullptr);
}

TEST_F(PicturesTest, DrawsOnlyWholePicturesWhileOthersAreMade)
{
    constexpr int rounds = 300;
    std::thread sender([this] {
        PvBuffer sent;
        for (int round = 1; round <= rounds; ++round) {
            const auto side = static_cast<std::uint32_t>(4 + round % 7);
            ASSERT_TRUE(sent.GetImage()->Alloc(side, side, PvPixelMono8).IsOK());
            std::fill_n(sent.GetDataPointer(), sent.GetSize(), static_cast<std::uint8_t>(round));
            ASSERT_TRUE(pictures.show(&sent, false).IsOK());
        }
    });
    int last = 0;
    while (last != rounds % 256) {
        const Picture* const picture = pictures.drawn();
        if (picture == nullptr) {
            std::this_thread::yield();
            continue;
        }
        last = picture->pixels.GetDataPointer()[0];
        const Size size = picture->size();
        for (int at = 0; at < size.width * size.height; ++at) {
            ASSERT_EQ(picture->pixels.GetDataPointer()[4 * at], last);
        }
    }
    sender.join();
}

}  // namespace
}  // namespace vex::display
