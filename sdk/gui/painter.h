// Drawing into a window, by whichever of the system's ways there is.
#pragma once

#include <memory>
#include <string>

#include "sdk/display/pictures.h"
#include "sdk/display/view.h"
#include "sdk/gui/win32.h"

namespace vex::gui {

/// What a display window shows.
struct Scene {
    COLORREF background = 0;
    const display::Picture* picture = nullptr;  ///< null for none
    display::Placement placement{};
    std::string note{};  ///< UTF-8, in the lower left corner; empty for none
    unsigned dpi = 96;

    [[nodiscard]] bool has_text() const noexcept
    {
        return !note.empty() || (picture != nullptr && !picture->text.empty());
    }
};

/// One window's, of its thread.
class Painter {
public:
    Painter() = default;
    Painter(const Painter&) = delete;
    Painter& operator=(const Painter&) = delete;
    virtual ~Painter() = default;

    /// False when it cannot: another painter is to be used from then on. `dc` is the window's, as BeginPaint gave it.
    [[nodiscard]] virtual bool draw(HDC dc, display::Size window, const Scene& scene) = 0;
};

/// By the graphics card, images only: texts are left out. Null where the system has no Direct2D, or none
/// to be used.
[[nodiscard]] std::unique_ptr<Painter> make_direct2d_painter(HWND window);
/// On every system, everything.
[[nodiscard]] std::unique_ptr<Painter> make_gdi_painter();

}  // namespace vex::gui
