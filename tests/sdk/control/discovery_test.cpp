// A search for devices, with its time and its datagrams in the hands of the test.
#include "sdk/control/discovery.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "tests/sdk/control/scripted_network.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;
using device_test::Bytes;

constexpr Ipv4Address ip(unsigned a, unsigned b, unsigned c, unsigned d) { return {a << 24 | b << 16 | c << 8 | d}; }

TEST(IsReachable, ByTheMasksOfBothEnds)
{
    const net::Interface host{"eth0", "", ip(192, 168, 1, 5), ip(255, 255, 0, 0), {}, {}, 1500, false};
    wire::gvcp::DiscoveryAcknowledge facts;
    facts.address = ip(192, 168, 2, 9);
    facts.mask = ip(255, 255, 0, 0);
    EXPECT_TRUE(control::is_reachable(host, facts));
    // its answers to 192.168.1.5 would go to a router
    facts.mask = ip(255, 255, 255, 0);
    EXPECT_FALSE(control::is_reachable(host, facts));
    // it does not tell
    facts.mask = {};
    EXPECT_TRUE(control::is_reachable(host, facts));
    facts.address = ip(192, 169, 2, 9);
    EXPECT_FALSE(control::is_reachable(host, facts));
    facts.address = {};
    EXPECT_FALSE(control::is_reachable(host, facts));
}

Bytes discovery_acknowledge(std::uint8_t last_of_mac)
{
    Bytes bytes = device_test::hex("0000 0003 00F8 0001");
    bytes.resize(8 + 248);
    bytes[8 + 15] = last_of_mac;
    return bytes;
}

TEST(DiscoveryTime, TellsNoDeviceThatAnswersAfterItsEnd)
{
    device_test::ScriptedNetwork network;
    control::DiscoveryOptions options;
    options.timeout = 1000ms;
    options.access_status = false;
    control::Discovery discovery(network.hosts, options, network);
    std::vector<std::uint8_t> told;
    const auto on_found = [&](const control::FoundDevice& found) {
        told.push_back(found.facts.mac.bytes[5]);
        return true;
    };
    network.time.advance(999ms);
    discovery.handle(0, discovery_acknowledge(1), on_found);
    network.time.advance(1ms);
    discovery.handle(0, discovery_acknowledge(2), on_found);
    EXPECT_EQ(told, std::vector<std::uint8_t>{1});
    EXPECT_EQ(discovery.statistics().acknowledges, 2U);
}

/// Cameras 192.168.10.30 and up on a network, and who of them was told.
class DiscoveryOfSome : public testing::Test {
protected:
    DiscoveryOfSome()
    {
        for (std::uint8_t i = 0; i < 3; ++i) {
            device_test::RawCameraOptions camera;
            camera.address = device_test::ScriptedNetwork::at(static_cast<std::uint8_t>(30 + i));
            camera.mask = device_test::ScriptedNetwork::host_mask.value;
            camera.mac.back() = i;
            cameras.push_back(std::make_unique<device_test::RawDevice>(camera));
            network.attach(*cameras.back());
        }
        options.timeout = 1000ms;
    }

    std::vector<std::unique_ptr<device_test::RawDevice>> cameras;
    device_test::ScriptedNetwork network;
    control::DiscoveryOptions options;
};

TEST_F(DiscoveryOfSome, LosesNoneToASlowHandler)
{
    for (const bool access_status : {false, true}) {
        options.access_status = access_status;
        control::Discovery discovery(network.hosts, options, network);
        std::vector<PvAccessType> told;
        discovery.run([&](const control::FoundDevice& found) {
            told.push_back(found.access);
            network.time.advance(2s);
            return true;
        });
        ASSERT_EQ(told.size(), cameras.size()) << "access status " << access_status;
        EXPECT_EQ(told.front(), access_status ? PvAccessOpen : PvAccessUnknown);
    }
}

