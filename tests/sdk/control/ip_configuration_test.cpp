#include "sdk/control/ip_configuration.h"

#include <gtest/gtest.h>

#include "sdk/base/PvString.h"
#include "tests/sdk/control/raw_device.h"
#include "tests/sdk/control/scripted_transport.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;
using control::IpConfiguration;
using control::IpConfigurationChange;
using control::IpSettings;
using device_test::Bytes;
using device_test::RawCameraOptions;
using device_test::RawDevice;
using device_test::ScriptedTransport;

Ipv4Address ip(const char* text) { return Ipv4Address::parse(text).value(); }

bool is_possible(const char* address, const char* mask, const char* gateway = "0.0.0.0")
{
    const PvResult result = control::check_ip_settings({ip(address), ip(mask), ip(gateway)});
    EXPECT_TRUE(result.IsOK() || result.GetCode() == PvResult::InvalidParameter);
    return result.IsOK();
}

TEST(IpSettings, AreOnesThatAHostCanHave)
{
    EXPECT_TRUE(is_possible("10.1.2.3", "255.255.255.0"));
    EXPECT_TRUE(is_possible("10.1.2.3", "255.255.255.0", "10.1.2.1"));
    EXPECT_FALSE(is_possible("10.1.2.3", "255.0.255.0"));
    EXPECT_FALSE(is_possible("10.1.2.3", "0.0.0.0"));
    EXPECT_FALSE(is_possible("0.0.0.0", "255.255.255.0"));
    EXPECT_FALSE(is_possible("0.1.2.3", "255.255.255.0"));
    EXPECT_FALSE(is_possible("224.0.0.1", "255.255.255.0"));
    EXPECT_FALSE(is_possible("255.255.255.255", "255.255.255.0"));
    EXPECT_FALSE(is_possible("10.1.2.0", "255.255.255.0"));
    EXPECT_FALSE(is_possible("10.1.2.255", "255.255.255.0"));
    EXPECT_TRUE(is_possible("10.1.2.2", "255.255.255.254"));
}

TEST(IpSettings, HaveAGatewayThatTheyReach)
{
    EXPECT_FALSE(is_possible("10.1.2.3", "255.255.255.0", "10.1.3.1"));
    EXPECT_FALSE(is_possible("10.1.2.3", "255.255.255.0", "10.1.2.255"));
    EXPECT_FALSE(is_possible("10.1.2.3", "255.255.255.0", "10.1.2.3"));
    EXPECT_FALSE(is_possible("10.1.2.3", "255.255.255.0", "239.1.2.3"));
    EXPECT_TRUE(is_possible("10.1.2.3", "255.255.0.0", "10.1.3.1"));
}

constexpr std::uint32_t pause = 0xC0000000;  // both directions
constexpr std::uint32_t persistent = 1;
constexpr std::uint32_t dhcp = 2;
constexpr std::uint32_t link_local = 4;

class IpConfigurationTest : public testing::Test {
protected:
    IpConfigurationTest() : device(RawCameraOptions())
    {
        transport.on_send = [this](const Bytes& request) {
            for (Bytes& answer : device.answers(request, transport.local())) {
                transport.deliver(std::move(answer), 1ms);
            }
        };
        device.set_control(2, transport.local());
        device.set_reg(0x0010, pause | persistent | dhcp | link_local);
        device.set_reg(0x0014, pause | link_local);
        device.set_reg(0x064C, 0);
        device.set_reg(0x065C, 0);
        device.set_reg(0x066C, 0);
    }

    PvResult change(const IpConfigurationChange& what) { return change_ip_configuration(channel, what, now); }

    int writes() { return device.count(0x0082); }

    device_test::ManualClock clock;
    ScriptedTransport transport{clock};
    RawDevice device;
    control::ControlChannel channel{transport, clock};
    const IpSettings settings = {ip("192.168.7.20"), ip("255.255.255.0"), ip("192.168.7.1")};
    IpConfiguration now;
};

TEST_F(IpConfigurationTest, IsRead)
{
    device.set_reg(0x0024, settings.address.value);
    device.set_reg(0x0034, settings.mask.value);
    device.set_reg(0x0044, settings.gateway.value);
    device.set_reg(0x064C, ip("10.0.0.9").value);
    device.set_reg(0x065C, ip("255.0.0.0").value);
    device.set_reg(0x066C, ip("10.0.0.1").value);
    ASSERT_TRUE(read_ip_configuration(channel, now).IsOK());
    EXPECT_EQ(now.supported, persistent | dhcp | link_local);
    EXPECT_EQ(now.enabled, link_local);
    EXPECT_EQ(now.current, settings);
    EXPECT_EQ(now.persistent, (IpSettings{ip("10.0.0.9"), ip("255.0.0.0"), ip("10.0.0.1")}));
}

