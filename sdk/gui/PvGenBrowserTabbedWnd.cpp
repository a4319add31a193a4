#include "sdk/gui/PvGenBrowserTabbedWnd.h"

#include <utility>

#include "sdk/base/failure.h"
#include "sdk/browser/browser_state.h"
#include "sdk/gui/tabbed_content.h"

using namespace vex;

using gui::TabbedContent;

PvGenBrowserTabbedWnd::PvGenBrowserTabbedWnd() : PvGenBrowserTabbedWnd(std::make_shared<TabbedContent>()) {}

PvGenBrowserTabbedWnd::PvGenBrowserTabbedWnd(std::shared_ptr<TabbedContent> content)
    : PvWnd(content), content_(std::move(content))
{}

PvGenBrowserTabbedWnd::~PvGenBrowserTabbedWnd() = default;

std::uint32_t PvGenBrowserTabbedWnd::GetParameterArrayCount() const
{
    return static_cast<std::uint32_t>(content_->tabs().size());
}

PvGenVisibility PvGenBrowserTabbedWnd::GetVisibility() const { return content_->visibility(); }

PvResult PvGenBrowserTabbedWnd::SetVisibility(PvGenVisibility aVisibility)
{
    return content_->set_visibility(aVisibility);
}

PvResult PvGenBrowserTabbedWnd::check(std::uint32_t index) const
{
    if (index < content_->tabs().size()) {
        return PvResult::OK;
    }
    return failure(PvResult::NotFound, "There is no tab ", index, ", only ", content_->tabs().size());
}

PvResult PvGenBrowserTabbedWnd::AddGenParameterArray(PvGenParameterArray* aArray, const PvString& aName,
                                                     std::uint32_t& aIndex)
{
    if (aArray == nullptr) {
        return failure(PvResult::InvalidParameter, "There is no parameter array to add");
    }
    content_->add(*aArray, aName);
    aIndex = GetParameterArrayCount() - 1;
    return PvResult::OK;
}

PvGenParameterArray* PvGenBrowserTabbedWnd::GetGenParameterArray(std::uint32_t aIndex) const
{
    if (aIndex >= content_->tabs().size()) {
        return nullptr;
    }
    const TabbedContent::Tab& tab = content_->tabs()[aIndex];
    return tab.lifetime.expired() ? nullptr : tab.array;
}

PvResult PvGenBrowserTabbedWnd::GetParameterArrayName(std::uint32_t aIndex, PvString& aName) const
{
    PvResult result = check(aIndex);
    if (result.IsOK()) {
        aName = content_->tabs()[aIndex].name;
    }
    return result;
}

PvResult PvGenBrowserTabbedWnd::SetParameterArrayName(std::uint32_t aIndex, const PvString& aName)
{
    PvResult result = check(aIndex);
    if (result.IsOK()) {
        content_->rename(aIndex, aName);
    }
    return result;
}

PvResult PvGenBrowserTabbedWnd::RemoveGenParameterArray(std::uint32_t aIndex)
{
    PvResult result = check(aIndex);
    if (result.IsOK()) {
        content_->remove(aIndex);
    }
    return result;
}

void PvGenBrowserTabbedWnd::Reset() { content_->remove_all(); }

PvResult PvGenBrowserTabbedWnd::Save(PvPropertyList* aPropertyList) const
{
    return browser::save(content_->state(), aPropertyList);
}

PvResult PvGenBrowserTabbedWnd::Load(const PvPropertyList* aPropertyList)
{
    browser::BrowserState state;
    PvResult result = browser::load(aPropertyList, state);
    if (result.IsOK()) {
        content_->set_state(state);
    }
    return result;
}
