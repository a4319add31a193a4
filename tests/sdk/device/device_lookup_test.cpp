#include "sdk/device/device_lookup.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/sdk/control/scripted_network.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;
using device_test::RawDevice;
using device_test::ScriptedNetwork;

/// A name service on the test's clock.
class ScriptedHostNames final : public net::HostNames {
public:
    explicit ScriptedHostNames(device_test::ManualClock& clock) : clock_(clock) {}

    std::map<std::string, Ipv4Address> hosts;
    std::chrono::milliseconds delay{1};
    int questions = 0;

    [[nodiscard]] net::HostAddress find(const std::string& host, std::chrono::milliseconds timeout) override
    {
        ++questions;
        clock_.advance(std::min(delay, timeout));
        const auto found = hosts.find(host);
        return {delay <= timeout && found != hosts.end() ? std::optional(found->second) : std::nullopt,
                delay <= timeout};
    }

private:
    device_test::ManualClock& clock_;
};

class DeviceLookup : public testing::Test {
protected:
    static device_test::RawCameraOptions options_at(std::uint8_t last)
    {
        device_test::RawCameraOptions options;
        options.address = ScriptedNetwork::at(last);
        options.mask = ScriptedNetwork::host_mask.value;
        options.mac[5] = last;
        options.serial = "RAW-" + std::to_string(last);
        options.name = "the raw one";
        return options;
    }

    void add(const device_test::RawCameraOptions& options, std::size_t interface_index = 0)
    {
        cameras.push_back(std::make_unique<RawDevice>(options));
        network.attach(*cameras.back(), interface_index);
    }

    PvResult look_up(std::string_view text)
    {
        const auto begin = network.time.now();
        PvResult result = device::look_up_device(text, target, network, names);
        EXPECT_LE(network.time.now() - begin + target.first_request.answer_timeout * target.first_request.attempts, 1s)
            << text;
        EXPECT_GE(target.first_request.attempts, 2U);
        return result;
    }

    /// A second interface in the subnet of the first.
    void add_interface()
    {
        network.hosts.push_back(
            {"eth1", "wire", ScriptedNetwork::at(6), ScriptedNetwork::host_mask, {}, {}, 1500, false});
    }

    ScriptedNetwork network;
    ScriptedHostNames names{network.time};
    std::vector<std::unique_ptr<RawDevice>> cameras;
    control::ConnectionTarget target;
};

TEST_F(DeviceLookup, TakesAnAddressForGrantedWithoutASearch)
{
    const auto begin = network.time.now();
    EXPECT_TRUE(look_up(" 10.1.2.3 ").IsOK());
    EXPECT_EQ(target.device.to_string(), "10.1.2.3:3956");
    EXPECT_TRUE(target.local.is_any());
    EXPECT_TRUE(target.mac.is_zero());
    EXPECT_EQ(network.time.now(), begin);
}

TEST_F(DeviceLookup, FindsByMacAddressNameAndSerialNumber)
{
    add(options_at(36));
    for (const char* who : {"02:11:22:33:44:24", "02-11-22-33-44-24", "0211.2233.4424", "021122334424", "the raw one",
                            "RAW-36", "  RAW-36 "}) {
        target = {};
        const PvResult result = look_up(who);
        EXPECT_TRUE(result.IsOK()) << who << ": " << result.description();
        EXPECT_EQ(target.device, (Endpoint{ScriptedNetwork::at(36), 3956})) << who;
        EXPECT_EQ(target.local, ScriptedNetwork::host_address) << who;
        EXPECT_EQ(target.mac.to_string(), "02:11:22:33:44:24") << who;
        EXPECT_TRUE(target.hint.empty()) << who;
    }
}

TEST_F(DeviceLookup, EndsASearchForAMacAddressWithItsDevice)
{
    add(options_at(36));
    const auto begin = network.time.now();
    EXPECT_TRUE(look_up("02:11:22:33:44:24").IsOK());
    EXPECT_LT(network.time.now() - begin, 10ms);
    // a name may be another's, too
    EXPECT_TRUE(look_up("the raw one").IsOK());
    EXPECT_GE(network.time.now() - begin, 500ms);
}

