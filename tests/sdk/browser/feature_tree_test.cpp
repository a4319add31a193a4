// The rows of a browser.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "sdk/browser/feature_tree.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/genicam/array_gate.h"
#include "tests/sdk/genapi/memory_port.h"

namespace {

using namespace camera_xml;
using namespace vex::browser;

const std::string body = root({"Image", "Secret", "Serial", "Empty"}) +
                         category("Image", {"Width", "Gain", "Corner"}, {.display_name = "Image Format"}) +
                         category("Corner", {"OffsetX", "Width"}) +
                         category("Secret", {"Hidden"}, {.visibility = "Guru"}) + category("Empty", {"Device"}) +
                         integer("Width", {.display_name = "Image Width", .value = 8, .unit = "px"}) +
                         floating("Gain", {.visibility = "Expert", .value = 1.5, .unit = "dB"}) +
                         integer("OffsetX", {.value = 0}) + integer("Hidden", {.value = 0}) + text("Serial", "7");

struct Tree : testing::Test {
    std::vector<std::string> shown() const
    {
        std::vector<std::string> lines;
        for (const Row& row : tree->rows()) {
            std::string line(static_cast<std::size_t>(row.depth), ' ');
            if (row.category != nullptr) {
                line += (row.is_expanded ? "-" : "+") + row.category->name;
            } else {
                line += row.feature->name;
            }
            lines.push_back(line);
        }
        return lines;
    }
    bool show() { return tree->set(features_of(*array), array->gate()); }
    static std::string name_of(PvGenParameter* parameter)
    {
        PvString name("null");
        if (parameter != nullptr) {
            EXPECT_TRUE(parameter->GetName(name).IsOK());
        }
        return name.str();
    }

    using Lines = std::vector<std::string>;
    MemoryPort port;
    std::unique_ptr<PvGenParameterArray> array =
        std::make_unique<PvGenParameterArray>(GenApi::load_node_map(description(body), port));
    Lines asked;
    std::function<bool(PvGenParameter*)> answer = [](PvGenParameter*) { return true; };
    std::unique_ptr<FeatureTree> tree = std::make_unique<FeatureTree>([this](PvGenParameter* parameter) {
        asked.push_back(name_of(parameter));
        const auto answering = answer;
        return answering(parameter);
    });
};

}  // namespace

TEST_F(Tree, ShowsCategoriesAndFeaturesOfTheVisibility)
{
    ASSERT_TRUE(show());
    EXPECT_EQ(shown(), (Lines{"-Image", " Width", " -Corner", "  OffsetX", "  Width", "Serial"}));
    EXPECT_EQ(tree->rows()[4].feature, tree->rows()[1].feature);
    EXPECT_EQ(asked, (Lines{"null", "Width", "null", "OffsetX", "Serial", "null"}));
    EXPECT_EQ(tree->displayed_count(), 3U);
    asked.clear();
    ASSERT_TRUE(tree->set_visibility(PvGenVisibilityGuru));
    EXPECT_EQ(shown(),
              (Lines{"-Image", " Width", " Gain", " -Corner", "  OffsetX", "  Width", "-Secret", " Hidden", "Serial"}));
    EXPECT_EQ(asked, (Lines{"null", "Width", "Gain", "null", "OffsetX", "null", "Hidden", "Serial", "null"}));
    EXPECT_EQ(port.reads, 0);
    asked.clear();
    tree->set_order(Order::alphabetical);
    tree->set_filter("x");
    tree->expand(0, false);
    EXPECT_EQ(asked, Lines());
    ASSERT_TRUE(tree->reload());
    EXPECT_EQ(asked.size(), 9U);
}

TEST(FeaturesOf, TellsWhatIsSelectedAndLeavesOutWhatIsNoFeature)
{
    MemoryPort port;
    const PvGenParameterArray array(GenApi::load_node_map(
        description(
            root({"Selector", "Value", "Device"}) +
            integer("Selector", {.tool_tip = "Which one", .value = 0, .selected = {"Value", "Register"}}) +
            integer("Value", {.visibility = "Guru", .value = "Register", .unit = "us", .representation = "Linear"}) +
            int_reg("Register", 0)),
        port));
    const auto all = features_of(array);
    ASSERT_NE(all, nullptr);
    ASSERT_EQ(all->items.size(), 2U);
    const Feature& selector = *all->items[0].feature;
    const Feature& value = *all->items[1].feature;
    EXPECT_EQ(selector.selected, std::vector<std::string>{"Value"});
    EXPECT_EQ(selector.tool_tip, "Which one");
    EXPECT_EQ(value.selecting, std::vector<std::string>{"Selector"});
    EXPECT_EQ(value.unit, "us");
    EXPECT_EQ(value.visibility, PvGenVisibilityGuru);
    EXPECT_EQ(value.type, PvGenTypeInteger);
    EXPECT_EQ(value.representation, GenApi::Representation::linear);
    EXPECT_EQ(value.polling_time, -1);
    EXPECT_EQ(port.reads, 0);
}

