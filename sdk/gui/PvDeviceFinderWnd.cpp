#include "sdk/gui/PvDeviceFinderWnd.h"

#include <utility>

#include "sdk/gui/finder_content.h"

using vex::gui::FinderContent;

PvDeviceFinderWnd::PvDeviceFinderWnd() : PvDeviceFinderWnd(std::make_shared<FinderContent>()) {}

PvDeviceFinderWnd::PvDeviceFinderWnd(std::shared_ptr<FinderContent> content)
    : PvWnd(content), content_(std::move(content))
{
    content_->attach(*this);
}

PvDeviceFinderWnd::~PvDeviceFinderWnd() { content_->detach(); }

PvDeviceInfo* PvDeviceFinderWnd::GetSelected() { return content_->selected(); }

bool PvDeviceFinderWnd::OnFound(PvDeviceInfo* /*aDeviceInfo*/) { return true; }