TEST(DiscoveryOfMany, TellsAllOfThemWithTheirAccessWithinTheTime)
{
    device_test::ScriptedNetwork network;
    network.time.step = 10us;  // each look at the clock costs something
    std::vector<std::unique_ptr<device_test::RawDevice>> cameras;
    for (std::uint8_t i = 0; i < 200; ++i) {
        device_test::RawCameraOptions camera;
        camera.address = device_test::ScriptedNetwork::at(static_cast<std::uint8_t>(20 + i));
        camera.mask = device_test::ScriptedNetwork::host_mask.value;
        camera.mac.back() = i;
        cameras.push_back(std::make_unique<device_test::RawDevice>(camera));
        network.attach(*cameras.back());
    }
    const auto begin = network.time.now();
    control::Discovery discovery(network.hosts, {}, network);
    std::set<std::uint8_t> open;
    discovery.run([&](const control::FoundDevice& found) {
        EXPECT_EQ(found.access, PvAccessOpen);
        EXPECT_TRUE(open.insert(found.facts.mac.bytes[5]).second);
        EXPECT_LT(network.time.now() - begin, control::DiscoveryOptions().timeout);
        return true;
    });
    EXPECT_EQ(open.size(), cameras.size());
}

TEST_F(DiscoveryOfSome, GoesOnToItsEndWhateverPassesBetweenTwoLooksAtTheClock)
{
    for (const auto& camera : cameras) {
        camera->intercept([](const Bytes& request) {
            return request[3] == 0x80 ? std::optional(std::vector<Bytes>{}) : std::nullopt;  // asks are not answered
        });
    }
    for (network.time.step = 1ms; network.time.step < 60ms; network.time.step += 1ms) {
        const auto begin = network.time.now();
        control::Discovery discovery(network.hosts, options, network);
        std::size_t told = 0;
        discovery.run([&](const control::FoundDevice&) { return ++told != 0; });
        EXPECT_EQ(told, cameras.size());
        EXPECT_GE(network.time.now() - begin, options.timeout);
    }
}

TEST(DiscoveryAnswers, TellADeviceOnceThoughItsAccessStatusComesTwice)
{
    device_test::ScriptedNetwork network;
    device_test::RawCameraOptions options;
    options.address = device_test::ScriptedNetwork::at(30);
    options.mask = device_test::ScriptedNetwork::host_mask.value;
    device_test::RawDevice camera(options);
    camera.intercept([](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        if (request[3] != 0x80) {
            return std::nullopt;
        }
        const Bytes controlled = device_test::RawDevice::ack(request, 0, {0, 0, 0, 2});
        return std::vector<Bytes>{controlled, controlled};
    });
    network.attach(camera);
    control::Discovery discovery(network.hosts, {}, network);
    std::vector<PvAccessType> told;
    discovery.run([&](const control::FoundDevice& found) {
        told.push_back(found.access);
        return true;
    });
    EXPECT_EQ(told, std::vector<PvAccessType>{PvAccessControl});
    EXPECT_EQ(discovery.statistics().unexpected, 1U);
}

TEST(DiscoveryAnswers, OfDevicesOfThisHostCountOnItsOwnInterfaceOnly)
{
    device_test::ScriptedNetwork network;
    network.hosts.push_back({"lo", "", {0x7F000001}, {0xFF000000}, {}, {}, 65536, true});
    control::DiscoveryOptions options;
    options.access_status = false;
    control::Discovery discovery(network.hosts, options, network);
    Bytes acknowledge = discovery_acknowledge(1);
    acknowledge[8 + 36] = 127;
    acknowledge[8 + 39] = 3;
    std::vector<std::size_t> told;
    for (std::size_t i = 0; i < network.hosts.size(); ++i) {
        discovery.handle(i, acknowledge, [&](const control::FoundDevice& found) {
            EXPECT_EQ(found.facts.address.to_string(), "127.0.0.3");
            told.push_back(found.interface_index);
            return true;
        });
    }
    EXPECT_EQ(told, std::vector<std::size_t>{1});
}

TEST(DiscoveryAnswers, TellNoMoreDevicesThanTheLimit)
{
    device_test::ScriptedNetwork network;
    control::DiscoveryOptions options;
    options.access_status = false;
    // on many interfaces, because each device is compared with those of its own
    const std::vector<net::Interface> hosts(64, network.hosts[0]);
    control::Discovery discovery(hosts, options, network);
    std::size_t told = 0;
    Bytes acknowledge = discovery_acknowledge(0);
    for (std::size_t i = 1; i <= control::Discovery::most_devices + 10; ++i) {
        acknowledge[8 + 14] = static_cast<std::uint8_t>(i >> 8);
        acknowledge[8 + 15] = static_cast<std::uint8_t>(i);
        discovery.handle(i % hosts.size(), acknowledge, [&](const control::FoundDevice&) {
            ++told;
            return true;
        });
    }
    EXPECT_EQ(told, control::Discovery::most_devices);
}

}  // namespace