TEST(FeaturesOf, HasEachCategoryOnce)
{
    // each listed twice by the one before
    std::string nodes = root({"C0", "C0"});
    constexpr int depth = 40;
    for (int i = 0; i < depth; ++i) {
        const std::string next = i + 1 < depth ? "C" + std::to_string(i + 1) : "Device";
        nodes += category("C" + std::to_string(i), {next, next});
    }
    MemoryPort port;
    const PvGenParameterArray array(GenApi::load_node_map(description(nodes), port));
    std::shared_ptr<const Category> at = features_of(array);
    int met = 0;
    while (at != nullptr && !at->items.empty()) {
        ASSERT_EQ(at->items.size(), 1U);
        at = at->items.front().category;
        ++met;
    }
    EXPECT_EQ(met, depth);
}

TEST(FeaturesOf, IsNothingWithoutAFirstCategory)
{
    MemoryPort port;
    const PvGenParameterArray array(GenApi::load_node_map(description(integer("Lonely", {.value = 1})), port));
    EXPECT_EQ(features_of(array), nullptr);
}

TEST_F(Tree, SortsByTheNameThatIsShown)
{
    tree->set_order(Order::alphabetical);
    ASSERT_TRUE(tree->set_visibility(PvGenVisibilityInvisible));
    ASSERT_TRUE(show());
    EXPECT_EQ(shown(), (Lines{"Gain", "Hidden", "Width", "OffsetX", "Serial"}));
    tree->choose(2);
    tree->set_order(Order::tree);
    EXPECT_EQ(tree->chosen_row(), 1U);
    tree->set_order(Order::alphabetical);
    EXPECT_EQ(tree->chosen_row(), 2U);
}

TEST_F(Tree, FiltersByNamesUnitsAndCategories)
{
    ASSERT_TRUE(show());
    tree->set_filter("OFFSET");
    EXPECT_EQ(shown(), (Lines{"-Image", " -Corner", "  OffsetX"}));
    tree->set_filter("px");
    EXPECT_EQ(shown(), (Lines{"-Image", " Width", " -Corner", "  Width"}));
    tree->set_filter("corner");
    EXPECT_EQ(shown(), (Lines{"-Image", " -Corner", "  OffsetX", "  Width"}));
    tree->set_filter("nothing of that name");
    EXPECT_EQ(shown(), Lines());
    tree->set_filter("");
    EXPECT_EQ(shown().size(), 6U);
}

TEST_F(Tree, ClosesCategoriesByName)
{
    ASSERT_TRUE(show());
    tree->expand(2, false);
    EXPECT_EQ(shown(), (Lines{"-Image", " Width", " +Corner", "Serial"}));
    tree->choose(1);
    tree->expand(0, false);
    EXPECT_EQ(shown(), (Lines{"+Image", "Serial"}));
    EXPECT_FALSE(tree->chosen_row());
    EXPECT_EQ(tree->collapsed(), (std::set<std::string>{"Corner", "Image"}));
    tree->set_filter("offset");
    EXPECT_EQ(shown(), (Lines{"-Image", " -Corner", "  OffsetX"}));
    tree->set_filter("");
    tree->expand(0, true);
    EXPECT_EQ(shown(), (Lines{"-Image", " Width", " +Corner", "Serial"}));
    EXPECT_EQ(tree->chosen_row(), 1U);
    EXPECT_EQ(tree->parent_of(1), 0U);
    EXPECT_FALSE(tree->parent_of(0));
    tree->expand(99, true);
    tree->expand(1, false);
    EXPECT_EQ(shown().size(), 4U);
}

TEST_F(Tree, LeavesOutWhatTheCallbackRefuses)
{
    answer = [](PvGenParameter* parameter) { return parameter != nullptr; };
    ASSERT_TRUE(show());
    EXPECT_EQ(shown(), (Lines{"Width", "OffsetX", "Width", "Serial"}));
    answer = [](PvGenParameter* parameter) { return name_of(parameter) != "OffsetX" && name_of(parameter) != "Width"; };
    ASSERT_TRUE(tree->reload());
    EXPECT_EQ(shown(), (Lines{"Serial"}));
}

TEST_F(Tree, TheCallbackMayChangeWhatIsAsked)
{
    answer = [this](PvGenParameter*) {
        answer = [](PvGenParameter*) { return true; };
        EXPECT_TRUE(tree->set_visibility(PvGenVisibilityExpert));
        return false;
    };
    EXPECT_FALSE(show());
    EXPECT_EQ(shown(), (Lines{"-Image", " Width", " Gain", " -Corner", "  OffsetX", "  Width", "Serial"}));
    answer = [this](PvGenParameter*) {
        EXPECT_TRUE(tree->set(nullptr, nullptr));
        return true;
    };
    EXPECT_FALSE(tree->reload());
    EXPECT_EQ(shown(), Lines());
}

TEST_F(Tree, TheCallbackMayDestroyTreeAndArray)
{
    answer = [this](PvGenParameter*) {
        array.reset();
        return true;
    };
    EXPECT_FALSE(show());
    EXPECT_EQ(asked.size(), 1U);
    EXPECT_FALSE(tree->reload());
    array = std::make_unique<PvGenParameterArray>(GenApi::load_node_map(description(body), port));
    answer = [this](PvGenParameter*) {
        tree.reset();
        return true;
    };
    EXPECT_FALSE(show());
}
