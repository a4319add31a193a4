// A browser's looks as properties.

#include <gtest/gtest.h>

#include "sdk/browser/browser_state.h"
#include "sdk/lists/PvPropertyList.h"

using namespace vex::browser;

namespace {

void add(PvPropertyList& list, const char* name, const char* value)
{
    list.Add(PvProperty(PvString(name), PvString(value)));
}

BrowserState everything()
{
    BrowserState state;
    state.visibility = PvGenVisibilityGuru;
    state.order = Order::alphabetical;
    state.collapsed = {"ImageFormatControl", "Transport"};
    state.details_height = 120;
    state.widths = {200, 150, 40, std::nullopt};
    state.tab = 3;
    return state;
}

}  // namespace

TEST(BrowserState, ComesBackAsItWasSaved)
{
    PvPropertyList list;
    ASSERT_TRUE(save(everything(), &list).IsOK());
    EXPECT_EQ(list.GetSize(), 8U);
    BrowserState loaded;
    ASSERT_TRUE(load(&list, loaded).IsOK());
    EXPECT_EQ(loaded, everything());
}

TEST(BrowserState, TakesTheLastOfSeveral)
{
    PvPropertyList list;
    BrowserState state = everything();
    ASSERT_TRUE(save(state, &list).IsOK());
    state.visibility = PvGenVisibilityBeginner;
    state.collapsed = std::set<std::string>();
    ASSERT_TRUE(save(state, &list).IsOK());
    BrowserState loaded;
    ASSERT_TRUE(load(&list, loaded).IsOK());
    EXPECT_EQ(loaded, state);
}

TEST(BrowserState, AcceptsForeignAndPartialLists)
{
    PvPropertyList list;
    BrowserState state = everything();
    ASSERT_TRUE(load(&list, state).IsOK());
    add(list, "Something", "else");
    add(list, "BrowserFuture", "1");
    add(list, "BrowserVisibility", " Expert ");
    add(list, "BrowserWidthValue", "1000000");
    ASSERT_TRUE(load(&list, state).IsOK());
    BrowserState wanted = everything();
    wanted.visibility = PvGenVisibilityExpert;
    wanted.widths[1] = 10'000;
    EXPECT_EQ(state, wanted);
}

TEST(BrowserState, LeavesTheStateForWhatIsNoValue)
{
    for (const auto& [name, value] : {std::pair{"BrowserVisibility", "999"}, std::pair{"BrowserOrder", "tree"},
                                      std::pair{"BrowserTab", "first"}, std::pair{"BrowserDetailsHeight", ""}}) {
        PvPropertyList list;
        add(list, "BrowserWidthName", "7");
        add(list, name, value);
        BrowserState state = everything();
        const PvResult result = load(&list, state);
        EXPECT_EQ(result.GetCode(), PvResult::InvalidDataFormat) << name;
        EXPECT_NE(result.description().find(name), std::string_view::npos);
        EXPECT_EQ(state, everything()) << name;
    }
}

TEST(BrowserState, NeedsAList)
{
    BrowserState state;
    EXPECT_EQ(save(state, nullptr).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(load(nullptr, state).GetCode(), PvResult::InvalidParameter);
}

TEST(BrowserState, KnowsWhatAVisibilityIs)
{
    EXPECT_TRUE(is_visibility(PvGenVisibilityBeginner));
    EXPECT_TRUE(is_visibility(PvGenVisibilityInvisible));
    EXPECT_FALSE(is_visibility(PvGenVisibilityUndefined));
    EXPECT_FALSE(is_visibility(static_cast<PvGenVisibility>(-1)));
    EXPECT_FALSE(is_visibility(static_cast<PvGenVisibility>(4)));
}
