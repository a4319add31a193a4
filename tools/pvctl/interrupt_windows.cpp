#include <windows.h>

#include <algorithm>
#include <atomic>

#include "tools/pvctl/interrupt.h"

namespace pvctl {

namespace {

// what the system's thread for the console's events reaches
std::atomic<bool> end_requested{false};
HANDLE something_happened = nullptr;

BOOL WINAPI on_console_event(DWORD event)
{
    end_requested = true;
    SetEvent(something_happened);
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
        // the console closes: the process ends when this returns, or by itself before
        Sleep(INFINITE);
    }
    return TRUE;
}

}  // namespace

Interrupt::Interrupt()
{
    something_happened = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    SetConsoleCtrlHandler(on_console_event, TRUE);
}

bool Interrupt::wait(std::chrono::milliseconds time)
{
    if (!end_requested) {
        WaitForSingleObject(something_happened, static_cast<DWORD>(std::max<long long>(time.count(), 0)));
    }
    ended_ = end_requested;
    return ended_;
}

void Interrupt::wake() const { SetEvent(something_happened); }

}  // namespace pvctl
