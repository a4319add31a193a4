// PvDisplayWnd: a window that shows images.
#pragma once

#include <cstdint>
#include <memory>

#include "sdk/base/PvResult.h"
#include "sdk/gui/PvWnd.h"

class PvBuffer;
class PvBufferConverter;

namespace vex::gui {
class DisplayContent;
}  // namespace vex::gui

/// Shows the latest image, as large as the window allows. The wheel zooms about the pointer, dragging moves the image,
/// a double click or 0 fits it again, 1 shows it one to one; far in, a line tells place and value of the pixel under
/// the pointer.
///
/// Thread safety: as PvWnd; Display and Clear may be called from any thread.
class PvDisplayWnd : public PvWnd {
public:
    PvDisplayWnd();
    ~PvDisplayWnd() override;

    /// The window's own converter, for its filters: they act on the next image. Lives as long as the window.
    [[nodiscard]] PvBufferConverter* GetConverter() noexcept;
    /// Converts and copies, also while there is no window or a minimised one shows nothing: the buffer can be queued
    /// again at once. With `aVSync` the image appears with the screen's next refresh where the system can wait for it.
    ///
    /// An empty buffer, one without an image, of a pixel type that cannot be shown or not whole is shown as a text.
    /// InvalidParameter for null and an empty one, NotSupported, NotEnoughMemory.
    PvResult Display(PvBuffer* aBuffer, bool aVSync = true);
    /// What is around the image.
    PvResult SetBackgroundColor(std::uint8_t aR, std::uint8_t aG, std::uint8_t aB);
    /// Takes the size that the window has now, and fits the image to it.
    void UpdateBounds();
    /// Shows the background only.
    void Clear();

private:
    explicit PvDisplayWnd(std::shared_ptr<vex::gui::DisplayContent> content);

    const std::shared_ptr<vex::gui::DisplayContent> content_;
};
