// Buffers on their way into a window: converted where they come from, drawn where the window is.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "sdk/base/PvResult.h"
#include "sdk/buffer/PvBuffer.h"
#include "sdk/convert/PvBufferConverter.h"
#include "sdk/display/view.h"

namespace vex::display {

/// What a buffer shows: an image, or a text that says why there is none.
struct Picture {
    PvBuffer pixels;   ///< PvPixelWinRGB32 without padding; empty beside a text
    std::string text;  ///< UTF-8; empty beside an image
    bool vsync = false;

    /// 0 x 0 beside a text.
    [[nodiscard]] Size size() const noexcept;
};

/// Holds the newest picture for one window. Whoever draws never waits for a conversion, and the other way round: there
/// are three pictures, one being made, the newest, and the one being drawn. Memory is kept from picture to picture.
///
/// Thread safety: show and clear may be called from any thread, drawn from one.
class Pictures {
public:
    Pictures();
    Pictures(const Pictures&) = delete;
    Pictures& operator=(const Pictures&) = delete;

    /// Converts and copies: the buffer is not used after the call. A buffer that is not whole, that is empty or that
    /// has no image becomes a text. InvalidParameter for null and one without memory, NotSupported for what is no image
    /// or of a pixel type that cannot be shown, NotEnoughMemory; these show their text too, null excepted. A buffer
    /// that did not arrive whole is OK.
    PvResult show(const PvBuffer* buffer, bool vsync);
    /// Nothing is shown from now on.
    void clear();
    /// The picture to draw now, valid until the next call; null when there is none.
    [[nodiscard]] const Picture* drawn();

    /// Lives as long as this object; not to be changed while a buffer is being shown.
    [[nodiscard]] PvBufferConverter& converter() noexcept { return converter_; }

private:
    [[nodiscard]] PvResult fill(Picture& picture, const PvBuffer& buffer);

    std::mutex making_;  ///< one picture is made at a time; taken before the other
    /// On the thread that shows only: to wake others for each image takes longer than what they save, and takes the
    /// processor from the window.
    PvBufferConverter converter_{1};
    std::unique_ptr<Picture> made_;
    std::mutex mutex_;  ///< for what follows
    std::unique_ptr<Picture> newest_;
    bool is_new_ = false;
    bool is_cleared_ = true;
    std::unique_ptr<Picture> drawn_;  ///< of the drawing thread
};

}  // namespace vex::display
