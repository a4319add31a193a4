// Searching for devices again: what is met anew, what is kept and what is forgotten.
#include <algorithm>
#include <memory>
#include <numeric>

#include "tests/sdk/device/system_fixture.h"

namespace {

using namespace device_test;

class SystemAgain : public SystemTest {};

TEST_F(SystemAgain, KeepsTheObjectsOfWhatIsFoundAgain)
{
    RawDevice& camera = add(options_at(first_address));
    ASSERT_TRUE(system.Find().IsOK());
    const PvInterface* wire = wire_of(system);
    const PvDeviceInfo* info = find_by_mac(*wire, first_mac);
    ASSERT_NE(info, nullptr);

    camera.set_control(2, {{0x7F000001}, 1});
    ASSERT_TRUE(system.Find().IsOK());
    EXPECT_EQ(wire_of(system), wire);
    EXPECT_EQ(find_by_mac(*wire, first_mac), info);
    EXPECT_EQ(info->GetAccessStatus(), PvAccessControl);

    camera.mute(true);
    ASSERT_TRUE(system.Find().IsOK());
    EXPECT_EQ(find_by_mac(*wire, first_mac), nullptr);
    EXPECT_EQ(info->GetModel().str(), "Raw 1");  // still readable
}

TEST_F(SystemAgain, BringsTheDataOfAnInterfaceUpToDate)
{
    auto options = options_at(first_address);
    options.address = {0xC0A8141E};  // 192.168.20.30
    options.mask = 0xFFFF0000;
    add(options);
    ASSERT_TRUE(system.Find().IsOK());
    const PvInterface* wire = wire_of(system);
    ASSERT_NE(find_by_mac(*wire, first_mac), nullptr);
    EXPECT_FALSE(find_by_mac(*wire, first_mac)->IsIPConfigurationValid());

    network.hosts[0].mask = {0xFFFF0000};
    network.hosts[0].gateway = {0xC0A80001};
    ASSERT_TRUE(system.Find().IsOK());
    EXPECT_EQ(wire_of(system), wire);
    EXPECT_EQ(wire->GetSubnetMask().str(), "255.255.0.0");
    EXPECT_EQ(wire->GetDefaultGateway().str(), "192.168.0.1");
    ASSERT_NE(find_by_mac(*wire, first_mac), nullptr);
    EXPECT_TRUE(find_by_mac(*wire, first_mac)->IsIPConfigurationValid());
}

TEST_F(SystemAgain, ForgetsTheDeviceFirstThatWasMetTheLongestAgo)
{
    constexpr std::size_t kept = 1024;
    std::vector<std::size_t> answering(kept);
    std::iota(answering.begin(), answering.end(), std::size_t{0});
    // one camera speaks for all; its address does not fit, so that no device is asked who controls it
    auto options = options_at(first_address);
    options.told_address = 0x0A000001;
    RawDevice& camera = add(options);
    camera.intercept([&](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        std::vector<Bytes> answers;
        for (const std::size_t device : answering) {
            Bytes payload = camera.discovery_payload();
            payload[0x0E] = static_cast<std::uint8_t>(device >> 8);  // the end of the MAC address
            payload[0x0F] = static_cast<std::uint8_t>(device);
            answers.push_back(RawDevice::ack(request, 0, payload));
        }
        return answers;
    });
    ASSERT_TRUE(system.Find().IsOK());
    const PvInterface& wire = *wire_of(system);
    ASSERT_EQ(wire.GetDeviceCount(), kept);
    std::vector<std::weak_ptr<PvDeviceInfo>> devices;
    for (std::uint32_t i = 0; i < kept; ++i) {
        devices.push_back(wire.GetDeviceInfo(i)->shared());
    }

    answering = {0};
    ASSERT_TRUE(system.Find().IsOK());
    ASSERT_EQ(wire.GetDeviceCount(), 1U);
    EXPECT_EQ(wire.GetDeviceInfo(0), devices[0].lock().get());
    const auto is_gone = [](const auto& device) { return device.expired(); };
    EXPECT_TRUE(std::none_of(devices.begin(), devices.end(), is_gone));

    answering = {kept};
    ASSERT_TRUE(system.Find().IsOK());
    EXPECT_TRUE(devices[1].expired());
    EXPECT_EQ(std::count_if(devices.begin(), devices.end(), is_gone), 1);
}

}  // namespace
