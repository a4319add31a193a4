// VexTerminalIPEngineWnd through COM, on the serial ports of a software camera.
#include <string>
#include <utility>

#include "tests/com/devices/camera_client.h"
#include "tests/com/gui/messages.h"

namespace {

using namespace client;

constexpr int id_port = 101;
constexpr int id_echo = 103;
constexpr int id_hexadecimal = 104;
constexpr int id_output = 105;
constexpr int id_input = 106;
constexpr int id_send = 108;
constexpr int id_clear = 109;

class Terminal : public CameraTest {
protected:
    Terminal() { EXPECT_EQ(connect(), VexOK); }

    [[nodiscard]] VexResultCode connect() const
    {
        return code_of([&](IVexResult** out) { return device->ConnectString(Text(address), VexAccessControl, out); });
    }
    VexResultCode set_device()
    {
        return code_of([&](IVexResult** out) { return window->SetDevice(device.get(), out); });
    }
    VexResultCode set_port(VexIPEngineSerial port)
    {
        return code_of([&](IVexResult** out) { return window->SetSerialPort(port, out); });
    }
    [[nodiscard]] VexIPEngineSerial port() const
    {
        VexIPEngineSerial number = VexIPEngineSerialInvalid;
        EXPECT_EQ(window->GetSerialPort(&number), S_OK);
        return number;
    }
    void show()
    {
        ASSERT_EQ(code_of([&](IVexResult** out) { return window->ShowModeless(0, out); }), VexOK);
    }
    [[nodiscard]] HWND handle() const
    {
        return reinterpret_cast<HWND>(value_of(window, &IVexTerminalIPEngineWnd::get_Handle));
    }
    [[nodiscard]] HWND control(int id) const { return GetDlgItem(handle(), id); }
    [[nodiscard]] std::wstring output() const
    {
        std::wstring text(static_cast<std::size_t>(GetWindowTextLengthW(control(id_output))), L'\0');
        GetWindowTextW(control(id_output), text.data(), static_cast<int>(text.size()) + 1);
        return text;
    }
    [[nodiscard]] std::wstring input() const
    {
        std::wstring text(static_cast<std::size_t>(GetWindowTextLengthW(control(id_input))), L'\0');
        GetWindowTextW(control(id_input), text.data(), static_cast<int>(text.size()) + 1);
        return text;
    }
    [[nodiscard]] bool says(const wchar_t* words) const
    {
        return FindWindowExW(handle(), nullptr, L"STATIC", words) != nullptr;
    }
    void tick(int id, WPARAM state)
    {
        SendMessageW(control(id), BM_SETCHECK, state, 0);
        press(id);
    }
    void press(int id) { SendMessageW(handle(), WM_COMMAND, static_cast<WPARAM>(id), 0); }
    void type_line(const wchar_t* line)
    {
        SetWindowTextW(control(id_input), line);
        press(id_send);
    }
    /// The output then has what comes from the device only.
    void show_without_echo()
    {
        show();
        tick(id_echo, BST_UNCHECKED);
    }
    template <class Wanted>
    [[nodiscard]] bool await(Wanted wanted)
    {
        return await_by_messages(wanted,
                                 [&] { EXPECT_EQ(code_of(window, &IVexTerminalIPEngineWnd::DoEvents), VexOK); });
    }

