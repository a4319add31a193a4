// VexVirtualDevice: makes this computer answer as a device on a network interface.
#pragma once

#include "sdk/virtualdevice/PvVirtualDevice.h"
#include "server/wrapper.h"

class CVexVirtualDevice : public vex::server::Wrapper<CVexVirtualDevice>,
                          public vex::server::SdkObject<PvVirtualDevice> {
public:
    void final_construct() { own_new(); }

    STDMETHODIMP StartListening(BSTR aInfo, IVexResult** result) noexcept override
    {
        return report(result, &PvVirtualDevice::StartListening, aInfo);
    }
    STDMETHODIMP StopListening() noexcept override { return set(&PvVirtualDevice::StopListening); }
};
