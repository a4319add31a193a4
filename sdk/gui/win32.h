// The system's windows, as the files of this folder use them.
#pragma once

#include <windows.h>

#include <commctrl.h>

#include <string>
#include <string_view>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"

namespace vex::gui {

[[nodiscard]] std::wstring wide(std::string_view utf8);
/// Lengths in design pixels on a screen with `dpi` pixels to the inch.
[[nodiscard]] inline int scaled(int length, unsigned dpi) noexcept { return MulDiv(length, static_cast<int>(dpi), 96); }
/// The system's last error in words, behind what was tried.
[[nodiscard]] PvResult system_failure(std::string_view what);
/// The module that this code is in: window classes and resources are its.
[[nodiscard]] HINSTANCE this_module() noexcept;

}  // namespace vex::gui
