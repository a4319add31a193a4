// VexInterface: one network interface of the host and the devices found on it.
#pragma once

#include "devices/shared_view.h"
#include "sdk/device/PvInterface.h"
#include "server/wrapper.h"

class CVexDeviceInfo;

/// A view with a share in what it shows: it outlives the system.
class CVexInterface : public vex::server::Wrapper<CVexInterface>, public SharedView<PvInterface> {
public:
    CVexInterface();
    ~CVexInterface();

    HRESULT STDMETHODCALLTYPE get_DeviceCount(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_MACAddress(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_InterfaceType(VexInterfaceType* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_IPAddress(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_SubnetMask(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_DefaultGateway(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Description(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_ID(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE Find(IVexResult** result) noexcept override;
    HRESULT STDMETHODCALLTYPE GetDeviceInfo(unsigned int aIndex, IVexDeviceInfo** result) noexcept override;

private:
    vex::server::Ref<CVexDeviceInfo> device_;  // made on first use, then handed out again and again
};
