// What clients keep of a search, or let go while they are told of it.
#include <vector>

#include "tests/com/devices/system_client.h"

namespace {

using namespace client;

class SearchLifetime : public System {
protected:
    /// What a script's function returns that has the system in a variable of its own.
    Ref<IVexDeviceInfo> found_by_a_system_of_its_own()
    {
        EXPECT_EQ(find(), VexOK);
        const auto found = interface_with_camera();
        EXPECT_TRUE(found);
        auto info = found ? device_at(found.get(), 0) : Ref<IVexDeviceInfo>();
        system.reset();
        return info;
    }

    /// Memory that was given back is handed out again, and shows then if somebody still reads it.
    void search_again_elsewhere()
    {
        const auto another = create<IVexSystem>(L"VexKamCOMWrapper.VexSystem.1");
        EXPECT_EQ(another->put_DetectionTimeout(100), S_OK);
        EXPECT_EQ(code_of([&](IVexResult** result) { return another->Find(result); }), VexOK);
    }

    static void expect_all_told(IVexDeviceInfo* info)
    {
        EXPECT_EQ(serial_of(info), L"COM-TEST");
        EXPECT_EQ(text_of(info, &IVexDeviceInfo::get_MACAddress), L"02:11:22:33:44:55");
        EXPECT_EQ(text_of(info, &IVexDeviceInfo::get_Vendor), L"Raw Cameras");
        EXPECT_EQ(value_of(info, &IVexDeviceInfo::get_IsIPConfigurationValid), 1);
        const auto host = object_of(info, &IVexDeviceInfo::get_Interface);
        ASSERT_TRUE(host);
        EXPECT_EQ(text_of(host, &IVexInterface::get_IPAddress), L"127.0.0.1");
    }

    static void expect_connects(IVexDeviceInfo* info)
    {
        const auto device = create<IVexDevice>(L"VexKamCOMWrapper.VexDevice.1");
        EXPECT_EQ(
            code_of([&](IVexResult** result) { return device->ConnectDeviceInfo(info, VexAccessControl, result); }),
            VexOK);
        EXPECT_EQ(code_of([&](IVexResult** result) { return device->Disconnect(result); }), VexOK);
    }
};

TEST_F(SearchLifetime, ADevicesInformationOutlivesItsSystem)
{
    const auto info = found_by_a_system_of_its_own();
    ASSERT_TRUE(info);
    search_again_elsewhere();
    expect_all_told(info.get());
    expect_connects(info.get());
}

TEST_F(SearchLifetime, AnInterfaceOutlivesItsSystemAndSearchesOn)
{
    ASSERT_EQ(find(), VexOK);
    const auto found = interface_with_camera();
    ASSERT_TRUE(found);
    SystemSink sink([](IVexInterface*, IVexDeviceInfo*, VARIANT_BOOL*) { ADD_FAILURE() << "the system is gone"; });
    EXPECT_EQ(system->RegisterEventSink(&sink), S_OK);
    system.reset();
    search_again_elsewhere();
    EXPECT_EQ(text_of(found, &IVexInterface::get_IPAddress), L"127.0.0.1");
    ASSERT_EQ(device_count(found.get()), 1U);
    expect_all_told(device_at(found.get(), 0).get());
    EXPECT_EQ(code_of([&](IVexResult** result) { return found->Find(result); }), VexOK);
    ASSERT_EQ(device_count(found.get()), 1U);
    expect_all_told(device_at(found.get(), 0).get());
}

TEST_F(SearchLifetime, WhatAnEventShowedOutlivesTheSystem)
{
    Ref<IVexInterface> shown_interface;
    Ref<IVexDeviceInfo> shown;
    SystemSink sink([&](IVexInterface* found_on, IVexDeviceInfo* device, VARIANT_BOOL*) {
        shown_interface = Ref(found_on);
        shown = Ref(device);
    });
    EXPECT_EQ(system->RegisterEventSink(&sink), S_OK);
    ASSERT_EQ(find(), VexOK);
    system.reset();
    search_again_elsewhere();
    ASSERT_TRUE(shown);
    expect_all_told(shown.get());
    EXPECT_EQ(text_of(shown_interface, &IVexInterface::get_IPAddress), L"127.0.0.1");
    expect_connects(shown.get());
}

TEST_F(SearchLifetime, AConnectedSinkMayLetGoOfTheSystemInTheSearch)
{
    int told = 0;
    const auto letting_go = Sink::create(system_events, [&](DISPID, const DISPPARAMS&) {
        ++told;
        system.reset();
        return S_OK;
    });
    const auto second = Sink::create(system_events, [&](DISPID, const DISPPARAMS&) {
        ++told;
        return S_OK;
    });
    SystemSink third([&](IVexInterface*, IVexDeviceInfo* device, VARIANT_BOOL*) {
        ++told;
        expect_all_told(device);
    });
    ASSERT_NE(advise(system.get(), system_events, letting_go.get()), 0U);
    ASSERT_NE(advise(system.get(), system_events, second.get()), 0U);
    EXPECT_EQ(system->RegisterEventSink(&third), S_OK);
    EXPECT_EQ(find(), VexOK);
    EXPECT_FALSE(system);
    EXPECT_EQ(told, 3) << "the others of the event are told all the same";
    EXPECT_EQ(second->references(), 1U);
}

TEST_F(SearchLifetime, TheRegisteredSinkMayLetGoOfTheSystemInTheSearch)
{
    SystemSink sink([&](IVexInterface*, IVexDeviceInfo* device, VARIANT_BOOL*) {
        system.reset();
        search_again_elsewhere();
        expect_all_told(device);
    });
    EXPECT_EQ(system->RegisterEventSink(&sink), S_OK);
    EXPECT_EQ(find(), VexOK);
    EXPECT_FALSE(system);
}

TEST_F(SearchLifetime, ASinkMayLetGoOfAllInASearchOfOneInterface)
{
    ASSERT_EQ(find(), VexOK);
    auto found = interface_with_camera();
    ASSERT_TRUE(found);
    SystemSink sink([&](IVexInterface*, IVexDeviceInfo*, VARIANT_BOOL*) {
        found.reset();
        system.reset();
        search_again_elsewhere();
    });
    EXPECT_EQ(system->RegisterEventSink(&sink), S_OK);
    IVexInterface* const searching = found.get();
    EXPECT_EQ(code_of([&](IVexResult** result) { return searching->Find(result); }), VexOK);
    EXPECT_FALSE(found);
}

}  // namespace
