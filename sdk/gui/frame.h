// The native window of a PvWnd: made, shown, moved and closed.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"
#include "sdk/gui/content.h"
#include "sdk/gui/win32.h"

namespace vex::gui {

/// Lives as long as its PvWnd, and as its window while that handles a message. PvWnd says what the operations do.
///
/// Thread safety: as PvWnd.
class Frame : public std::enable_shared_from_this<Frame> {
public:
    explicit Frame(std::shared_ptr<Content> content);
    Frame(const Frame&) = delete;
    Frame& operator=(const Frame&) = delete;

    [[nodiscard]] PvString title() const;
    void set_title(const PvString& title);
    [[nodiscard]] HWND window() const noexcept { return window_; }
    void set_position(const RECT& position);
    [[nodiscard]] RECT position() const;

    [[nodiscard]] PvResult show_modal(HWND parent);
    [[nodiscard]] PvResult show_modeless(HWND parent);
    [[nodiscard]] PvResult create_in(HWND parent, unsigned id);
    void close() noexcept;

    /// A message for the window of this frame or one in it that was just taken from the queue: true when it was handled
    /// as a key of the content or of dialogs.
    [[nodiscard]] bool take_key(MSG& message);

private:
    /// Where and how a window is made.
    struct Making {
        HWND parent = nullptr;
        DWORD style = 0;
        DWORD extended_style = 0;
        unsigned id = 0;
    };

    static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) noexcept;

    [[nodiscard]] PvResult check_new(HWND parent) const;
    [[nodiscard]] PvResult show_top_level(HWND parent);
    [[nodiscard]] PvResult make(const Making& making);
    [[nodiscard]] RECT first_position(const Making& making) const;
    void run_until_closed();
    LRESULT handle(UINT message, WPARAM wparam, LPARAM lparam);
    void note_size();
    void set_least_size(MINMAXINFO& limits) const;
    void on_destroy() noexcept;
    void end_inside() noexcept;

    const std::shared_ptr<Content> content_;
    PvString title_;
    std::optional<RECT> position_;  ///< set, or kept from the last window
    HWND window_ = nullptr;
    bool is_begun_ = false;        ///< the inside is there, whole or in part
    bool is_made_ = false;         ///< the inside is whole
    HWND disabled_ = nullptr;      ///< takes no input while this window is modal
    std::uint64_t shown_ = 0;      ///< counts windows
    std::shared_ptr<Frame> self_;  ///< while there is a window
};

}  // namespace vex::gui
