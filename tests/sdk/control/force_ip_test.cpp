#include "sdk/control/force_ip.h"

#include <gtest/gtest.h>

#include "tests/sdk/control/scripted_network.h"

using namespace vex;

namespace {

using device_test::RawCameraOptions;
using device_test::RawDevice;
using device_test::ScriptedNetwork;

const net::Interface ethernet{"eth0", "", {0xC0A80A05}, {0xFFFFF000}, {}, {}, 1500, false};

PvResult parse(const char* mac, const char* address, const char* mask, const char* gateway,
               wire::gvcp::ForceIp& settings)
{
    return control::parse_ip_configuration(mac, address, mask, gateway, {&ethernet, 1}, settings);
}

TEST(ParseIpConfiguration, TakesAllFour)
{
    wire::gvcp::ForceIp settings;
    ASSERT_TRUE(parse("02:11:22:33:44:55", "10.1.2.3", "255.255.0.0", "10.1.0.1", settings).IsOK());
    EXPECT_EQ(settings.mac.to_string(), "02:11:22:33:44:55");
    EXPECT_EQ(settings.address.to_string(), "10.1.2.3");
    EXPECT_EQ(settings.mask.to_string(), "255.255.0.0");
    EXPECT_EQ(settings.gateway.to_string(), "10.1.0.1");
}

TEST(ParseIpConfiguration, TakesTheMaskOfTheInterfaceAndNoGatewayForEmptyTexts)
{
    wire::gvcp::ForceIp settings;
    ASSERT_TRUE(parse("02-11-22-33-44-55", "192.168.1.3", "", "", settings).IsOK());
    EXPECT_EQ(settings.mask.to_string(), "255.255.240.0");
    EXPECT_TRUE(settings.gateway.is_any());
    ASSERT_TRUE(parse("02-11-22-33-44-55", "10.1.2.3", "", "", settings).IsOK());
    EXPECT_EQ(settings.mask.to_string(), "255.255.255.0");
}

TEST(ParseIpConfiguration, RefusesWhatIsNoAddress)
{
    wire::gvcp::ForceIp settings;
    const char* const good_mac = "02:11:22:33:44:55";
    const auto refused = [&](const char* mac, const char* address, const char* mask, const char* gateway) {
        return parse(mac, address, mask, gateway, settings).GetCode() == PvResult::InvalidParameter;
    };
    EXPECT_TRUE(refused("", "10.1.2.3", "", ""));
    EXPECT_TRUE(refused("02:11:22:33:44", "10.1.2.3", "", ""));
    EXPECT_TRUE(refused("00:00:00:00:00:00", "10.1.2.3", "", ""));
    EXPECT_TRUE(refused(good_mac, "", "", ""));
    EXPECT_TRUE(refused(good_mac, "camera", "", ""));
    EXPECT_TRUE(refused(good_mac, "0.0.0.0", "255.255.255.0", ""));
    EXPECT_TRUE(refused(good_mac, "0.0.0.0", "", "10.1.2.1"));
    EXPECT_TRUE(refused(good_mac, "239.0.0.1", "", ""));
    EXPECT_TRUE(refused(good_mac, "255.255.255.255", "", ""));
    EXPECT_TRUE(refused(good_mac, "10.1.2.0", "255.255.255.0", ""));
    EXPECT_TRUE(refused(good_mac, "10.1.2.255", "255.255.255.0", ""));
    EXPECT_TRUE(refused(good_mac, "10.1.2.3", "255.0.255.0", ""));
    EXPECT_TRUE(refused(good_mac, "10.1.2.3", "0.0.0.0", ""));
    EXPECT_TRUE(refused(good_mac, "10.1.2.3", "", "somewhere"));
    EXPECT_FALSE(refused(good_mac, "10.1.2.255", "255.255.0.0", ""));
    // subnets of two and of one
    EXPECT_FALSE(refused(good_mac, "10.1.2.2", "255.255.255.254", ""));
    EXPECT_FALSE(refused(good_mac, "10.1.2.3", "255.255.255.254", ""));
    EXPECT_FALSE(refused(good_mac, "10.1.2.3", "255.255.255.255", ""));
}

TEST(ParseIpConfiguration, TakesNoAddressAtAllToRestartTheConfiguration)
{
    wire::gvcp::ForceIp settings{{}, {1}, {1}, {1}};
    ASSERT_TRUE(parse("02:11:22:33:44:55", "0.0.0.0", "", "", settings).IsOK());
    EXPECT_EQ(settings.mac.to_string(), "02:11:22:33:44:55");
    EXPECT_TRUE(settings.address.is_any());
    EXPECT_TRUE(settings.mask.is_any());
    EXPECT_TRUE(settings.gateway.is_any());
    EXPECT_TRUE(parse("02:11:22:33:44:55", "0.0.0.0", "0.0.0.0", "0.0.0.0", settings).IsOK());
}

class ForceIpTest : public testing::Test {
protected:
    ForceIpTest()
    {
        RawCameraOptions options;
        options.address = address;
        options.mac = {0x02, 0x11, 0x22, 0x33, 0x44, 0x23};
        camera = std::make_unique<RawDevice>(options);
        network.attach(*camera);
        settings = {{{0x02, 0x11, 0x22, 0x33, 0x44, 0x23}}, {0xC0A80A24}, {0xFFFFFF00}, {0xC0A80A01}};
    }

