#include "sdk/gui/PvGenBrowserWnd.h"

#include <utility>

#include "sdk/browser/browser_state.h"
#include "sdk/gui/browser_content.h"

using vex::gui::BrowserContent;

PvGenBrowserWnd::PvGenBrowserWnd() : PvGenBrowserWnd(std::make_shared<BrowserContent>()) {}

PvGenBrowserWnd::PvGenBrowserWnd(std::shared_ptr<BrowserContent> content) : PvWnd(content), content_(std::move(content))
{
    content_->attach(*this);
}

PvGenBrowserWnd::~PvGenBrowserWnd() { content_->detach(); }

PvGenVisibility PvGenBrowserWnd::GetVisibility() const { return content_->visibility(); }

PvResult PvGenBrowserWnd::SetVisibility(PvGenVisibility aVisibility)
{
    const auto content = content_;  // this object may go meanwhile
    return content->set_visibility(aVisibility);
}

void PvGenBrowserWnd::SetGenParameterArray(PvGenParameterArray* aArray)
{
    const auto content = content_;
    content->set_array(aArray);
}

PvResult PvGenBrowserWnd::Save(PvPropertyList* aPropertyList) const
{
    return vex::browser::save(content_->state(), aPropertyList);
}

PvResult PvGenBrowserWnd::Load(const PvPropertyList* aPropertyList)
{
    const auto content = content_;
    vex::browser::BrowserState state;
    PvResult result = vex::browser::load(aPropertyList, state);
    if (result.IsOK()) {
        content->set_state(state);
    }
    return result;
}

bool PvGenBrowserWnd::IsParameterDisplayed(PvGenParameter* /*aParameter*/) { return true; }
