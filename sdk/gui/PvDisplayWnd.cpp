#include "sdk/gui/PvDisplayWnd.h"

#include <utility>

#include "sdk/gui/display_content.h"

using vex::gui::DisplayContent;

PvDisplayWnd::PvDisplayWnd() : PvDisplayWnd(std::make_shared<DisplayContent>()) {}

PvDisplayWnd::PvDisplayWnd(std::shared_ptr<DisplayContent> content) : PvWnd(content), content_(std::move(content)) {}

PvDisplayWnd::~PvDisplayWnd() = default;

PvBufferConverter* PvDisplayWnd::GetConverter() noexcept { return &content_->converter(); }

PvResult PvDisplayWnd::Display(PvBuffer* aBuffer, bool aVSync) { return content_->show(aBuffer, aVSync); }

PvResult PvDisplayWnd::SetBackgroundColor(std::uint8_t aR, std::uint8_t aG, std::uint8_t aB)
{
    content_->set_background(RGB(aR, aG, aB));
    return PvResult::OK;
}

void PvDisplayWnd::UpdateBounds() { content_->fit(); }

void PvDisplayWnd::Clear() { content_->clear(); }
