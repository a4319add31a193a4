// The window of VexSerialBridgeManagerWnd, as its user works with it.
#include <commctrl.h>

#include <string_view>

#include "tests/com/gui/bridge_manager_client.h"
#include "tests/com/gui/messages.h"

namespace {

using namespace client;

constexpr int id_list = 101;
constexpr int id_start = 102;
constexpr int id_stop = 103;
constexpr int id_settings = 104;
constexpr int id_parameters = 105;
constexpr int id_recover = 106;
constexpr int column_state = 7;

class BridgeManagerWindow : public BridgeManagerTest {
protected:
    void show()
    {
        ASSERT_EQ(code_of([&](IVexResult** out) { return window->ShowModeless(0, out); }), VexOK);
    }
    [[nodiscard]] HWND handle() const
    {
        return reinterpret_cast<HWND>(value_of(window, &IVexSerialBridgeManagerWnd::get_Handle));
    }
    [[nodiscard]] HWND list() const { return GetDlgItem(handle(), id_list); }
    [[nodiscard]] std::wstring cell(int row, int column) const
    {
        wchar_t text[256] = {};
        ListView_GetItemText(list(), row, column, text, 256);
        return text;
    }
    void choose(int row)
    {
        ListView_SetItemState(list(), row, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
    }
    void press(int id) { SendMessageW(handle(), WM_COMMAND, static_cast<WPARAM>(id), 0); }
    [[nodiscard]] bool is_enabled(int id) const { return IsWindowEnabled(GetDlgItem(handle(), id)) != FALSE; }
    /// Handles messages until it is so; false when it is not within a minute.
    template <class Wanted>
    [[nodiscard]] bool await(Wanted wanted)
    {
        return await_by_messages(wanted,
                                 [&] { EXPECT_EQ(code_of(window, &IVexSerialBridgeManagerWnd::DoEvents), VexOK); });
    }
};

TEST_F(BridgeManagerWindow, StartsAndStopsByButtons)
{
    std::vector<std::wstring> told;
    ASSERT_NE(listen([&](DISPID event, IVexGenParameterArray*, const std::wstring& name) {
                  told.push_back(event == on_created ? name : std::wstring(L"deleted"));
              }),
              0U);
    show();
    EXPECT_EQ(ListView_GetItemCount(list()), 0);
    EXPECT_FALSE(is_enabled(id_start));
    ASSERT_EQ(set_device(), VexOK);
    ASSERT_EQ(load({{L"SerialBridge.Serial1.ParameterArray", L"1"}}), VexOK);
    ASSERT_EQ(ListView_GetItemCount(list()), 3);
    EXPECT_EQ(cell(1, 0), L"Serial1");
    EXPECT_EQ(cell(1, column_state), L"Stopped");
    choose(1);
    EXPECT_TRUE(is_enabled(id_start));
    EXPECT_TRUE(is_enabled(id_settings));
    EXPECT_FALSE(is_enabled(id_stop));
    EXPECT_FALSE(is_enabled(id_recover));
    press(id_start);
    EXPECT_TRUE(told.empty()) << "it goes on elsewhere";
    ASSERT_TRUE(await([&] { return !told.empty(); }));
    EXPECT_EQ(told.front(), L"Serial1: SoftLink");
    EXPECT_EQ(cell(1, column_state), L"Running");
    EXPECT_TRUE(array(1));
    EXPECT_TRUE(is_enabled(id_stop));
    EXPECT_TRUE(is_enabled(id_recover));
    press(id_recover);
    ASSERT_TRUE(await([&] { return cell(1, column_state) == L"Running"; }))
        << ::testing::PrintToString(cell(1, column_state));
    EXPECT_GE(width(array(1).get()), 0);
    press(id_stop);
    EXPECT_EQ(told.back(), L"deleted");
    EXPECT_FALSE(array(1));
    ASSERT_TRUE(await([&] { return cell(1, column_state) == L"Stopped"; }));
}

TEST_F(BridgeManagerWindow, KeepsItsBridgesWhenTheWindowIsClosed)
{
    ASSERT_EQ(set_device(), VexOK);
    show();
    ASSERT_EQ(load(first_array), VexOK);
    EXPECT_EQ(code_of(window, &IVexSerialBridgeManagerWnd::Close), VexOK);
    EXPECT_GE(width(array(0).get()), 0);
    show();
    EXPECT_EQ(cell(0, column_state), L"Running");
}

TEST_F(BridgeManagerWindow, MayBeReleasedByASinkThatTheUserWoke)
{
    bool told = false;
    ASSERT_NE(listen([&](DISPID, IVexGenParameterArray*, const std::wstring&) {
                  told = true;
                  window.reset();
              }),
              0U);
    ASSERT_EQ(set_device(), VexOK);
    ASSERT_EQ(load({{L"SerialBridge.Serial0.ParameterArray", L"1"}}), VexOK);
    show();
    const HWND shown = handle();
    choose(0);
    press(id_start);
    EXPECT_TRUE(await_by_messages([&] { return told; }));
    EXPECT_FALSE(IsWindow(shown));
}

TEST_F(BridgeManagerWindow, OutlivesItsDevice)
{
    ASSERT_EQ(set_device(), VexOK);
    ASSERT_EQ(load({{L"SerialBridge.Bulk0.Running", L"1"}}), VexOK);
    show();
    device.reset();
    EXPECT_EQ(port_count(), 3U);
    EXPECT_EQ(code_of(window, &IVexSerialBridgeManagerWnd::Recover), VexNotConnected);
    EXPECT_EQ(load({{L"SerialBridge.Serial0.Running", L"1"}}), VexNotConnected);
    EXPECT_EQ(code_of(window, &IVexSerialBridgeManagerWnd::Close), VexOK);
}

/// Looks at the browser that is shown over the manager while the button's message is handled, and closes it.
struct BrowserVisitor {
    static inline bool has_features = false;
    static inline bool is_modal = false;
    static inline HWND manager = nullptr;
    static inline ULONGLONG end = 0;

