// VexSystem, VexInterface and VexDeviceInfo as clients use them.
#include <algorithm>
#include <vector>

#include "tests/com/devices/system_client.h"

namespace {

using namespace client;

TEST_F(System, KnowsNoInterfaceBeforeTheFirstSearch)
{
    EXPECT_EQ(interface_count(), 0U);
    EXPECT_FALSE(interface_at(0));
}

TEST_F(System, IsAlsoKnownByTheIdentifierWithoutVersion)
{
    EXPECT_TRUE(create<IVexSystem>(L"VexKamCOMWrapper.VexSystem"));
}

TEST_F(System, KeepsAnyDetectionTimeout)
{
    for (const unsigned int timeout : {0U, 1U, 1234U, 0xFFFFFFFFU}) {
        EXPECT_EQ(system->put_DetectionTimeout(timeout), S_OK);
        EXPECT_EQ(value_of(system, &IVexSystem::get_DetectionTimeout), timeout);
    }
    const auto fresh = create<IVexSystem>(L"VexKamCOMWrapper.VexSystem.1");
    EXPECT_EQ(value_of(fresh, &IVexSystem::get_DetectionTimeout), 1000U);
}

TEST_F(System, TellsTheProtocolsVersion)
{
    EXPECT_EQ(value_of(system, &IVexSystem::get_ProtocolVersionMajor), 2U);
    EXPECT_EQ(value_of(system, &IVexSystem::get_ProtocolVersionMinor), 0U);
}

TEST_F(System, FindsTheCameraAndTellsAllAboutIt)
{
    ASSERT_EQ(find(), VexOK);
    const auto found = interface_with_camera();
    ASSERT_TRUE(found) << "the camera was not found";
    EXPECT_EQ(text_of(found, &IVexInterface::get_IPAddress), L"127.0.0.1");
    EXPECT_EQ(text_of(found, &IVexInterface::get_SubnetMask), L"255.0.0.0");
    const std::wstring id = text_of(found, &IVexInterface::get_ID);
    const std::wstring description = text_of(found, &IVexInterface::get_Description);
    EXPECT_NE(id, L"");
    EXPECT_NE(description, L"");
    EXPECT_NE(description, id);
    EXPECT_EQ(text_of(found, &IVexInterface::get_MACAddress), L"00:00:00:00:00:00");
    EXPECT_EQ(text_of(found, &IVexInterface::get_DefaultGateway), L"0.0.0.0");
    EXPECT_EQ(value_of(found, &IVexInterface::get_InterfaceType), VexInterfaceNetworkStack);

    Ref<IVexDeviceInfo> info;
    for (unsigned int i = 0; i < device_count(found.get()); ++i) {
        info = device_at(found.get(), i);
        if (serial_of(info.get()) == L"COM-TEST") {
            break;
        }
    }
    EXPECT_EQ(text_of(info, &IVexDeviceInfo::get_MACAddress), L"02:11:22:33:44:55");
    EXPECT_EQ(text_of(info, &IVexDeviceInfo::get_IPAddress), L"127.0.0.1");
    EXPECT_EQ(text_of(info, &IVexDeviceInfo::get_SubnetMask), L"255.0.0.0");
    EXPECT_EQ(text_of(info, &IVexDeviceInfo::get_DefaultGateway), L"0.0.0.0");
    EXPECT_EQ(text_of(info, &IVexDeviceInfo::get_Vendor), L"Raw Cameras");
    EXPECT_EQ(text_of(info, &IVexDeviceInfo::get_Model), L"Raw 1");
    EXPECT_EQ(text_of(info, &IVexDeviceInfo::get_ManufacturerInfo), L"made for tests");
    EXPECT_EQ(text_of(info, &IVexDeviceInfo::get_Version), L"1.2.3");
    EXPECT_NE(text_of(info, &IVexDeviceInfo::get_ID), L"");
    EXPECT_EQ(text_of(info, &IVexDeviceInfo::get_SerialNumber), L"COM-TEST");
    EXPECT_EQ(text_of(info, &IVexDeviceInfo::get_UserDefinedName), L"tested");
    EXPECT_EQ(value_of(info, &IVexDeviceInfo::get_AccessStatus), VexAccessOpen);
    EXPECT_EQ(value_of(info, &IVexDeviceInfo::get_ProtocolVersionMajor), 2U);
    EXPECT_EQ(value_of(info, &IVexDeviceInfo::get_ProtocolVersionMinor), 0U);
    // 1, not VARIANT_TRUE
    EXPECT_EQ(value_of(info, &IVexDeviceInfo::get_IsIPConfigurationValid), 1);
    EXPECT_EQ(value_of(info, &IVexDeviceInfo::get_DeviceClass), VexDeviceClassTransmitter);
}

TEST_F(System, TellsThatAnAddressDoesNotFitTheInterface)
{
    camera_.reset();
    auto options = camera_options();
    options.told_address = 0xC0A8FA01;  // 192.168.250.1
    options.mask = 0xFFFFFF00;
    camera_ = std::make_unique<device_test::RawCamera>(options);
    const VexResultCode searched = find();
    const auto found = interface_with_camera();
    camera_.reset();
    SetUpTestSuite();
    ASSERT_EQ(searched, VexOK);
    ASSERT_TRUE(found);
    const auto info = device_at(found.get(), 0);
    EXPECT_EQ(text_of(info, &IVexDeviceInfo::get_IPAddress), L"192.168.250.1");
    EXPECT_EQ(value_of(info, &IVexDeviceInfo::get_IsIPConfigurationValid), 0);
    EXPECT_EQ(value_of(info, &IVexDeviceInfo::get_AccessStatus), VexAccessUnknown);
}

TEST_F(System, GivesNullForAnIndexPastTheLast)
{
    ASSERT_EQ(find(), VexOK);
    EXPECT_GE(interface_count(), 1U);
    EXPECT_FALSE(interface_at(interface_count()));
    EXPECT_FALSE(interface_at(0xFFFFFFFF));
    const auto found = interface_at(0);
    EXPECT_FALSE(device_at(found.get(), device_count(found.get())));
}

TEST_F(System, HandsOutOneInterfaceObjectAgainAndAgain)
{
    ASSERT_EQ(find(), VexOK);
    const auto first = interface_at(0);
    const std::wstring first_id = text_of(first, &IVexInterface::get_ID);
    const unsigned int last = interface_count() - 1;
    const auto second = interface_at(last);
    EXPECT_EQ(first.get(), second.get());
    EXPECT_EQ(text_of(first, &IVexInterface::get_ID) == first_id, last == 0);
    // a null answer leaves the object as it is
    EXPECT_FALSE(interface_at(last + 1));
    EXPECT_NE(text_of(first, &IVexInterface::get_ID), L"");
}

TEST_F(System, InterfacesHandOutOneDeviceObjectAgainAndAgain)
{
    ASSERT_EQ(find(), VexOK);
    const auto found = interface_with_camera();
    ASSERT_TRUE(found);
    const auto device = device_at(found.get(), 0);
    EXPECT_EQ(device_at(found.get(), 0).get(), device.get());
    const auto its_interface = object_of(device, &IVexDeviceInfo::get_Interface);
    ASSERT_TRUE(its_interface);
    // shown by an object of the device information's own
    EXPECT_NE(its_interface.get(), found.get());
    EXPECT_EQ(text_of(its_interface, &IVexInterface::get_ID), text_of(found, &IVexInterface::get_ID));
    EXPECT_EQ(object_of(device, &IVexDeviceInfo::get_Interface).get(), its_interface.get());
}

TEST_F(System, TheOneDeviceObjectShowsWhatTheLastSearchFound)
{
    ASSERT_EQ(find(), VexOK);
    const auto found = interface_with_camera();
    ASSERT_TRUE(found);
    const auto device = device_at(found.get(), 0);
    camera_.reset();
    auto options = camera_options();
    options.serial = "ANOTHER";
    options.mac.back() = 0x56;
    camera_ = std::make_unique<device_test::RawCamera>(options);
    const VexResultCode searched = code_of([&](IVexResult** result) { return found->Find(result); });
    camera_.reset();
    SetUpTestSuite();
    ASSERT_EQ(searched, VexOK);
    ASSERT_EQ(device_count(found.get()), 1U);
    EXPECT_EQ(device_at(found.get(), 0).get(), device.get());
    EXPECT_EQ(serial_of(device.get()), L"ANOTHER");
}

TEST_F(System, AnInterfaceSearchesByItself)
{
    ASSERT_EQ(find(), VexOK);
    const auto found = interface_with_camera();
    ASSERT_TRUE(found);
    EXPECT_EQ(code_of([&](IVexResult** result) { return found->Find(result); }), VexOK);
    EXPECT_GE(device_count(found.get()), 1U);
}

TEST_F(System, AChildOutlivesItsSystemAsAnObject)
{
    ASSERT_EQ(find(), VexOK);
    const auto found = interface_with_camera();
    ASSERT_TRUE(found);
    const auto device = device_at(found.get(), 0);
    system = {};
    EXPECT_EQ(references(found.get()), 1U);
    EXPECT_EQ(references(device.get()), 2U);  // the interface's and this one
}

/// What one sink saw of one event.
struct Seen {
    int sink;
    IDispatch* found_on;
    IDispatch* device;
    VARIANT_BOOL ignore;
};

class SystemEvents : public System {
protected:
    /// A connected sink that answers `answer` where that is not 2.
    [[nodiscard]] Ref<Sink> connected(int name, VARIANT_BOOL answer)
    {
        return Sink::create(system_events, [this, name, answer](DISPID event, const DISPPARAMS& parameters) {
            EXPECT_EQ(event, 1);
            EXPECT_EQ(parameters.cArgs, 3U);
            EXPECT_EQ(parameters.rgvarg[2].vt, VT_DISPATCH);
            EXPECT_EQ(parameters.rgvarg[1].vt, VT_DISPATCH);
            EXPECT_EQ(parameters.rgvarg[0].vt, VT_BYREF | VT_BOOL);
            note(name, parameters.rgvarg[2].pdispVal, parameters.rgvarg[1].pdispVal, parameters.rgvarg[0].pboolVal,
                 answer);
            return S_OK;
        });
    }
    [[nodiscard]] SystemSink registered(int name, VARIANT_BOOL answer)
    {
        return SystemSink([this, name, answer](IVexInterface* found_on, IVexDeviceInfo* device, VARIANT_BOOL* ignore) {
            note(name, found_on, device, ignore, answer);
        });
    }
    void note(int name, IDispatch* found_on, IDispatch* device, VARIANT_BOOL* ignore, VARIANT_BOOL answer)
    {
        const auto info = query<IVexDeviceInfo>(device);
        if (!info || serial_of(info.get()) != L"COM-TEST") {
            return;  // another camera that happens to run
        }
        seen.push_back({name, found_on, device, *ignore});
        if (answer != leave) {
            *ignore = answer;
        }
    }

