// VexDeviceInfo: what a device said of itself when it was found.
#pragma once

#include <memory>

#include "sdk/device/PvDeviceInfo.h"
#include "sdk/device/PvInterface.h"
#include "server/wrapper.h"

class CVexInterface;

/// A view with a share in what it shows, and in the interface that found it: it outlives the system.
class CVexDeviceInfo : public vex::server::Wrapper<CVexDeviceInfo>, public vex::server::SdkObject<PvDeviceInfo> {
public:
    CVexDeviceInfo();
    ~CVexDeviceInfo();

    void final_construct();

    STDMETHODIMP get_MACAddress(BSTR* pVal) noexcept override { return value(pVal, &PvDeviceInfo::GetMACAddress); }
    STDMETHODIMP get_IPAddress(BSTR* pVal) noexcept override { return value(pVal, &PvDeviceInfo::GetIPAddress); }
    STDMETHODIMP get_SubnetMask(BSTR* pVal) noexcept override { return value(pVal, &PvDeviceInfo::GetSubnetMask); }
    STDMETHODIMP get_DefaultGateway(BSTR* pVal) noexcept override
    {
        return value(pVal, &PvDeviceInfo::GetDefaultGateway);
    }
    STDMETHODIMP get_Vendor(BSTR* pVal) noexcept override { return value(pVal, &PvDeviceInfo::GetVendor); }
    STDMETHODIMP get_Model(BSTR* pVal) noexcept override { return value(pVal, &PvDeviceInfo::GetModel); }
    STDMETHODIMP get_AccessStatus(VexAccessType* pVal) noexcept override
    {
        return value(pVal, &PvDeviceInfo::GetAccessStatus);
    }
    STDMETHODIMP get_ManufacturerInfo(BSTR* pVal) noexcept override
    {
        return value(pVal, &PvDeviceInfo::GetManufacturerInfo);
    }
    STDMETHODIMP get_Version(BSTR* pVal) noexcept override { return value(pVal, &PvDeviceInfo::GetVersion); }
    STDMETHODIMP get_ID(BSTR* pVal) noexcept override { return value(pVal, &PvDeviceInfo::GetID); }
    STDMETHODIMP get_SerialNumber(BSTR* pVal) noexcept override { return value(pVal, &PvDeviceInfo::GetSerialNumber); }
    STDMETHODIMP get_UserDefinedName(BSTR* pVal) noexcept override
    {
        return value(pVal, &PvDeviceInfo::GetUserDefinedName);
    }
    STDMETHODIMP get_ProtocolVersionMajor(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvDeviceInfo::GetProtocolVersionMajor);
    }
    STDMETHODIMP get_ProtocolVersionMinor(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvDeviceInfo::GetProtocolVersionMinor);
    }
    STDMETHODIMP get_IsIPConfigurationValid(VARIANT_BOOL* pVal) noexcept override
    {
        return value(pVal, &PvDeviceInfo::IsIPConfigurationValid);
    }
    STDMETHODIMP get_Interface(IVexInterface** pVal) noexcept override;
    STDMETHODIMP get_DeviceClass(VexDeviceType* pVal) noexcept override { return value(pVal, &PvDeviceInfo::GetClass); }

private:
    void attached(PvDeviceInfo* shown) noexcept override;

    std::shared_ptr<PvInterface> found_by_;
    vex::server::Ref<CVexInterface> interface_;
};