    static BOOL CALLBACK count_rows(HWND control, LPARAM rows)
    {
        wchar_t kind[32] = {};
        GetClassNameW(control, kind, 32);
        if (std::wstring_view(kind) == WC_LISTVIEWW) {
            *reinterpret_cast<int*>(rows) += ListView_GetItemCount(control);
        }
        return TRUE;
    }
    static void CALLBACK visit(HWND, UINT, UINT_PTR, DWORD)
    {
        const HWND browser = FindWindowW(nullptr, L"Serial0: SoftLink");
        if (browser == nullptr) {
            return;
        }
        int rows = 0;
        EnumChildWindows(browser, count_rows, reinterpret_cast<LPARAM>(&rows));
        has_features = has_features || rows > 1;
        is_modal = IsWindowEnabled(manager) == FALSE;
        if (has_features || GetTickCount64() > end) {
            PostMessageW(browser, WM_CLOSE, 0, 0);
        }
    }
};

TEST_F(BridgeManagerWindow, ShowsTheFeaturesBehindABridgeInABrowser)
{
    ASSERT_EQ(set_device(), VexOK);
    show();
    ASSERT_EQ(load(first_array), VexOK);
    choose(1);
    EXPECT_FALSE(is_enabled(id_parameters));
    choose(0);
    ASSERT_TRUE(is_enabled(id_parameters));
    BrowserVisitor::manager = handle();
    BrowserVisitor::end = GetTickCount64() + 60'000;
    const UINT_PTR timer = SetTimer(nullptr, 0, 50, BrowserVisitor::visit);
    press(id_parameters);  // returns when the browser is closed
    KillTimer(nullptr, timer);
    EXPECT_TRUE(BrowserVisitor::is_modal);
    EXPECT_TRUE(BrowserVisitor::has_features);
    EXPECT_TRUE(IsWindowEnabled(handle()));
    EXPECT_EQ(FindWindowW(nullptr, L"Serial0: SoftLink"), nullptr);
}

}  // namespace
