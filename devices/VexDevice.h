// VexDevice: the connection to one camera, its control channel and its features.
#pragma once

#include "genicam/VexGenParameterArray.h"
#include "sdk/device/PvDevice.h"
#include "sdk/device/PvDeviceEventSink.h"
#include "sdk/device/PvDeviceInfo.h"
#include "server/client_sink.h"
#include "server/wrapper.h"

/// Owns the SDK device and is its event sink. Each notification that concerns a device shows clients a new wrapper that
/// borrows the SDK device, and leaves that wrapper alive, so that a client may keep it without a reference of its own.
class CVexDevice : public vex::server::Wrapper<CVexDevice>,
                   public PvDeviceEventSink,
                   public vex::server::SdkObject<PvDevice> {
public:
    void final_construct();
    void final_release() noexcept;

    STDMETHODIMP get_IsConnected(VARIANT_BOOL* pVal) noexcept override { return value(pVal, &PvDevice::IsConnected); }
    STDMETHODIMP get_IsIPEngine(VARIANT_BOOL* pVal) noexcept override { return value(pVal, &PvDevice::IsIPEngine); }
    STDMETHODIMP get_GenParameters(IVexGenParameterArray** pVal) noexcept override
    {
        return child(pVal, parameters_, &PvDevice::GetGenParameters);
    }
    STDMETHODIMP get_GenLink(IVexGenParameterArray** pVal) noexcept override
    {
        return child(pVal, link_, &PvDevice::GetGenLink);
    }
    STDMETHODIMP ConnectDeviceInfo(IVexDeviceInfo* aDeviceInfo, VexAccessType aAccessType,
                                   IVexResult** result) noexcept override
    {
        return report(result, overload<PvResult(const PvDeviceInfo*, PvAccessType)>(&PvDevice::Connect), aDeviceInfo,
                      aAccessType);
    }
    STDMETHODIMP ConnectString(BSTR aInfo, VexAccessType aAccessType, IVexResult** result) noexcept override
    {
        return report(result, overload<PvResult(const PvString&, PvAccessType)>(&PvDevice::Connect), aInfo,
                      aAccessType);
    }
    STDMETHODIMP Disconnect(IVexResult** result) noexcept override { return report(result, &PvDevice::Disconnect); }
    STDMETHODIMP DumpGenICamXML(BSTR aFileName, IVexResult** result) noexcept override
    {
        return report(result, &PvDevice::DumpGenICamXML, aFileName);
    }
    STDMETHODIMP GetDefaultGenICamXMLFilename(BSTR* aFileName, IVexResult** result) noexcept override
    {
        return report(result, &PvDevice::GetDefaultGenICamXMLFilename, aFileName);
    }
    STDMETHODIMP SetStreamDestination(BSTR aIPAddress, unsigned short aDataPort, unsigned int aChannel,
                                      IVexResult** result) noexcept override
    {
        return report(result, &PvDevice::SetStreamDestination, aIPAddress, aDataPort, aChannel);
    }
    STDMETHODIMP ResetStreamDestination(unsigned int aChannel, IVexResult** result) noexcept override
    {
        return report(result, &PvDevice::ResetStreamDestination, aChannel);
    }
    STDMETHODIMP NegotiatePacketSize(unsigned int aChannel, unsigned int aDefaultPacketSize,
                                     IVexResult** result) noexcept override
    {
        return report(result, &PvDevice::NegotiatePacketSize, aChannel, aDefaultPacketSize);
    }
    STDMETHODIMP Reset(IVexResult** result) noexcept override { return report(result, &PvDevice::Reset); }
    STDMETHODIMP ReadRegister(unsigned int aAddress, unsigned int* aValue, IVexResult** result) noexcept override
    {
        return report(result, &PvDevice::ReadRegister, aAddress, aValue);
    }
    STDMETHODIMP WriteRegister(unsigned int aAddress, unsigned int aValue, IVexResult** result) noexcept override
    {
        return report(result, &PvDevice::WriteRegister, aAddress, aValue);
    }
    STDMETHODIMP ReadMemory(unsigned int aAddress, SAFEARRAY* aDestination, unsigned int aByteCount,
                            IVexResult** result) noexcept override
    {
        return report(result, &PvDevice::ReadMemory, aAddress, aDestination, aByteCount);
    }
    STDMETHODIMP WriteMemory(unsigned int aAddress, SAFEARRAY* aSource, unsigned int aByteCount,
                             IVexResult** result) noexcept override
    {
        return report(result, &PvDevice::WriteMemory, aAddress, aSource, aByteCount);
    }
    STDMETHODIMP WaitForMessagingChannelIdle(unsigned int aTimeout, IVexResult** result) noexcept override
    {
        return report(result, &PvDevice::WaitForMessagingChannelIdle, aTimeout);
    }
    STDMETHODIMP SetIPConfiguration(BSTR aMACAddress, BSTR aIP, BSTR aSubnetMask, BSTR aGateway,
                                    IVexResult** result) noexcept override
    {
        return report(result, &PvDevice::SetIPConfiguration, aMACAddress, aIP, aSubnetMask, aGateway);
    }
    STDMETHODIMP ResetStreamTimeoutCounter(unsigned int aChannel, IVexResult** result) noexcept override
    {
        return report(result, &PvDevice::ResetStreamTimeoutCounter, aChannel);
    }
    STDMETHODIMP ReportStreamTimeout(unsigned int aChannel, IVexResult** result) noexcept override
    {
        return report(result, &PvDevice::ReportStreamTimeout, aChannel);
    }
    STDMETHODIMP RegisterEventSink(IVexDeviceEventSink* aEventSink) noexcept override
    {
        return client_sink_.set(aEventSink);
    }
    STDMETHODIMP UnregisterEventSink(IVexDeviceEventSink* /*aEventSink*/) noexcept override
    {
        return client_sink_.clear();
    }

    void OnCmdLinkRead(const void* aBuffer, std::int64_t aAddress, std::int64_t aLength) override;
    void OnCmdLinkWrite(const void* aBuffer, std::int64_t aAddress, std::int64_t aLength) override;
    void OnEvent(PvDevice* aDevice, std::uint16_t aEventID, std::uint16_t aChannel, std::uint64_t aBlockID,
                 std::uint64_t aTimestamp, const void* aData, std::uint32_t aDataLength) override;
    void OnLinkDisconnected(PvDevice* aDevice) override;
    void OnLinkReconnected(PvDevice* aDevice) override;
    void OnRestoreAcquisition(PvDevice* aDevice) override;
    void OnRestoreConfiguration(PvDevice* aDevice) override;
    void OnRestoreDevice(PvDevice* aDevice) override;

private:
    /// Also becomes the borrowed device's event sink, unless this wrapper is one that shows a notification's device.
    void attached(PvDevice* borrowed) noexcept override;

    /// A new wrapper around a notification's device, alive for good; null for null or when it cannot be made.
    static IVexDevice* show(PvDevice* device) noexcept;
    /// Whether a client listens: what shows a device is not made for nobody.
    [[nodiscard]] bool is_heard() const noexcept { return has_sinks() || client_sink_.is_set(); }
    /// Tells an event that shows the device and nothing else.
    void tell_of(PvDevice* device, DISPID event,
                 HRESULT (STDMETHODCALLTYPE IVexDeviceEventSink::*member)(IVexDevice*)) noexcept;

    vex::server::Ref<CVexGenParameterArray> parameters_;
    vex::server::Ref<CVexGenParameterArray> link_;
    bool register_on_attach_ = true;
    vex::server::ClientSink<IVexDeviceEventSink> client_sink_;
};
