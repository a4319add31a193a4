// Searching for devices.
#include <chrono>

#include "sdk/net/interfaces.h"
#include "tests/sdk/device/system_fixture.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;
using namespace device_test;

TEST_F(SystemTest, IsEmptyBeforeTheFirstSearch)
{
    EXPECT_EQ(system.GetInterfaceCount(), 0U);
    EXPECT_EQ(system.GetInterface(0), nullptr);
    EXPECT_EQ(PvSystem().GetDetectionTimeout(), 1000U);
    EXPECT_EQ(system.GetProtocolVersionMajor(), 2U);
}

TEST(System, ListsTheHostsInterfaces)
{
    PvSystem system;
    system.SetDetectionTimeout(1);
    EXPECT_TRUE(system.Find().IsOK());
    const auto expected = net::list_interfaces();
    ASSERT_EQ(system.GetInterfaceCount(), expected.size());
    EXPECT_EQ(system.GetInterface(system.GetInterfaceCount()), nullptr);
    for (std::uint32_t i = 0; i < expected.size(); ++i) {
        const PvInterface& interface = *system.GetInterface(i);
        EXPECT_EQ(interface.GetIPAddress().str(), expected[i].address.to_string());
        EXPECT_EQ(interface.GetSubnetMask().str(), expected[i].mask.to_string());
        EXPECT_EQ(interface.GetDefaultGateway().str(), expected[i].gateway.to_string());
        EXPECT_EQ(interface.GetMACAddress().str(), expected[i].mac.to_string());
        EXPECT_EQ(interface.GetDescription().str(), expected[i].description);
        EXPECT_EQ(interface.GetType(), PvInterfaceNetworkStack);
        for (std::uint32_t j = 0; j < i; ++j) {
            EXPECT_NE(interface.GetID(), system.GetInterface(j)->GetID());
        }
    }
}

TEST_F(SystemTest, TellsWhatACameraSaysOfItself)
{
    auto options = options_at(first_address);
    options.name = "front door, left";  // fills its field without a terminating zero
    add(options);
    ASSERT_TRUE(system.Find().IsOK());
    ASSERT_NE(wire_of(system), nullptr);
    const PvDeviceInfo* info = find_by_mac(*wire_of(system), first_mac);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->GetIPAddress().str(), ScriptedNetwork::at(first_address).to_string());
    EXPECT_EQ(info->GetSubnetMask().str(), "255.255.255.0");
    EXPECT_EQ(info->GetDefaultGateway().str(), "0.0.0.0");
    EXPECT_EQ(info->GetVendor().str(), "Raw Cameras");
    EXPECT_EQ(info->GetModel().str(), "Raw 1");
    EXPECT_EQ(info->GetVersion().str(), "1.2.3");
    EXPECT_EQ(info->GetManufacturerInfo().str(), "made for tests");
    EXPECT_EQ(info->GetSerialNumber().str(), "RAW-1");
    EXPECT_EQ(info->GetUserDefinedName().str(), "front door, left");
    EXPECT_EQ(info->GetID().str(), first_mac);
    EXPECT_EQ(info->GetProtocolVersionMajor(), 2U);
    EXPECT_EQ(info->GetProtocolVersionMinor(), 0U);
    EXPECT_EQ(info->GetClass(), PvDeviceClassTransmitter);
    EXPECT_EQ(info->GetAccessStatus(), PvAccessOpen);
    EXPECT_TRUE(info->IsIPConfigurationValid());
    EXPECT_EQ(info->GetInterface(), wire_of(system));
}

TEST_F(SystemTest, ReadsTheClassFromTheDeviceMode)
{
    const std::pair<std::uint32_t, PvDeviceClass> cases[] = {{0x90000001, PvDeviceClassReceiver},
                                                             {0xA0000001, PvDeviceClassTransceiver},
                                                             {0xB0000001, PvDeviceClassPeripheral},
                                                             {0xF0000001, PvDeviceClassUnknown}};
    for (const auto& [mode, expected] : cases) {
        auto options = options_at(first_address);
        options.mode = mode;
        network.detach_all();
        add(options);
        ASSERT_TRUE(system.Find().IsOK());
        ASSERT_NE(find_by_mac(*wire_of(system), first_mac), nullptr);
        EXPECT_EQ(find_by_mac(*wire_of(system), first_mac)->GetClass(), expected);
    }
}

