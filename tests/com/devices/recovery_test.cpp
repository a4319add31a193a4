// A camera that is lost and comes back, through the registered server: all notifications, at all sinks.
#include <algorithm>
#include <array>
#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <vector>

#include "tests/com/devices/camera_client.h"
#include "tests/com/devices/device_sink.h"

namespace {

using namespace client;

constexpr DISPID on_read = 1;
constexpr DISPID on_write = 2;
constexpr DISPID on_event = 3;
constexpr DISPID on_disconnected = 4;
constexpr DISPID on_reconnected = 5;
constexpr DISPID on_restore_acquisition = 6;
constexpr DISPID on_restore_configuration = 7;
constexpr DISPID on_restore_device = 8;

const std::vector<DISPID> whole_recovery = {on_disconnected, on_reconnected, on_restore_device,
                                            on_restore_configuration, on_restore_acquisition};

/// What the sinks of a device were told, in the order in which they were.
class Record {
public:
    struct Entry {
        int sink;
        DISPID event;
        std::vector<VARTYPE> types;  ///< as declared; empty from a sink without VARIANTs
    };

    void note(int sink, DISPID event, std::vector<VARTYPE> types)
    {
        const std::scoped_lock lock(mutex_);
        entries_.push_back({sink, event, std::move(types)});
    }
    [[nodiscard]] std::vector<Entry> entries()
    {
        const std::scoped_lock lock(mutex_);
        return entries_;
    }
    /// What one sink heard, accesses left out.
    [[nodiscard]] std::vector<DISPID> heard_by(int sink)
    {
        std::vector<DISPID> events;
        for (const Entry& entry : entries()) {
            if (entry.sink == sink && entry.event != on_read && entry.event != on_write) {
                events.push_back(entry.event);
            }
        }
        return events;
    }

private:
    std::mutex mutex_;
    std::vector<Entry> entries_;
};

class DeviceRecovery : public CameraTest {
protected:
    DeviceRecovery()
    {
        const auto link = object_of(device, &IVexDevice::get_GenLink);
        EXPECT_EQ(
            code_of([&](IVexResult** result) { return link->SetIntegerValue(Text(L"HeartbeatTimeout"), 400, result); }),
            VexOK);
        EXPECT_EQ(code_of([&](IVexResult** result) {
                      return link->SetBooleanValue(Text(L"LinkRecoveryEnabled"), 1, result);
                  }),
                  VexOK);
        // a camera that was rebooting when the test before ended takes its application for connected a while longer
        EXPECT_TRUE(await([&] { return connect() == VexOK; }));
    }
    ~DeviceRecovery() override
    {
        if (device) {
            EXPECT_EQ(device->UnregisterEventSink(nullptr), S_OK);
        }
    }

    VexResultCode connect()
    {
        return code_of(
            [&](IVexResult** result) { return device->ConnectString(Text(address), VexAccessControl, result); });
    }
    /// Lets the camera send an event.
    void generate_event()
    {
        const auto features = object_of(device, &IVexDevice::get_GenParameters);
        for (const auto& [name, value] :
             {std::pair(L"EventSelector", L"Test"), std::pair(L"EventNotification", L"On")}) {
            EXPECT_EQ(code_of([&](IVexResult** result) {
                          return features->SetEnumValueStr(Text(name), Text(value), result);
                      }),
                      VexOK);
        }
        // the handler may have disconnected before the answer has come
        static_cast<void>(
            code_of([&](IVexResult** result) { return features->ExecuteCommand(Text(L"TestEventGenerate"), result); }));
    }
    [[nodiscard]] bool is_connected() const
    {
        VARIANT_BOOL connected = 0;
        EXPECT_EQ(device->get_IsConnected(&connected), S_OK);
        return connected != 0;
    }
    [[nodiscard]] bool wait_for(DISPID event, int sink = 3)
    {
        return await([&] { return std::ranges::count(record.heard_by(sink), event) > 0; });
    }
    Ref<Sink> noting(int name)
    {
        return Sink::create(__uuidof(_IVexDeviceEvents), [this, name](DISPID event, const DISPPARAMS& parameters) {
            std::vector<VARTYPE> types;
            for (UINT i = parameters.cArgs; i > 0; --i) {
                types.push_back(parameters.rgvarg[i - 1].vt);
            }
            record.note(name, event, std::move(types));
            return S_OK;
        });
    }

