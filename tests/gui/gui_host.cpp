// A program that is not the library's and has a window of its own with a display in it, a control among others. Does
// what standard input says (remote.h): quarters WIDTH HEIGHT, handle, show (the display as a window of its own).
#include <string>

#include "tests/gui/objects.h"
#include "tests/gui/remote.h"

namespace {

using namespace gui_test;

constexpr unsigned int display_id = 31;
constexpr int label_id = 32;
constexpr int margin = 20;  ///< around the display, where the program's own colour is seen
constexpr int label_height = 24;
constexpr COLORREF own_color = RGB(200, 230, 200);

class Host {
public:
    Host() : display_(create<IVexDisplayWnd>(CLSID_VexDisplayWnd)) {}
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;
    ~Host() { DeleteObject(brush_); }

    [[nodiscard]] bool open()
    {
        WNDCLASSW facts{};
        facts.lpfnWndProc = &Host::procedure;
        facts.hInstance = GetModuleHandleW(nullptr);
        facts.lpszClassName = L"VexGuiTestHost";
        facts.hbrBackground = brush_;
        facts.hCursor = LoadCursorW(nullptr, IDC_ARROW);
        RegisterClassW(&facts);
        window_ = CreateWindowExW(0, facts.lpszClassName, L"Foreign program", WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, 40,
                                  40, 500, 400, nullptr, nullptr, facts.hInstance, this);
        if (window_ == nullptr) {
            return false;
        }
        CreateWindowExW(0, L"STATIC", L"A label of the program", WS_CHILD | WS_VISIBLE, margin, 0, 200, label_height,
                        window_, reinterpret_cast<HMENU>(INT_PTR{label_id}), facts.hInstance, nullptr);
        print_result(
            [&](IVexResult** out) { return display_->Create(reinterpret_cast<INT_PTR>(window_), display_id, out); });
        arrange();
        ShowWindow(window_, SW_SHOW);
        return true;
    }

    bool run(const Remote::Words& words)
    {
        if (words.front() == "quarters" && words.size() == 3) {
            const Image image = quarters(static_cast<unsigned int>(std::atoi(words[1].c_str())),
                                         static_cast<unsigned int>(std::atoi(words[2].c_str())));
            print_result([&](IVexResult** out) { return display_->Display(image.buffer(), 0, out); });
        } else if (words.front() == "handle") {
            INT_PTR handle = 0;
            display_->get_Handle(&handle);
            std::printf("handle %lld\n", static_cast<long long>(handle));
        } else if (words.front() == "show") {
            print_result([&](IVexResult** out) { return display_->ShowModeless(0, out); });
        } else {
            return false;
        }
        return true;
    }

private:
    static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) noexcept
    {
        if (message == WM_NCCREATE) {
            SetWindowLongPtrW(window, GWLP_USERDATA,
                              reinterpret_cast<LONG_PTR>(reinterpret_cast<CREATESTRUCTW*>(lparam)->lpCreateParams));
        }
        auto* const host = reinterpret_cast<Host*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        if (host != nullptr && message == WM_SIZE && host->window_ != nullptr) {
            host->arrange();
        }
        if (host != nullptr && message == WM_NCDESTROY) {
            host->window_ = nullptr;
        }
        return DefWindowProcW(window, message, wparam, lparam);
    }

    /// Programs size their controls when they are sized themselves.
    void arrange()
    {
        RECT inside{};
        GetClientRect(window_, &inside);
        display_->SetPosition(margin, label_height, static_cast<int>(inside.right) - 2 * margin,
                              static_cast<int>(inside.bottom) - label_height - margin);
    }

    Ref<IVexDisplayWnd> display_;
    HWND window_ = nullptr;
    HBRUSH brush_ = CreateSolidBrush(own_color);
};

}  // namespace

int main()
{
    const Start started;
    Host host;
    if (!host.open()) {
        std::fprintf(stderr, "The window cannot be made: %lu\n", GetLastError());
        return 1;
    }
    Remote([&](const Remote::Words& words) { return host.run(words); }).serve();
    return 0;
}
