#include "sdk/gui/window_class.h"

#include <mutex>

namespace vex::gui {

namespace {

/// Unregisters, because the system keeps the classes of a library that was unloaded, with a procedure that has gone.
struct Class {
    Class() = default;
    Class(const Class&) = delete;
    Class& operator=(const Class&) = delete;
    ~Class()
    {
        if (atom != 0) {
            UnregisterClassW(MAKEINTATOM(atom), this_module());
        }
    }

    std::mutex mutex;
    ATOM atom = 0;
};

}  // namespace

ATOM window_class(WNDPROC procedure) noexcept
{
    static Class one;
    const std::lock_guard lock(one.mutex);
    if (one.atom == 0) {
        WNDCLASSEXW facts{};
        facts.cbSize = sizeof facts;
        facts.style = CS_DBLCLKS;
        facts.lpfnWndProc = procedure;
        facts.hInstance = this_module();
        facts.hCursor = LoadCursorW(nullptr, IDC_ARROW);
        facts.hIcon = LoadIconW(nullptr, IDI_APPLICATION);
        facts.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
        facts.lpszClassName = L"VexKamCOMWrapperWindow";
        one.atom = RegisterClassExW(&facts);
    }
    return one.atom;
}

}  // namespace vex::gui
