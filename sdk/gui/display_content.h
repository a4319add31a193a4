// The inside of a display window.
#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "sdk/display/pictures.h"
#include "sdk/display/view.h"
#include "sdk/gui/content.h"
#include "sdk/gui/painter.h"

namespace vex::gui {

/// Thread safety: show, clear and converter as Pictures; everything else on the window's thread.
class DisplayContent final : public Content {
public:
    PvResult show(const PvBuffer* buffer, bool vsync);
    void clear();
    void set_background(COLORREF color);
    void fit();
    [[nodiscard]] PvBufferConverter& converter() noexcept { return pictures_.converter(); }

    [[nodiscard]] const wchar_t* title() const noexcept override;
    [[nodiscard]] DesignSize usual_size() const noexcept override;
    [[nodiscard]] DesignSize least_size() const noexcept override;
    [[nodiscard]] bool is_dialog() const noexcept override { return false; }
    [[nodiscard]] bool created(HWND window) override;
    void destroyed() noexcept override;
    [[nodiscard]] std::optional<LRESULT> message(UINT message, WPARAM wparam, LPARAM lparam) override;
    void resized(int width, int height, unsigned dpi) override;

private:
    /// From any thread: the window draws, once for however many calls.
    void redraw() noexcept;
    void paint();
    /// Into a picture of the window that somebody takes.
    void print(HDC dc);
    [[nodiscard]] display::Size inside() const;
    [[nodiscard]] Scene make_scene();
    void draw(HDC dc, display::Size size, const Scene& scene);
    [[nodiscard]] std::string pixel_text(const display::Picture& picture) const;
    void wheel(WPARAM wparam, LPARAM lparam);
    void begin_drag(LPARAM lparam);
    void drag(LPARAM lparam);
    [[nodiscard]] bool press(WPARAM key);

    display::Pictures pictures_;
    display::View view_;
    std::atomic<HWND> window_{nullptr};
    std::atomic<bool> told_{false};      ///< a message to draw is on its way
    std::atomic<bool> is_stale_{false};  ///< there is something that was not drawn yet
    bool is_redrawing_ = false;          ///< all of the window, not only what something else has covered
    COLORREF background_ = RGB(0, 0, 0);
    unsigned dpi_ = 96;
    std::unique_ptr<Painter> card_;       ///< Direct2D, for images
    std::unique_ptr<Painter> processor_;  ///< GDI, for what the other cannot or should not draw
    bool card_is_slow_ = false;           ///< or cannot draw at all
    int card_draws_ = 0;
    int slow_draws_ = 0;  ///< in a row
    std::optional<POINT> dragged_from_;
    POINT pointer_{-1, -1};
};

}  // namespace vex::gui