    Ref<IVexDevice> device = create<IVexDevice>(L"VexKamCOMWrapper.VexDevice.1");
    Ref<IVexTerminalIPEngineWnd> window = create<IVexTerminalIPEngineWnd>(L"VexKamCOMWrapper.VexTerminalIPEngineW.1");
};

TEST_F(Terminal, HasTheFirstPortAtFirst)
{
    EXPECT_EQ(port(), VexIPEngineSerial0);
    EXPECT_EQ(window->GetSerialPort(nullptr), E_POINTER);
    EXPECT_EQ(text_of(window, &IVexTerminalIPEngineWnd::get_Title), L"Serial Terminal");
}

TEST_F(Terminal, TakesThePortBeforeAndAfterTheDevice)
{
    EXPECT_EQ(set_port(VexIPEngineSerial1), VexOK);
    EXPECT_EQ(port(), VexIPEngineSerial1);
    EXPECT_EQ(set_device(), VexOK);
    EXPECT_EQ(set_port(VexIPEngineSerial0), VexOK);
    EXPECT_EQ(port(), VexIPEngineSerial0);
    EXPECT_EQ(set_port(VexIPEngineSerialInvalid), VexInvalidParameter);
    EXPECT_EQ(port(), VexIPEngineSerial0);
    EXPECT_EQ(set_port(VexIPEngineSerialBulk1), VexNotSupported);  // an I2C bus
}

TEST_F(Terminal, SaysWhoHasThePort)
{
    const auto other = create<IVexSerialPortIPEngine>(L"VexKamCOMWrapper.VexSerialPortIPEngin.1");
    ASSERT_EQ(code_of([&](IVexResult** out) { return other->Open(device.get(), VexIPEngineSerial0, out); }), VexOK);
    EXPECT_EQ(set_device(), VexStateError);
    EXPECT_EQ(set_port(VexIPEngineSerial1), VexOK);
    // and it gives its own port back when it goes
    EXPECT_EQ(code_of(other, &IVexSerialPort::Close), VexOK);
    window.reset();
    EXPECT_EQ(code_of([&](IVexResult** out) { return other->Open(device.get(), VexIPEngineSerial1, out); }), VexOK);
}

TEST_F(Terminal, SendsLinesAndShowsWhatComesBack)
{
    ASSERT_EQ(set_device(), VexOK);
    show_without_echo();
    type_line(L"hello");
    EXPECT_TRUE(await([&] { return output() == L"hello\r\n"; }));
    EXPECT_EQ(GetWindowTextLengthW(control(id_input)), 0);
    SendMessageW(control(id_hexadecimal), BM_SETCHECK, BST_CHECKED, 0);
    press(id_hexadecimal);
    EXPECT_EQ(output().substr(0, 28), L"00000000  68 65 6C 6C 6F 0D ");
    press(id_clear);
    EXPECT_EQ(output(), L"");
}

TEST_F(Terminal, ShowsWhatIsSentUntilThatIsNotWanted)
{
    ASSERT_EQ(set_device(), VexOK);
    show();
    EXPECT_EQ(SendMessageW(control(id_echo), BM_GETCHECK, 0, 0), BST_CHECKED);
    type_line(L"one");
    EXPECT_EQ(output(), L"one\r\n") << "before anything came back";
    EXPECT_TRUE(await([&] { return output() == L"one\r\none\r\n"; }));
    tick(id_echo, BST_UNCHECKED);
    press(id_clear);
    type_line(L"two");
    EXPECT_EQ(output(), L"");
    EXPECT_TRUE(await([&] { return output() == L"two\r\n"; }));
}

TEST_F(Terminal, OffersEarlierLinesByArrowKeys)
{
    show();
    for (const wchar_t* const line : {L"one", L"two", L"two"}) {
        type_line(line);
    }
    const std::pair<WPARAM, const wchar_t*> steps[] = {{VK_UP, L"two"},   {VK_UP, L"one"}, {VK_UP, L"one"},
                                                       {VK_DOWN, L"two"}, {VK_DOWN, L""},  {VK_UP, L"two"}};
    for (const auto& [key, line] : steps) {
        PostMessageW(control(id_input), WM_KEYDOWN, key, 0);
        EXPECT_EQ(code_of(window, &IVexTerminalIPEngineWnd::DoEvents), VexOK);
        EXPECT_EQ(input(), line);
    }
}

TEST_F(Terminal, SaysWhetherTheDeviceIsThere)
{
    show();
    EXPECT_TRUE(says(L"No device"));
    ASSERT_EQ(set_device(), VexOK);
    EXPECT_TRUE(await([&] { return says(L"Connected"); }));
    EXPECT_EQ(code_of(device, &IVexDevice::Disconnect), VexOK);
    EXPECT_TRUE(await([&] { return says(L"The device is not connected; the terminal goes on when it is back."); }));
    EXPECT_EQ(connect(), VexOK);
    EXPECT_TRUE(await([&] { return says(L"Connected"); }));
}

TEST_F(Terminal, SendsWhatIsTypedIntoTheOutput)
{
    ASSERT_EQ(set_device(), VexOK);
    show_without_echo();
    for (const wchar_t letter : std::wstring(L"abc")) {
        PostMessageW(control(id_output), WM_CHAR, letter, 0);
    }
    EXPECT_TRUE(await([&] { return output() == L"abc"; }));
}

TEST_F(Terminal, KeepsWhatCameWhileItWasClosed)
{
    ASSERT_EQ(set_device(), VexOK);
    show_without_echo();
    type_line(L"one");
    EXPECT_TRUE(await([&] { return output() == L"one\r\n"; }));
    EXPECT_EQ(code_of(window, &IVexTerminalIPEngineWnd::Close), VexOK);
    show();
    EXPECT_EQ(output(), L"one\r\n");
    type_line(L"two");
    EXPECT_TRUE(await([&] { return output() == L"one\r\ntwo\r\n"; }));
}

TEST_F(Terminal, ChangesThePortByTheUsersChoice)
{
    ASSERT_EQ(set_device(), VexOK);
    show_without_echo();
    SendMessageW(control(id_port), CB_SETCURSEL, 1, 0);
    SendMessageW(handle(), WM_COMMAND, MAKEWPARAM(id_port, CBN_SELCHANGE), reinterpret_cast<LPARAM>(control(id_port)));
    EXPECT_EQ(port(), VexIPEngineSerial1);
    type_line(L"id");
    EXPECT_TRUE(await([&] { return output().size() > 4; }));  // the command line answers
    EXPECT_EQ(set_port(VexIPEngineSerial0), VexOK);
    EXPECT_EQ(SendMessageW(control(id_port), CB_GETCURSEL, 0, 0), 0);
}

TEST_F(Terminal, GoesOnAfterItsDeviceWasDisconnected)
{
    ASSERT_EQ(set_device(), VexOK);
    show_without_echo();
    type_line(L"one");
    EXPECT_TRUE(await([&] { return output() == L"one\r\n"; }));
    EXPECT_EQ(code_of(device, &IVexDevice::Disconnect), VexOK);
    EXPECT_EQ(connect(), VexOK);
    ASSERT_TRUE(await([&] {
        if (output().find(L"two") == std::wstring::npos) {
            type_line(L"two");
            return false;
        }
        return true;
    }));
}

TEST_F(Terminal, OutlivesItsDevice)
{
    ASSERT_EQ(set_device(), VexOK);
    show();
    device.reset();
    type_line(L"nobody");
    EXPECT_EQ(set_port(VexIPEngineSerial1), VexOK);  // for the next device
    EXPECT_EQ(code_of(window, &IVexTerminalIPEngineWnd::Close), VexOK);
}

}  // namespace
