#include "sdk/gui/win32.h"

#include "sdk/base/failure.h"

#include <system_error>

namespace vex::gui {

std::wstring wide(std::string_view utf8) { return PvString(utf8).GetWide(); }

PvResult system_failure(std::string_view what)
{
    const auto error = static_cast<int>(GetLastError());
    return failure(PvResult::GenericError, what, ": ", std::system_category().message(error));
}

HINSTANCE this_module() noexcept
{
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&this_module), &module);
    return module;
}

}  // namespace vex::gui
