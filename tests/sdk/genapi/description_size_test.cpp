// Loading: what is larger, deeper or longer than anything a device has.

#include <gtest/gtest.h>

#include "tests/sdk/genapi/memory_port.h"

using namespace camera_xml;
using GenApi::AccessMode;

TEST(Description, BreaksTooLongAChainOfReferences)
{
    std::string body = integer("N0", {.value = 5});
    for (int i = 1; i <= 5000; ++i) {
        body += integer("N" + std::to_string(i), {.value = "N" + std::to_string(i - 1)});
    }
    Camera camera(body);
    EXPECT_EQ(camera["N50"].int_value(), 5);
    EXPECT_EQ(camera["N5000"].access(), AccessMode::not_available);
    EXPECT_THROW(static_cast<void>(camera["N5000"].int_value()), GenApi::EvaluationError);
    EXPECT_THROW(camera["N5000"].set_int_value(1), GenApi::Error);
}

TEST(Description, SurvivesLongChainsOfConditionsAndLimits)
{
    std::string body = integer("A0", {.value = 1});
    for (int i = 1; i <= 20'000; ++i) {
        const std::string before = "A" + std::to_string(i - 1);
        const std::string knife = "K" + std::to_string(i);
        body += integer("A" + std::to_string(i), {.is_available = before, .value = 1, .max = knife}) +
                int_swiss_knife(knife, "V.Max", {{"V.Max", before}});
    }
    Camera camera(body);
    EXPECT_EQ(camera["A20"].access(), AccessMode::read_write);
    EXPECT_EQ(camera["A20000"].access(), AccessMode::not_available);
    EXPECT_THROW(static_cast<void>(camera["A20000"].int_max()), GenApi::Error);
}

TEST(Description, EvaluatesABranchingGraphOnceANode)
{
    // each node asks the one before twice: without memory that would be 2^60 questions
    std::string body = int_reg("N0", 0, {.access = "RO", .cachable = "NoCache"});
    for (int i = 1; i <= 60; ++i) {
        body += int_swiss_knife("N" + std::to_string(i), "V+V", {{"V", "N" + std::to_string(i - 1)}});
    }
    Camera camera(body);
    camera.port.set32(0, 1);
    EXPECT_EQ(camera["N60"].int_value(), std::int64_t{1} << 60);
    EXPECT_EQ(camera.port.reads, 1);
}

TEST(Description, SurvivesDeepNestingOfElementsAndGroups)
{
    const int depth = 200'000;
    std::string deep;
    for (int i = 0; i < depth; ++i) {
        deep += "<Group>";
    }
    deep += "<Integer Name=\"X\"><Value>3</Value></Integer>";
    for (int i = 0; i < depth; ++i) {
        deep += "</Group>";
    }
    EXPECT_EQ(Camera(deep)["X"].int_value(), 3);
}

TEST(Description, RefusesMoreElementsThanAnyDeviceHas)
{
    std::string many = "<RegisterDescription>";
    many.reserve(17'000'000);
    for (int i = 0; i < 4'000'001; ++i) {
        many += "<a/>";
    }
    many += "</RegisterDescription>";
    EXPECT_EQ(load_error(many), "the description has more elements than any device's: more than 2000000");
}

TEST(Description, RefusesAHundredMegabytes)
{
    std::string huge = description("<Integer Name=\"X\"><Value>1</Value></Integer>");
    huge.insert(huge.find("<Port"), std::string(100'000'000, ' '));
    EXPECT_NE(load_error(huge).find(" bytes; the limit is 67108864"), std::string::npos);
}

TEST(Description, RefusesStructRegistersThatMultiply)
{
    std::string body = "<StructReg>";
    for (int i = 0; i < 3000; ++i) {
        body += "<pInvalidator>A</pInvalidator>";
    }
    for (int i = 0; i < 3000; ++i) {
        body += "<StructEntry Name=\"E" + std::to_string(i) + "\"/>";
    }
    EXPECT_NE(load_error(description(body + "</StructReg>")).find("too many entries"), std::string::npos);
}

TEST(Description, KeepsLongNamesFromMultiplying)
{
    Camera camera("<Enumeration Name=\"" + std::string(100'000, 'N') +
                  "\"><EnumEntry Name=\"A\"><Value>1</Value></EnumEntry><Value>1</Value></Enumeration>");
    GenApi::INode* const node = camera.map->node_at(1);
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->name().size(), 256U);
    EXPECT_NE(std::string(node->defect()).find("longer than 256"), std::string::npos);
}

TEST(Description, NotesAtMostSomeHundredDefects)
{
    std::string body;
    for (int i = 0; i < 5000; ++i) {
        body += "<Integer/>";
    }
    Camera camera(body);
    EXPECT_LE(camera.map->diagnostics().size(), 500U);
    EXPECT_EQ(camera.map->node_count(), 5001U);
    EXPECT_EQ(camera.map->node_at(5001), nullptr);
}
