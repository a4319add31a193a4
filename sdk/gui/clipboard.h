// Texts for other programs.
#pragma once

#include <string>

#include "sdk/gui/win32.h"

namespace vex::gui {

/// Puts a text on the clipboard; nothing when another program holds it.
void copy_to_clipboard(HWND window, const std::string& utf8);
/// What is there, as UTF-8; empty when that is no text.
[[nodiscard]] std::string clipboard_text(HWND window);

}  // namespace vex::gui
