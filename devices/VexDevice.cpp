#include "devices/VexDevice.h"

#include <utility>

#include "devices/VexDeviceInfo.h"

using namespace vex;

namespace {

constexpr DISPID on_cmd_link_read = 1;
constexpr DISPID on_cmd_link_write = 2;
constexpr DISPID on_event = 3;
constexpr DISPID on_link_disconnected = 4;
constexpr DISPID on_link_reconnected = 5;
constexpr DISPID on_restore_acquisition = 6;
constexpr DISPID on_restore_configuration = 7;
constexpr DISPID on_restore_device = 8;

PvAccessType to_sdk(VexAccessType access) noexcept { return static_cast<PvAccessType>(access); }

}  // namespace

HRESULT CVexDevice::final_construct()
{
    own_new();
    HRESULT created = server::create_object(parameters_);
    if (SUCCEEDED(created)) {
        created = server::create_object(link_);
    }
    if (SUCCEEDED(created) && sdk() != nullptr) {
        sdk()->RegisterEventSink(this);
    }
    return created;
}

void CVexDevice::final_release() noexcept
{
    parameters_.reset();
    link_.reset();
    // while the object is whole: the SDK device may still be notifying, and waits for that when it is deleted
    SdkObject::AttachSdkObject(nullptr);
}

void CVexDevice::AttachSdkObject(PvDevice* borrowed) noexcept
{
    SdkObject::AttachSdkObject(borrowed);
    if (borrowed != nullptr && std::exchange(register_on_attach_, false)) {
        borrowed->RegisterEventSink(this);
    }
}

HRESULT CVexDevice::get_IsConnected(VARIANT_BOOL* pVal) noexcept
{
    return value(pVal, [](PvDevice& device) { return device.IsConnected(); });
}

HRESULT CVexDevice::get_IsIPEngine(VARIANT_BOOL* pVal) noexcept
{
    return value(pVal, [](PvDevice& device) { return device.IsIPEngine(); });
}

HRESULT CVexDevice::get_GenParameters(IVexGenParameterArray** pVal) noexcept
{
    return child(pVal, parameters_, [](PvDevice& device) { return device.GetGenParameters(); });
}

HRESULT CVexDevice::get_GenLink(IVexGenParameterArray** pVal) noexcept
{
    return child(pVal, link_, [](PvDevice& device) { return device.GetGenLink(); });
}

HRESULT CVexDevice::ConnectDeviceInfo(IVexDeviceInfo* aDeviceInfo, VexAccessType aAccessType, IVexResult** out) noexcept
{
    return result(out, [&](PvDevice& device) {
        return device.Connect(&server::sdk_of<CVexDeviceInfo>(aDeviceInfo), to_sdk(aAccessType));
    });
}

HRESULT CVexDevice::ConnectString(BSTR aInfo, VexAccessType aAccessType, IVexResult** out) noexcept
{
    return result(out, [&](PvDevice& device) { return device.Connect(server::from_bstr(aInfo), to_sdk(aAccessType)); });
}

HRESULT CVexDevice::Disconnect(IVexResult** out) noexcept
{
    return result(out, [](PvDevice& device) { return device.Disconnect(); });
}

HRESULT CVexDevice::DumpGenICamXML(BSTR aFileName, IVexResult** out) noexcept
{
    return result(out, [&](PvDevice& device) { return device.DumpGenICamXML(server::from_bstr(aFileName)); });
}

HRESULT CVexDevice::GetDefaultGenICamXMLFilename(BSTR* aFileName, IVexResult** out) noexcept
{
    return result_with<PvString>(
        out, aFileName, [](PvDevice& device, PvString& name) { return device.GetDefaultGenICamXMLFilename(name); });
}

HRESULT CVexDevice::SetStreamDestination(BSTR aIPAddress, unsigned short aDataPort, unsigned int aChannel,
                                         IVexResult** out) noexcept
{
    return result(out, [&](PvDevice& device) {
        return device.SetStreamDestination(server::from_bstr(aIPAddress), aDataPort, aChannel);
    });
}

HRESULT CVexDevice::ResetStreamDestination(unsigned int aChannel, IVexResult** out) noexcept
{
    return result(out, [&](PvDevice& device) { return device.ResetStreamDestination(aChannel); });
}

HRESULT CVexDevice::NegotiatePacketSize(unsigned int aChannel, unsigned int aDefaultPacketSize,
                                        IVexResult** out) noexcept
{
    return result(out, [&](PvDevice& device) { return device.NegotiatePacketSize(aChannel, aDefaultPacketSize); });
}

HRESULT CVexDevice::Reset(IVexResult** out) noexcept
{
    return result(out, [](PvDevice& device) { return device.Reset(); });
}

HRESULT CVexDevice::ReadRegister(unsigned int aAddress, unsigned int* aValue, IVexResult** out) noexcept
{
    return result_with<std::uint32_t>(
        out, aValue, [&](PvDevice& device, std::uint32_t& read) { return device.ReadRegister(aAddress, read); });
}