TEST_F(SystemTest, TellsWhoControlsACamera)
{
    RawDevice& camera = add(options_at(first_address));
    const std::pair<std::uint32_t, PvAccessType> cases[] = {
        {2, PvAccessControl}, {1, PvAccessExclusive}, {3, PvAccessExclusive}, {0, PvAccessOpen}};
    for (const auto& [privilege, expected] : cases) {
        camera.set_control(privilege, {{0x7F000001}, 1});
        ASSERT_TRUE(system.Find().IsOK());
        ASSERT_NE(find_by_mac(*wire_of(system), first_mac), nullptr);
        EXPECT_EQ(find_by_mac(*wire_of(system), first_mac)->GetAccessStatus(), expected);
    }
}

TEST_F(SystemTest, FindsACameraThatDoesNotTellWhoControlsIt)
{
    RawDevice& camera = add(options_at(first_address));
    camera.intercept([](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        if (request[3] == 0x80) {
            return std::vector<Bytes>{};
        }
        return std::nullopt;
    });
    ASSERT_TRUE(system.Find().IsOK());
    ASSERT_NE(find_by_mac(*wire_of(system), first_mac), nullptr);
    EXPECT_EQ(find_by_mac(*wire_of(system), first_mac)->GetAccessStatus(), PvAccessUnknown);
    EXPECT_GE(camera.count(0x0080), 2);
}

TEST_F(SystemTest, ListsACameraOnceHoweverOftenItAnswers)
{
    RawDevice& camera = add(options_at(first_address));
    camera.intercept([&](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        if (request[3] != 0x02) {
            return std::nullopt;
        }
        const Bytes reply = RawDevice::ack(request, 0, camera.discovery_payload());
        return std::vector<Bytes>{reply, reply, reply};
    });
    Sink sink;
    system.RegisterEventSink(&sink);
    ASSERT_TRUE(system.Find().IsOK());
    EXPECT_EQ(std::count(sink.seen.begin(), sink.seen.end(), first_mac), 1);
}

TEST_F(SystemTest, TellsCamerasWithoutMacAddressApartByTheirIpAddress)
{
    auto first = options_at(first_address);
    auto second = options_at(second_address);
    first.mac = second.mac = Bytes(6, 0);
    first.version = second.version = 0;
    first.mask = second.mask = 0;
    add(first);
    add(second);
    ASSERT_TRUE(system.Find().IsOK());
    int found = 0;
    const PvInterface& wire = *wire_of(system);
    for (std::uint32_t i = 0; i < wire.GetDeviceCount(); ++i) {
        const PvDeviceInfo& info = *wire.GetDeviceInfo(i);
        if (info.GetMACAddress().str() != "00:00:00:00:00:00") {
            continue;
        }
        found += info.GetID() == info.GetIPAddress() ? 1 : 0;
        EXPECT_TRUE(info.IsIPConfigurationValid());
    }
    EXPECT_EQ(found, 2);
}

TEST_F(SystemTest, ShowsACameraOfAnotherSubnetAsMisconfigured)
{
    auto options = options_at(first_address);
    options.told_address = 0xC0A8FA01;  // 192.168.250.1
    options.mask = 0xFFFFFF00;
    add(options);
    ASSERT_TRUE(system.Find().IsOK());
    const PvDeviceInfo* info = find_by_mac(*wire_of(system), first_mac);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->GetIPAddress().str(), "192.168.250.1");
    EXPECT_FALSE(info->IsIPConfigurationValid());
    EXPECT_EQ(info->GetAccessStatus(), PvAccessUnknown);
}

TEST_F(SystemTest, TellsTheSinkOnTheCallersThreadAndDropsWhatItIgnores)
{
    add(options_at(first_address));
    add(options_at(second_address));
    Sink sink;
    sink.ignore = first_mac;
    EXPECT_TRUE(system.RegisterEventSink(&sink).IsOK());
    ASSERT_TRUE(system.Find().IsOK());
    EXPECT_EQ(sink.thread, std::this_thread::get_id());
    EXPECT_EQ(std::count(sink.seen.begin(), sink.seen.end(), first_mac), 1);
    EXPECT_EQ(std::count(sink.seen.begin(), sink.seen.end(), second_mac), 1);
    EXPECT_EQ(find_by_mac(*wire_of(system), first_mac), nullptr);
    EXPECT_NE(find_by_mac(*wire_of(system), second_mac), nullptr);
}

