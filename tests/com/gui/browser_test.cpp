// VexGenBrowserWnd through COM: what it shows, who decides what is displayed, and what is saved.
#include <map>
#include <set>
#include <vector>

#include "tests/com/gui/browser_window.h"

namespace {

using namespace client;

// ---- visibility ----

TEST_F(Browser, ShowsBeginnersTheirFeaturesAtFirst)
{
    EXPECT_EQ(visibility(), VexGenVisibilityBeginner);
    EXPECT_EQ(text_of(window, &IVexGenBrowserWnd::get_Title), L"Features");
    EXPECT_EQ(handle(), nullptr);
    EXPECT_EQ(window->get_Visibility(nullptr), E_POINTER);
    EXPECT_EQ(set_features(features.get()), S_OK);
    ASSERT_EQ(show(), VexOK);
    EXPECT_GE(rows().find(L"Width"), 0);
    EXPECT_EQ(rows().find(L"ReverseX"), -1);
    EXPECT_EQ(window->put_Visibility(VexGenVisibilityExpert), S_OK);
    EXPECT_GE(rows().find(L"ReverseX"), 0);
    EXPECT_EQ(rows().find(L"UserMemory"), -1);
}

TEST_F(Browser, TakesEveryVisibilityAndRefusesWhatIsNone)
{
    for (const auto level :
         {VexGenVisibilityInvisible, VexGenVisibilityGuru, VexGenVisibilityExpert, VexGenVisibilityBeginner}) {
        EXPECT_EQ(window->put_Visibility(level), S_OK);
        EXPECT_EQ(visibility(), level);
    }
    EXPECT_EQ(window->put_Visibility(VexGenVisibilityGuru), S_OK);
    for (const int level : {999, -1, 4}) {
        EXPECT_EQ(window->put_Visibility(unnamed<VexGenVisibility>(level)), DISP_E_EXCEPTION) << level;
        EXPECT_EQ(visibility(), VexGenVisibilityGuru);
    }
    LateBound late(window.get());
    EXPECT_EQ(late.put(L"Visibility", Variant(999)), DISP_E_EXCEPTION);
    EXPECT_EQ(late.source(), L"VexKamCOMWrapper.VexGenBrowserWnd.1");
    EXPECT_EQ(late.description(), L"There is no visibility 999");
    EXPECT_EQ(late.put(L"Visibility", Variant(1)), S_OK);
    Variant level;
    EXPECT_EQ(late.get(L"Visibility", level), S_OK);
    EXPECT_EQ(level.text(), L"1");
}

TEST_F(Browser, TheUserMayChangeTheVisibility)
{
    EXPECT_EQ(set_features(features.get()), S_OK);
    ASSERT_EQ(show(), VexOK);
    EXPECT_EQ(SendMessageW(control(browser_visibility), CB_GETCURSEL, 0, 0), 0);
    SendMessageW(control(browser_visibility), CB_SETCURSEL, 2, 0);
    SendMessageW(handle(), WM_COMMAND, MAKEWPARAM(browser_visibility, CBN_SELCHANGE),
                 reinterpret_cast<LPARAM>(control(browser_visibility)));
    EXPECT_EQ(visibility(), VexGenVisibilityGuru);
    EXPECT_GE(rows().find(L"UserMemory"), 0);
}

// ---- the array ----

TEST_F(Browser, TakesNoFeatures)
{
    EXPECT_EQ(set_features(nullptr), S_OK);
    ASSERT_EQ(show(), VexOK);
    EXPECT_EQ(rows().count(), 0);
    EXPECT_EQ(set_features(features.get()), S_OK);
    EXPECT_GT(rows().count(), 0);
    EXPECT_EQ(set_features(nullptr), S_OK);
    EXPECT_EQ(rows().count(), 0);
    LateBound late(window.get());
    EXPECT_EQ(late.put_reference(L"GenParameterArray", Variant(static_cast<IDispatch*>(features.get()))), S_OK);
    EXPECT_GT(rows().count(), 0);
    EXPECT_EQ(late.put_reference(L"GenParameterArray", Variant(static_cast<IDispatch*>(nullptr))), S_OK);
    EXPECT_EQ(rows().count(), 0);
}

TEST_F(Browser, RefusesAnArrayWithNothingBehindIt)
{
    EXPECT_EQ(set_features(features.get()), S_OK);
    const auto empty = create<IVexGenParameterArray>(__uuidof(VexGenParameterArray));
    EXPECT_EQ(set_features(empty.get()), E_POINTER);
    ASSERT_EQ(show(), VexOK);
    EXPECT_GE(rows().find(L"Width"), 0);
}

TEST_F(Browser, OutlivesItsDevice)
{
    EXPECT_EQ(set_features(features.get()), S_OK);
    ASSERT_EQ(show(), VexOK);
    ASSERT_TRUE(choose(L"Width"));
    EXPECT_EQ(code_of(device, &IVexDevice::Disconnect), VexOK);
    EXPECT_TRUE(await([&] { return rows().cell(rows().find(L"Width"), access_column) == L"Not available"; }));
    features.reset();
    link.reset();
    device.reset();
    EXPECT_TRUE(await([&] { return rows().count() == 0; }));
    EXPECT_EQ(window->put_Visibility(VexGenVisibilityGuru), S_OK);
    EXPECT_EQ(code_of(window, &IVexGenBrowserWnd::Close), VexOK);
}

TEST_F(Browser, SaysThatFeaturesHaveGoneUntilThereAreOthers)
{
    const auto says = [this](const wchar_t* words) {
        return FindWindowExW(handle(), nullptr, L"Static", words) != nullptr;
    };
    EXPECT_EQ(set_features(features.get()), S_OK);
    ASSERT_EQ(show(), VexOK);
    features.reset();
    link.reset();
    device.reset();
    EXPECT_TRUE(await([&] { return says(L"The features have gone with their device."); }));
    EXPECT_EQ(rows().count(), 0);
    EXPECT_EQ(set_features(nullptr), S_OK);
    EXPECT_TRUE(says(L"There are no features to show."));
}

// ---- what is displayed ----

TEST_F(Browser, DisplaysEveryParameterWithoutASink)
{
    EXPECT_EQ(window->put_Visibility(VexGenVisibilityInvisible), S_OK);
    EXPECT_EQ(set_features(features.get()), S_OK);
    ASSERT_EQ(show(), VexOK);
    SendMessageW(control(browser_alphabetical), BM_SETCHECK, BST_CHECKED, 0);
    SendMessageW(handle(), WM_COMMAND, browser_alphabetical, 0);
    EXPECT_EQ(rows().count(), static_cast<int>(value_of(features, &IVexGenParameterArray::get_Count)));
}

TEST_F(Browser, HidesWhatASinkAnswersZeroFor)
{
    VARIANT_BOOL initial = VARIANT_FALSE;
    const DWORD cookie = listen([&](IVexGenParameter* parameter, VARIANT_BOOL* answer) {
        if (name_of(parameter) == L"Width") {
            initial = *answer;
            *answer = VARIANT_FALSE;
        }
    });
    ASSERT_NE(cookie, 0U);
    EXPECT_EQ(set_features(features.get()), S_OK);
    ASSERT_EQ(show(), VexOK);
    EXPECT_EQ(initial, VARIANT_TRUE);
    EXPECT_EQ(rows().find(L"Width"), -1);
    EXPECT_GE(rows().find(L"Height"), 0);
    // asked again by F5, it may be displayed
    handle_messages();
    EXPECT_EQ(unadvise(window.get(), browser_events, cookie), S_OK);
    press(rows().list(), VK_F5);
    EXPECT_GE(rows().find(L"Width"), 0);
}

TEST_F(Browser, TheLastSinksAnswerCounts)
{
    ASSERT_NE(listen([](IVexGenParameter*, VARIANT_BOOL* answer) { *answer = VARIANT_FALSE; }), 0U);
    ASSERT_NE(listen([](IVexGenParameter*, VARIANT_BOOL* answer) {
                  EXPECT_EQ(*answer, VARIANT_FALSE);
                  *answer = 7;  // anything but 0
              }),
              0U);
    EXPECT_EQ(set_features(features.get()), S_OK);
    ASSERT_EQ(show(), VexOK);
    EXPECT_GE(rows().find(L"Width"), 0);
}

TEST_F(Browser, AsksAboutCategoriesWithNothing)
{
    int categories = 0;
    ASSERT_NE(listen([&](IVexGenParameter* parameter, VARIANT_BOOL*) { categories += parameter == nullptr ? 1 : 0; }),
              0U);
    EXPECT_EQ(window->put_Visibility(VexGenVisibilityInvisible), S_OK);
    EXPECT_EQ(categories, 0);
    EXPECT_EQ(set_features(features.get()), S_OK);
    EXPECT_EQ(categories, static_cast<int>(value_of(features, &IVexGenParameterArray::get_CategoryCount)));
}

TEST_F(Browser, AsksWhenFeaturesAreSetAndWhenTheVisibilityChanges)
{
    std::multiset<std::wstring> asked;
    ASSERT_NE(listen([&](IVexGenParameter* parameter, VARIANT_BOOL*) { asked.insert(name_of(parameter)); }), 0U);
    EXPECT_EQ(set_features(features.get()), S_OK);
    EXPECT_EQ(asked.count(L"Width"), 1U);
    EXPECT_EQ(asked.count(L"ReverseX"), 0U);
    EXPECT_EQ(window->put_Visibility(VexGenVisibilityExpert), S_OK);
    EXPECT_EQ(asked.count(L"Width"), 2U);
    EXPECT_EQ(asked.count(L"ReverseX"), 1U);
    asked.clear();
    EXPECT_EQ(set_features(nullptr), S_OK);
    EXPECT_TRUE(asked.empty());
}

TEST_F(Browser, ShowsAllParametersOfAKindInOneObject)
{
    std::map<VexGenType, std::set<IVexGenParameter*>> objects;
    std::map<VexGenType, int> counts;
    std::vector<Ref<IVexGenParameter>> kept;
    ASSERT_NE(listen([&](IVexGenParameter* parameter, VARIANT_BOOL*) {
                  if (parameter == nullptr) {
                      return;
                  }
                  const auto type = value_of(parameter, &IVexGenParameter::get_Type);
                  kept.emplace_back(parameter);
                  objects[type].insert(parameter);
                  ++counts[type];
              }),
              0U);
    EXPECT_EQ(window->put_Visibility(VexGenVisibilityInvisible), S_OK);
    EXPECT_EQ(set_features(features.get()), S_OK);
    std::set<IVexGenParameter*> all;
    for (const auto& [type, of_type] : objects) {
        EXPECT_EQ(of_type.size(), 1U) << type;
        all.insert(of_type.begin(), of_type.end());
    }
    EXPECT_EQ(objects.size(), 7U);
    EXPECT_EQ(all.size(), 7U);
    EXPECT_GT(counts[VexGenTypeInteger], 1);
    EXPECT_TRUE(query<IVexGenInteger>(*objects[VexGenTypeInteger].begin()));
    EXPECT_TRUE(query<IVexGenFloat>(*objects[VexGenTypeFloat].begin()));
    EXPECT_TRUE(query<IVexGenBoolean>(*objects[VexGenTypeBoolean].begin()));
    EXPECT_TRUE(query<IVexGenCommand>(*objects[VexGenTypeCommand].begin()));
    EXPECT_TRUE(query<IVexGenEnum>(*objects[VexGenTypeEnum].begin()));
    EXPECT_TRUE(query<IVexGenRegister>(*objects[VexGenTypeRegister].begin()));
    EXPECT_TRUE(query<IVexGenString>(*objects[VexGenTypeString].begin()));
    // objects that the client has kept outlive the browser
    window.reset();
    EXPECT_NE(name_of(kept.front().get()), L"");
}

TEST_F(Browser, ASinkMayChangeWhatIsAsked)
{
    bool changed = false;
    ASSERT_NE(listen([&](IVexGenParameter*, VARIANT_BOOL* answer) {
                  if (!std::exchange(changed, true)) {
                      EXPECT_EQ(window->put_Visibility(VexGenVisibilityExpert), S_OK);
                      *answer = VARIANT_FALSE;
                  }
              }),
              0U);
    EXPECT_EQ(set_features(features.get()), S_OK);
    ASSERT_EQ(show(), VexOK);
    EXPECT_GE(rows().find(L"ReverseX"), 0);
    changed = false;
    ASSERT_NE(listen([&](IVexGenParameter*, VARIANT_BOOL*) { EXPECT_EQ(set_features(nullptr), S_OK); }), 0U);
    EXPECT_EQ(window->put_Visibility(VexGenVisibilityBeginner), S_OK);
    EXPECT_EQ(rows().count(), 0);
}

TEST_F(Browser, ASinkMayCloseOrReleaseTheWindow)
{
    EXPECT_EQ(set_features(features.get()), S_OK);
    ASSERT_EQ(show(), VexOK);
    const HWND shown = handle();
    const DWORD closing =
        listen([&](IVexGenParameter*, VARIANT_BOOL*) { EXPECT_EQ(code_of(window, &IVexGenBrowserWnd::Close), VexOK); });
    EXPECT_EQ(window->put_Visibility(VexGenVisibilityExpert), S_OK);
    EXPECT_FALSE(IsWindow(shown));
    EXPECT_EQ(visibility(), VexGenVisibilityExpert);
    EXPECT_EQ(unadvise(window.get(), browser_events, closing), S_OK);
    ASSERT_EQ(show(), VexOK);
    const HWND again = handle();
    ASSERT_NE(listen([&](IVexGenParameter*, VARIANT_BOOL*) { window.reset(); }), 0U);
    IVexGenBrowserWnd* const released = window.get();
    EXPECT_EQ(released->put_Visibility(VexGenVisibilityGuru), S_OK);
    EXPECT_FALSE(window);
    EXPECT_FALSE(IsWindow(again));
}

// ---- saving ----

TEST_F(Browser, ComesBackAsItWasSaved)
{
    EXPECT_EQ(set_features(features.get()), S_OK);
    EXPECT_EQ(window->put_Visibility(VexGenVisibilityGuru), S_OK);
    ASSERT_EQ(show(), VexOK);
    rows().choose(rows().find(L"Image Format Control"));
    press(rows().list(), VK_LEFT);
    const auto list = new_list();
    EXPECT_EQ(save(list.get()), VexOK);
    EXPECT_EQ(property_in(list.get(), L"BrowserVisibility"), L"Guru");
    EXPECT_EQ(property_in(list.get(), L"BrowserClosedCategories"), L"ImageFormatControl");
    window = create<IVexGenBrowserWnd>(L"VexKamCOMWrapper.VexGenBrowserWnd.1");
    EXPECT_EQ(load(list.get()), VexOK);
    EXPECT_EQ(visibility(), VexGenVisibilityGuru);
    EXPECT_EQ(set_features(features.get()), S_OK);
    ASSERT_EQ(show(), VexOK);
    EXPECT_EQ(rows().find(L"Width"), -1);
    EXPECT_GE(rows().find(L"UserMemory"), 0);
}

TEST_F(Browser, SavesTheWidthsThatTheUserChose)
{
    EXPECT_EQ(set_features(features.get()), S_OK);
    EXPECT_EQ(window->SetPosition(10, 10, 1000, 700), S_OK);
    ASSERT_EQ(show(), VexOK);
    const HWND list = rows().list();
    // values have all the room that is left, which nobody chose
    EXPECT_GT(ListView_GetColumnWidth(list, value_column), 300);
    const auto untouched = new_list();
    EXPECT_EQ(save(untouched.get()), VexOK);
    EXPECT_EQ(property_in(untouched.get(), L"BrowserWidthValue"), L"220");
    EXPECT_EQ(property_in(untouched.get(), L"BrowserWidthName"), L"240");
    ListView_SetColumnWidth(list, value_column, 150);
    ListView_SetColumnWidth(list, name_column, 200);
    const auto chosen = new_list();
    EXPECT_EQ(save(chosen.get()), VexOK);
    EXPECT_EQ(property_in(chosen.get(), L"BrowserWidthValue"), L"150");
    EXPECT_EQ(property_in(chosen.get(), L"BrowserWidthName"), L"200");
    EXPECT_EQ(load(untouched.get()), VexOK);
    EXPECT_EQ(ListView_GetColumnWidth(list, name_column), 240);
    EXPECT_EQ(save(chosen.get()), VexOK);
    EXPECT_EQ(property_in(chosen.get(), L"BrowserWidthValue"), L"150");  // the first that the list has
}

TEST_F(Browser, ShowsAllColumnsInANarrowWindow)
{
    EXPECT_EQ(set_features(features.get()), S_OK);
    EXPECT_EQ(window->SetPosition(10, 10, 460, 700), S_OK);
    ASSERT_EQ(show(), VexOK);
    const HWND list = rows().list();
    const auto width = [list](BrowserColumn column) { return ListView_GetColumnWidth(list, column); };
    RECT inside{};
    GetClientRect(list, &inside);
    EXPECT_LE(width(name_column) + width(value_column) + width(unit_column) + width(access_column), inside.right);
    EXPECT_EQ(GetWindowLongW(list, GWL_STYLE) & WS_HSCROLL, 0);
    EXPECT_GE(width(name_column), 80);
    EXPECT_GE(width(value_column), 80);
    // nobody chose that
    const auto list_of_widths = new_list();
    EXPECT_EQ(save(list_of_widths.get()), VexOK);
    EXPECT_EQ(property_in(list_of_widths.get(), L"BrowserWidthName"), L"240");
    EXPECT_EQ(property_in(list_of_widths.get(), L"BrowserWidthValue"), L"220");
    EXPECT_EQ(window->SetPosition(10, 10, 1000, 700), S_OK);
    EXPECT_EQ(width(name_column), 240);
    EXPECT_GT(width(value_column), 300);
}

TEST_F(Browser, LoadsOrderAndHeightWhileItIsShown)
{
    EXPECT_EQ(set_features(features.get()), S_OK);
    ASSERT_EQ(show(), VexOK);
    const auto list = new_list();
    add(list.get(), L"BrowserOrder", L"Alphabetical");
    add(list.get(), L"BrowserDetailsHeight", L"200");
    EXPECT_EQ(load(list.get()), VexOK);
    EXPECT_EQ(SendMessageW(control(browser_alphabetical), BM_GETCHECK, 0, 0), BST_CHECKED);
    EXPECT_EQ(rows().find(L"Image Format Control"), -1);
    RECT details{};
    ASSERT_TRUE(GetWindowRect(control(browser_details), &details));
    EXPECT_EQ(details.bottom - details.top, 200);
    const auto saved = new_list();
    EXPECT_EQ(save(saved.get()), VexOK);
    EXPECT_EQ(property_in(saved.get(), L"BrowserDetailsHeight"), L"200");
}

TEST_F(Browser, KeepsItsFilterWhenShownAgain)
{
    EXPECT_EQ(set_features(features.get()), S_OK);
    ASSERT_EQ(show(), VexOK);
    SetWindowTextW(control(browser_filter), L"pixelf");
    EXPECT_EQ(code_of(window, &IVexGenBrowserWnd::Close), VexOK);
    ASSERT_EQ(show(), VexOK);
    EXPECT_EQ(window_text(control(browser_filter)), L"pixelf");
    EXPECT_EQ(rows().find(L"Width"), -1);
    EXPECT_GE(rows().find(L"PixelFormat"), 0);
}

TEST_F(Browser, LoadsForeignAndPartialLists)
{
    EXPECT_EQ(window->put_Visibility(VexGenVisibilityExpert), S_OK);
    const auto list = new_list();
    EXPECT_EQ(load(list.get()), VexOK);
    add(list.get(), L"Whatever", L"999");
    EXPECT_EQ(load(list.get()), VexOK);
    EXPECT_EQ(visibility(), VexGenVisibilityExpert);
    add(list.get(), L"BrowserVisibility", L"Guru");
    EXPECT_EQ(load(list.get()), VexOK);
    EXPECT_EQ(visibility(), VexGenVisibilityGuru);
    add(list.get(), L"BrowserVisibility", L"999");
    EXPECT_EQ(load(list.get()), VexInvalidDataFormat);
    EXPECT_EQ(visibility(), VexGenVisibilityGuru);
    Ref<IVexResult> result;
    EXPECT_EQ(window->Save(nullptr, result.put()), E_POINTER);
    EXPECT_EQ(window->Load(nullptr, result.put()), E_POINTER);
    EXPECT_EQ(window->Save(list.get(), nullptr), E_POINTER);
}

}  // namespace
