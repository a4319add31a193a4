// VexGenBrowserTabbedWnd through COM: tabs by index, and what they show.
#include "tests/com/gui/browser_client.h"

namespace {

using namespace client;

constexpr int tab_control = 101;
constexpr int tab_page = 102;

class TabbedBrowser : public BrowserTest {
protected:
    VexResultCode add_tab(IVexGenParameterArray* array, BSTR name, unsigned int& index)
    {
        return code_of([&](IVexResult** result) { return window->AddGenParameterArray(array, name, &index, result); });
    }
    /// Adds a tab and gives its index.
    unsigned int add_tab(IVexGenParameterArray* array, const wchar_t* name)
    {
        unsigned int index = 77;
        EXPECT_EQ(add_tab(array, Text(name), index), VexOK);
        return index;
    }
    VexResultCode remove(unsigned int index)
    {
        return code_of([&](IVexResult** result) { return window->RemoveGenParameterArray(index, result); });
    }
    [[nodiscard]] unsigned int count() const
    {
        return value_of(window, &IVexGenBrowserTabbedWnd::get_ParameterArrayCount);
    }
    [[nodiscard]] Ref<IVexGenParameterArray> array_at(unsigned int index) const
    {
        return client::object_of<IVexGenParameterArray>(
            [&](IVexGenParameterArray** out) { return window->GetGenParameterArray(index, out); });
    }
    VexResultCode name_at(unsigned int index, std::wstring& name)
    {
        BSTR text = nullptr;
        const VexResultCode code =
            code_of([&](IVexResult** result) { return window->GetParameterArrayName(index, &text, result); });
        EXPECT_NE(text, nullptr);
        name = take(text);
        return code;
    }
    [[nodiscard]] std::wstring name_at(unsigned int index)
    {
        std::wstring name;
        EXPECT_EQ(name_at(index, name), VexOK);
        return name;
    }
    [[nodiscard]] VexResultCode show()
    {
        return code_of([&](IVexResult** result) { return window->ShowModeless(0, result); });
    }
    [[nodiscard]] HWND handle() const
    {
        return reinterpret_cast<HWND>(value_of(window, &IVexGenBrowserTabbedWnd::get_Handle));
    }
    [[nodiscard]] HWND tabs() const { return GetDlgItem(handle(), tab_control); }
    [[nodiscard]] BrowserRows rows() const { return BrowserRows(GetDlgItem(handle(), tab_page)); }
    void choose_tab(int index)
    {
        TabCtrl_SetCurSel(tabs(), index);
        NMHDR header{tabs(), tab_control, static_cast<UINT>(TCN_SELCHANGE)};
        SendMessageW(handle(), WM_NOTIFY, tab_control, reinterpret_cast<LPARAM>(&header));
    }
    /// The arrays have the same features, as far as their numbers tell.
    static void expect_same(const Ref<IVexGenParameterArray>& one, const Ref<IVexGenParameterArray>& other)
    {
        ASSERT_TRUE(one);
        EXPECT_EQ(value_of(one, &IVexGenParameterArray::get_NodeMap),
                  value_of(other, &IVexGenParameterArray::get_NodeMap));
    }