HRESULT CVexDevice::WriteRegister(unsigned int aAddress, unsigned int aValue, IVexResult** out) noexcept
{
    return result(out, [&](PvDevice& device) { return device.WriteRegister(aAddress, aValue); });
}

HRESULT CVexDevice::ReadMemory(unsigned int aAddress, SAFEARRAY* aDestination, unsigned int aByteCount,
                               IVexResult** out) noexcept
{
    return report(out, &PvDevice::ReadMemory, aAddress, aDestination, aByteCount);
}

HRESULT CVexDevice::WriteMemory(unsigned int aAddress, SAFEARRAY* aSource, unsigned int aByteCount,
                                IVexResult** out) noexcept
{
    return report(out, &PvDevice::WriteMemory, aAddress, aSource, aByteCount);
}

HRESULT CVexDevice::WaitForMessagingChannelIdle(unsigned int aTimeout, IVexResult** out) noexcept
{
    return result(out, [&](PvDevice& device) { return device.WaitForMessagingChannelIdle(aTimeout); });
}

HRESULT CVexDevice::SetIPConfiguration(BSTR aMACAddress, BSTR aIP, BSTR aSubnetMask, BSTR aGateway,
                                       IVexResult** out) noexcept
{
    return result(out, [&] {
        return PvDevice::SetIPConfiguration(server::from_bstr(aMACAddress), server::from_bstr(aIP),
                                            server::from_bstr(aSubnetMask), server::from_bstr(aGateway));
    });
}

HRESULT CVexDevice::ResetStreamTimeoutCounter(unsigned int aChannel, IVexResult** out) noexcept
{
    return result(out, [&](PvDevice& device) { return device.ResetStreamTimeoutCounter(aChannel); });
}

HRESULT CVexDevice::ReportStreamTimeout(unsigned int aChannel, IVexResult** out) noexcept
{
    return result(out, [&](PvDevice& device) { return device.ReportStreamTimeout(aChannel); });
}

HRESULT CVexDevice::RegisterEventSink(IVexDeviceEventSink* aEventSink) noexcept { return client_sink_.set(aEventSink); }

HRESULT CVexDevice::UnregisterEventSink(IVexDeviceEventSink* /*aEventSink*/) noexcept { return client_sink_.clear(); }

IVexDevice* CVexDevice::show(PvDevice* device) noexcept
{
    server::Ref<CVexDevice> shown;
    if (device == nullptr || FAILED(server::create_object(shown))) {
        return nullptr;
    }
    shown->register_on_attach_ = false;
    shown->AttachSdkObject(device);
    return shown.detach();
}

void CVexDevice::tell_of(PvDevice* device, DISPID event,
                         HRESULT (STDMETHODCALLTYPE IVexDeviceEventSink::*member)(IVexDevice*)) noexcept
{
    call_out([&] { tell(event, client_sink_, member, show(device)); });
}

void CVexDevice::OnCmdLinkRead(const void* aBuffer, std::int64_t aAddress, std::int64_t aLength)
{
    tell(on_cmd_link_read, client_sink_, &IVexDeviceEventSink::OnCmdLinkRead, server::to_address(aBuffer), aAddress,
         aLength);
}

void CVexDevice::OnCmdLinkWrite(const void* aBuffer, std::int64_t aAddress, std::int64_t aLength)
{
    tell(on_cmd_link_write, client_sink_, &IVexDeviceEventSink::OnCmdLinkWrite, server::to_address(aBuffer), aAddress,
         aLength);
}

void CVexDevice::OnEvent(PvDevice* aDevice, std::uint16_t aEventID, std::uint16_t aChannel, std::uint64_t aBlockID,
                         std::uint64_t aTimestamp, const void* aData, std::uint32_t aDataLength)
{
    // clients know block IDs of 16 bits
    const auto block_id = static_cast<unsigned short>(aBlockID);
    call_out([&] {
        tell(on_event, client_sink_, &IVexDeviceEventSink::OnEvent, show(aDevice), aEventID, aChannel, block_id,
             aTimestamp, server::to_address(aData), aDataLength);
    });
}

void CVexDevice::OnLinkDisconnected(PvDevice* aDevice)
{
    tell_of(aDevice, on_link_disconnected, &IVexDeviceEventSink::OnLinkDisconnected);
}

void CVexDevice::OnLinkReconnected(PvDevice* aDevice)
{
    tell_of(aDevice, on_link_reconnected, &IVexDeviceEventSink::OnLinkReconnected);
}

void CVexDevice::OnRestoreAcquisition(PvDevice* aDevice)
{
    tell_of(aDevice, on_restore_acquisition, &IVexDeviceEventSink::OnRestoreAcquisition);
}

void CVexDevice::OnRestoreConfiguration(PvDevice* aDevice)
{
    tell_of(aDevice, on_restore_configuration, &IVexDeviceEventSink::OnRestoreConfiguration);
}

void CVexDevice::OnRestoreDevice(PvDevice* aDevice)
{
    tell_of(aDevice, on_restore_device, &IVexDeviceEventSink::OnRestoreDevice);
}
