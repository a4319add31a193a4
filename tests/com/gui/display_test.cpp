// VexDisplayWnd through COM: the members of all windows, early and late bound, and what is seen in it.
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tests/com/buffers/objects.h"

namespace {

using namespace client;

/// A picture of what a window shows, as the window draws it when asked to.
class Shot {
public:
    explicit Shot(HWND window)
    {
        RECT inside{};
        GetClientRect(window, &inside);
        width_ = static_cast<int>(inside.right);
        height_ = static_cast<int>(inside.bottom);
        BITMAPINFO info{};
        info.bmiHeader.biSize = sizeof info.bmiHeader;
        info.bmiHeader.biWidth = width_;
        info.bmiHeader.biHeight = -height_;
        info.bmiHeader.biPlanes = 1;
        info.bmiHeader.biBitCount = 32;
        dc_ = CreateCompatibleDC(nullptr);
        bitmap_ = CreateDIBSection(dc_, &info, DIB_RGB_COLORS, nullptr, nullptr, 0);
        SelectObject(dc_, bitmap_);
        SendMessageW(window, WM_PRINTCLIENT, reinterpret_cast<WPARAM>(dc_), PRF_CLIENT);
    }
    Shot(const Shot&) = delete;
    Shot& operator=(const Shot&) = delete;
    ~Shot()
    {
        DeleteDC(dc_);
        DeleteObject(bitmap_);
    }

    [[nodiscard]] int width() const noexcept { return width_; }
    [[nodiscard]] int height() const noexcept { return height_; }
    [[nodiscard]] COLORREF at(int x, int y) const noexcept { return GetPixel(dc_, x, y); }
    [[nodiscard]] COLORREF corner() const noexcept { return at(0, 0); }
    [[nodiscard]] COLORREF middle() const noexcept { return at(width_ / 2, height_ / 2); }
    /// Whether all of it has one colour.
    [[nodiscard]] bool is_plain() const noexcept
    {
        for (int y = 0; y < height_; ++y) {
            for (int x = 0; x < width_; ++x) {
                if (at(x, y) != corner()) {
                    return false;
                }
            }
        }
        return true;
    }

private:
    int width_ = 0;
    int height_ = 0;
    HDC dc_ = nullptr;
    HBITMAP bitmap_ = nullptr;
};

class Display : public ComTest {
protected:
    void show()
    {
        ASSERT_EQ(code_of([&](IVexResult** result) { return window->ShowModeless(0, result); }), VexOK);
    }
    [[nodiscard]] HWND handle() const { return reinterpret_cast<HWND>(value_of(window, &IVexDisplayWnd::get_Handle)); }
    VexResultCode display(IVexBuffer* buffer)
    {
        return code_of([&](IVexResult** result) { return window->Display(buffer, VARIANT_FALSE, result); });
    }
    VexResultCode set_background(unsigned int red, unsigned int green, unsigned int blue)
    {
        return code_of([&](IVexResult** result) { return window->SetBackgroundColor(red, green, blue, result); });
    }
    /// An image whose pixels all have one value.
    [[nodiscard]] static Ref<IVexBuffer> grey(unsigned int width, unsigned int height, unsigned char value)
    {
        auto buffer = new_buffer();
        EXPECT_EQ(alloc(image_of(buffer.get()).get(), width, height, VexPixelMono8), VexOK);
        SAFEARRAYBOUND bound{width * height, 0};
        const Array bytes(SafeArrayCreate(VT_UI1, 1, &bound));
        void* data = nullptr;
        SafeArrayAccessData(bytes.get(), &data);
        std::fill_n(static_cast<unsigned char*>(data), width * height, value);
        SafeArrayUnaccessData(bytes.get());
        EXPECT_EQ(buffer->put_Data(bytes.get()), S_OK);
        return buffer;
    }

