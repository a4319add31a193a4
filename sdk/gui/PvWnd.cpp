#include "sdk/gui/PvWnd.h"

#include <new>
#include <utility>

#include "sdk/gui/frame.h"

using namespace vex::gui;

namespace {

HWND handle_of(PvWindowHandle window) noexcept { return static_cast<HWND>(window); }

template <class Call>
PvResult guarded(Call call)
{
    try {
        return call();
    } catch (const std::bad_alloc&) {
        return PvResult::NotEnoughMemory;
    }
}

}  // namespace

PvWnd::PvWnd(std::shared_ptr<Content> content) : frame_(std::make_shared<Frame>(std::move(content))) {}

PvWnd::~PvWnd() { frame_->close(); }

PvString PvWnd::GetTitle() const { return frame_->title(); }

void PvWnd::SetTitle(const PvString& aTitle) { frame_->set_title(aTitle); }

PvWindowHandle PvWnd::GetHandle() const { return frame_->window(); }

void PvWnd::SetPosition(int aPosX, int aPosY, int aSizeX, int aSizeY)
{
    frame_->set_position({aPosX, aPosY, aPosX + aSizeX, aPosY + aSizeY});
}

void PvWnd::GetPosition(int& aPosX, int& aPosY, int& aSizeX, int& aSizeY) const
{
    const RECT at = frame_->position();
    aPosX = static_cast<int>(at.left);
    aPosY = static_cast<int>(at.top);
    aSizeX = static_cast<int>(at.right - at.left);
    aSizeY = static_cast<int>(at.bottom - at.top);
}

PvResult PvWnd::ShowModal(PvWindowHandle aParentHwnd)
{
    const auto frame = frame_;  // this object may go meanwhile
    return guarded([&] { return frame->show_modal(handle_of(aParentHwnd)); });
}

PvResult PvWnd::ShowModeless(PvWindowHandle aParentHwnd)
{
    const auto frame = frame_;
    return guarded([&] { return frame->show_modeless(handle_of(aParentHwnd)); });
}

PvResult PvWnd::Create(PvWindowHandle aHwnd, unsigned int aId)
{
    const auto frame = frame_;
    return guarded([&] { return frame->create_in(handle_of(aHwnd), aId); });
}

PvResult PvWnd::Close()
{
    const auto frame = frame_;
    frame->close();
    return PvResult::OK;
}

PvResult PvWnd::DoEvents()
{
    // a window that makes a message for each that is handled does not keep the caller
    constexpr int most_messages = 10'000;
    MSG message;
    for (int handled = 0; handled < most_messages && PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE); ++handled) {
        if (message.message == WM_QUIT) {
            PostQuitMessage(static_cast<int>(message.wParam));
            break;
        }
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    return PvResult::OK;
}
