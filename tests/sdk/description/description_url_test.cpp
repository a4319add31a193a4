#include "sdk/description/description_url.h"

#include <gtest/gtest.h>

using namespace vex;

namespace {

using description::parse_description_url;
using Scheme = description::DescriptionUrl::Scheme;

struct LocalUrl {
    const char* text;
    const char* name;
    std::uint32_t address;
    std::uint32_t length;
};

class LocalUrls : public testing::TestWithParam<LocalUrl> {};

TEST_P(LocalUrls, AreUnderstood)
{
    const auto url = parse_description_url(GetParam().text);
    ASSERT_TRUE(url);
    EXPECT_EQ(url->scheme, Scheme::local);
    EXPECT_EQ(url->name, GetParam().name);
    EXPECT_EQ(url->address, GetParam().address);
    EXPECT_EQ(url->length, GetParam().length);
}

INSTANTIATE_TEST_SUITE_P(
    AsDevicesWriteThem, LocalUrls,
    testing::Values(LocalUrl{"Local:camera.zip;10000;3e67", "camera.zip", 0x10000, 0x3E67},
                    LocalUrl{"local:///camera.xml;0xF0F00000;0X3F56", "camera.xml", 0xF0F00000, 0x3F56},
                    LocalUrl{"LOCAL: a camera.xml ; 1000 ; 20 ", "a camera.xml", 0x1000, 0x20},
                    LocalUrl{"Local:c.zip;FFFFF000;FFF?SchemaVersion=1.1.0", "c.zip", 0xFFFFF000, 0xFFF},
                    LocalUrl{"Local:odd;name.xml;1;2", "odd;name.xml", 1, 2},
                    LocalUrl{"Local:C:\\folder\\c.xml;1;2", "c.xml", 1, 2}, LocalUrl{"Local:;1;2", "", 1, 2}));

TEST(ParseDescriptionUrl, KnowsTheOtherSchemes)
{
    EXPECT_EQ(parse_description_url("File:C:\\xml\\camera.xml")->scheme, Scheme::file);
    EXPECT_EQ(parse_description_url("File:C:\\xml\\camera.xml")->name, "camera.xml");
    EXPECT_EQ(parse_description_url("http://maker.example/a/camera.zip?SchemaVersion=1.0.0")->scheme, Scheme::http);
    EXPECT_EQ(parse_description_url("HTTPS://maker.example/a/camera.zip")->name, "camera.zip");
    EXPECT_EQ(parse_description_url("gopher:hole")->scheme, Scheme::unknown);
}

TEST(ParseDescriptionUrl, RefusesWhatCannotBeRead)
{
    for (const char* text : {"", "  ", "Local:", "Local:camera.xml", "Local:camera.xml;1000", "Local:camera.xml;;",
                             "Local:camera.xml;1000;", "Local:camera.xml;;20", "Local:camera.xml;xyz;20",
                             "Local:camera.xml;1000;20 bytes", "Local:camera.xml;100000000;20",
                             "Local:camera.xml;-1;20", "Local:camera.xml;1000;0x", "Local:;", "Local:;;;"}) {
        EXPECT_FALSE(parse_description_url(text)) << text;
    }
}

TEST(DescriptionUrl, OfTheDevicesOwnMemoryIsReadAsItIsWritten)
{
    const std::string text = description::local_url("camera.zip", 0x00100000, 0xABCDE);
    EXPECT_EQ(text, "Local:camera.zip;100000;ABCDE");
    const auto url = parse_description_url(text);
    ASSERT_TRUE(url);
    EXPECT_EQ(url->scheme, Scheme::local);
    EXPECT_EQ(url->name, "camera.zip");
    EXPECT_EQ(url->address, 0x00100000U);
    EXPECT_EQ(url->length, 0xABCDEU);
}

}  // namespace
