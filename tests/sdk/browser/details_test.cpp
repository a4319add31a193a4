// What a browser says about a feature in words.

#include <gtest/gtest.h>

#include "sdk/browser/details.h"

using namespace vex::browser;

namespace {

Feature width()
{
    Feature feature;
    feature.type = PvGenTypeInteger;
    feature.name = "Width";
    feature.display_name = "Image Width";
    feature.tool_tip = "Columns";
    feature.description = "Columns of the image.";
    feature.unit = "px";
    feature.visibility = PvGenVisibilityExpert;
    feature.selecting = {"RegionSelector"};
    return feature;
}

Reading readable()
{
    Reading reading;
    reading.access = GenApi::AccessMode::read_write;
    reading.min = 16;
    reading.max = 4096;
    reading.increment = 4;
    return reading;
}

}  // namespace

TEST(Details, TellLimitsSelectorsAndKind)
{
    const Reading reading = readable();
    EXPECT_EQ(details(width(), &reading),
              "Columns of the image.\r\nRange: 16 to 4096 px\r\nIncrement: 4 px\r\n"
              "Selected by: RegionSelector\r\nName: Width\r\nKind: Integer, Standard, Expert");
    EXPECT_EQ(details(width(), nullptr),
              "Columns of the image.\r\nSelected by: RegionSelector\r\nName: Width\r\nKind: Integer, Standard, Expert");
}

TEST(Details, TellWhyAValueCannotBeChangedOrRead)
{
    Reading reading = readable();
    reading.access = GenApi::AccessMode::read_only;
    EXPECT_EQ(access_text(&reading), "Read only");
    reading.is_locked = true;
    EXPECT_EQ(access_text(&reading), "Locked");
    EXPECT_NE(details(width(), &reading).find("Locked as long as the acquisition runs."), std::string::npos);
    reading.failure = "Width cannot be read: the device is not connected";
    EXPECT_NE(details(width(), &reading).find(reading.failure), std::string::npos);
    reading.access = GenApi::AccessMode::not_available;
    EXPECT_EQ(access_text(&reading), "Not available");
    EXPECT_EQ(details(width(), &reading).find("Range"), std::string::npos);
    EXPECT_EQ(access_text(nullptr), "");
}

TEST(Details, ListTheBytesOfARegister)
{
    Feature memory;
    memory.type = PvGenTypeRegister;
    memory.name = "Memory";
    Reading reading;
    reading.access = GenApi::AccessMode::read_write;
    reading.bytes = {0xA0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    reading.length = 17;
    EXPECT_EQ(details(memory, &reading), "Length: 17 bytes\r\nName: Memory\r\nKind: Register, Standard, Beginner\r\n"
                                         "0000: A0 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F\r\n0010: 10");
    reading.bytes.assign(4096, 0);
    EXPECT_TRUE(details(memory, &reading).ends_with("0FF0: 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"));
    reading.bytes.push_back(0);
    EXPECT_TRUE(details(memory, &reading).ends_with("00 00\r\n\xE2\x80\xA6"));
}

TEST(Details, TellOfCategories)
{
    Category category;
    category.name = "ImageFormatControl";
    category.tool_tip = "Size and format";
    category.name_space = PvGenNameSpaceCustom;
    EXPECT_EQ(details(category), "Size and format\r\nName: ImageFormatControl\r\nKind: Category, Custom, Beginner");
}
