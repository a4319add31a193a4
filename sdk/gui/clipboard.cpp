#include "sdk/gui/clipboard.h"

#include <cstring>

namespace vex::gui {

void copy_to_clipboard(HWND window, const std::string& utf8)
{
    const std::wstring letters = wide(utf8);
    if (!OpenClipboard(window)) {
        return;
    }
    EmptyClipboard();
    const std::size_t bytes = (letters.size() + 1) * sizeof(wchar_t);
    if (const HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, bytes); memory != nullptr) {
        std::memcpy(GlobalLock(memory), letters.c_str(), bytes);
        GlobalUnlock(memory);
        if (SetClipboardData(CF_UNICODETEXT, memory) == nullptr) {
            GlobalFree(memory);  // else it is the system's
        }
    }
    CloseClipboard();
}

std::string clipboard_text(HWND window)
{
    std::string text;
    if (!OpenClipboard(window)) {
        return text;
    }
    if (const HANDLE memory = GetClipboardData(CF_UNICODETEXT); memory != nullptr) {
        if (const auto* const letters = static_cast<const wchar_t*>(GlobalLock(memory)); letters != nullptr) {
            text = PvString(letters).str();
            GlobalUnlock(memory);
        }
    }
    CloseClipboard();
    return text;
}

}  // namespace vex::gui
