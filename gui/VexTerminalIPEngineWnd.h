// VexTerminalIPEngineWnd: a terminal on a serial port of a device.
#pragma once

#include "gui/wnd_members.h"
#include "sdk/device/PvDevice.h"
#include "sdk/gui/PvTerminalIPEngineWnd.h"

/// Owns the SDK window. It keeps no reference on the device.
class CVexTerminalIPEngineWnd : public WndMembers<CVexTerminalIPEngineWnd>,
                                public vex::server::SdkObject<PvTerminalIPEngineWnd, PvWnd> {
public:
    void final_construct() { own_new(); }

    STDMETHODIMP SetDevice(IVexDevice* aDevice, IVexResult** result) noexcept override
    {
        return report(result, &PvTerminalIPEngineWnd::SetDevice, aDevice);
    }
    STDMETHODIMP SetSerialPort(VexIPEngineSerial aPort, IVexResult** result) noexcept override
    {
        return report(result, &PvTerminalIPEngineWnd::SetSerialPort, aPort);
    }
    STDMETHODIMP GetSerialPort(VexIPEngineSerial* aPort) noexcept override
    {
        return value(aPort, &PvTerminalIPEngineWnd::GetSerialPort);
    }
};
