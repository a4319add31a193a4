// Where an image stands in a window: fitted, zoomed about a point, moved, resized.
#include "sdk/display/view.h"

#include <gtest/gtest.h>

namespace vex::display {
namespace {

View view_of(Size window, Size image)
{
    View view;
    view.set_window(window);
    view.set_image(image);
    return view;
}

void expect_placement(const View& view, double x, double y, double scale)
{
    const Placement placement = view.placement();
    EXPECT_DOUBLE_EQ(placement.corner.x, x);
    EXPECT_DOUBLE_EQ(placement.corner.y, y);
    EXPECT_DOUBLE_EQ(placement.scale, scale);
}

/// What of the image is at a place in the window.
Point under(const View& view, Point place)
{
    const Placement now = view.placement();
    return {(place.x - now.corner.x) / now.scale, (place.y - now.corner.y) / now.scale};
}

TEST(View, FitsInTheMiddle)
{
    expect_placement(view_of({800, 600}, {1600, 1000}), 0, 50, 0.5);
    expect_placement(view_of({800, 600}, {100, 100}), 100, 0, 6);
    expect_placement(view_of({800, 600}, {800, 600}), 0, 0, 1);
}

TEST(View, TakesWindowsAndImagesWithoutSize)
{
    View view;
    view.zoom(2, {3, 3});
    view.move(1, 1);
    EXPECT_TRUE(view.is_fitted());
    EXPECT_FALSE(view.pixel_at({0, 0}));
    view.set_image({10, 10});
    view.zoom(2, {3, 3});
    EXPECT_TRUE(view.is_fitted());
    view.set_window({100, 100});
    expect_placement(view, 0, 0, 10);
}

TEST(View, ZoomsAboutThePointer)
{
    View view = view_of({800, 600}, {1600, 1200});
    const Point pointer{200, 450};
    const Point before = under(view, pointer);
    view.zoom(4, pointer);
    EXPECT_FALSE(view.is_fitted());
    EXPECT_DOUBLE_EQ(view.placement().scale, 2);
    EXPECT_NEAR(under(view, pointer).x, before.x, 0.5);
    EXPECT_NEAR(under(view, pointer).y, before.y, 0.5);
}

TEST(View, KeepsZoomWithinItsLimits)
{
    View large = view_of({800, 600}, {1600, 1200});
    large.zoom(0.001, {400, 300});
    EXPECT_DOUBLE_EQ(large.placement().scale, 0.5);
    large.zoom(1e9, {400, 300});
    EXPECT_DOUBLE_EQ(large.placement().scale, View::largest_scale);
    View small = view_of({800, 600}, {80, 60});
    small.zoom(0.001, {400, 300});
    EXPECT_DOUBLE_EQ(small.placement().scale, 1);
    // fitted, a single pixel is larger than what can be zoomed to
    View tiny = view_of({800, 600}, {1, 1});
    expect_placement(tiny, 100, 0, 600);
    tiny.zoom(2, {400, 300});
    EXPECT_DOUBLE_EQ(tiny.placement().scale, View::largest_scale);
}

TEST(View, ShowsOneToOne)
{
    View view = view_of({800, 600}, {1600, 1200});
    view.show_one_to_one({400, 300});
    expect_placement(view, -400, -300, 1);
    view.fit();
    expect_placement(view, 0, 0, 0.5);
}

TEST(View, MovesUpToTheBorders)
{
    View view = view_of({800, 600}, {1600, 1200});
    view.move(5, 5);
    expect_placement(view, 0, 0, 0.5);  // one that is fitted stays
    view.show_one_to_one({400, 300});
    view.move(10, -20);
    expect_placement(view, -390, -320, 1);
    view.move(10'000, 10'000);
    expect_placement(view, 0, 0, 1);
    view.move(-10'000, -10'000);
    expect_placement(view, -800, -600, 1);
}

TEST(View, KeepsASmallImageInTheMiddle)
{
    View view = view_of({800, 600}, {100, 1000});
    view.show_one_to_one({0, 0});
    EXPECT_DOUBLE_EQ(view.placement().corner.x, 350);
    view.move(300, 0);
    EXPECT_DOUBLE_EQ(view.placement().corner.x, 350);
}

TEST(View, KeepsTheMiddleOfAWindowThatGrows)
{
    View view = view_of({800, 600}, {1600, 1200});
    view.show_one_to_one({400, 300});
    view.set_window({900, 700});
    expect_placement(view, -350, -250, 1);
    view.set_window({0, 0});  // minimised
    view.set_window({800, 600});
    expect_placement(view, -400, -300, 1);
}

TEST(View, FitsAnImageOfAnotherSizeOnly)
{
    View view = view_of({800, 600}, {1600, 1200});
    view.show_one_to_one({400, 300});
    view.set_image({1600, 1200});
    EXPECT_FALSE(view.is_fitted());
    view.set_image({1600, 1201});
    EXPECT_TRUE(view.is_fitted());
}

TEST(View, TellsThePixelAtAPlace)
{
    const View view = view_of({800, 600}, {80, 30});  // ten times as large, 150 above and below
    EXPECT_EQ(view.pixel_at({0, 150}), (Pixel{0, 0}));
    EXPECT_EQ(view.pixel_at({9.9, 159.9}), (Pixel{0, 0}));
    EXPECT_EQ(view.pixel_at({799, 449}), (Pixel{79, 29}));
    EXPECT_FALSE(view.pixel_at({0, 149}));
    EXPECT_FALSE(view.pixel_at({0, 450}));
    EXPECT_FALSE(view.pixel_at({800, 200}));
    EXPECT_FALSE(view.pixel_at({-1, 200}));
}

}  // namespace
}  // namespace vex::display