    Record record;
    /// What the client's own sink does when it is told.
    std::map<DISPID, std::function<void()>> on;
    DeviceSink own_sink{[this](const DeviceNotification& told) {
        if (const auto handler = on.find(told.event); handler != on.end()) {
            handler->second();
        }
        record.note(3, told.event, {});
    }};
    Ref<IVexDevice> device = create<IVexDevice>(L"VexKamCOMWrapper.VexDevice.1");
};

TEST_F(DeviceRecovery, TellsAllEightNotificationsToEachSinkInOrder)
{
    const auto first = noting(1);
    const auto second = noting(2);
    ASSERT_NE(advise(device.get(), __uuidof(_IVexDeviceEvents), first.get()), 0U);
    ASSERT_NE(advise(device.get(), __uuidof(_IVexDeviceEvents), second.get()), 0U);
    EXPECT_EQ(device->RegisterEventSink(&own_sink), S_OK);

    unsigned int value = 0;
    EXPECT_EQ(code_of([&](IVexResult** result) { return device->ReadRegister(0, &value, result); }), VexOK);
    generate_event();
    ASSERT_TRUE(wait_for(on_event));
    camera_->reboot();
    ASSERT_TRUE(wait_for(on_restore_acquisition));

    std::vector<DISPID> expected = {on_event};
    expected.insert(expected.end(), whole_recovery.begin(), whole_recovery.end());
    for (const int sink : {1, 2, 3}) {
        EXPECT_EQ(record.heard_by(sink), expected) << sink;
    }
    const std::map<DISPID, std::vector<VARTYPE>> types = {
        {on_read, {VT_I8, VT_I8, VT_I8}},
        {on_write, {VT_I8, VT_I8, VT_I8}},
        {on_event, {VT_DISPATCH, VT_UI2, VT_UI2, VT_UI2, VT_UI8, VT_I8, VT_UI4}},
        {on_disconnected, {VT_DISPATCH}},
        {on_reconnected, {VT_DISPATCH}},
        {on_restore_acquisition, {VT_DISPATCH}},
        {on_restore_configuration, {VT_DISPATCH}},
        {on_restore_device, {VT_DISPATCH}}};
    const auto entries = record.entries();
    ASSERT_EQ(entries.size() % 3, 0U);
    std::map<DISPID, int> count;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        EXPECT_EQ(entries[i].sink, static_cast<int>(i % 3) + 1) << i << ": the client's own sink comes last";
        EXPECT_EQ(entries[i].event, entries[i - i % 3].event);
        EXPECT_EQ(entries[i].types, entries[i].sink == 3 ? std::vector<VARTYPE>() : types.at(entries[i].event));
        ++count[entries[i].event];
    }
    EXPECT_EQ(count.size(), 8U);
}

TEST_F(DeviceRecovery, KeepsTheFeaturesAndWhatWasSet)
{
    EXPECT_EQ(device->RegisterEventSink(&own_sink), S_OK);
    const auto features = object_of(device, &IVexDevice::get_GenParameters);
    EXPECT_EQ(code_of([&](IVexResult** result) { return features->SetIntegerValue(Text(L"Width"), 320, result); }),
              VexOK);
    const auto width = object_of<IVexGenParameter>(
        [&](IVexGenParameter** parameter) { return features->GetByName(Text(L"Width"), parameter); });
    bool connected_when_lost = true;
    on[on_disconnected] = [&] { connected_when_lost = is_connected(); };
    camera_->reboot();
    ASSERT_TRUE(wait_for(on_restore_acquisition));
    EXPECT_FALSE(connected_when_lost);
    EXPECT_TRUE(is_connected());
    EXPECT_EQ(object_of(device, &IVexDevice::get_GenParameters).get(), features.get());
    __int64 value = 0;
    EXPECT_EQ(code_of([&](IVexResult** result) { return features->GetIntegerValue(Text(L"Width"), &value, result); }),
              VexOK);
    EXPECT_EQ(value, 320);
    BSTR text = nullptr;
    EXPECT_EQ(code_of([&](IVexResult** result) { return width->ValueToString(&text, result); }), VexOK);
    EXPECT_STREQ(text, L"320");
    SysFreeString(text);
}

/// What a handler may do in each notification.
class DeviceRecoveryHandlers : public DeviceRecovery, public testing::WithParamInterface<DISPID> {
protected:
    void cause_and_wait()
    {
        EXPECT_EQ(device->RegisterEventSink(&own_sink), S_OK);
        if (GetParam() == on_event) {
            generate_event();
        } else {
            camera_->reboot();
        }
        ASSERT_TRUE(wait_for(GetParam()));
    }
};

TEST_P(DeviceRecoveryHandlers, MayDisconnect)
{
    on[GetParam()] = [&] {
        EXPECT_EQ(code_of([&](IVexResult** result) { return device->Disconnect(result); }), VexOK);
    };
    cause_and_wait();
    EXPECT_FALSE(is_connected());
    EXPECT_EQ(record.heard_by(3).back(), GetParam());
}

TEST_P(DeviceRecoveryHandlers, MayReleaseTheDevice)
{
    on[GetParam()] = [&] { device.reset(); };
    cause_and_wait();
    EXPECT_EQ(record.heard_by(3).back(), GetParam());
}

TEST_P(DeviceRecoveryHandlers, MayConnectAgain)
{
    on[GetParam()] = [&] {
        EXPECT_EQ(code_of([&](IVexResult** result) { return device->Disconnect(result); }), VexOK);
        EXPECT_TRUE(await([&] { return connect() == VexOK; }));
    };
    cause_and_wait();
    EXPECT_TRUE(is_connected());
    EXPECT_EQ(record.heard_by(3).back(), GetParam());
}

std::string name_of(const testing::TestParamInfo<DISPID>& notification)
{
    constexpr std::array names = {
        "Event", "Disconnected", "Reconnected", "RestoreAcquisition", "RestoreConfiguration", "RestoreDevice"};
    return names.at(static_cast<std::size_t>(notification.param - on_event));
}

INSTANTIATE_TEST_SUITE_P(In, DeviceRecoveryHandlers,
                         testing::Values(on_event, on_disconnected, on_reconnected, on_restore_device,
                                         on_restore_configuration, on_restore_acquisition),
                         name_of);

}  // namespace
