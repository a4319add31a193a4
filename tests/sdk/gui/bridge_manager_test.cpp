// The window of the bridge manager over ports that the test plays.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "sdk/gui/PvSerialBridgeManagerWnd.h"
#include "sdk/gui/bridge_dialog.h"
#include "sdk/gui/bridge_manager_content.h"
#include "sdk/gui/controls.h"
#include "sdk/gui/frame.h"
#include "tests/sdk/bridge_manager/fake_port.h"

namespace {

using namespace bridge_manager_test;
using vex::gui::BridgeDialog;
using vex::gui::BridgeManagerContent;
using vex::gui::Frame;
using vex::gui::text_of;

constexpr int id_list = 101;
constexpr int id_start = 102;
constexpr int id_stop = 103;
constexpr int id_parameters = 105;
constexpr int id_reset = 107;
constexpr int column_other_end = 1;
constexpr int column_from_device = 3;
constexpr int column_state = 7;

// of the dialog
constexpr int id_kind = 101;
constexpr int id_name = 102;
constexpr int id_baud_rate = 103;
constexpr int id_parity = 104;
constexpr int id_hard_coded = 107;
constexpr int id_has_parameters = 108;
constexpr int id_device = 109;

void handle_messages()
{
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        DispatchMessageW(&message);
    }
}

template <class Wanted>
bool await(Wanted wanted)
{
    const ULONGLONG end = GetTickCount64() + static_cast<ULONGLONG>(patience.count());
    while (!wanted()) {
        if (GetTickCount64() > end) {
            return false;
        }
        MsgWaitForMultipleObjects(0, nullptr, FALSE, 100, QS_ALLINPUT);
        handle_messages();
    }
    return true;
}

void press(HWND window, int id) { SendMessageW(window, WM_COMMAND, static_cast<WPARAM>(id), 0); }

// ---- the window ----

class BridgeWindow : public testing::Test {
protected:
    BridgeWindow() { content->set_ports({first, second}); }
    ~BridgeWindow() override
    {
        content->end();
        frame->close();
    }

    void show() { ASSERT_TRUE(frame->show_modeless(nullptr).IsOK()); }
    [[nodiscard]] HWND window() const { return frame->window(); }
    [[nodiscard]] HWND control(int id) const { return GetDlgItem(window(), id); }
    [[nodiscard]] std::wstring cell(int row, int column) const
    {
        wchar_t text[256] = {};
        ListView_GetItemText(control(id_list), row, column, text, 256);
        return text;
    }

    std::shared_ptr<FakePort> first = std::make_shared<FakePort>("Serial0");
    std::shared_ptr<FakePort> second = std::make_shared<FakePort>("Bulk0");
    std::shared_ptr<BridgeManagerContent> content = std::make_shared<BridgeManagerContent>();
    std::shared_ptr<Frame> frame = std::make_shared<Frame>(content);
};

TEST_F(BridgeWindow, StaysUsableWhileADeviceDoesNotAnswer)
{
    show();
    first->hold();
    press(window(), id_start);
    ASSERT_TRUE(first->await_held());
    EXPECT_EQ(cell(0, column_state), L"Starting");
    EXPECT_FALSE(IsWindowEnabled(control(id_start)));
    EXPECT_TRUE(IsWindowEnabled(control(id_stop)));
    handle_messages();
    EXPECT_EQ(cell(0, column_state), L"Starting");
    first->told.is_up = true;
    first->go_on();
    EXPECT_TRUE(await([&] { return cell(0, column_state) == L"Running"; }));
}

TEST_F(BridgeWindow, KeepsTheKeyboardWhenAPressedButtonCannotBePressedAgain)
{
    show();
    first->hold();
    SetFocus(control(id_start));
    ASSERT_EQ(GetFocus(), control(id_start));
    SendMessageW(control(id_start), BM_CLICK, 0, 0);
    ASSERT_FALSE(IsWindowEnabled(control(id_start)));
    EXPECT_EQ(GetFocus(), control(id_list));
    first->go_on();
}

TEST_F(BridgeWindow, ShowsCountersThatChange)
{
    first->told.received = 1;
    show();
    EXPECT_EQ(cell(0, column_from_device), L"1");
    first->told.received = 5'000'000'000;
    EXPECT_TRUE(await([&] { return cell(0, column_from_device) == L"5000000000"; }));
    press(window(), id_reset);
    EXPECT_EQ(cell(0, column_from_device), L"0");
}

TEST_F(BridgeWindow, GivesTheStateTheWidthThatOtherColumnsLeave)
{
    show();
    for (const int width : {1100, 900}) {
        frame->set_position({0, 0, width, 360});
        int columns = 0;
        for (int index = 0; index <= column_state; ++index) {
            columns += ListView_GetColumnWidth(control(id_list), index);
        }
        RECT inside{};
        GetClientRect(control(id_list), &inside);
        EXPECT_EQ(columns, inside.right) << width;
    }
}

TEST_F(BridgeWindow, HasRoomForTheNamesThatItMakes)
{
    show();
    const HWND list = control(id_list);
    const int letters = ListView_GetStringWidth(list, L"pipe:bridge-b7d8dd6db8d0b6d8");
    const int margins = 2 * 6;  // of a cell at 100 %
    EXPECT_GE(ListView_GetColumnWidth(list, column_other_end), letters + margins);
}

