#include "tools/softcam/stop_signal.h"

#include <csignal>
#include <thread>

#ifdef _WIN32
#include <windows.h>
#endif

namespace softcam {

namespace {

// all that a handler may touch
volatile std::sig_atomic_t stop_requested = 0;

#ifdef _WIN32
BOOL WINAPI on_console_event(DWORD)
{
    stop_requested = 1;
    return TRUE;
}
#else
void on_signal(int) { stop_requested = 1; }
#endif

}  // namespace

StopSignal::StopSignal()
{
#ifdef _WIN32
    SetConsoleCtrlHandler(on_console_event, TRUE);
#else
    std::signal(SIGINT, on_signal);
    std::signal(SIGTERM, on_signal);
#endif
}

void StopSignal::wait() const
{
    while (!wait_for(std::chrono::milliseconds(50))) {
    }
}

bool StopSignal::wait_for(std::chrono::milliseconds time) const
{
    if (stop_requested == 0) {
        std::this_thread::sleep_for(time);
    }
    return stop_requested != 0;
}

}  // namespace softcam
