// VexSerialPortIPEngine: a serial port of a camera.
#pragma once

#include "sdk/device/PvDevice.h"
#include "sdk/serial/PvSerialPortIPEngine.h"
#include "serial/serial_port_members.h"

/// Owns its SDK port, which closes when this goes. It keeps no reference on the device that it was opened with.
class CVexSerialPortIPEngine : public SerialPortMembers<CVexSerialPortIPEngine>,
                               public vex::server::SdkObject<PvSerialPortIPEngine, PvSerialPort> {
public:
    void final_construct() { own_new(); }

    STDMETHODIMP Open(IVexDevice* aDevice, VexIPEngineSerial aPort, IVexResult** result) noexcept override
    {
        return report(result, &PvSerialPortIPEngine::Open, aDevice, aPort);
    }
    STDMETHODIMP IsSupported(IVexDevice* aDevice, VexIPEngineSerial aPort, VARIANT_BOOL* result) noexcept override
    {
        return value(result, &PvSerialPortIPEngine::IsSupported, aDevice, aPort);
    }
};
