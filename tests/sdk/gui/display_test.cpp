// How often a display window draws.
#include <gtest/gtest.h>

#include <functional>
#include <utility>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/gui/PvDisplayWnd.h"
#include "sdk/gui/win32.h"

namespace {

class DisplayDrawing : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(image.GetImage()->Alloc(64, 48, PvPixelMono8).IsOK());
        ASSERT_TRUE(window.ShowModeless().IsOK());
        ASSERT_TRUE(SetWindowSubclass(handle(), &DisplayDrawing::watch, 1, reinterpret_cast<DWORD_PTR>(this)));
        handle_messages();
        draws = 0;
    }
    [[nodiscard]] HWND handle() const { return static_cast<HWND>(window.GetHandle()); }
    void handle_messages() { ASSERT_TRUE(window.DoEvents().IsOK()); }
    void show() { EXPECT_TRUE(window.Display(&image, false).IsOK()); }

    PvDisplayWnd window;
    PvBuffer image;
    int draws = 0;
    std::function<void()> before_drawing;
    std::function<void()> after_drawing;

private:
    static LRESULT CALLBACK watch(HWND window, UINT message, WPARAM wparam, LPARAM lparam, UINT_PTR /*id*/,
                                  DWORD_PTR test) noexcept
    {
        auto& self = *reinterpret_cast<DisplayDrawing*>(test);
        if (message != WM_PAINT) {
            return DefSubclassProc(window, message, wparam, lparam);
        }
        ++self.draws;
        if (self.before_drawing) {
            std::exchange(self.before_drawing, nullptr)();
        }
        const LRESULT answer = DefSubclassProc(window, message, wparam, lparam);
        if (self.after_drawing) {
            std::exchange(self.after_drawing, nullptr)();
        }
        return answer;
    }
};

TEST_F(DisplayDrawing, IsOnceForSeveralImages)
{
    show();
    show();
    show();
    handle_messages();
    EXPECT_EQ(draws, 1);
    handle_messages();
    EXPECT_EQ(draws, 1);
}

TEST_F(DisplayDrawing, IsOnceForAnImageThatComesJustInTime)
{
    before_drawing = [this] { show(); };
    show();
    handle_messages();
    EXPECT_EQ(draws, 1);
}

TEST_F(DisplayDrawing, IsTwiceForAnImageThatComesTooLate)
{
    after_drawing = [this] { show(); };
    show();
    handle_messages();
    EXPECT_EQ(draws, 2);
}

TEST_F(DisplayDrawing, OfACoveredCornerDoesNotStandForThatOfAnImage)
{
    show();
    const RECT corner{0, 0, 10, 10};
    InvalidateRect(handle(), &corner, FALSE);
    UpdateWindow(handle());
    EXPECT_EQ(draws, 1);
    handle_messages();
    EXPECT_EQ(draws, 2);
}

}  // namespace
