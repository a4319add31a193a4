#include "sdk/gui/PvSerialBridgeManagerWnd.h"

#include <utility>

#include "sdk/gui/PvGenBrowserWnd.h"
#include "sdk/gui/bridge_manager_content.h"

using vex::gui::BridgeManagerContent;

namespace {

void browse(HWND above, PvGenParameterArray& array, const PvString& name)
{
    PvGenBrowserWnd browser;
    browser.SetTitle(name);
    browser.SetGenParameterArray(&array);
    static_cast<void>(browser.ShowModal(above));
}

}  // namespace

PvSerialBridgeManagerWnd::PvSerialBridgeManagerWnd()
    : PvSerialBridgeManagerWnd(std::make_shared<BridgeManagerContent>())
{}

PvSerialBridgeManagerWnd::PvSerialBridgeManagerWnd(std::shared_ptr<BridgeManagerContent> content)
    : PvWnd(content), content_(std::move(content))
{
    content_->attach(*this);
    content_->set_browser(browse);
}

PvSerialBridgeManagerWnd::~PvSerialBridgeManagerWnd() { content_->end(); }

// Whoever is told of parameters may destroy this object: the content outlasts the call.

PvResult PvSerialBridgeManagerWnd::SetDevice(PvDevice* aDevice)
{
    const auto content = content_;
    return content->set_device(aDevice);
}

std::uint32_t PvSerialBridgeManagerWnd::GetPortCount() const
{
    return static_cast<std::uint32_t>(content_->manager().size());
}

PvString PvSerialBridgeManagerWnd::GetPortName(std::uint32_t aIndex) const
{
    return PvString(content_->manager().row(aIndex).port);
}

PvGenParameterArray* PvSerialBridgeManagerWnd::GetGenParameterArray(std::uint32_t aIndex)
{
    return content_->manager().array(aIndex);
}

PvString PvSerialBridgeManagerWnd::GetGenParameterArrayName(std::uint32_t aIndex) const
{
    return content_->manager().row(aIndex).array_name;
}

PvResult PvSerialBridgeManagerWnd::Save(PvPropertyList& aPropertyList) { return content_->save(aPropertyList); }

PvResult PvSerialBridgeManagerWnd::Load(const PvPropertyList& aPropertyList, PvStringList& aErrors)
{
    const auto content = content_;
    return content->load(aPropertyList, aErrors);
}

PvResult PvSerialBridgeManagerWnd::Recover()
{
    const auto content = content_;
    return content->recover();
}

void PvSerialBridgeManagerWnd::OnParameterArrayCreated(PvGenParameterArray* /*aArray*/, const PvString& /*aName*/) {}

void PvSerialBridgeManagerWnd::OnParameterArrayDeleted(PvGenParameterArray* /*aArray*/) {}