    Ref<IVexGenBrowserTabbedWnd> window = create<IVexGenBrowserTabbedWnd>(L"VexKamCOMWrapper.VexGenBrowserTabbedW.1");
};

TEST_F(TabbedBrowser, HasNoTabsAtFirst)
{
    EXPECT_EQ(count(), 0U);
    EXPECT_FALSE(array_at(0));
    EXPECT_EQ(remove(0), VexNotFound);
    std::wstring name = L"none";
    EXPECT_EQ(name_at(0, name), VexNotFound);
    EXPECT_EQ(name, L"");
    EXPECT_EQ(window->Reset(), S_OK);
    EXPECT_EQ(window->get_ParameterArrayCount(nullptr), E_POINTER);
    EXPECT_EQ(window->GetGenParameterArray(0, nullptr), E_POINTER);
    ASSERT_EQ(show(), VexOK);
    EXPECT_EQ(TabCtrl_GetItemCount(tabs()), 0);
}

TEST_F(TabbedBrowser, WritesTheIndexOfANewTab)
{
    EXPECT_EQ(add_tab(features.get(), L"Camera"), 0U);
    EXPECT_EQ(add_tab(link.get(), L"Link"), 1U);
    EXPECT_EQ(add_tab(features.get(), L"Camera"), 2U);
    EXPECT_EQ(count(), 3U);
    unsigned int index = 77;
    EXPECT_EQ(add_tab(link.get(), nullptr, index), VexOK);
    EXPECT_EQ(index, 3U);
    EXPECT_EQ(name_at(0), L"Camera");
    EXPECT_EQ(name_at(1), L"Link");
    EXPECT_EQ(name_at(2), L"Camera");
    EXPECT_EQ(name_at(3), L"");
    expect_same(array_at(0), features);
    expect_same(array_at(1), link);
    expect_same(array_at(2), features);
}

TEST_F(TabbedBrowser, WritesTheIndexForScripts)
{
    LateBound late(window.get());
    Variant index(5);
    Variant result;
    EXPECT_EQ(
        late.call(L"AddGenParameterArray",
                  {Variant(static_cast<IDispatch*>(features.get())), Variant(L"Camera"), Variant::by_reference(index)},
                  &result),
        S_OK);
    EXPECT_EQ(index.text(), L"0");
    Variant counted;
    EXPECT_EQ(late.get(L"ParameterArrayCount", counted), S_OK);
    EXPECT_EQ(counted.text(), L"1");
}

TEST_F(TabbedBrowser, LeavesTheIndexAloneWithoutAnArray)
{
    unsigned int index = 77;
    Ref<IVexResult> result;
    EXPECT_EQ(window->AddGenParameterArray(nullptr, Text(L"Nothing"), &index, result.put()), E_POINTER);
    EXPECT_EQ(index, 77U);
    EXPECT_EQ(window->AddGenParameterArray(features.get(), Text(L"Camera"), nullptr, result.put()), E_POINTER);
    EXPECT_EQ(count(), 0U);
}

TEST_F(TabbedBrowser, GivesOneObjectForAnIndex)
{
    add_tab(features.get(), L"Camera");
    add_tab(features.get(), L"Camera again");
    const auto first = array_at(0);
    const auto second = array_at(1);
    ASSERT_TRUE(first);
    ASSERT_TRUE(second);
    EXPECT_NE(first.get(), second.get());
    EXPECT_EQ(array_at(0).get(), first.get());
    EXPECT_EQ(array_at(1).get(), second.get());
    EXPECT_NE(first.get(), features.get());
    expect_same(first, second);
}

TEST_F(TabbedBrowser, MovesTheTabsBehindOneThatIsRemoved)
{
    add_tab(features.get(), L"Camera");
    add_tab(link.get(), L"Link");
    add_tab(features.get(), L"Last");
    const auto second = array_at(1);
    expect_same(second, link);
    EXPECT_EQ(remove(0), VexOK);
    EXPECT_EQ(count(), 2U);
    EXPECT_EQ(name_at(0), L"Link");
    EXPECT_EQ(name_at(1), L"Last");
    expect_same(array_at(0), link);
    EXPECT_EQ(array_at(1).get(), second.get());  // the same object, which shows another array now
    expect_same(second, features);
    EXPECT_EQ(remove(2), VexNotFound);
    EXPECT_EQ(add_tab(link.get(), L"New"), 2U);
}

TEST_F(TabbedBrowser, RenamesTabs)
{
    add_tab(features.get(), L"Camera");
    EXPECT_EQ(code_of([&](IVexResult** out) { return window->SetParameterArrayName(0, Text(L"Kamera"), out); }), VexOK);
    EXPECT_EQ(name_at(0), L"Kamera");
    EXPECT_EQ(code_of([&](IVexResult** out) { return window->SetParameterArrayName(0, nullptr, out); }), VexOK);
    EXPECT_EQ(name_at(0), L"");
    EXPECT_EQ(code_of([&](IVexResult** out) { return window->SetParameterArrayName(1, Text(L"None"), out); }),
              VexNotFound);
    Ref<IVexResult> result;
    EXPECT_EQ(window->GetParameterArrayName(0, nullptr, result.put()), E_POINTER);
}

TEST_F(TabbedBrowser, ForgetsAllTabs)
{
    ASSERT_EQ(show(), VexOK);
    add_tab(features.get(), L"Camera");
    add_tab(link.get(), L"Link");
    EXPECT_EQ(TabCtrl_GetItemCount(tabs()), 2);
    EXPECT_EQ(window->Reset(), S_OK);
    EXPECT_EQ(count(), 0U);
    EXPECT_FALSE(array_at(0));
    EXPECT_EQ(TabCtrl_GetItemCount(tabs()), 0);
    EXPECT_EQ(rows().list(), nullptr);
    EXPECT_EQ(add_tab(link.get(), L"Link"), 0U);
    EXPECT_GT(rows().count(), 0);
}

TEST_F(TabbedBrowser, HasOneVisibilityForAllTabs)
{
    EXPECT_EQ(value_of(window, &IVexGenBrowserTabbedWnd::get_Visibility), VexGenVisibilityBeginner);
    add_tab(link.get(), L"Link");
    add_tab(features.get(), L"Camera");
    ASSERT_EQ(show(), VexOK);
    EXPECT_EQ(window->put_Visibility(VexGenVisibilityGuru), S_OK);
    EXPECT_EQ(value_of(window, &IVexGenBrowserTabbedWnd::get_Visibility), VexGenVisibilityGuru);
    choose_tab(1);
    EXPECT_GE(rows().find(L"UserMemory"), 0);
    EXPECT_EQ(window->put_Visibility(VexGenVisibilityBeginner), S_OK);
    EXPECT_EQ(rows().find(L"UserMemory"), -1);
    EXPECT_EQ(window->put_Visibility(VexGenVisibilityUndefined), DISP_E_EXCEPTION);
    EXPECT_EQ(value_of(window, &IVexGenBrowserTabbedWnd::get_Visibility), VexGenVisibilityBeginner);
    LateBound late(window.get());
    EXPECT_EQ(late.put(L"Visibility", Variant(999)), DISP_E_EXCEPTION);
    EXPECT_EQ(late.source(), L"VexKamCOMWrapper.VexGenBrowserTabbedW.1");
    EXPECT_EQ(late.description(), L"There is no visibility 999");
}

TEST_F(TabbedBrowser, ShowsTheChosenTab)
{
    add_tab(features.get(), L"Camera");
    add_tab(link.get(), nullptr);
    ASSERT_EQ(show(), VexOK);
    EXPECT_EQ(TabCtrl_GetItemCount(tabs()), 2);
    EXPECT_GE(rows().find(L"Width"), 0);
    choose_tab(1);
    EXPECT_EQ(rows().find(L"Width"), -1);
    EXPECT_GT(rows().count(), 0);
    // the tab that is shown may be removed
    EXPECT_EQ(remove(1), VexOK);
    EXPECT_GE(rows().find(L"Width"), 0);
    EXPECT_EQ(code_of(window, &IVexGenBrowserTabbedWnd::Close), VexOK);
    ASSERT_EQ(show(), VexOK);
    EXPECT_GE(rows().find(L"Width"), 0);
}

TEST_F(TabbedBrowser, ShowsTheNextTabWhenTheShownOneIsRemoved)
{
    add_tab(link.get(), L"First");
    add_tab(features.get(), L"Second");
    add_tab(link.get(), L"Third");
    add_tab(features.get(), L"Fourth");
    ASSERT_EQ(show(), VexOK);
    choose_tab(2);
    EXPECT_EQ(remove(0), VexOK);
    EXPECT_EQ(TabCtrl_GetCurSel(tabs()), 1);
    EXPECT_EQ(rows().find(L"Width"), -1);
    EXPECT_EQ(remove(1), VexOK);
    EXPECT_EQ(TabCtrl_GetCurSel(tabs()), 1);
    EXPECT_GE(rows().find(L"Width"), 0);
    EXPECT_EQ(remove(1), VexOK);
    EXPECT_EQ(TabCtrl_GetCurSel(tabs()), 0);
    EXPECT_EQ(name_at(0), L"Second");
    EXPECT_GE(rows().find(L"Width"), 0);
}

TEST_F(TabbedBrowser, BeginsWithTheFirstTabAfterAReset)
{
    add_tab(link.get(), L"Link");
    add_tab(features.get(), L"Camera");
    ASSERT_EQ(show(), VexOK);
    choose_tab(1);
    EXPECT_EQ(window->Reset(), S_OK);
    add_tab(features.get(), L"Camera");
    add_tab(link.get(), L"Link");
    EXPECT_EQ(TabCtrl_GetCurSel(tabs()), 0);
    EXPECT_GE(rows().find(L"Width"), 0);
    const auto list = new_list();
    EXPECT_EQ(code_of([&](IVexResult** out) { return window->Save(list.get(), out); }), VexOK);
    EXPECT_EQ(property_in(list.get(), L"BrowserTab"), L"0");
}

TEST_F(TabbedBrowser, KeepsLooksFromTabToTab)
{
    add_tab(features.get(), L"Camera");
    add_tab(features.get(), L"Camera again");
    ASSERT_EQ(show(), VexOK);
    const int by_category = rows().count();
    const HWND page = GetDlgItem(handle(), tab_page);
    SendMessageW(GetDlgItem(page, browser_alphabetical), BM_SETCHECK, BST_CHECKED, 0);
    SendMessageW(page, WM_COMMAND, browser_alphabetical, 0);
    const int by_alphabet = rows().count();
    EXPECT_LT(by_alphabet, by_category);
    choose_tab(1);
    EXPECT_EQ(rows().count(), by_alphabet);
    EXPECT_EQ(SendMessageW(GetDlgItem(GetDlgItem(handle(), tab_page), browser_alphabetical), BM_GETCHECK, 0, 0),
              BST_CHECKED);
}

TEST_F(TabbedBrowser, TakesTheVisibilityThatTheUserChooses)
{
    add_tab(features.get(), L"Camera");
    add_tab(features.get(), L"Camera again");
    ASSERT_EQ(show(), VexOK);
    const HWND page = GetDlgItem(handle(), tab_page);
    SendMessageW(GetDlgItem(page, browser_visibility), CB_SETCURSEL, VexGenVisibilityGuru, 0);
    SendMessageW(page, WM_COMMAND, MAKEWPARAM(browser_visibility, CBN_SELCHANGE),
                 reinterpret_cast<LPARAM>(GetDlgItem(page, browser_visibility)));
    EXPECT_EQ(value_of(window, &IVexGenBrowserTabbedWnd::get_Visibility), VexGenVisibilityGuru);
    choose_tab(1);
    EXPECT_GE(rows().find(L"UserMemory"), 0);
}

TEST_F(TabbedBrowser, OutlivesItsArrays)
{
    add_tab(features.get(), L"Camera");
    ASSERT_EQ(show(), VexOK);
    const auto shown = array_at(0);
    features.reset();
    link.reset();
    device.reset();
    EXPECT_TRUE(await([&] { return rows().count() == 0; }));
    EXPECT_EQ(count(), 1U);
    EXPECT_EQ(name_at(0), L"Camera");
    EXPECT_FALSE(array_at(0));
    unsigned int number = 0;
    EXPECT_EQ(shown->get_Count(&number), E_POINTER);
}

TEST_F(TabbedBrowser, ComesBackAsItWasSaved)
{
    add_tab(features.get(), L"Camera");
    add_tab(link.get(), L"Link");
    EXPECT_EQ(window->put_Visibility(VexGenVisibilityExpert), S_OK);
    ASSERT_EQ(show(), VexOK);
    choose_tab(1);
    const auto list = new_list();
    EXPECT_EQ(code_of([&](IVexResult** out) { return window->Save(list.get(), out); }), VexOK);
    EXPECT_EQ(property_in(list.get(), L"BrowserVisibility"), L"Expert");
    EXPECT_EQ(property_in(list.get(), L"BrowserTab"), L"1");
    choose_tab(0);
    EXPECT_EQ(window->put_Visibility(VexGenVisibilityBeginner), S_OK);
    EXPECT_EQ(code_of([&](IVexResult** out) { return window->Load(list.get(), out); }), VexOK);
    EXPECT_EQ(value_of(window, &IVexGenBrowserTabbedWnd::get_Visibility), VexGenVisibilityExpert);
    EXPECT_EQ(TabCtrl_GetCurSel(tabs()), 1);
    EXPECT_EQ(rows().find(L"Width"), -1);

    // a tab that there is not, and what is none of a browser's
    const auto partial = new_list();
    add(partial.get(), L"BrowserTab", L"9");
    add(partial.get(), L"Whatever", L"else");
    EXPECT_EQ(code_of([&](IVexResult** out) { return window->Load(partial.get(), out); }), VexOK);
    EXPECT_EQ(TabCtrl_GetCurSel(tabs()), 1);
    add(partial.get(), L"BrowserVisibility", L"everything");
    EXPECT_EQ(code_of([&](IVexResult** out) { return window->Load(partial.get(), out); }), VexInvalidDataFormat);
    Ref<IVexResult> result;
    EXPECT_EQ(window->Save(nullptr, result.put()), E_POINTER);
    EXPECT_EQ(window->Load(nullptr, result.put()), E_POINTER);
}

}  // namespace
