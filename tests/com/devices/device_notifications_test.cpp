// All eight notifications of a device, handed to the class as the SDK does: which arguments arrive, of which types, and
// what object shows the device.
#include <functional>
#include <vector>

#include "devices/VexDevice.h"
#include "tests/com/devices/device_sink.h"
#include "tests/sdk/control/counting_new.h"

using namespace vex;

namespace {

using namespace client;

class DeviceNotifications : public ComTest {
protected:
    DeviceNotifications()
    {
        EXPECT_EQ(server::create_object(device), S_OK);
        unknown = static_cast<IVexDevice*>(device.get());
        sink = Sink::create(__uuidof(_IVexDeviceEvents), [this](DISPID event, const DISPPARAMS& parameters) {
            events.push_back(event);
            arguments.clear();
            // in declared order
            for (UINT i = parameters.cArgs; i > 0; --i) {
                Variant copy;
                EXPECT_EQ(VariantCopy(copy.put(), &parameters.rgvarg[i - 1]), S_OK);
                arguments.push_back(copy);
            }
            return S_OK;
        });
        EXPECT_NE(advise(unknown, __uuidof(_IVexDeviceEvents), sink.get()), 0U);
        EXPECT_EQ(device->RegisterEventSink(&client_sink), S_OK);
    }

    Ref<CVexDevice> device;
    IUnknown* unknown = nullptr;
    PvDevice sdk_device;
    std::vector<DISPID> events;
    std::vector<Variant> arguments;
    Ref<Sink> sink;
    std::vector<DeviceNotification> told;
    DeviceSink client_sink{[this](const DeviceNotification& notification) { told.push_back(notification); }};
};

TEST_F(DeviceNotifications, CommandLinkAccessPassesAddressesAsNumbers)
{
    const int data = 0;
    const auto number = reinterpret_cast<INT_PTR>(&data);
    constexpr std::int64_t far_away = 0x1234567890LL;
    device->OnCmdLinkRead(&data, far_away, 4);
    device->OnCmdLinkWrite(&data, -1, far_away);
    EXPECT_EQ(events, (std::vector<DISPID>{1, 2}));
    ASSERT_EQ(arguments.size(), 3U);
    for (const Variant& argument : arguments) {
        EXPECT_EQ(argument.type(), VT_I8);
    }
    EXPECT_EQ(arguments[0]->llVal, number);
    EXPECT_EQ(arguments[1]->llVal, -1);
    EXPECT_EQ(arguments[2]->llVal, far_away);
    ASSERT_EQ(told.size(), 2U);
    EXPECT_EQ(told[0].data, number);
    EXPECT_EQ(told[0].address, far_away);
    EXPECT_EQ(told[0].length, 4);
}

TEST_F(DeviceNotifications, MakeNothingForNobody)
{
    Ref<CVexDevice> unheard;
    ASSERT_EQ(server::create_object(unheard), S_OK);
    const device_test::AllocationCount allocations;
    unheard->OnLinkDisconnected(&sdk_device);
    unheard->OnEvent(&sdk_device, 1, 0, 0, 0, nullptr, 0);
    EXPECT_EQ(allocations.value(), 0);
    device->OnLinkDisconnected(&sdk_device);
    EXPECT_GT(allocations.value(), 0);
}

TEST_F(DeviceNotifications, EventsCutTheBlockIdTo16Bits)
{
    const int data = 0;
    device->OnEvent(&sdk_device, 0x9001, 3, 0xABCD12345678ULL, 0xFFFFFFFFFFFFFFFFULL, &data, 0x80000000U);
    EXPECT_EQ(events, (std::vector<DISPID>{3}));
    ASSERT_EQ(arguments.size(), 7U);
    const VARTYPE types[] = {VT_DISPATCH, VT_UI2, VT_UI2, VT_UI2, VT_UI8, VT_I8, VT_UI4};
    for (std::size_t i = 0; i < 7; ++i) {
        EXPECT_EQ(arguments[i].type(), types[i]) << i;
    }
    EXPECT_EQ(arguments[1]->uiVal, 0x9001);
    EXPECT_EQ(arguments[2]->uiVal, 3);
    EXPECT_EQ(arguments[3]->uiVal, 0x5678);
    EXPECT_EQ(arguments[4]->ullVal, 0xFFFFFFFFFFFFFFFFULL);
    EXPECT_EQ(arguments[5]->llVal, reinterpret_cast<INT_PTR>(&data));
    EXPECT_EQ(arguments[6]->ulVal, 0x80000000U);
    ASSERT_EQ(told.size(), 1U);
    EXPECT_EQ(told[0].block_id, 0x5678);
    EXPECT_EQ(told[0].event_id, 0x9001);
    EXPECT_EQ(told[0].timestamp, 0xFFFFFFFFFFFFFFFFULL);
    EXPECT_EQ(static_cast<IDispatch*>(told[0].device), arguments[0]->pdispVal);
}

TEST_F(DeviceNotifications, EachShowsTheDeviceByANewObjectThatStaysAlive)
{
    device->OnLinkDisconnected(&sdk_device);
    device->OnLinkReconnected(&sdk_device);
    device->OnRestoreAcquisition(&sdk_device);
    device->OnRestoreConfiguration(&sdk_device);
    device->OnRestoreDevice(&sdk_device);
    EXPECT_EQ(events, (std::vector<DISPID>{4, 5, 6, 7, 8}));
    ASSERT_EQ(told.size(), 5U);
    arguments.clear();
    for (std::size_t i = 0; i < told.size(); ++i) {
        ASSERT_NE(told[i].device, nullptr);
        EXPECT_NE(told[i].device, static_cast<IVexDevice*>(device.get()));
        for (std::size_t k = 0; k < i; ++k) {
            EXPECT_NE(told[i].device, told[k].device);
        }
        EXPECT_EQ(references(told[i].device), 1U);
    }
    // the objects borrow the device and are no sinks of it
    EXPECT_TRUE(sdk_device.RegisterEventSink(device.get()).IsOK());
    EXPECT_TRUE(sdk_device.UnregisterEventSink(device.get()).IsOK());
    auto* const shown = static_cast<CVexDevice&>(*told[0].device).sdk();
    EXPECT_EQ(shown, &sdk_device);
    EXPECT_EQ(sdk_device.UnregisterEventSink(&static_cast<CVexDevice&>(*told[0].device)).GetCode(), PvResult::NotFound);
}

TEST_F(DeviceNotifications, NullDeviceIsToldAsNull)
{
    device->OnLinkDisconnected(nullptr);
    ASSERT_EQ(arguments.size(), 1U);
    EXPECT_EQ(arguments[0].type(), VT_DISPATCH);
    EXPECT_EQ(arguments[0]->pdispVal, nullptr);
    ASSERT_EQ(told.size(), 1U);
    EXPECT_EQ(told[0].device, nullptr);
}

TEST_F(DeviceNotifications, ABorrowedDeviceIsListenedToOnce)
{
    PvDevice first;
    PvDevice second;
    device->AttachSdkObject(&first);
    EXPECT_EQ(first.UnregisterEventSink(device.get()).GetCode(), PvResult::OK);
    device->AttachSdkObject(&second);
    EXPECT_EQ(second.UnregisterEventSink(device.get()).GetCode(), PvResult::NotFound);
    device->AttachSdkObject(nullptr);
}

}  // namespace