TEST_F(SystemTest, GoesOnWhenASinkThrows)
{
    add(options_at(first_address));
    Sink sink;
    sink.throwing = true;
    system.RegisterEventSink(&sink);
    EXPECT_TRUE(system.Find().IsOK());
    EXPECT_NE(find_by_mac(*wire_of(system), first_mac), nullptr);
}

TEST_F(SystemTest, KeepsSinksApart)
{
    Sink sink;
    EXPECT_EQ(system.RegisterEventSink(nullptr).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(system.UnregisterEventSink(&sink).GetCode(), PvResult::NotFound);
    EXPECT_TRUE(system.RegisterEventSink(&sink).IsOK());
    EXPECT_EQ(system.RegisterEventSink(&sink).GetCode(), PvResult::StateError);
    EXPECT_TRUE(system.UnregisterEventSink(&sink).IsOK());
    add(options_at(first_address));
    EXPECT_TRUE(system.Find().IsOK());
    EXPECT_TRUE(sink.seen.empty());
}

TEST_F(SystemTest, PassesOverASinkThatAnotherHasUnregistered)
{
    struct Unregistering : PvSystemEventSink {
        void OnDeviceFound(PvInterface*, PvDeviceInfo*, bool&) override { system->UnregisterEventSink(other); }
        PvSystem* system = nullptr;
        PvSystemEventSink* other = nullptr;
    } sink;
    Sink unregistered;
    Sink last;
    sink.system = &system;
    sink.other = &unregistered;
    EXPECT_TRUE(system.RegisterEventSink(&sink).IsOK());
    EXPECT_TRUE(system.RegisterEventSink(&unregistered).IsOK());
    EXPECT_TRUE(system.RegisterEventSink(&last).IsOK());
    add(options_at(first_address));
    ASSERT_TRUE(system.Find().IsOK());
    EXPECT_TRUE(unregistered.seen.empty());
    EXPECT_EQ(last.seen, std::vector<std::string>{first_mac});
}

TEST_F(SystemTest, RefusesASearchWithinASearch)
{
    struct Searching : PvSystemEventSink {
        explicit Searching(PvSystem& its_system) : system(its_system) {}
        void OnDeviceFound(PvInterface* aInterface, PvDeviceInfo*, bool&) override
        {
            codes.push_back(system.Find().GetCode());
            codes.push_back(aInterface->Find().GetCode());
        }
        PvSystem& system;
        std::vector<PvResult::Code> codes;
    } sink(system);
    add(options_at(first_address));
    system.RegisterEventSink(&sink);
    EXPECT_TRUE(system.Find().IsOK());
    ASSERT_GE(sink.codes.size(), 2U);
    for (const PvResult::Code code : sink.codes) {
        EXPECT_EQ(code, PvResult::StateError);
    }
    EXPECT_NE(find_by_mac(*wire_of(system), first_mac), nullptr);
}

TEST_F(SystemTest, WhatItFoundOutlivesIt)
{
    add(options_at(first_address));
    std::shared_ptr<PvDeviceInfo> info;
    std::shared_ptr<PvInterface> interface;
    {
        ScriptedSystem another(network);
        another.SetDetectionTimeout(300);
        Sink sink;
        another.RegisterEventSink(&sink);
        ASSERT_TRUE(another.Find().IsOK());
        ASSERT_NE(find_by_mac(*wire_of(another), first_mac), nullptr);
        info = find_by_mac(*wire_of(another), first_mac)->shared();
        interface = info->GetInterface()->shared();
    }
    EXPECT_EQ(info->GetModel().str(), "Raw 1");
    EXPECT_EQ(info->GetInterface(), interface.get());
    EXPECT_EQ(interface->GetIPAddress().str(), "192.168.10.5");
    EXPECT_TRUE(interface->Find().IsOK()) << "and without the sinks of the system";
    EXPECT_EQ(find_by_mac(*interface, first_mac), info.get());
    interface.reset();
    EXPECT_EQ(info->GetInterface(), nullptr);
    EXPECT_EQ(info->GetSerialNumber().str(), "RAW-1");
}

TEST_F(SystemTest, MayBeDestroyedByASinkInItsSearch)
{
    struct Destroying : PvSystemEventSink {
        void OnDeviceFound(PvInterface* aInterface, PvDeviceInfo* aDeviceInfo, bool&) override
        {
            system.reset();
            EXPECT_EQ(aDeviceInfo->GetInterface(), aInterface);
            EXPECT_EQ(aInterface->GetIPAddress().str(), "192.168.10.5");
            ++told;
        }
        std::unique_ptr<PvSystem> system;
        int told = 0;
    } sink;
    sink.system = std::make_unique<ScriptedSystem>(network);
    Sink later;
    add(options_at(first_address));
    sink.system->SetDetectionTimeout(300);
    sink.system->RegisterEventSink(&sink);
    sink.system->RegisterEventSink(&later);
    EXPECT_TRUE(sink.system->Find().IsOK());
    EXPECT_EQ(sink.told, 1);
    EXPECT_TRUE(later.seen.empty());
}

TEST_F(SystemTest, SearchesOneInterfaceAlone)
{
    RawDevice& camera = add(options_at(first_address));
    camera.mute(true);
    Sink sink;
    system.RegisterEventSink(&sink);
    ASSERT_TRUE(system.Find().IsOK());
    PvInterface* wire = wire_of(system);
    EXPECT_EQ(find_by_mac(*wire, first_mac), nullptr);
    camera.mute(false);
    EXPECT_TRUE(wire->Find().IsOK());
    EXPECT_NE(find_by_mac(*wire, first_mac), nullptr);
    EXPECT_EQ(std::count(sink.seen.begin(), sink.seen.end(), first_mac), 1);
}

TEST_F(SystemTest, DropsMalformedAnswersAndCountsThem)
{
    RawDevice& camera = add(options_at(first_address));
    camera.intercept([&](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        if (request[3] != 0x02) {
            return std::nullopt;
        }
        Bytes good = RawDevice::ack(request, 0, camera.discovery_payload());
        Bytes cut(good.begin(), good.begin() + 100);                  // says 248 bytes and has fewer
        Bytes too_short = RawDevice::ack(request, 0, Bytes(247, 0));  // one byte less than the least
        return std::vector<Bytes>{cut, too_short, {0x00}, good};
    });
    ASSERT_TRUE(system.Find().IsOK());
    EXPECT_NE(find_by_mac(*wire_of(system), first_mac), nullptr);
    const std::uint64_t once = system.GetMalformedPacketCount();
    EXPECT_GE(once, 3U);
    ASSERT_TRUE(system.Find().IsOK());
    EXPECT_EQ(system.GetMalformedPacketCount(), 2 * once) << "those of all searches";
}

TEST_F(SystemTest, SearchesAllInterfacesWithinOneTimeout)
{
    auto other = network.hosts[0];
    other.id = "eth1";
    other.address = {0xC0A80B05};
    network.hosts.push_back(other);
    add(options_at(first_address));
    RawDevice second(options_at(second_address));
    network.attach(second, 1);
    const auto begin = network.time.now();
    ASSERT_TRUE(system.Find().IsOK());
    EXPECT_EQ(network.time.now() - begin, 300ms);
    EXPECT_NE(find_by_mac(*system.GetInterface(0), first_mac), nullptr);
    EXPECT_NE(find_by_mac(*system.GetInterface(1), second_mac), nullptr);
}

TEST_F(SystemTest, HearsBroadcastAnswersUntilToldNotTo)
{
    int allowed = 0;
    add(options_at(first_address)).intercept([&](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        allowed += request[3] == 0x02 && (request[1] & 0x10) != 0 ? 1 : 0;
        return std::nullopt;
    });
    EXPECT_TRUE(system.GetBroadcastAcknowledge());
    ASSERT_TRUE(system.Find().IsOK());
    EXPECT_TRUE(network.broadcasts_wanted);
    EXPECT_GT(allowed, 0);
    allowed = 0;
    system.SetBroadcastAcknowledge(false);
    ASSERT_TRUE(system.Find().IsOK());
    EXPECT_FALSE(network.broadcasts_wanted);
    EXPECT_EQ(allowed, 0);
}

TEST_F(SystemTest, SearchesTheInterfacesThatItCan)
{
    auto other = network.hosts[0];
    other.id = "eth1";
    other.address = {0xC0A80B05};
    network.hosts.push_back(other);
    add(options_at(first_address));
    network.without_port = {1};
    EXPECT_TRUE(system.Find().IsOK());
    EXPECT_NE(find_by_mac(*wire_of(system), first_mac), nullptr);
    network.unsendable = {0};
    const PvResult result = system.Find();
    EXPECT_EQ(result.GetCode(), PvResult::NetworkError);
    EXPECT_NE(result.description().find("eth0@192.168.10.5"), std::string::npos) << result.description();
    EXPECT_NE(result.description().find("eth1@192.168.11.5: no port"), std::string::npos) << result.description();
}

}  // namespace
