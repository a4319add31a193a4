// VexDeviceFinderWnd: a dialog in which the user chooses a device.
#pragma once

#include "devices/VexDeviceInfo.h"
#include "gui/wnd_members.h"
#include "sdk/gui/PvDeviceFinderWnd.h"

/// Owns the SDK window, which asks it about each device.
class CVexDeviceFinderWnd : public WndMembers<CVexDeviceFinderWnd>,
                            public vex::server::SdkObject<PvDeviceFinderWnd, PvWnd> {
public:
    void final_construct();
    void final_release() noexcept;

    STDMETHODIMP get_Selected(IVexDeviceInfo** pVal) noexcept override
    {
        return child(pVal, selected_, &PvDeviceFinderWnd::GetSelected);
    }

    /// Asks the advised sinks, in their order, whether the device is listed; the last one's answer counts.
    [[nodiscard]] bool is_listed(IVexDeviceInfo* device) noexcept;

private:
    vex::server::Ref<CVexDeviceInfo> selected_;
};