TEST_F(DeviceLookup, TellsThatNobodyOrSeveralAnswerToAName)
{
    const PvResult nobody = look_up("no such camera");
    EXPECT_EQ(nobody.GetCode(), PvResult::NotFound);
    EXPECT_EQ(
        nobody.description(),
        "No device has the MAC address, user-defined name or serial number \"no such camera\"; no device was found");
    EXPECT_EQ(look_up(" \t").GetCode(), PvResult::InvalidParameter);
    add(options_at(36));
    add(options_at(37));
    const PvResult several = look_up("the raw one");
    EXPECT_EQ(several.GetCode(), PvResult::InvalidParameter);
    EXPECT_NE(several.description().find("192.168.10.36"), std::string::npos);
    EXPECT_NE(several.description().find("192.168.10.37"), std::string::npos);
    EXPECT_TRUE(look_up("02:11:22:33:44:25").IsOK());
    EXPECT_EQ(target.device.address, ScriptedNetwork::at(37));
}

TEST_F(DeviceLookup, TellsWhichDevicesItFoundInstead)
{
    add(options_at(36));
    EXPECT_EQ(look_up("RAW 37").description(),
              "No device has the MAC address, user-defined name or serial number \"RAW 37\"; found were RAW-36 "
              "(\"the raw one\", 192.168.10.36, 02:11:22:33:44:24)");
    for (std::uint8_t last = 40; last < 50; ++last) {
        auto options = options_at(last);
        options.name.clear();
        add(options);
    }
    const std::string many(look_up("RAW-37").description());
    EXPECT_NE(many.find("), RAW-40 (192.168.10.40, 02:11:22:33:44:28), "), std::string::npos) << many;
    EXPECT_NE(many.find(") and 6 more"), std::string::npos) << many;
}

TEST_F(DeviceLookup, TellsADeviceOnceThatSeveralInterfacesSee)
{
    network.hosts.push_back({"eth1", "wire", {0xC0A80B05}, ScriptedNetwork::host_mask, {}, {}, 1500, false});
    add(options_at(36), 0);
    add(options_at(36), 1);
    const std::string text(look_up("RAW-37").description());
    EXPECT_EQ(text.find("RAW-36"), text.rfind("RAW-36")) << text;
}

TEST_F(DeviceLookup, FindsASerialNumberThatLooksLikeAMacAddress)
{
    auto options = options_at(36);
    options.serial = "123456789012";
    add(options);
    EXPECT_TRUE(look_up("123456789012").IsOK());
    EXPECT_EQ(target.device.address, ScriptedNetwork::at(36));
}

TEST_F(DeviceLookup, PrefersTheInterfaceFromWhichTheDeviceCanBeReached)
{
    auto other = network.hosts[0];
    other.id = "eth1";
    other.address = {0xC0A80B05};
    network.hosts.insert(network.hosts.begin(), other);
    add(options_at(36), 0);
    add(options_at(36), 1);
    EXPECT_TRUE(look_up("RAW-36").IsOK());
    EXPECT_EQ(target.local, ScriptedNetwork::host_address);
    EXPECT_TRUE(target.hint.empty());
}

TEST_F(DeviceLookup, PrefersTheInterfaceWhoseAddressTheDeviceHas)
{
    add_interface();
    auto options = options_at(6);
    add(options, 0);
    add(options, 1);
    EXPECT_TRUE(look_up("RAW-6").IsOK());
    EXPECT_EQ(target.local, ScriptedNetwork::at(6));
}

TEST_F(DeviceLookup, TakesTheNameOfAHostWhenNoDeviceHasIt)
{
    names.hosts["camera-7.lab"] = {0x0A010203};
    names.hosts["RAW-36"] = {0x0A010204};
    add(options_at(36));
    EXPECT_TRUE(look_up("RAW-36").IsOK());
    EXPECT_EQ(target.device.address, ScriptedNetwork::at(36));
    EXPECT_EQ(names.questions, 0);

    target = {};
    EXPECT_TRUE(look_up("camera-7.lab").IsOK());
    EXPECT_EQ(target.device.to_string(), "10.1.2.3:3956");
    EXPECT_TRUE(target.mac.is_zero());
    EXPECT_NE(target.hint.find("\"camera-7.lab\""), std::string::npos) << target.hint;
    EXPECT_NE(target.hint.find("RAW-36"), std::string::npos) << target.hint;
}

