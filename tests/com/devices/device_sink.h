// A client's sink for the notifications of a device.
#pragma once

#include <functional>

#include "tests/com/devices/camera_client.h"

namespace client {

/// One notification; what it does not carry is zero.
struct DeviceNotification {
    DISPID event = 0;
    IVexDevice* device = nullptr;
    INT_PTR data = 0;
    __int64 address = 0;
    __int64 length = 0;
    unsigned short event_id = 0;
    unsigned short channel = 0;
    unsigned short block_id = 0;
    unsigned __int64 timestamp = 0;
};

class DeviceSink final : public DualSink<IVexDeviceEventSink> {
public:
    using Handler = std::function<void(const DeviceNotification&)>;

    explicit DeviceSink(Handler handler) : handler_(std::move(handler)) {}

    HRESULT STDMETHODCALLTYPE OnCmdLinkRead(INT_PTR aBuffer, __int64 aAddress, __int64 aLength) override
    {
        return access(1, aBuffer, aAddress, aLength);
    }
    HRESULT STDMETHODCALLTYPE OnCmdLinkWrite(INT_PTR aBuffer, __int64 aAddress, __int64 aLength) override
    {
        return access(2, aBuffer, aAddress, aLength);
    }
    HRESULT STDMETHODCALLTYPE OnEvent(IVexDevice* aDevice, unsigned short aEventID, unsigned short aChannel,
                                      unsigned short aBlockID, unsigned __int64 aTimestamp, INT_PTR aData,
                                      unsigned int aDataLength) override
    {
        DeviceNotification told;
        told.event = 3;
        told.device = aDevice;
        told.data = aData;
        told.length = aDataLength;
        told.event_id = aEventID;
        told.channel = aChannel;
        told.block_id = aBlockID;
        told.timestamp = aTimestamp;
        handler_(told);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE OnLinkDisconnected(IVexDevice* aDevice) override { return state(4, aDevice); }
    HRESULT STDMETHODCALLTYPE OnLinkReconnected(IVexDevice* aDevice) override { return state(5, aDevice); }
    HRESULT STDMETHODCALLTYPE OnRestoreAcquisition(IVexDevice* aDevice) override { return state(6, aDevice); }
    HRESULT STDMETHODCALLTYPE OnRestoreConfiguration(IVexDevice* aDevice) override { return state(7, aDevice); }
    HRESULT STDMETHODCALLTYPE OnRestoreDevice(IVexDevice* aDevice) override { return state(8, aDevice); }

private:
    HRESULT access(DISPID event, INT_PTR buffer, __int64 address, __int64 length)
    {
        DeviceNotification told;
        told.event = event;
        told.data = buffer;
        told.address = address;
        told.length = length;
        handler_(told);
        return S_OK;
    }
    HRESULT state(DISPID event, IVexDevice* device)
    {
        DeviceNotification told;
        told.event = event;
        told.device = device;
        handler_(told);
        return S_OK;
    }

    Handler handler_;
};

}  // namespace client
