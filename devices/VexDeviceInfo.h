// VexDeviceInfo: what a device said of itself when it was found.
#pragma once

#include "sdk/device/PvDeviceInfo.h"
#include "server/wrapper.h"

class CVexInterface;

/// A view: the SDK's device information belongs to the system and is valid as long as that.
class CVexDeviceInfo : public vex::server::Wrapper<CVexDeviceInfo>, public vex::server::SdkObject<PvDeviceInfo> {
public:
    CVexDeviceInfo();
    ~CVexDeviceInfo();

    HRESULT final_construct();

    HRESULT STDMETHODCALLTYPE get_MACAddress(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_IPAddress(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_SubnetMask(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_DefaultGateway(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Vendor(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Model(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_AccessStatus(VexAccessType* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_ManufacturerInfo(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Version(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_ID(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_SerialNumber(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_UserDefinedName(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_ProtocolVersionMajor(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_ProtocolVersionMinor(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_IsIPConfigurationValid(VARIANT_BOOL* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Interface(IVexInterface** pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_DeviceClass(VexDeviceType* pVal) noexcept override;

private:
    vex::server::Ref<CVexInterface> interface_;
};