TEST_F(DeviceLookup, TellsThatThereIsNoSuchHostEither)
{
    const PvResult none = look_up("camera-8");
    EXPECT_EQ(none.GetCode(), PvResult::NotFound);
    EXPECT_EQ(none.description(), "No device has the MAC address, user-defined name or serial number \"camera-8\", "
                                  "and there is no host of that name; no device was found");
    names.delay = 30s;
    const PvResult late = look_up("camera-8");
    EXPECT_EQ(late.GetCode(), PvResult::NotFound);
    EXPECT_NE(late.description().find("not told in time; no device"), std::string_view::npos) << late.description();
    // none of these can be the name of a host
    names.questions = 0;
    EXPECT_EQ(look_up("camera 8").GetCode(), PvResult::NotFound);
    EXPECT_EQ(look_up("02:11:22:33:44:24").GetCode(), PvResult::NotFound);
    // name services take this for the address 0.1.226.64
    EXPECT_EQ(look_up("123456").GetCode(), PvResult::NotFound);
    EXPECT_EQ(names.questions, 0);
}

TEST_F(DeviceLookup, FindsTheInterfaceOfAnAddressThatFitsSeveral)
{
    add_interface();
    add(options_at(36), 1);
    EXPECT_TRUE(look_up("192.168.10.36").IsOK());
    EXPECT_EQ(target.local, ScriptedNetwork::at(6));
    target = {};
    names.hosts["camera"] = ScriptedNetwork::at(36);
    EXPECT_TRUE(look_up("camera").IsOK());
    EXPECT_EQ(target.local, ScriptedNetwork::at(6));

    // nobody answers: the routes decide
    target = {};
    EXPECT_TRUE(look_up("192.168.10.99").IsOK());
    EXPECT_TRUE(target.local.is_any());
    // this host's own
    const auto begin = network.time.now();
    EXPECT_TRUE(look_up("192.168.10.6").IsOK());
    EXPECT_EQ(network.time.now(), begin);
}

TEST_F(DeviceLookup, AsksAgainForTheInterfaceOfAnAddress)
{
    add_interface();
    add(options_at(36), 1);
    int questions = 0;
    cameras[0]->intercept([&](const device_test::Bytes&) {
        return ++questions == 1 ? std::optional(std::vector<device_test::Bytes>()) : std::nullopt;
    });
    EXPECT_TRUE(look_up("192.168.10.36").IsOK());
    EXPECT_EQ(target.local, ScriptedNetwork::at(6));
}

TEST_F(DeviceLookup, RefusesAnAddressThatDevicesOnSeveralInterfacesHave)
{
    add_interface();
    auto options = options_at(36);
    add(options, 0);
    options.mac[5] = 99;
    options.serial = "RAW-99";
    add(options, 1);
    const PvResult result = look_up("192.168.10.36");
    EXPECT_EQ(result.GetCode(), PvResult::InvalidParameter);
    EXPECT_NE(result.description().find("RAW-36"), std::string_view::npos) << result.description();
    EXPECT_NE(result.description().find("RAW-99"), std::string_view::npos) << result.description();
}

TEST_F(DeviceLookup, TakesTheFirstInterfaceOfADeviceThatSeveralReach)
{
    add_interface();
    add(options_at(36), 0);
    add(options_at(36), 1);
    const auto begin = network.time.now();
    EXPECT_TRUE(look_up("192.168.10.36").IsOK());
    EXPECT_EQ(target.local, ScriptedNetwork::host_address);
    // all have answered
    EXPECT_LT(network.time.now() - begin, 10ms);
}

TEST_F(DeviceLookup, HintsAtAnAddressThatDoesNotFit)
{
    auto options = options_at(36);
    options.told_address = 0xC0A8FA01;
    add(options);
    EXPECT_TRUE(look_up("RAW-36").IsOK());
    EXPECT_EQ(target.device.address.to_string(), "192.168.250.1");
    EXPECT_NE(target.hint.find("192.168.250.1, does not fit the interface 192.168.10.5"), std::string::npos);
}

}  // namespace