    Ref<IVexDisplayWnd> window = create<IVexDisplayWnd>(L"VexKamCOMWrapper.VexDisplayWnd.1");
};

TEST_F(Display, HasATitle)
{
    EXPECT_EQ(text_of(window, &IVexDisplayWnd::get_Title), L"Display");
    const BSTR title = SysAllocString(L"Top \u00E9");
    EXPECT_EQ(window->put_Title(title), S_OK);
    SysFreeString(title);
    EXPECT_EQ(text_of(window, &IVexDisplayWnd::get_Title), L"Top \u00E9");
    show();
    wchar_t shown[32] = {};
    GetWindowTextW(handle(), shown, 32);
    EXPECT_STREQ(shown, L"Top \u00E9");
    EXPECT_EQ(window->put_Title(nullptr), S_OK);
    EXPECT_EQ(text_of(window, &IVexDisplayWnd::get_Title), L"");
    EXPECT_EQ(GetWindowTextLengthW(handle()), 0);
}

TEST_F(Display, KeepsItsPosition)
{
    EXPECT_EQ(value_of(window, &IVexDisplayWnd::get_Handle), 0);
    EXPECT_EQ(window->SetPosition(10, 20, 320, 240), S_OK);
    show();
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    EXPECT_EQ(window->GetPosition(&x, &y, &width, &height), S_OK);
    EXPECT_EQ(std::vector({x, y, width, height}), std::vector({10, 20, 320, 240}));
    EXPECT_EQ(code_of(window, &IVexDisplayWnd::Close), VexOK);
    EXPECT_EQ(value_of(window, &IVexDisplayWnd::get_Handle), 0);
    EXPECT_EQ(window->GetPosition(nullptr, &y, &width, &height), E_POINTER);
}

TEST_F(Display, IsShownOnceOnly)
{
    show();
    EXPECT_EQ(code_of([&](IVexResult** result) { return window->ShowModeless(0, result); }), VexStateError);
    EXPECT_EQ(code_of([&](IVexResult** result) { return window->ShowModal(0, result); }), VexStateError);
    EXPECT_EQ(code_of(window, &IVexDisplayWnd::DoEvents), VexOK);
    EXPECT_EQ(code_of(window, &IVexDisplayWnd::Close), VexOK);
    EXPECT_EQ(code_of([&](IVexResult** result) { return window->Create(0, 1, result); }), VexInvalidParameter);
    EXPECT_EQ(code_of([&](IVexResult** result) { return window->ShowModal(0x7FF1, result); }), VexInvalidParameter);
}

TEST_F(Display, GoesWithItsObject)
{
    show();
    const HWND shown = handle();
    window.reset();
    EXPECT_FALSE(IsWindow(shown));
}

TEST_F(Display, IsAControlOfAWindow)
{
    const HWND parent = CreateWindowExW(0, L"STATIC", L"", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 300, 200, nullptr,
                                        nullptr, nullptr, nullptr);
    EXPECT_EQ(
        code_of([&](IVexResult** result) { return window->Create(reinterpret_cast<INT_PTR>(parent), 31, result); }),
        VexOK);
    EXPECT_EQ(GetDlgItem(parent, 31), handle());
    DestroyWindow(parent);
    EXPECT_EQ(value_of(window, &IVexDisplayWnd::get_Handle), 0);
}

TEST_F(Display, ShowsABufferAndKeepsACopy)
{
    show();
    EXPECT_EQ(set_background(1, 2, 3), VexOK);
    auto buffer = grey(40, 40, 0x55);
    EXPECT_EQ(display(buffer.get()), VexOK);
    EXPECT_EQ(put_data(buffer.get(), {}), S_OK);
    const Shot shot(handle());
    EXPECT_EQ(shot.middle(), RGB(0x55, 0x55, 0x55));
    EXPECT_EQ(shot.corner(), RGB(1, 2, 3));  // it is wider than high
    EXPECT_EQ(window->Clear(), S_OK);
    const Shot cleared(handle());
    EXPECT_EQ(cleared.middle(), RGB(1, 2, 3));
    EXPECT_TRUE(cleared.is_plain());
}

TEST_F(Display, TakesABufferBeforeItIsShown)
{
    EXPECT_EQ(display(grey(8, 6, 99).get()), VexOK);
    show();
    EXPECT_EQ(Shot(handle()).middle(), RGB(99, 99, 99));
}

TEST_F(Display, DropsTheHighBitsOfColours)
{
    show();
    EXPECT_EQ(set_background(300, 0, 0), VexOK);
    EXPECT_EQ(Shot(handle()).middle(), RGB(44, 0, 0));
    EXPECT_EQ(set_background(256, 0xFFFF'FF07U, 255), VexOK);
    EXPECT_EQ(Shot(handle()).middle(), RGB(0, 7, 255));
}

TEST_F(Display, TellsWhatItCannotShow)
{
    show();
    Ref<IVexResult> result;
    EXPECT_EQ(window->Display(nullptr, VARIANT_FALSE, result.put()), E_POINTER);
    EXPECT_EQ(display(new_buffer().get()), VexInvalidParameter);
    EXPECT_FALSE(Shot(handle()).is_plain());  // but a text
    EXPECT_EQ(display(grey(8, 6, 99).get()), VexOK);
    EXPECT_EQ(Shot(handle()).middle(), RGB(99, 99, 99));
}

TEST_F(Display, FitsAgain)
{
    show();
    EXPECT_EQ(display(grey(10, 10, 200).get()), VexOK);
    RECT inside{};
    GetClientRect(handle(), &inside);
    static_cast<void>(Shot(handle()));
    // the image's one side fills the window until it is shown one to one
    EXPECT_EQ(Shot(handle()).at(static_cast<int>(inside.right) / 2, 1), RGB(200, 200, 200));
    SendMessageW(handle(), WM_KEYDOWN, '1', 0);
    EXPECT_EQ(Shot(handle()).at(static_cast<int>(inside.right) / 2, 1), RGB(0, 0, 0));
    EXPECT_EQ(window->UpdateBounds(), S_OK);
    EXPECT_EQ(Shot(handle()).at(static_cast<int>(inside.right) / 2, 1), RGB(200, 200, 200));
}

TEST_F(Display, HandsOutTheSameConverterEachTime)
{
    const auto first = object_of(window, &IVexDisplayWnd::get_Converter);
    ASSERT_TRUE(first);
    EXPECT_EQ(object_of(window, &IVexDisplayWnd::get_Converter).get(), first.get());
    EXPECT_EQ(first->put_BayerFilterType(VexBayerFilter3X3), S_OK);
    EXPECT_EQ(value_of(object_of(window, &IVexDisplayWnd::get_Converter), &IVexBufferConverter::get_BayerFilterType),
              VexBayerFilter3X3);
}

TEST_F(Display, ServesLateBoundClients)
{
    LateBound late(window.get());
    Variant value;
    EXPECT_EQ(late.put(L"Title", Variant(L"late")), S_OK);
    EXPECT_EQ(late.get(L"Title", value), S_OK);
    EXPECT_EQ(value.text(), L"late");
    EXPECT_EQ(late.call(L"SetPosition", {Variant(5), Variant(6), Variant(70), Variant(80)}), S_OK);
    Variant x;
    Variant y;
    Variant width;
    Variant height;
    EXPECT_EQ(late.call(L"GetPosition", {Variant::by_reference(x), Variant::by_reference(y),
                                         Variant::by_reference(width), Variant::by_reference(height)}),
              S_OK);
    EXPECT_EQ(x.text() + L" " + y.text() + L" " + width.text() + L" " + height.text(), L"5 6 70 80");
    EXPECT_EQ(late.call(L"ShowModeless", {Variant(0)}, &value), S_OK);
    EXPECT_NE(handle(), nullptr);
    EXPECT_EQ(late.call(L"Display", {Variant(query<IDispatch>(grey(4, 4, 9).get()).get()), Variant(0)}, &value), S_OK);
    EXPECT_EQ(Shot(handle()).middle(), RGB(9, 9, 9));
    EXPECT_EQ(late.call(L"SetBackgroundColor", {Variant(300), Variant(0), Variant(0)}, &value), S_OK);
    EXPECT_EQ(late.call(L"Clear", {}), S_OK);
    EXPECT_EQ(Shot(handle()).middle(), RGB(44, 0, 0));
    EXPECT_EQ(late.call(L"DoEvents", {}, &value), S_OK);
    EXPECT_EQ(late.call(L"Close", {}, &value), S_OK);
    EXPECT_EQ(handle(), nullptr);
}

}  // namespace
