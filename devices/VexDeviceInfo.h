// VexDeviceInfo: what a device said of itself when it was found.
#pragma once

#include <memory>

#include "devices/shared_view.h"
#include "sdk/device/PvDeviceInfo.h"
#include "sdk/device/PvInterface.h"
#include "server/wrapper.h"

class CVexInterface;

/// A view with a share in what it shows, and in the interface that found it: it outlives the system.
class CVexDeviceInfo : public vex::server::Wrapper<CVexDeviceInfo>, public SharedView<PvDeviceInfo> {
public:
    CVexDeviceInfo();
    ~CVexDeviceInfo();

    HRESULT final_construct();
    void AttachSdkObject(PvDeviceInfo* shown) noexcept;

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
    std::shared_ptr<PvInterface> found_by_;
    vex::server::Ref<CVexInterface> interface_;
};