    static constexpr VARIANT_BOOL leave = 2;
    std::vector<Seen> seen;
};

TEST_F(SystemEvents, ReachConnectedSinksInOrderThenTheRegisteredOne)
{
    const auto first = connected(1, leave);
    const auto second = connected(2, leave);
    SystemSink third = registered(3, leave);
    ASSERT_NE(advise(system.get(), system_events, first.get()), 0U);
    ASSERT_NE(advise(system.get(), system_events, second.get()), 0U);
    EXPECT_EQ(system->RegisterEventSink(&third), S_OK);
    EXPECT_EQ(third.references(), 1U);
    ASSERT_EQ(find(), VexOK);

    ASSERT_EQ(seen.size() % 3, 0U);
    ASSERT_GE(seen.size(), 3U);
    for (std::size_t i = 0; i < seen.size(); ++i) {
        EXPECT_EQ(seen[i].sink, static_cast<int>(i % 3) + 1);
        EXPECT_EQ(seen[i].ignore, VARIANT_FALSE);
        EXPECT_EQ(seen[i].found_on, seen[0].found_on);
        EXPECT_EQ(seen[i].device, seen[0].device);
    }
    EXPECT_TRUE(interface_with_camera());
}

TEST_F(SystemEvents, ShowTheDeviceAndItsInterface)
{
    std::wstring serial;
    std::wstring ip;
    SystemSink sink([&](IVexInterface* found_on, IVexDeviceInfo* device, VARIANT_BOOL*) {
        serial = serial_of(device);
        ip = text_of(found_on, &IVexInterface::get_IPAddress);
    });
    EXPECT_EQ(system->RegisterEventSink(&sink), S_OK);
    ASSERT_EQ(find(), VexOK);
    EXPECT_EQ(serial, L"COM-TEST");
    EXPECT_EQ(ip, L"127.0.0.1");
}

TEST_F(SystemEvents, ShowTheSameTwoObjectsEachTime)
{
    SystemSink sink = registered(1, leave);
    EXPECT_EQ(system->RegisterEventSink(&sink), S_OK);
    ASSERT_EQ(find(), VexOK);
    ASSERT_EQ(find(), VexOK);
    ASSERT_GE(seen.size(), 2U);
    EXPECT_EQ(seen.front().found_on, seen.back().found_on);
    EXPECT_EQ(seen.front().device, seen.back().device);
    // which are not those that GetInterface and GetDeviceInfo hand out
    const auto found = interface_with_camera();
    ASSERT_TRUE(found);
    EXPECT_NE(static_cast<IDispatch*>(found.get()), seen.front().found_on);
    EXPECT_NE(static_cast<IDispatch*>(device_at(found.get(), 0).get()), seen.front().device);
}

TEST_F(SystemEvents, LetASinkIgnoreTheDevice)
{
    const auto sink = connected(1, VARIANT_TRUE);
    ASSERT_NE(advise(system.get(), system_events, sink.get()), 0U);
    ASSERT_EQ(find(), VexOK);
    EXPECT_FALSE(interface_with_camera());
}

TEST_F(SystemEvents, CountAnyAnswerButZeroAsIgnore)
{
    SystemSink sink = registered(1, 1);
    EXPECT_EQ(system->RegisterEventSink(&sink), S_OK);
    ASSERT_EQ(find(), VexOK);
    EXPECT_FALSE(interface_with_camera());
}

TEST_F(SystemEvents, TheRegisteredSinkSeesTheOthersAnswerAndHasTheLastWord)
{
    const auto first = connected(1, VARIANT_TRUE);
    const auto second = connected(2, leave);
    SystemSink third = registered(3, VARIANT_FALSE);
    ASSERT_NE(advise(system.get(), system_events, first.get()), 0U);
    ASSERT_NE(advise(system.get(), system_events, second.get()), 0U);
    EXPECT_EQ(system->RegisterEventSink(&third), S_OK);
    ASSERT_EQ(find(), VexOK);
    ASSERT_GE(seen.size(), 3U);
    EXPECT_EQ(seen[0].ignore, VARIANT_FALSE);
    EXPECT_EQ(seen[1].ignore, VARIANT_TRUE);
    EXPECT_EQ(seen[2].ignore, VARIANT_TRUE);
    EXPECT_TRUE(interface_with_camera());
}

TEST_F(SystemEvents, UnregisteringWithAnyArgumentRemovesTheSink)
{
    SystemSink sink = registered(1, leave);
    SystemSink another = registered(2, leave);
    EXPECT_EQ(system->RegisterEventSink(&sink), S_OK);
    EXPECT_EQ(system->UnregisterEventSink(&another), S_OK);
    ASSERT_EQ(find(), VexOK);
    EXPECT_TRUE(seen.empty());
    EXPECT_EQ(system->RegisterEventSink(&sink), S_OK);
    EXPECT_EQ(system->RegisterEventSink(&another), S_OK);
    ASSERT_EQ(find(), VexOK);
    ASSERT_FALSE(seen.empty());
    EXPECT_EQ(seen.front().sink, 2);
    EXPECT_EQ(system->UnregisterEventSink(nullptr), S_OK);
    EXPECT_EQ(sink.references(), 1U);
}

TEST_F(SystemEvents, AnInterfacesSearchReportsToTheSystemsSinks)
{
    ASSERT_EQ(find(), VexOK);
    const auto found = interface_with_camera();
    ASSERT_TRUE(found);
    const auto sink = connected(1, leave);
    ASSERT_NE(advise(system.get(), system_events, sink.get()), 0U);
    EXPECT_EQ(code_of([&](IVexResult** result) { return found->Find(result); }), VexOK);
    EXPECT_FALSE(seen.empty());
}

TEST_F(System, WorksLateBound)
{
    LateBound script(system.get());
    ASSERT_EQ(script.put(L"DetectionTimeout", Variant(350)), S_OK);
    Variant value;
    ASSERT_EQ(script.get(L"DetectionTimeout", value), S_OK);
    EXPECT_EQ(value.text(), L"350");
    ASSERT_EQ(script.call(L"Find", {}, &value), S_OK);
    ASSERT_EQ(value.type(), VT_DISPATCH);
    LateBound result(value->pdispVal);
    ASSERT_EQ(result.get(L"IsOK", value), S_OK);
    EXPECT_EQ(value->boolVal, 1);

    bool found_camera = false;
    const unsigned int count = interface_count();
    for (unsigned int i = 0; i < count && !found_camera; ++i) {
        Variant found;
        ASSERT_EQ(script.call(L"GetInterface", {Variant(i)}, &found), S_OK);
        LateBound interface_script(found->pdispVal);
        ASSERT_EQ(interface_script.get(L"DeviceCount", value), S_OK);
        const unsigned int devices = value->ulVal;
        for (unsigned int d = 0; d < devices && !found_camera; ++d) {
            Variant info;
            ASSERT_EQ(interface_script.call(L"GetDeviceInfo", {Variant(static_cast<int>(d))}, &info), S_OK);
            LateBound info_script(info->pdispVal);
            ASSERT_EQ(info_script.get(L"SerialNumber", value), S_OK);
            found_camera = value.text() == L"COM-TEST";
            ASSERT_EQ(info_script.get(L"IsIPConfigurationValid", value), S_OK);
            EXPECT_EQ(value.type(), VT_BOOL);
            ASSERT_EQ(info_script.get(L"AccessStatus", value), S_OK);
            EXPECT_EQ(value.text(), L"0");
        }
    }
    EXPECT_TRUE(found_camera);
    Variant none;
    ASSERT_EQ(script.call(L"GetInterface", {Variant(static_cast<int>(count))}, &none), S_OK);
    EXPECT_EQ(none.type(), VT_DISPATCH);
    EXPECT_EQ(none->pdispVal, nullptr);
}

TEST_F(System, InterfacesAndDeviceInformationCanBeCreatedAndShowNothing)
{
    const auto found =
        create<IVexInterface>(CLSID{0x58A57250, 0x18B4, 0x4F0C, {0xAB, 0xC3, 0xE3, 0x34, 0xAA, 0x4A, 0xC1, 0xCB}});
    const auto info =
        create<IVexDeviceInfo>(CLSID{0x9422D4B3, 0x81B0, 0x4C0B, {0xB5, 0x6B, 0x4F, 0x38, 0xEC, 0x47, 0xDA, 0x69}});
    ASSERT_TRUE(found);
    ASSERT_TRUE(info);
    BSTR text = nullptr;
    EXPECT_EQ(found->get_ID(&text), E_POINTER);
    EXPECT_EQ(info->get_ID(&text), E_POINTER);
}

using ConnectDeviceInfo = System;

TEST_F(ConnectDeviceInfo, ConnectsToTheDeviceThatWasFound)
{
    const auto device = create<IVexDevice>(L"VexKamCOMWrapper.VexDevice.1");
    ASSERT_EQ(find(), VexOK);
    const auto found = interface_with_camera();
    ASSERT_TRUE(found);
    const auto info = device_at(found.get(), 0);
    EXPECT_EQ(
        code_of([&](IVexResult** result) { return device->ConnectDeviceInfo(info.get(), VexAccessControl, result); }),
        VexOK);
    EXPECT_EQ(value_of(device, &IVexDevice::get_IsConnected), 1);
    // the information says the same as before: it is of the time of the search
    EXPECT_EQ(value_of(info, &IVexDeviceInfo::get_AccessStatus), VexAccessOpen);
    EXPECT_EQ(code_of([&](IVexResult** result) { return device->Disconnect(result); }), VexOK);
}

}  // namespace
