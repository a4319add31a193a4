// What clients do to a device while it calls them, and what they keep of it.
#include <atomic>
#include <functional>
#include <future>

#include "tests/com/devices/camera_client.h"
#include "tests/com/devices/device_sink.h"

namespace {

using namespace client;

constexpr unsigned int privilege = 0x0A00;

class DeviceLifetime : public CameraTest {
protected:
    DeviceLifetime()
    {
        EXPECT_EQ(code_of([&](IVexResult** result) {
                      return device->ConnectString(Text(address), VexAccessControl, result);
                  }),
                  VexOK);
    }

    [[nodiscard]] Ref<IVexGenParameterArray> features() const
    {
        return object_of(device, &IVexDevice::get_GenParameters);
    }
    [[nodiscard]] Ref<IVexGenInteger> integer(const wchar_t* name) const
    {
        return object_of<IVexGenInteger>([&](IVexGenInteger** out) { return features()->GetInteger(Text(name), out); });
    }
    [[nodiscard]] VexResultCode disconnect() const
    {
        return code_of([&](IVexResult** result) { return device->Disconnect(result); });
    }
    /// The heartbeat finds that the device has no controller any more.
    void lose_control() const
    {
        EXPECT_EQ(code_of([&](IVexResult** result) { return device->WriteRegister(privilege, 0, result); }), VexOK);
        EXPECT_EQ(code_of([&](IVexResult** result) { return device->ReportStreamTimeout(0, result); }), VexOK);
    }

    /// A handler of a loss waits, at most four seconds, for what this thread does meanwhile.
    void meet_the_news_of_a_loss(const std::function<void()>& work)
    {
        std::promise<void> inside;
        std::promise<void> done;
        std::promise<bool> met;
        const auto sink = Sink::create(__uuidof(_IVexDeviceEvents), [&](DISPID event, const DISPPARAMS&) {
            if (event == 4) {
                inside.set_value();
                met.set_value(done.get_future().wait_for(std::chrono::seconds(4)) == std::future_status::ready);
            }
            return S_OK;
        });
        ASSERT_NE(advise(device.get(), __uuidof(_IVexDeviceEvents), sink.get()), 0U);
        lose_control();
        ASSERT_EQ(inside.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
        work();
        done.set_value();
        EXPECT_TRUE(met.get_future().get()) << "each waited for the other";
        EXPECT_TRUE(await([&] { return !device || sink->references() == 2; }));
    }

    Ref<IVexDevice> device = create<IVexDevice>(L"VexKamCOMWrapper.VexDevice.1");
};

TEST_F(DeviceLifetime, DisconnectingDoesNotWaitForAHandlerOfALossThatWaitsForIt)
{
    meet_the_news_of_a_loss([&] { EXPECT_EQ(disconnect(), VexOK); });
}

TEST_F(DeviceLifetime, ReleasingDoesNotWaitForAHandlerOfALossThatWaitsForIt)
{
    meet_the_news_of_a_loss([&] { device.reset(); });
}

TEST_F(DeviceLifetime, NoFeatureHasAValueAfterADisconnectionInItsEvent)
{
    const auto width = integer(L"Width");
    ASSERT_TRUE(width);
    const auto sink = Sink::create(__uuidof(_IVexGenParameterEvents), [&](DISPID, const DISPPARAMS&) {
        EXPECT_EQ(disconnect(), VexOK);
        return S_OK;
    });
    ASSERT_NE(advise(width.get(), __uuidof(_IVexGenParameterEvents), sink.get()), 0U);
    EXPECT_EQ(width->put_Value(320), S_OK);
    __int64 value = 0;
    EXPECT_EQ(width->get_Value(&value), DISP_E_EXCEPTION);
    EXPECT_EQ(integer(L"Height")->get_Value(&value), DISP_E_EXCEPTION);
}

TEST_F(DeviceLifetime, AllMayBeReleasedInAFeaturesEvent)
{
    auto width = integer(L"Width");
    ASSERT_TRUE(width);
    const auto sink = Sink::create(__uuidof(_IVexGenParameterEvents), [&](DISPID, const DISPPARAMS&) {
        device.reset();
        width.reset();
        return S_OK;
    });
    ASSERT_NE(advise(width.get(), __uuidof(_IVexGenParameterEvents), sink.get()), 0U);
    IVexGenInteger* const written = width.get();
    EXPECT_EQ(written->put_Value(320), S_OK);
    EXPECT_FALSE(device);
    EXPECT_EQ(sink->references(), 1U);
}

TEST_F(DeviceLifetime, MayBeReleasedInTheAccessThatIsTold)
{
    for (const bool by_feature : {false, true}) {
        device = create<IVexDevice>(L"VexKamCOMWrapper.VexDevice.1");
        EXPECT_EQ(code_of([&](IVexResult** result) {
                      return device->ConnectString(Text(address), VexAccessControl, result);
                  }),
                  VexOK);
        const auto width = integer(L"Width");
        DeviceSink sink([&](const DeviceNotification&) { device.reset(); });
        EXPECT_EQ(device->RegisterEventSink(&sink), S_OK);
        IVexDevice* const used = device.get();
        unsigned int value = 0;
        if (by_feature) {
            // the first access of the write releases the device, and the next finds it gone
            EXPECT_EQ(width->put_Value(336), DISP_E_EXCEPTION);
        } else {
            EXPECT_EQ(code_of([&](IVexResult** result) { return used->ReadRegister(0, &value, result); }), VexOK);
        }
        EXPECT_FALSE(device);
    }
}

TEST_F(DeviceLifetime, WhatALossShowedFailsOnceTheDeviceIsGone)
{
    std::atomic<IVexDevice*> shown{nullptr};
    DeviceSink sink([&](const DeviceNotification& told) {
        if (told.event == 4) {
            shown = told.device;
        }
    });
    EXPECT_EQ(device->RegisterEventSink(&sink), S_OK);
    lose_control();
    ASSERT_TRUE(await([&] { return shown.load() != nullptr; }));
    device.reset();
    VARIANT_BOOL connected = 1;
    EXPECT_EQ(shown.load()->get_IsConnected(&connected), E_POINTER);
    unsigned int value = 0;
    EXPECT_EQ(code_of([&](IVexResult** result) { return shown.load()->ReadRegister(0, &value, result); }),
              VexNotInitialized);
}

}  // namespace
