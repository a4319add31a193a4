#include "devices/VexDevice.h"

#include <utility>

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

}  // namespace

void CVexDevice::final_construct()
{
    own_new();
    parameters_ = server::make<CVexGenParameterArray>();
    link_ = server::make<CVexGenParameterArray>();
    if (sdk() != nullptr) {
        sdk()->RegisterEventSink(this);
    }
}

void CVexDevice::final_release() noexcept
{
    parameters_.reset();
    link_.reset();
    // while the object is whole: the SDK device may still be notifying, and waits for that when it is deleted
    AttachSdkObject(nullptr);
}

void CVexDevice::attached(PvDevice* borrowed) noexcept
{
    if (borrowed != nullptr && std::exchange(register_on_attach_, false)) {
        borrowed->RegisterEventSink(this);
    }
}

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
    if (is_heard()) {
        call_out([&] { tell(event, client_sink_, member, show(device)); });
    }
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
    if (!is_heard()) {
        return;
    }
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
