// The notifications of a device: what the camera causes, through the registered server.
#include <algorithm>
#include <atomic>
#include <functional>
#include <mutex>
#include <vector>

#include "tests/com/devices/camera_client.h"
#include "tests/com/devices/device_sink.h"

namespace {

using namespace client;

class DeviceEvents : public CameraTest {
protected:
    DeviceEvents()
    {
        EXPECT_EQ(code_of([&](IVexResult** result) {
                      return device->ConnectString(Text(address), VexAccessControl, result);
                  }),
                  VexOK);
    }

    void read_serial() const
    {
        const Variant bytes(VT_UI1, SafeArrayCreateVector(VT_UI1, 0, 16));
        EXPECT_EQ(code_of([&](IVexResult** result) { return device->ReadMemory(0xD8, bytes->parray, 16, result); }),
                  VexOK);
    }

    Ref<IVexDevice> device = create<IVexDevice>(L"VexKamCOMWrapper.VexDevice.1");
};

TEST_F(DeviceEvents, TellOfReadsToConnectedSinksInOrderThenToTheRegisteredOne)
{
    std::vector<int> calls;
    std::string bytes;
    const auto noting = [&](int name) {
        return Sink::create(__uuidof(_IVexDeviceEvents),
                            [&calls, &bytes, name](DISPID event, const DISPPARAMS& parameters) {
                                EXPECT_EQ(event, 1);
                                EXPECT_EQ(parameters.cArgs, 3U);
                                for (UINT i = 0; i < 3; ++i) {
                                    EXPECT_EQ(parameters.rgvarg[i].vt, VT_I8);
                                }
                                EXPECT_EQ(parameters.rgvarg[1].llVal, 0xD8);
                                EXPECT_EQ(parameters.rgvarg[0].llVal, 16);
                                bytes = reinterpret_cast<const char*>(parameters.rgvarg[2].llVal);
                                calls.push_back(name);
                                return S_OK;
                            });
    };
    const auto first = noting(1);
    const auto second = noting(2);
    DeviceSink third([&](const DeviceNotification& told) {
        EXPECT_EQ(told.event, 1);
        EXPECT_EQ(told.address, 0xD8);
        EXPECT_EQ(told.length, 16);
        calls.push_back(3);
    });
    ASSERT_NE(advise(device.get(), __uuidof(_IVexDeviceEvents), first.get()), 0U);
    ASSERT_NE(advise(device.get(), __uuidof(_IVexDeviceEvents), second.get()), 0U);
    EXPECT_EQ(device->RegisterEventSink(&third), S_OK);
    EXPECT_EQ(third.references(), 1U);
    read_serial();
    EXPECT_EQ(calls, (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(bytes, "COM-TEST");

    EXPECT_EQ(device->UnregisterEventSink(nullptr), S_OK);
    calls.clear();
    read_serial();
    EXPECT_EQ(calls, (std::vector<int>{1, 2}));
}

TEST_F(DeviceEvents, TellOfWrites)
{
    std::vector<DeviceNotification> told;
    DeviceSink sink([&](const DeviceNotification& notification) { told.push_back(notification); });
    EXPECT_EQ(device->RegisterEventSink(&sink), S_OK);
    EXPECT_EQ(code_of([&](IVexResult** result) { return device->WriteRegister(0x0938, 3000, result); }), VexOK);
    ASSERT_EQ(told.size(), 1U);
    EXPECT_EQ(told[0].event, 2);
    EXPECT_EQ(told[0].address, 0x0938);
    EXPECT_EQ(told[0].length, 4);
}

TEST_F(DeviceEvents, TellOfDisconnectingAndConnecting)
{
    std::vector<DeviceNotification> told;
    std::vector<VexResultCode> refused;
    DeviceSink sink([&](const DeviceNotification& notification) {
        told.push_back(notification);
        refused.push_back(code_of([&](IVexResult** result) { return device->Disconnect(result); }));
    });
    EXPECT_EQ(device->RegisterEventSink(&sink), S_OK);
    EXPECT_EQ(code_of([&](IVexResult** result) { return device->Disconnect(result); }), VexOK);
    ASSERT_EQ(told.size(), 1U);
    EXPECT_EQ(told[0].event, 2);
    EXPECT_EQ(told[0].address, 0x0A00) << "the privilege that is given back";

    EXPECT_EQ(
        code_of([&](IVexResult** result) { return device->ConnectString(Text(address), VexAccessControl, result); }),
        VexOK);
    ASSERT_GE(told.size(), 2U);
    EXPECT_EQ(told[1].event, 1);
    EXPECT_EQ(told[1].address, 0x0000) << "the version";
    EXPECT_TRUE(std::any_of(told.begin() + 1, told.end(), [](const DeviceNotification& notification) {
        return notification.event == 2 && notification.address == 0x0A00;
    }));
    EXPECT_EQ(refused, std::vector<VexResultCode>(told.size(), VexStateError));
    EXPECT_EQ(device->UnregisterEventSink(nullptr), S_OK);
}

TEST_F(DeviceEvents, TellOfFeatureAccess)
{
    const auto features = object_of(device, &IVexDevice::get_GenParameters);
    ASSERT_TRUE(features);
    int reads = 0;
    int writes = 0;
    DeviceSink sink([&](const DeviceNotification& told) { ++(told.event == 1 ? reads : writes); });
    EXPECT_EQ(device->RegisterEventSink(&sink), S_OK);
    EXPECT_EQ(code_of([&](IVexResult** result) { return features->SetIntegerValue(Text(L"Height"), 240, result); }),
              VexOK);
    EXPECT_GE(writes, 1);
}

TEST_F(DeviceEvents, UnregisteringWithAnyArgumentRemovesTheSink)
{
    DeviceSink sink([](const DeviceNotification&) { ADD_FAILURE() << "an unregistered sink was called"; });
    DeviceSink another([](const DeviceNotification&) {});
    EXPECT_EQ(device->RegisterEventSink(&sink), S_OK);
    EXPECT_EQ(device->UnregisterEventSink(&another), S_OK);
    read_serial();
}

TEST_F(DeviceEvents, TellOfALostLinkWithADeviceObjectOfItsOwn)
{
    const auto link = object_of(device, &IVexDevice::get_GenLink);
    EXPECT_EQ(
        code_of([&](IVexResult** result) { return link->SetIntegerValue(Text(L"HeartbeatTimeout"), 500, result); }),
        VexOK);

    std::atomic<int> connected{0};
    std::atomic<IDispatch*> shown{nullptr};
    const auto first = Sink::create(__uuidof(_IVexDeviceEvents), [&](DISPID event, const DISPPARAMS& parameters) {
        if (event == 4) {
            EXPECT_EQ(parameters.cArgs, 1U);
            EXPECT_EQ(parameters.rgvarg[0].vt, VT_DISPATCH);
            shown = parameters.rgvarg[0].pdispVal;
            ++connected;
        }
        return S_OK;
    });
    ASSERT_NE(advise(device.get(), __uuidof(_IVexDeviceEvents), first.get()), 0U);
    std::atomic<int> registered{0};
    std::atomic<IVexDevice*> told_device{nullptr};
    DeviceSink sink([&](const DeviceNotification& told) {
        if (told.event == 4) {
            EXPECT_EQ(connected, 1);
            told_device = told.device;
            ++registered;
        }
    });
    EXPECT_EQ(device->RegisterEventSink(&sink), S_OK);

    stop_camera();
    const bool told = await([&] { return registered != 0; });
    EXPECT_EQ(device->UnregisterEventSink(nullptr), S_OK);
    start_camera();
    ASSERT_TRUE(told);
    EXPECT_EQ(connected, 1);
    EXPECT_EQ(registered, 1);
    ASSERT_NE(told_device.load(), nullptr);
    EXPECT_EQ(static_cast<IDispatch*>(told_device.load()), shown.load());
    EXPECT_NE(told_device.load(), device.get());
    // the object stays alive although nobody holds a reference of his own, and shows the device
    EXPECT_EQ(references(told_device.load()), 1U);
    VARIANT_BOOL is_connected = 1;
    EXPECT_EQ(told_device.load()->get_IsConnected(&is_connected), S_OK);
    EXPECT_EQ(is_connected, 0);
    EXPECT_EQ(device->get_IsConnected(&is_connected), S_OK);
    EXPECT_EQ(is_connected, 0);
}

}  // namespace
