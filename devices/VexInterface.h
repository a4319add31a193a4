// VexInterface: one network interface of the host and the devices found on it.
#pragma once

#include "sdk/device/PvInterface.h"
#include "server/wrapper.h"

class CVexDeviceInfo;

/// A view with a share in what it shows: it outlives the system.
class CVexInterface : public vex::server::Wrapper<CVexInterface>, public vex::server::SdkObject<PvInterface> {
public:
    CVexInterface();
    ~CVexInterface();

    STDMETHODIMP get_DeviceCount(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvInterface::GetDeviceCount);
    }
    STDMETHODIMP get_MACAddress(BSTR* pVal) noexcept override { return value(pVal, &PvInterface::GetMACAddress); }
    STDMETHODIMP get_InterfaceType(VexInterfaceType* pVal) noexcept override
    {
        return value(pVal, &PvInterface::GetType);
    }
    STDMETHODIMP get_IPAddress(BSTR* pVal) noexcept override { return value(pVal, &PvInterface::GetIPAddress); }
    STDMETHODIMP get_SubnetMask(BSTR* pVal) noexcept override { return value(pVal, &PvInterface::GetSubnetMask); }
    STDMETHODIMP get_DefaultGateway(BSTR* pVal) noexcept override
    {
        return value(pVal, &PvInterface::GetDefaultGateway);
    }
    STDMETHODIMP get_Description(BSTR* pVal) noexcept override { return value(pVal, &PvInterface::GetDescription); }
    STDMETHODIMP get_ID(BSTR* pVal) noexcept override { return value(pVal, &PvInterface::GetID); }
    STDMETHODIMP Find(IVexResult** result) noexcept override { return report(result, &PvInterface::Find); }
    STDMETHODIMP GetDeviceInfo(unsigned int aIndex, IVexDeviceInfo** result) noexcept override;

private:
    vex::server::Ref<CVexDeviceInfo> device_;  // made on first use, then handed out again and again
};
