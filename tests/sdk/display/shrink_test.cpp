// Images made smaller: which pixels are taken, and that none beside the image is.
#include "sdk/display/shrink.h"

#include <gtest/gtest.h>

#include <vector>

namespace vex::display {
namespace {

/// An image whose pixels say where they are: 1000 y + x.
struct Image {
    explicit Image(Size image_size, int padding = 0) : size(image_size), pixels_of_line(image_size.width + padding)
    {
        for (int y = 0; y < size.height; ++y) {
            for (int x = 0; x < pixels_of_line; ++x) {
                pixels.push_back(x < size.width ? static_cast<std::uint32_t>(1000 * y + x) : 0xFFFFFFFFU);
            }
        }
    }
    [[nodiscard]] const std::uint8_t* line(int y) const
    {
        return reinterpret_cast<const std::uint8_t*>(pixels.data()) + static_cast<std::size_t>(y) * stride();
    }
    [[nodiscard]] std::size_t stride() const { return static_cast<std::size_t>(pixels_of_line) * 4; }

    Size size;
    int pixels_of_line;
    std::vector<std::uint32_t> pixels;
};

std::vector<std::uint32_t> shrunk(Shrinker& shrinker, const Image& image, Size to)
{
    const std::uint32_t* const pixels = shrinker.shrink(image.line(0), image.stride(), 0, image.size, to);
    return {pixels, pixels + static_cast<std::ptrdiff_t>(to.width) * to.height};
}

TEST(Shrinker, KeepsWhatHasTheSizeAlready)
{
    const Image image({5, 3}, 2);
    Shrinker shrinker;
    EXPECT_EQ(shrunk(shrinker, image, {5, 3}),
              (std::vector<std::uint32_t>{0, 1, 2, 3, 4, 1000, 1001, 1002, 1003, 1004, 2000, 2001, 2002, 2003, 2004}));
}

TEST(Shrinker, TakesThePixelInTheMiddle)
{
    Shrinker shrinker;
    EXPECT_EQ(shrunk(shrinker, Image({9, 3}), {3, 1}), (std::vector<std::uint32_t>{1001, 1004, 1007}));
    EXPECT_EQ(shrunk(shrinker, Image({5, 5}), {1, 1}), (std::vector<std::uint32_t>{2002}));
    EXPECT_EQ(shrunk(shrinker, Image({5, 1}), {3, 1}), (std::vector<std::uint32_t>{0, 2, 4}));
}

TEST(Shrinker, TakesAPartOfAnImage)
{
    const Image image({8, 6}, 1);
    Shrinker shrinker;
    const std::uint32_t* const pixels = shrinker.shrink(image.line(2), image.stride(), 4, {4, 4}, {2, 2});
    EXPECT_EQ(std::vector<std::uint32_t>(pixels, pixels + 4), (std::vector<std::uint32_t>{3005, 3007, 5005, 5007}));
}

TEST(Shrinker, FollowsEachImageAndSize)
{
    Shrinker shrinker;
    EXPECT_EQ(shrunk(shrinker, Image({6, 2}), {2, 1}), (std::vector<std::uint32_t>{1001, 1004}));
    EXPECT_EQ(shrunk(shrinker, Image({4, 2}), {2, 1}), (std::vector<std::uint32_t>{1001, 1003}));
    EXPECT_EQ(shrunk(shrinker, Image({4, 2}), {1, 2}), (std::vector<std::uint32_t>{2, 1002}));
    const Image image({6, 2});
    const std::uint32_t* const pixels = shrinker.shrink(image.line(0), image.stride(), 2, {4, 2}, {2, 1});
    EXPECT_EQ(std::vector<std::uint32_t>(pixels, pixels + 2), (std::vector<std::uint32_t>{1003, 1005}));
}

TEST(Shrinker, ReachesFromOneEdgeToTheOther)
{
    const Image image({1920, 7});
    Shrinker shrinker;
    for (int width = 1; width <= 1920; width += 101) {
        const auto pixels = shrunk(shrinker, image, {width, 7});
        // the middle of the first and of the last is at most half a pixel of the smaller image from the edge
        EXPECT_EQ(pixels.front(), static_cast<std::uint32_t>(1920 / (2 * width)));
        EXPECT_EQ(pixels.back(), 6000U + static_cast<std::uint32_t>((2 * width - 1) * 1920 / (2 * width)));
    }
}

}  // namespace
}  // namespace vex::display
