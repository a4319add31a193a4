// VexSerialBridge: joins a serial port of a camera to a serial line of this computer, or to other programs.
#pragma once

#include "sdk/bridge/PvSerialBridge.h"
#include "sdk/device/PvDevice.h"
#include "serial/VexSerialPortConfiguration.h"
#include "server/wrapper.h"

/// Owns its SDK bridge, which stops when this goes. It keeps no reference on the device that it was started with.
///
/// The configuration is shown by one object, as it was at the last GetSerialPortConfiguration: changing it changes
/// nothing until it is set. The object has nothing behind it once the bridge has gone.
class CVexSerialBridge : public vex::server::Wrapper<CVexSerialBridge>, public vex::server::SdkObject<PvSerialBridge> {
    using Bridge = PvSerialBridge;

public:
    void final_construct()
    {
        configuration_ = vex::server::make<CVexSerialPortConfiguration>();
        own_new();
    }

    STDMETHODIMP get_BaudRate(unsigned int* pVal) noexcept override { return value(pVal, &Bridge::GetBaudRate); }
    STDMETHODIMP get_BytesReceivedFromDevice(unsigned __int64* pVal) noexcept override
    {
        return value(pVal, &Bridge::GetBytesReceivedFromDevice);
    }
    STDMETHODIMP get_BytesSentToDevice(unsigned __int64* pVal) noexcept override
    {
        return value(pVal, &Bridge::GetBytesSentToDevice);
    }
    STDMETHODIMP get_DevicePort(VexIPEngineSerial* pVal) noexcept override
    {
        return value(pVal, &Bridge::GetDevicePort);
    }
    STDMETHODIMP get_Name(BSTR* pVal) noexcept override { return value(pVal, &Bridge::GetName); }
    STDMETHODIMP get_SerialPort(BSTR* pVal) noexcept override { return value(pVal, &Bridge::GetSerialPort); }
    STDMETHODIMP get_SupportedBaudRateCount(unsigned int* pVal) noexcept override
    {
        return value(pVal, &Bridge::GetSupportedBaudRateCount);
    }
    STDMETHODIMP GetHardCodedBaudRate(unsigned int* result) noexcept override
    {
        return value(result, &Bridge::GetHardCodedBaudRate);
    }
    STDMETHODIMP GetSerialPortConfiguration(IVexSerialPortConfiguration** result) noexcept override
    {
        return child(result, configuration_, [this](const Bridge& bridge) {
            snapshot_ = bridge.GetSerialPortConfiguration();
            return &snapshot_;
        });
    }
    STDMETHODIMP GetSupportedBaudRate(unsigned int aIndex, unsigned int* result) noexcept override
    {
        return value(result, &Bridge::GetSupportedBaudRate, aIndex);
    }
    STDMETHODIMP Recover(IVexResult** result) noexcept override { return report(result, &Bridge::Recover); }
    STDMETHODIMP ResetStatistics() noexcept override { return set(&Bridge::ResetStatistics); }
    STDMETHODIMP SetHardCodedBaudRate(unsigned int aBaudRate, IVexResult** result) noexcept override
    {
        return report(result, &Bridge::SetHardCodedBaudRate, aBaudRate);
    }
    STDMETHODIMP SetSerialPortConfiguration(IVexSerialPortConfiguration* aSerialPortConfiguration,
                                            IVexResult** result) noexcept override
    {
        return report(result, &Bridge::SetSerialPortConfiguration, aSerialPortConfiguration);
    }
    STDMETHODIMP Start(BSTR aName, IVexDevice* aDevice, VexIPEngineSerial aDevicePort,
                       IVexResult** result) noexcept override
    {
        return report(result, overload<PvResult(const PvString&, PvDevice*, PvIPEngineSerial)>(&Bridge::Start), aName,
                      aDevice, aDevicePort);
    }
    STDMETHODIMP Starts(BSTR aSerialPort, IVexSerialPortConfiguration* aSerialPortConfiguration, IVexDevice* aDevice,
                        VexIPEngineSerial aDevicePort, IVexResult** result) noexcept override
    {
        return report(
            result,
            overload<PvResult(const PvString&, PvSerialPortConfiguration, PvDevice*, PvIPEngineSerial)>(&Bridge::Start),
            aSerialPort, aSerialPortConfiguration, aDevice, aDevicePort);
    }
    STDMETHODIMP Stop(IVexResult** result) noexcept override { return report(result, &Bridge::Stop); }

private:
    vex::server::Ref<CVexSerialPortConfiguration> configuration_;
    PvSerialPortConfiguration snapshot_;
};