TEST_F(IpConfigurationTest, IsReadWithoutThePersistentRegistersThatADeviceLacks)
{
    RawDevice small{RawCameraOptions()};
    small.set_reg(0x0010, link_local);
    transport.on_send = [&](const Bytes& request) {
        for (Bytes& answer : small.answers(request, transport.local())) {
            transport.deliver(std::move(answer), 1ms);
        }
    };
    ASSERT_TRUE(read_ip_configuration(channel, now).IsOK());
    EXPECT_EQ(now.supported, link_local);
    EXPECT_EQ(now.persistent, IpSettings{});
}

TEST_F(IpConfigurationTest, TakesAPersistentAddress)
{
    const PvResult result = change({.persistent = settings, .use_persistent = true, .use_dhcp = true});
    ASSERT_TRUE(result.IsOK()) << result.description();
    EXPECT_EQ(device.reg(0x064C), settings.address.value);
    EXPECT_EQ(device.reg(0x065C), settings.mask.value);
    EXPECT_EQ(device.reg(0x066C), settings.gateway.value);
    EXPECT_EQ(device.reg(0x0014), pause | persistent | dhcp | link_local);
    EXPECT_EQ(now.persistent, settings);
    EXPECT_EQ(now.enabled, persistent | dhcp | link_local);
}

TEST_F(IpConfigurationTest, ChangesWhatIsAskedForOnly)
{
    device.set_reg(0x0014, pause | persistent | link_local);
    ASSERT_TRUE(change({.use_persistent = false}).IsOK());
    EXPECT_EQ(device.reg(0x0014), pause | link_local);
    EXPECT_EQ(device.reg(0x064C), 0U);
    ASSERT_TRUE(change({.use_link_local = false}).IsOK());
    EXPECT_EQ(device.reg(0x0014), pause);
    const int before = writes();
    ASSERT_TRUE(change({.use_link_local = false}).IsOK());
    EXPECT_EQ(writes(), before);
}

TEST_F(IpConfigurationTest, RefusesWhatNoDeviceCanHaveAndWritesNothing)
{
    IpSettings impossible = settings;
    impossible.address = ip("192.168.7.255");
    EXPECT_EQ(change({.persistent = impossible, .use_dhcp = true}).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(writes(), 0);
}

TEST_F(IpConfigurationTest, RefusesWhatTheDeviceDoesNotSupportAndWritesNothing)
{
    device.set_reg(0x0010, persistent | link_local);
    const PvResult no_dhcp = change({.persistent = settings, .use_dhcp = true});
    EXPECT_EQ(no_dhcp.GetCode(), PvResult::NotSupported);
    EXPECT_NE(no_dhcp.description().find("DHCP"), std::string_view::npos);
    EXPECT_TRUE(change({.use_dhcp = false}).IsOK());
    device.set_reg(0x0010, dhcp | link_local);
    EXPECT_EQ(change({.persistent = settings}).GetCode(), PvResult::NotSupported);
    EXPECT_EQ(change({.use_persistent = true}).GetCode(), PvResult::NotSupported);
    EXPECT_EQ(writes(), 0);
}

TEST_F(IpConfigurationTest, TellsWhatTheDeviceHasNotKept)
{
    // a device that takes every write and keeps none
    device.intercept([](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        if (request[3] != 0x82) {
            return std::nullopt;
        }
        const auto done = static_cast<std::uint8_t>((request.size() - 8) / 8);
        return std::vector<Bytes>{RawDevice::ack(request, 0, {0, 0, 0, done})};
    });
    const PvResult flag = change({.use_link_local = false});
    EXPECT_EQ(flag.GetCode(), PvResult::StateError);
    EXPECT_NE(flag.description().find("keeps link-local addresses switched on"), std::string_view::npos);
    EXPECT_EQ(now.enabled, link_local);
    const PvResult address = change({.persistent = settings});
    EXPECT_EQ(address.GetCode(), PvResult::StateError);
    EXPECT_NE(address.description().find("192.168.7.20"), std::string_view::npos);
    EXPECT_EQ(now.persistent, IpSettings{});
}

TEST_F(IpConfigurationTest, NeedsControl)
{
    device.set_control(0);
    const PvResult result = change({.use_dhcp = true});
    EXPECT_FALSE(result.IsOK());
    EXPECT_NE(result.description().find("access denied"), std::string_view::npos);
    EXPECT_EQ(device.reg(0x0014), pause | link_local);
}

}  // namespace
