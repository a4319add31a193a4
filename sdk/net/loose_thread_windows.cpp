#include "sdk/net/loose_thread.h"

#include <windows.h>

#include <memory>
#include <system_error>
#include <utility>

namespace vex::net {

namespace {

struct Start {
    std::function<void()> work;
    HMODULE library = nullptr;
};

DWORD WINAPI run(void* argument)
{
    std::unique_ptr<Start> start(static_cast<Start*>(argument));
    const HMODULE library = start->library;
    start->work();
    start.reset();
    ::FreeLibraryAndExitThread(library, 0);
}

}  // namespace

void run_loose(std::function<void()> work)
{
    auto start = std::make_unique<Start>(Start{std::move(work)});
    // the share is given back by the thread's last step, which is the system's code and not this library's
    if (::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<const wchar_t*>(&run),
                             &start->library) == 0) {
        throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(), "no thread");
    }
    const HANDLE thread = ::CreateThread(nullptr, 0, &run, start.get(), 0, nullptr);
    if (thread == nullptr) {
        const std::system_error error(static_cast<int>(::GetLastError()), std::system_category(), "no thread");
        ::FreeLibrary(start->library);
        throw error;
    }
    static_cast<void>(start.release());
    ::CloseHandle(thread);
}

}  // namespace vex::net
