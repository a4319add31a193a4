#include "sdk/gui/keyboard.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "sdk/gui/frame.h"

namespace vex::gui {

namespace {

struct Window {
    HWND handle = nullptr;
    std::weak_ptr<Frame> frame{};
};

struct Thread {
    HHOOK hook = nullptr;
    std::vector<Window> windows{};
};

/// By thread. A window's own thread alone adds, removes and looks.
struct Threads {
    std::mutex mutex;
    std::map<DWORD, Thread> all;
};

Threads& threads()
{
    static Threads all;
    return all;
}

/// The innermost of this thread's windows that `target` is or stands in.
std::shared_ptr<Frame> frame_around(HWND target)
{
    Threads& known = threads();
    const std::lock_guard lock(known.mutex);
    const auto thread = known.all.find(GetCurrentThreadId());
    if (thread == known.all.end()) {
        return nullptr;
    }
    for (HWND at = target; at != nullptr; at = GetAncestor(at, GA_PARENT)) {
        const auto found = std::ranges::find(thread->second.windows, at, &Window::handle);
        if (found != thread->second.windows.end()) {
            return found->frame.lock();
        }
    }
    return nullptr;
}

LRESULT CALLBACK on_message(int code, WPARAM removed, LPARAM lparam) noexcept
{
    auto& message = *reinterpret_cast<MSG*>(lparam);
    if (code == HC_ACTION && removed == PM_REMOVE && message.message >= WM_KEYFIRST && message.message <= WM_KEYLAST) {
        try {
            if (const auto frame = frame_around(message.hwnd); frame && frame->take_key(message)) {
                message.message = WM_NULL;
            }
        } catch (const std::bad_alloc&) {
            // then the key goes to the window with the focus
        }
    }
    return CallNextHookEx(nullptr, code, removed, lparam);
}

struct Wanted {
    wchar_t letter;
    bool found = false;
};

wchar_t upper(wchar_t letter) noexcept
{
    CharUpperBuffW(&letter, 1);
    return letter;
}

/// Whether a button or a label has the letter behind a single ampersand.
BOOL CALLBACK look_at_words(HWND control, LPARAM wanted_address) noexcept
{
    auto& wanted = *reinterpret_cast<Wanted*>(wanted_address);
    wchar_t words[128] = {};
    const bool pressed = IsWindowVisible(control) && IsWindowEnabled(control) &&
                         (SendMessageW(control, WM_GETDLGCODE, 0, 0) & (DLGC_BUTTON | DLGC_STATIC)) != 0;
    const int length = pressed ? GetWindowTextW(control, words, 128) : 0;
    for (int at = 0; at + 1 < length; ++at) {
        if (words[at] == L'&') {
            ++at;
            wanted.found = wanted.found || (words[at] != L'&' && upper(words[at]) == wanted.letter);
        }
    }
    return !wanted.found;
}

bool asks_for(HWND control, wchar_t letter) noexcept
{
    Wanted wanted{upper(letter)};
    EnumChildWindows(control, &look_at_words, reinterpret_cast<LPARAM>(&wanted));
    return wanted.found;
}

}  // namespace

bool leaves_control(HWND control, const MSG& message) noexcept
{
    switch (message.message) {
    case WM_SYSKEYDOWN: return true;
    case WM_SYSCHAR: return !asks_for(control, static_cast<wchar_t>(message.wParam));
    case WM_KEYDOWN:
        if (message.wParam == VK_TAB) {
            const BOOL back = GetKeyState(VK_SHIFT) < 0 ? TRUE : FALSE;
            return GetNextDlgTabItem(control, message.hwnd, back) == GetNextDlgTabItem(control, nullptr, back);
        }
        return false;
    default: return false;
    }
}

void add_to_keyboard(HWND window, std::weak_ptr<Frame> frame)
{
    Threads& known = threads();
    const std::lock_guard lock(known.mutex);
    Thread& thread = known.all[GetCurrentThreadId()];
    thread.windows.push_back({window, std::move(frame)});
    if (thread.hook == nullptr) {
        thread.hook = SetWindowsHookExW(WH_GETMESSAGE, &on_message, nullptr, GetCurrentThreadId());
    }
}

void remove_from_keyboard(HWND window) noexcept
{
    Threads& known = threads();
    const std::lock_guard lock(known.mutex);
    const auto thread = known.all.find(GetCurrentThreadId());
    if (thread == known.all.end()) {
        return;
    }
    std::erase_if(thread->second.windows, [window](const Window& added) { return added.handle == window; });
    if (thread->second.windows.empty()) {
        if (thread->second.hook != nullptr) {
            UnhookWindowsHookEx(thread->second.hook);
        }
        known.all.erase(thread);
    }
}

}  // namespace vex::gui
