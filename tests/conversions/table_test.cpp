// The table of all conversions in docs/conversions.md says what the converter does.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/buffer/pixel_type_names.h"
#include "sdk/convert/PvBufferConverter.h"

using namespace vex;

namespace {

constexpr std::string_view table_begin = "<!-- table of conversions: begin -->\n";
constexpr std::string_view table_end = "<!-- table of conversions: end -->\n";

enum class Kind { grey, bayer, color, yuv };

Kind kind_of(PvPixelType type)
{
    const auto name = pixel_type_name(type);
    if (name.starts_with("Mono")) {
        return Kind::grey;
    }
    if (name.starts_with("Bayer")) {
        return Kind::bayer;
    }
    return name.starts_with("YUV") ? Kind::yuv : Kind::color;
}

/// The letters of a cell, as the document explains them.
std::string how(PvPixelType from, PvPixelType to)
{
    if (from == to) {
        return "=";
    }
    const auto source = kind_of(from);
    const auto destination = kind_of(to);
    std::string letters = source == Kind::bayer ? "i" : "";
    const bool has_colors = source == Kind::bayer || source == Kind::color;
    if ((has_colors && destination != Kind::color) || (source == Kind::yuv && destination == Kind::color)) {
        letters += "m";
    }
    return letters.empty() ? "v" : letters;
}

/// Types to which others can be converted.
std::vector<PvPixelType> destinations()
{
    std::vector<PvPixelType> found;
    std::ranges::copy_if(pv_pixel_types, std::back_inserter(found), [](PvPixelType to) {
        return std::ranges::any_of(pv_pixel_types, [to](PvPixelType from) {
            return from != to && PvBufferConverter::IsConversionSupported(from, to);
        });
    });
    return found;
}

std::string table()
{
    const auto columns = destinations();
    std::string text = "| from \\ to |";
    std::string rule = "|---|";
    for (const auto to : columns) {
        text.append(" ").append(pixel_type_name(to)).append(" |");
        rule += ":-:|";
    }
    text += " itself |\n" + rule + ":-:|\n";
    for (const auto from : pv_pixel_types) {
        text.append("| ").append(pixel_type_name(from)).append(" |");
        for (const auto to : columns) {
            text +=
                " " + (PvBufferConverter::IsConversionSupported(from, to) ? how(from, to) : std::string("no")) + " |";
        }
        text += PvBufferConverter::IsConversionSupported(from, from) ? " = |\n" : " no |\n";
    }
    return text;
}

TEST(ConversionTable, IsTheOneInTheDocument)
{
    const std::string name = VEX_DOCS_FOLDER "/conversions.md";
    std::ifstream stream(name);
    const std::string document{std::istreambuf_iterator<char>(stream), {}};
    const auto begin = document.find(table_begin);
    const auto end = document.find(table_end);
    ASSERT_NE(begin, std::string::npos) << name;
    ASSERT_NE(end, std::string::npos) << name;
    const auto from = begin + table_begin.size();
    const std::string made_name = VEX_MADE_FOLDER "/conversions_table.md";
    std::ofstream(made_name) << table();
    EXPECT_EQ(document.substr(from, end - from), table()) << "the table as it is now stands in " << made_name;
}

TEST(ConversionTable, HoldsForImages)
{
    PvBufferConverter converter;
    for (const auto from : pv_pixel_types) {
        for (const auto to : pv_pixel_types) {
            PvBuffer source;
            PvBuffer destination;
            ASSERT_TRUE(source.GetImage()->Alloc(4, 2, from).IsOK());
            ASSERT_TRUE(destination.GetImage()->Alloc(4, 2, to).IsOK());
            const auto done = converter.Convert(&source, &destination);
            EXPECT_EQ(done.IsOK(), PvBufferConverter::IsConversionSupported(from, to))
                << pixel_type_name(from) << " to " << pixel_type_name(to) << ": " << done.description();
        }
    }
}

TEST(ConversionTable, HasTheTypesThatPeopleLookAtOrComputeWith)
{
    const auto columns = destinations();
    for (const auto type :
         {PvPixelMono8, PvPixelMono16, PvPixelRGB8Packed, PvPixelBGR8Packed, PvPixelRGBA8Packed, PvPixelBGRA8Packed,
          PvPixelRGB16Packed, PvPixelYUV422Packed, PvPixelYUV444Packed, PvPixelRGB8Planar, PvPixelWinRGB16,
          PvPixelWinRGB32, PvPixelWinRGB24, PvPixelWinBGR32, PvPixelWinBGR24}) {
        EXPECT_TRUE(std::ranges::find(columns, type) != columns.end()) << pixel_type_name(type);
        for (const auto from : pv_pixel_types) {
            EXPECT_TRUE(PvBufferConverter::IsConversionSupported(from, type))
                << pixel_type_name(from) << " to " << pixel_type_name(type);
        }
    }
}

}  // namespace
