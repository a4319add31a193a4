// What all windows do: shown, closed, moved, modal, as controls, and gone while something goes on.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <utility>

#include "sdk/gui/PvDisplayWnd.h"
#include "sdk/gui/win32.h"

namespace {

/// Something to do inside a message loop, by a timer.
class InLoop {
public:
    explicit InLoop(std::function<void()> what)
    {
        what_ = std::move(what);
        timer_ = SetTimer(nullptr, 0, USER_TIMER_MINIMUM, &InLoop::on_time);
    }
    InLoop(const InLoop&) = delete;
    InLoop& operator=(const InLoop&) = delete;
    ~InLoop()
    {
        KillTimer(nullptr, timer_);
        what_ = nullptr;
    }

private:
    static void CALLBACK on_time(HWND, UINT, UINT_PTR timer, DWORD)
    {
        KillTimer(nullptr, timer);
        if (const auto what = std::exchange(what_, nullptr)) {
            what();
        }
    }

    inline static std::function<void()> what_;
    UINT_PTR timer_ = 0;
};

/// A window of the caller's.
class Parent {
public:
    Parent()
        : window(CreateWindowExW(0, L"STATIC", L"parent", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 10, 20, 400, 300, nullptr,
                                 nullptr, nullptr, nullptr))
    {}
    Parent(const Parent&) = delete;
    Parent& operator=(const Parent&) = delete;
    ~Parent() { destroy(); }

    void destroy()
    {
        if (window != nullptr) {
            DestroyWindow(std::exchange(window, nullptr));
        }
    }

    HWND window;
};

struct Place {
    int x = -1;
    int y = -1;
    int width = -1;
    int height = -1;

