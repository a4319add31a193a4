// VexGenBrowserWnd through COM: values that are shown, and what the user changes.
#include <string>

#include "tests/com/gui/browser_window.h"

namespace {

using namespace client;

class BrowserValues : public Browser {};

// ---- values ----

TEST_F(BrowserValues, ShowsValuesUnitsAndAccess)
{
    EXPECT_EQ(set_features(features.get()), S_OK);
    ASSERT_EQ(show(), VexOK);
    ASSERT_TRUE(choose(L"ExposureTime"));
    EXPECT_EQ(rows().cell(rows().find(L"ExposureTime"), unit_column), L"us");
    EXPECT_EQ(rows().cell(rows().find(L"ExposureTime"), access_column), L"Read/write");
    ASSERT_TRUE(choose(L"DeviceModelName"));
    EXPECT_EQ(rows().cell(rows().find(L"DeviceModelName"), access_column), L"Read only");
    EXPECT_NE(window_text(control(browser_details)).find(L"Name: DeviceModelName"), std::wstring::npos);
}

TEST_F(BrowserValues, FollowsWhatAProgramSets)
{
    EXPECT_EQ(set_features(features.get()), S_OK);
    ASSERT_EQ(show(), VexOK);
    ASSERT_TRUE(choose(L"Width"));
    for (const __int64 width : {320, 640}) {
        EXPECT_EQ(code_of([&](IVexResult** out) { return features->SetIntegerValue(Text(L"Width"), width, out); }),
                  VexOK);
        EXPECT_TRUE(await([&] { return value(L"Width") == std::to_wstring(width); }));
    }
}

TEST_F(BrowserValues, SetsWhatTheUserTypes)
{
    EXPECT_EQ(set_features(features.get()), S_OK);
    ASSERT_EQ(show(), VexOK);
    ASSERT_TRUE(choose(L"Width"));
    press(rows().list(), VK_F2);
    ASSERT_TRUE(IsWindowVisible(control(browser_field)));
    EXPECT_EQ(window_text(control(browser_field)), value(L"Width"));
    SetWindowTextW(control(browser_field), L"0x140");
    press(control(browser_field), VK_RETURN);
    EXPECT_TRUE(await([&] { return value(L"Width") == L"320"; }));
    EXPECT_TRUE(await([&] { return !IsWindowVisible(control(browser_field)); }));
}

TEST_F(BrowserValues, SaysWhyAValueIsRefusedAndKeepsWhatWasTyped)
{
    EXPECT_EQ(set_features(features.get()), S_OK);
    ASSERT_EQ(show(), VexOK);
    ASSERT_TRUE(choose(L"Width"));
    const std::wstring before = value(L"Width");
    press(rows().list(), VK_RETURN);
    SetWindowTextW(control(browser_field), L"1000000000");
    press(control(browser_field), VK_RETURN);
    ASSERT_TRUE(await([&] { return IsWindowVisible(control(browser_reason)) != FALSE; }));
    EXPECT_NE(window_text(control(browser_reason)).find(L"Width"), std::wstring::npos);
    EXPECT_EQ(window_text(control(browser_field)), L"1000000000");
    EXPECT_TRUE(IsWindowVisible(control(browser_field)));
    press(control(browser_field), VK_ESCAPE);
    EXPECT_FALSE(IsWindowVisible(control(browser_field)));
    EXPECT_FALSE(IsWindowVisible(control(browser_reason)));
    EXPECT_EQ(value(L"Width"), before);
    EXPECT_NE(handle(), nullptr);  // Escape ended the edit only
}

TEST_F(BrowserValues, ReadsAgainWhenShownAgain)
{
    EXPECT_EQ(set_features(features.get()), S_OK);
    ASSERT_EQ(show(), VexOK);
    ASSERT_TRUE(choose(L"Width"));
    EXPECT_EQ(code_of(window, &IVexGenBrowserWnd::Close), VexOK);
    const std::wstring wanted = value(L"Width") == L"320" ? L"640" : L"320";
    EXPECT_EQ(
        code_of([&](IVexResult** out) { return features->SetIntegerValue(Text(L"Width"), std::stoll(wanted), out); }),
        VexOK);
    ASSERT_EQ(show(), VexOK);
    EXPECT_TRUE(await([&] { return value(L"Width") == wanted; }));
}

TEST_F(BrowserValues, FollowsTheSlider)
{
    EXPECT_EQ(set_features(features.get()), S_OK);
    ASSERT_EQ(show(), VexOK);
    ASSERT_TRUE(choose(L"Width"));
    press(rows().list(), VK_F2);
    const HWND slider = control(browser_slider);
    ASSERT_TRUE(IsWindowVisible(slider));
    const auto slide = [&](LPARAM position) {
        SendMessageW(slider, TBM_SETPOS, TRUE, position);
        SendMessageW(handle(), WM_HSCROLL, TB_THUMBTRACK, reinterpret_cast<LPARAM>(slider));
    };
    slide(SendMessageW(slider, TBM_GETRANGEMAX, 0, 0));
    EXPECT_EQ(window_text(control(browser_field)), L"3840");
    EXPECT_TRUE(await([&] { return value(L"Width") == L"3840"; }));
    // faster than the device takes values: the last one counts
    slide(500);
    slide(0);
    EXPECT_TRUE(await([&] { return value(L"Width") == L"16"; }));
    EXPECT_TRUE(IsWindowVisible(slider));
    press(control(browser_field), VK_RETURN);
    EXPECT_TRUE(await([&] { return !IsWindowVisible(slider); }));
}

TEST_F(BrowserValues, ExecutesCommands)
{
    EXPECT_EQ(window->put_Visibility(VexGenVisibilityGuru), S_OK);
    EXPECT_EQ(set_features(features.get()), S_OK);
    ASSERT_EQ(show(), VexOK);
    ASSERT_TRUE(choose(L"UserSetLoad"));
    EXPECT_EQ(value(L"UserSetLoad"), L"Execute");
    EXPECT_EQ(code_of([&](IVexResult** out) { return features->SetIntegerValue(Text(L"Width"), 320, out); }), VexOK);
    press(rows().list(), VK_RETURN);
    // the set has what the camera began with
    EXPECT_TRUE(await([&] {
        std::int64_t width = 0;
        EXPECT_EQ(code_of([&](IVexResult** out) { return features->GetIntegerValue(Text(L"Width"), &width, out); }),
                  VexOK);
        return width == 640;
    }));
    EXPECT_TRUE(await([&] { return value(L"UserSetLoad") == L"Execute"; }));
}

TEST_F(BrowserValues, SaysWhatIsLockedAndDoesNotEditIt)
{
    EXPECT_EQ(set_features(features.get()), S_OK);
    ASSERT_EQ(show(), VexOK);
    ASSERT_TRUE(choose(L"Width"));
    EXPECT_EQ(code_of([&](IVexResult** out) { return features->SetIntegerValue(Text(L"TLParamsLocked"), 1, out); }),
              VexOK);
    EXPECT_TRUE(await([&] { return rows().cell(rows().find(L"Width"), access_column) == L"Locked"; }));
    EXPECT_NE(window_text(control(browser_details)).find(L"Locked as long as the acquisition runs."),
              std::wstring::npos);
    press(rows().list(), VK_F2);
    EXPECT_FALSE(IsWindowVisible(control(browser_field)));
    EXPECT_EQ(code_of([&](IVexResult** out) { return features->SetIntegerValue(Text(L"TLParamsLocked"), 0, out); }),
              VexOK);
    EXPECT_TRUE(await([&] { return rows().cell(rows().find(L"Width"), access_column) == L"Read/write"; }));
}

TEST_F(BrowserValues, BeginsWithThePresentEntry)
{
    EXPECT_EQ(set_features(features.get()), S_OK);
    EXPECT_EQ(code_of([&](IVexResult** out) {
                  return features->SetEnumValueStr(Text(L"PixelFormat"), Text(L"Mono12"), out);
              }),
              VexOK);
    ASSERT_EQ(show(), VexOK);
    ASSERT_TRUE(choose(L"PixelFormat"));
    press(rows().list(), VK_F2);
    EXPECT_EQ(window_text(control(browser_entries)), L"Mono12");
    press(control(browser_entries), VK_ESCAPE);
    EXPECT_FALSE(IsWindowVisible(control(browser_entries)));
    EXPECT_EQ(value(L"PixelFormat"), L"Mono12");
}

TEST_F(BrowserValues, CopiesNameAndValue)
{
    EXPECT_EQ(set_features(features.get()), S_OK);
    ASSERT_EQ(show(), VexOK);
    ASSERT_TRUE(choose(L"DeviceModelName"));
    BYTE keys[256] = {};
    keys[VK_CONTROL] = 0x80;
    ASSERT_TRUE(SetKeyboardState(keys));
    press(rows().list(), 'C');
    keys[VK_CONTROL] = 0;
    ASSERT_TRUE(SetKeyboardState(keys));
    ASSERT_TRUE(OpenClipboard(nullptr));
    const HANDLE data = GetClipboardData(CF_UNICODETEXT);
    const auto* const copied = static_cast<const wchar_t*>(GlobalLock(data));
    EXPECT_NE(copied, nullptr);
    const std::wstring text = copied != nullptr ? copied : L"";
    GlobalUnlock(data);
    CloseClipboard();
    EXPECT_EQ(text, L"DeviceModelName = " + value(L"DeviceModelName"));
}

TEST_F(BrowserValues, SetsAllOfALongRegister)
{
    EXPECT_EQ(window->put_Visibility(VexGenVisibilityGuru), S_OK);
    EXPECT_EQ(set_features(features.get()), S_OK);
    ASSERT_EQ(show(), VexOK);
    ASSERT_TRUE(choose(L"UserMemory"));
    press(rows().list(), VK_F2);
    ASSERT_TRUE(await([&] { return IsWindowVisible(control(browser_field)) != FALSE; }));
    std::wstring bytes = window_text(control(browser_field));
    ASSERT_EQ(bytes.size(), 256U * 3 - 1);
    EXPECT_NE(window_text(control(browser_details)).find(L"00F0: "), std::wstring::npos);
    bytes.replace(bytes.size() - 2, 2, L"5A");
    SetWindowTextW(control(browser_field), bytes.c_str());
    press(control(browser_field), VK_RETURN);
    EXPECT_TRUE(await([&] { return !IsWindowVisible(control(browser_field)); }));
    EXPECT_TRUE(await([&] { return window_text(control(browser_details)).ends_with(L" 5A"); }));
}

TEST_F(BrowserValues, SwitchesAndChoosesByTheKeyboard)
{
    EXPECT_EQ(window->put_Visibility(VexGenVisibilityExpert), S_OK);
    EXPECT_EQ(set_features(features.get()), S_OK);
    ASSERT_EQ(show(), VexOK);
    ASSERT_TRUE(choose(L"ReverseX"));
    const std::wstring before = value(L"ReverseX");
    press(rows().list(), VK_SPACE);
    EXPECT_TRUE(await([&] { return value(L"ReverseX") != before; }));
    press(rows().list(), VK_SPACE);
    EXPECT_TRUE(await([&] { return value(L"ReverseX") == before; }));
    ASSERT_TRUE(choose(L"PixelFormat"));
    press(rows().list(), VK_F2);
    const HWND entries = control(browser_entries);
    ASSERT_TRUE(IsWindowVisible(entries));
    const LRESULT mono16 =
        SendMessageW(entries, CB_FINDSTRINGEXACT, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>(L"Mono16"));
    ASSERT_GE(mono16, 0);
    SendMessageW(entries, CB_SETCURSEL, static_cast<WPARAM>(mono16), 0);
    press(entries, VK_RETURN);
    EXPECT_TRUE(await([&] { return value(L"PixelFormat") == L"Mono16"; }));
    EXPECT_EQ(
        code_of([&](IVexResult** out) { return features->SetEnumValueStr(Text(L"PixelFormat"), Text(L"Mono8"), out); }),
        VexOK);
}

TEST_F(BrowserValues, ClosesCategoriesAndFilters)
{
    EXPECT_EQ(set_features(features.get()), S_OK);
    ASSERT_EQ(show(), VexOK);
    const int all = rows().count();
    rows().choose(rows().find(L"Image Format Control"));
    press(rows().list(), VK_LEFT);
    EXPECT_EQ(rows().find(L"Width"), -1);
    press(rows().list(), VK_RIGHT);
    EXPECT_EQ(rows().count(), all);
    SetWindowTextW(control(browser_filter), L"pixelf");
    EXPECT_GE(rows().find(L"PixelFormat"), 0);
    EXPECT_EQ(rows().find(L"Width"), -1);
    SetWindowTextW(control(browser_filter), L"");
    EXPECT_EQ(rows().count(), all);
}

}  // namespace