    PvResult force() { return control::force_ip(settings, network.hosts, network); }

    const Ipv4Address address = ScriptedNetwork::at(35);
    ScriptedNetwork network;
    std::unique_ptr<RawDevice> camera;
    wire::gvcp::ForceIp settings;
};

TEST_F(ForceIpTest, ReachesTheDeviceWithThatMacAddress)
{
    const PvResult result = force();
    EXPECT_TRUE(result.IsOK()) << result.description();
    EXPECT_EQ(camera->reg(0x0024), 0xC0A80A24U);
    EXPECT_EQ(camera->reg(0x0034), 0xFFFFFF00U);
    EXPECT_EQ(camera->reg(0x0044), 0xC0A80A01U);
}

TEST_F(ForceIpTest, LeavesOtherDevicesAlone)
{
    settings.mac.bytes[5] = 0x99;
    const PvResult result = force();
    EXPECT_EQ(result.GetCode(), PvResult::NotFound);
    EXPECT_NE(result.description().find("02:11:22:33:44:99"), std::string::npos);
    EXPECT_EQ(camera->reg(0x0024), address.value);
}

TEST_F(ForceIpTest, ADeviceThatRestartsItsConfigurationMayHaveAnyAddress)
{
    settings.address = settings.mask = settings.gateway = {};
    camera->intercept([](const device_test::Bytes& request) -> std::optional<std::vector<device_test::Bytes>> {
        if (request[3] == 0x04) {
            return std::vector<device_test::Bytes>{};
        }
        return std::nullopt;
    });
    EXPECT_TRUE(force().IsOK());
}

TEST_F(ForceIpTest, TellsThatNothingCanBeSent)
{
    network.unsendable = {0};
    EXPECT_EQ(force().GetCode(), PvResult::NetworkError);
}

TEST_F(ForceIpTest, TellsWhyTheDeviceRefuses)
{
    camera->set_control(2, {{0x7F000001}, 1});
    const PvResult result = force();
    EXPECT_EQ(result.GetCode(), PvResult::StateError);
    EXPECT_NE(result.description().find(wire::gvcp::text_of(wire::gvcp::Status::access_denied)), std::string::npos);
    EXPECT_EQ(camera->reg(0x0024), address.value);
}

TEST_F(ForceIpTest, ADeviceThatAnswersFromAnotherAddressDidNotTakeIt)
{
    camera->intercept([](const device_test::Bytes& request) -> std::optional<std::vector<device_test::Bytes>> {
        if (request[3] == 0x04) {
            return std::vector<device_test::Bytes>{};
        }
        return std::nullopt;
    });
    ASSERT_NE(settings.address, address);
    EXPECT_EQ(force().GetCode(), PvResult::NotFound);
}

TEST_F(ForceIpTest, TakesADeviceForDoneThatIsFoundAtTheAddressThoughItDoesNotAcknowledge)
{
    settings.address = address;
    camera->intercept([](const device_test::Bytes& request) -> std::optional<std::vector<device_test::Bytes>> {
        if (request[3] == 0x04) {
            return std::vector<device_test::Bytes>{};
        }
        return std::nullopt;
    });
    EXPECT_TRUE(force().IsOK());
}

}  // namespace