    friend bool operator==(const Place&, const Place&) = default;
    friend void PrintTo(const Place& place, std::ostream* out)
    {
        *out << place.x << ", " << place.y << ", " << place.width << " x " << place.height;
    }
};

Place place_of(const PvWnd& window)
{
    Place place;
    window.GetPosition(place.x, place.y, place.width, place.height);
    return place;
}

HWND handle_of(const PvWnd& window) { return static_cast<HWND>(window.GetHandle()); }

TEST(Window, HasNoHandleUnlessShown)
{
    PvDisplayWnd window;
    EXPECT_EQ(window.GetHandle(), nullptr);
    ASSERT_TRUE(window.ShowModeless().IsOK());
    const HWND handle = handle_of(window);
    EXPECT_TRUE(IsWindow(handle));
    EXPECT_TRUE(IsWindowVisible(handle));
    EXPECT_TRUE(window.Close().IsOK());
    EXPECT_EQ(window.GetHandle(), nullptr);
    EXPECT_FALSE(IsWindow(handle));
    EXPECT_TRUE(window.Close().IsOK());
}

TEST(Window, KeepsItsTitle)
{
    PvDisplayWnd window;
    EXPECT_EQ(window.GetTitle().str(), "Display");
    window.SetTitle(PvString("Left camera \xC3\xA4"));
    ASSERT_TRUE(window.ShowModeless().IsOK());
    wchar_t text[64] = {};
    GetWindowTextW(handle_of(window), text, 64);
    EXPECT_STREQ(text, L"Left camera \u00E4");
    window.SetTitle(PvString());
    EXPECT_EQ(GetWindowTextLengthW(handle_of(window)), 0);
    EXPECT_TRUE(window.Close().IsOK());
    EXPECT_TRUE(window.GetTitle().empty());
}

TEST(Window, KeepsItsPositionAcrossClosing)
{
    PvDisplayWnd window;
    window.SetPosition(30, 40, 500, 400);
    EXPECT_EQ(place_of(window), (Place{30, 40, 500, 400}));
    ASSERT_TRUE(window.ShowModeless().IsOK());
    EXPECT_EQ(place_of(window), (Place{30, 40, 500, 400}));
    window.SetPosition(50, 60, 0, 0);  // moved only
    EXPECT_EQ(place_of(window), (Place{50, 60, 500, 400}));
    MoveWindow(handle_of(window), 70, 80, 450, 350, TRUE);  // by the user
    EXPECT_TRUE(window.Close().IsOK());
    EXPECT_EQ(place_of(window), (Place{70, 80, 450, 350}));
    ASSERT_TRUE(window.ShowModeless().IsOK());
    EXPECT_EQ(place_of(window), (Place{70, 80, 450, 350}));
}

TEST(Window, HasAUsualSize)
{
    PvDisplayWnd window;
    EXPECT_EQ(place_of(window).width, 800);
    EXPECT_EQ(place_of(window).height, 600);
    ASSERT_TRUE(window.ShowModeless().IsOK());
    EXPECT_EQ(place_of(window).width, 800);
    EXPECT_EQ(place_of(window).height, 600);
}

TEST(Window, IsNotShownTwice)
{
    Parent parent;
    PvDisplayWnd window;
    ASSERT_TRUE(window.ShowModeless().IsOK());
    EXPECT_EQ(window.ShowModeless().GetCode(), PvResult::StateError);
    EXPECT_EQ(window.ShowModal().GetCode(), PvResult::StateError);
    EXPECT_EQ(window.Create(parent.window, 1).GetCode(), PvResult::StateError);
    EXPECT_TRUE(window.Close().IsOK());
    EXPECT_TRUE(window.Create(parent.window, 1).IsOK());
    EXPECT_EQ(window.ShowModeless().GetCode(), PvResult::StateError);
}

TEST(Window, RefusesParentsThatAreNone)
{
    Parent parent;
    const HWND gone = parent.window;
    parent.destroy();
    PvDisplayWnd window;
    EXPECT_EQ(window.ShowModal(gone).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(window.ShowModeless(gone).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(window.Create(gone, 1).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(window.Create(nullptr, 1).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(window.ShowModeless(GetDesktopWindow()).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(window.GetHandle(), nullptr);
}

TEST(Window, IsModalUntilClosed)
{
    Parent parent;
    PvDisplayWnd window;
    bool was_enabled = true;
    HWND owner = nullptr;
    const InLoop close([&] {
        was_enabled = IsWindowEnabled(parent.window);
        owner = GetWindow(handle_of(window), GW_OWNER);
        PostMessageW(handle_of(window), WM_CLOSE, 0, 0);
    });
    EXPECT_TRUE(window.ShowModal(parent.window).IsOK());
    EXPECT_FALSE(was_enabled);
    EXPECT_EQ(owner, parent.window);
    EXPECT_TRUE(IsWindowEnabled(parent.window));
    EXPECT_EQ(window.GetHandle(), nullptr);
}

TEST(Window, LeavesAParentDisabledThatWasSo)
{
    Parent parent;
    EnableWindow(parent.window, FALSE);
    PvDisplayWnd window;
    const InLoop close([&] { EXPECT_TRUE(window.Close().IsOK()); });
    EXPECT_TRUE(window.ShowModal(parent.window).IsOK());
    EXPECT_FALSE(IsWindowEnabled(parent.window));
}

TEST(Window, DisablesTheTopLevelParentOfAControl)
{
    Parent parent;
    const HWND control = CreateWindowExW(0, L"STATIC", L"", WS_CHILD | WS_VISIBLE, 0, 0, 50, 50, parent.window, nullptr,
                                         nullptr, nullptr);
    PvDisplayWnd window;
    bool was_enabled = true;
    const InLoop close([&] {
        was_enabled = IsWindowEnabled(parent.window);
        EXPECT_TRUE(window.Close().IsOK());
    });
    EXPECT_TRUE(window.ShowModal(control).IsOK());
    EXPECT_FALSE(was_enabled);
    EXPECT_TRUE(IsWindowEnabled(parent.window));
}

TEST(Window, GivesTheEndOfTheProgramOn)
{
    Parent parent;
    PvDisplayWnd window;
    const InLoop quit([] { PostQuitMessage(42); });
    EXPECT_TRUE(window.ShowModal(parent.window).IsOK());
    EXPECT_EQ(window.GetHandle(), nullptr);
    EXPECT_TRUE(IsWindowEnabled(parent.window));
    MSG message{};
    EXPECT_EQ(GetMessageW(&message, nullptr, 0, 0), 0);
    EXPECT_EQ(message.wParam, 42U);

    PostQuitMessage(43);
    EXPECT_TRUE(window.DoEvents().IsOK());
    EXPECT_EQ(GetMessageW(&message, nullptr, 0, 0), 0);
    EXPECT_EQ(message.wParam, 43U);
}

TEST(Window, MayGoWhileItIsModal)
{
    Parent parent;
    auto window = std::make_unique<PvDisplayWnd>();
    HWND handle = nullptr;
    const InLoop end([&] {
        handle = handle_of(*window);
        window.reset();
    });
    PvDisplayWnd& shown = *window;
    EXPECT_TRUE(shown.ShowModal(parent.window).IsOK());
    EXPECT_NE(handle, nullptr);
    EXPECT_FALSE(IsWindow(handle));
    EXPECT_TRUE(IsWindowEnabled(parent.window));
}

TEST(Window, EndsWithItsParentWhileItIsModal)
{
    Parent parent;
    PvDisplayWnd window;
    const InLoop end([&] { parent.destroy(); });
    EXPECT_TRUE(window.ShowModal(parent.window).IsOK());
    EXPECT_EQ(window.GetHandle(), nullptr);
}

TEST(Window, ShownAgainInsideItsModalLoopIsAnotherOne)
{
    PvDisplayWnd window;
    const InLoop again([&] {
        EXPECT_TRUE(window.Close().IsOK());
        EXPECT_TRUE(window.ShowModeless().IsOK());
    });
    EXPECT_TRUE(window.ShowModal().IsOK());
    EXPECT_NE(window.GetHandle(), nullptr);
}

TEST(Window, IsAControlInItsParent)
{
    Parent parent;
    PvDisplayWnd window;
    ASSERT_TRUE(window.Create(parent.window, 77).IsOK());
    const HWND handle = handle_of(window);
    EXPECT_EQ(GetParent(handle), parent.window);
    EXPECT_EQ(GetDlgCtrlID(handle), 77);
    EXPECT_EQ(GetDlgItem(parent.window, 77), handle);
    RECT inside{};
    GetClientRect(parent.window, &inside);
    EXPECT_EQ(place_of(window), (Place{0, 0, static_cast<int>(inside.right), static_cast<int>(inside.bottom)}));
    window.SetPosition(5, 6, 70, 80);
    EXPECT_EQ(place_of(window), (Place{5, 6, 70, 80}));
    MoveWindow(handle, 1, 2, 30, 40, TRUE);
    EXPECT_EQ(place_of(window), (Place{1, 2, 30, 40}));
    parent.destroy();
    EXPECT_EQ(window.GetHandle(), nullptr);
    EXPECT_TRUE(window.Close().IsOK());
    EXPECT_TRUE(window.ShowModeless().IsOK());
}

TEST(Window, EscapeDoesNotCloseADisplay)
{
    PvDisplayWnd window;
    ASSERT_TRUE(window.ShowModeless().IsOK());
    PostMessageW(handle_of(window), WM_KEYDOWN, VK_ESCAPE, 0);
    EXPECT_TRUE(window.DoEvents().IsOK());
    EXPECT_NE(window.GetHandle(), nullptr);
}

TEST(Window, LeavesNoHandlesBehind)
{
    const auto objects = [] {
        return std::pair(GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS),
                         GetGuiResources(GetCurrentProcess(), GR_USEROBJECTS));
    };
    const auto open_and_close = [](int times) {
        PvDisplayWnd window;
        for (int time = 0; time < times; ++time) {
            ASSERT_TRUE(window.ShowModeless().IsOK());
            ASSERT_TRUE(window.DoEvents().IsOK());
            ASSERT_TRUE(window.Close().IsOK());
        }
    };
    open_and_close(3);
    const auto before = objects();
    open_and_close(1000);
    EXPECT_LE(objects().first, before.first + 2);
    EXPECT_LE(objects().second, before.second + 2);
}

}  // namespace