TEST_F(BridgeWindow, TellsLaterWhatCameAfterItWasClosed)
{
    show();
    first->hold();
    press(window(), id_start);
    ASSERT_TRUE(first->await_held());
    frame->close();
    first->go_on();
    first->told.is_up = true;
    show();
    EXPECT_TRUE(await([&] { return cell(0, column_state) == L"Running"; }));
}

TEST_F(BridgeWindow, HasAButtonForParametersWithABrowser)
{
    show();
    EXPECT_EQ(control(id_parameters), nullptr);
    frame->close();
    std::string browsed;
    content->set_browser([&](HWND above, PvGenParameterArray& array, const PvString& name) {
        EXPECT_EQ(above, window());
        EXPECT_EQ(&array, content->manager().array(0));
        browsed = name.str();
    });
    show();
    ASSERT_NE(control(id_parameters), nullptr);
    EXPECT_FALSE(IsWindowEnabled(control(id_parameters)));
    vex::bridge_manager::Settings settings;
    settings.has_parameters = true;
    ASSERT_TRUE(content->manager().change(0, settings).IsOK());
    press(window(), id_start);
    ASSERT_TRUE(await([&] { return IsWindowEnabled(control(id_parameters)) != FALSE; }));
    press(window(), id_parameters);
    EXPECT_EQ(browsed, "Serial0: Fake");
}

TEST(BridgeManager, HasNoPortsWithoutADevice)
{
    PvSerialBridgeManagerWnd window;
    EXPECT_EQ(window.GetPortCount(), 0U);
    EXPECT_TRUE(window.GetPortName(0).empty());
    EXPECT_TRUE(window.GetGenParameterArrayName(0).empty());
    EXPECT_EQ(window.GetGenParameterArray(0), nullptr);
    EXPECT_TRUE(window.SetDevice(nullptr).IsOK());
    EXPECT_EQ(window.Recover().GetCode(), PvResult::StateError);
}

// ---- the dialog ----

/// What was given to Apply, and the dialog's answer.
class BridgeSettings : public testing::Test {
protected:
    void open(const Settings& settings)
    {
        dialog = std::make_unique<BridgeDialog>("Serial0", settings, [this](const Settings& next) {
            given = next;
            return answer;
        });
        ASSERT_TRUE(dialog->ShowModeless().IsOK());
    }
    [[nodiscard]] HWND window() const { return static_cast<HWND>(dialog->GetHandle()); }
    [[nodiscard]] HWND control(int id) const { return GetDlgItem(window(), id); }
    void choose(int id, int entry)
    {
        SendMessageW(control(id), CB_SETCURSEL, static_cast<WPARAM>(entry), 0);
        SendMessageW(window(), WM_COMMAND, MAKEWPARAM(id, CBN_SELCHANGE), reinterpret_cast<LPARAM>(control(id)));
    }

    std::unique_ptr<BridgeDialog> dialog;
    Settings given;
    PvResult answer;
};

TEST_F(BridgeSettings, ComeBackAsTheyWere)
{
    Settings of_line;
    of_line.serial_port = "COM3";
    of_line.line = PvSerialPortConfiguration{57'600, PvParityOdd, 7, 2};
    of_line.hard_coded_baud_rate = 12'345;  // which is not offered otherwise
    Settings of_parameters;
    of_parameters.endpoint = "tcp:5000";
    of_parameters.has_parameters = true;
    of_parameters.device = "GenCP:9600";
    of_parameters.description = "camera.xml";
    for (const Settings& settings : {Settings(), of_line, of_parameters}) {
        open(settings);
        given = {};
        press(window(), IDOK);
        EXPECT_EQ(window(), nullptr);
        EXPECT_TRUE(given == settings);
    }
}

TEST_F(BridgeSettings, EnableWhatHasAMeaning)
{
    open(Settings());
    EXPECT_FALSE(IsWindowEnabled(control(id_parity)));
    EXPECT_TRUE(IsWindowEnabled(control(id_has_parameters)));
    EXPECT_FALSE(IsWindowEnabled(control(id_device)));
    choose(id_baud_rate, 1);
    EXPECT_TRUE(IsWindowEnabled(control(id_parity)));
    SendMessageW(control(id_has_parameters), BM_SETCHECK, BST_CHECKED, 0);
    press(window(), id_has_parameters);
    EXPECT_TRUE(IsWindowEnabled(control(id_device)));
    choose(id_kind, 1);
    EXPECT_FALSE(IsWindowEnabled(control(id_has_parameters)));
    EXPECT_FALSE(IsWindowEnabled(control(id_device)));
}

TEST_F(BridgeSettings, StayWithTheReasonWhenTheyAreRefused)
{
    answer = PvResult(PvResult::InvalidParameter, "No such name");
    open(Settings());
    SetWindowTextW(control(id_name), L"a/b");
    choose(id_hard_coded, 1);
    press(window(), IDOK);
    ASSERT_NE(window(), nullptr);
    EXPECT_EQ(given.endpoint.str(), "a/b");
    EXPECT_EQ(given.hard_coded_baud_rate, 1200U);
    EXPECT_EQ(text_of(control(id_name)), "a/b") << "what was typed stays";
    given = {};
    choose(id_kind, 1);
    press(window(), IDOK);
    EXPECT_TRUE(given == Settings()) << "a serial port has a baud rate";
    EXPECT_NE(window(), nullptr);
    press(window(), IDCANCEL);
    EXPECT_EQ(window(), nullptr);
}

}  // namespace
