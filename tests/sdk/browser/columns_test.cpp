// The widths of a browser's columns in rooms of all sizes.
#include "sdk/browser/columns.h"

#include <gtest/gtest.h>

namespace vex::browser {
namespace {

constexpr Widths own{240, 220, 60, 100};

TEST(Columns, GiveValuesTheRoomThatIsLeft)
{
    EXPECT_EQ(fitted(own, 620, 80), own);
    EXPECT_EQ(fitted(own, 1000, 80), (Widths{240, 600, 60, 100}));
}

TEST(Columns, ShareANarrowRoom)
{
    EXPECT_EQ(fitted(own, 619, 80), (Widths{239, 220, 60, 100}));
    EXPECT_EQ(fitted(own, 390, 80), (Widths{120, 110, 60, 100}));
    EXPECT_EQ(fitted({300, 100, 60, 100}, 360, 80), (Widths{120, 80, 60, 100}));
    EXPECT_EQ(fitted({100, 300, 60, 100}, 360, 80), (Widths{80, 120, 60, 100}));
}

TEST(Columns, KeepTheirLeastWidths)
{
    for (const int room : {319, 160, 0, -50}) {
        EXPECT_EQ(fitted(own, room, 80), (Widths{80, 80, 60, 100})) << room;
    }
    EXPECT_EQ(fitted({40, 220, 60, 100}, 0, 80), (Widths{40, 80, 60, 100})) << "a width that is less is the user's";
    EXPECT_EQ(fitted({0, 0, 60, 100}, 0, 80), (Widths{0, 0, 60, 100}));
}

}  // namespace
}  // namespace vex::browser
