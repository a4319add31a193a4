#include "sdk/control/action.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tests/sdk/control/scripted_network.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;
using control::ActionOptions;
using device_test::Bytes;
using device_test::hex;
using device_test::RawCameraOptions;
using device_test::RawDevice;
using device_test::ScriptedNetwork;
using wire::gvcp::Status;

constexpr std::uint16_t action_command = 0x0100;

/// Cameras that acknowledge actions and remember them.
class ActionTest : public testing::Test {
protected:
    RawDevice& add_camera(Ipv4Address address, std::uint16_t status = 0, std::size_t interface_index = 0)
    {
        RawCameraOptions camera_options;
        camera_options.address = address;
        cameras.push_back(std::make_unique<RawDevice>(camera_options));
        RawDevice& camera = *cameras.back();
        camera.intercept([this, status](const Bytes& request) -> std::optional<std::vector<Bytes>> {
            received.push_back(request);
            if ((request[1] & 1) == 0) {
                return std::vector<Bytes>{};
            }
            return std::vector<Bytes>(copies, RawDevice::ack(request, status, {}));
        });
        network.attach(camera, interface_index);
        return camera;
    }

    void add_second_interface()
    {
        network.hosts.push_back({"eth1", "wire", second_host, ScriptedNetwork::host_mask, {}, {}, 1500, false});
    }

    PvResult send() { return control::send_action(action, options, network.hosts, network, report); }

    [[nodiscard]] std::chrono::milliseconds elapsed() const
    {
        return std::chrono::duration_cast<std::chrono::milliseconds>(network.time.now() - begin);
    }

    static constexpr Ipv4Address second_host{0xC0A81405};
    ScriptedNetwork network;
    const net::Clock::time_point begin = network.time.now();
    std::vector<std::unique_ptr<RawDevice>> cameras;
    std::vector<Bytes> received;
    std::size_t copies = 1;
    wire::gvcp::Action action{0x11223344, 0x55667788, 0x99AABBCC, {}};
    ActionOptions options;
    control::ActionReport report;
};

TEST_F(ActionTest, ReachesEveryDeviceOfEveryInterfaceOnce)
{
    add_second_interface();
    add_camera(ScriptedNetwork::at(30));
    add_camera(ScriptedNetwork::at(31));
    add_camera({0xC0A8141E}, 0, 1);
    const PvResult result = send();
    EXPECT_TRUE(result.IsOK()) << result.description();
    EXPECT_EQ(report.sent, 2U);
    ASSERT_EQ(report.answers.size(), 3U);
    for (std::size_t i = 0; i < cameras.size(); ++i) {
        EXPECT_EQ(cameras[i]->count(action_command), 1);
        EXPECT_EQ(report.answers[i].device, cameras[i]->options().address);
        EXPECT_EQ(report.answers[i].interface_index, i == 2 ? 1U : 0U);
        EXPECT_EQ(report.answers[i].status, Status::success);
    }
    Bytes bytes = received.front();
    ASSERT_EQ(bytes.size(), 20U);
    bytes[6] = bytes[7] = 0;
    EXPECT_EQ(bytes, hex("42 01 0100 000C 0000 11223344 55667788 99AABBCC"));
}

TEST_F(ActionTest, CarriesTheTimeWhenItIsScheduled)
{
    add_camera(ScriptedNetwork::at(30));
    action.time = 0x0102030405060708;
    EXPECT_TRUE(send().IsOK());
    Bytes bytes = received.front();
    ASSERT_EQ(bytes.size(), 28U);
    bytes[6] = bytes[7] = 0;
    EXPECT_EQ(bytes, hex("42 81 0100 0014 0000 11223344 55667788 99AABBCC 0102030405060708"));
}

TEST_F(ActionTest, HasAnIdOfItsOwnEachTime)
{
    add_camera(ScriptedNetwork::at(30));
    ASSERT_TRUE(send().IsOK());
    ASSERT_TRUE(send().IsOK());
    const Bytes& first = received[0];
    const Bytes& second = received[1];
    EXPECT_NE(std::pair(first[6], first[7]), std::pair(second[6], second[7]));
    EXPECT_NE(std::pair(first[6], first[7]), std::pair(std::uint8_t{0}, std::uint8_t{0}));
}

TEST_F(ActionTest, ReachesOneDeviceOnItsInterface)
{
    add_second_interface();
    add_camera(ScriptedNetwork::at(30));
    RawDevice& meant = add_camera({0xC0A8141E}, 0, 1);
    add_camera({0xC0A8141F}, 0, 1);
    options.destination = meant.options().address;
    EXPECT_TRUE(send().IsOK());
    EXPECT_EQ(report.sent, 1U);
    ASSERT_EQ(report.answers.size(), 1U);
    EXPECT_EQ(report.answers[0].device, meant.options().address);
    EXPECT_EQ(received.size(), 1U);
}

TEST_F(ActionTest, ReachesADeviceThatDoesNotFitByLimitedBroadcast)
{
    add_camera({0x0A000001});
    options.destination = limited_broadcast;
    EXPECT_TRUE(send().IsOK());
    ASSERT_EQ(report.answers.size(), 1U);
    EXPECT_EQ(report.answers[0].device, Ipv4Address{0x0A000001});
}

TEST_F(ActionTest, CountsSoftwareDevicesOfThisHostOnLoopbackOnly)
{
    network.hosts.push_back({"lo", "", loopback_address, {0xFF000000}, {}, {}, 65536, true});
    add_camera({0x7F000002});
    add_camera({0x7F000002}, 0, 1);
    options.destination = limited_broadcast;
    EXPECT_TRUE(send().IsOK());
    ASSERT_EQ(report.answers.size(), 1U);
    EXPECT_EQ(report.answers[0].interface_index, 1U);
}

TEST_F(ActionTest, IsNotSentWhereNoInterfaceLeads)
{
    options.destination = Ipv4Address{0x0A000001};
    EXPECT_EQ(send().GetCode(), PvResult::NetworkError);
    network.hosts[0].gateway = ScriptedNetwork::at(1);
    EXPECT_TRUE(send().IsOK());
}

TEST_F(ActionTest, EndsOnceAllThatAreExpectedHaveAcknowledged)
{
    add_camera(ScriptedNetwork::at(30));
    add_camera(ScriptedNetwork::at(31));
    options.expected = 2;
    options.timeout = 400ms;
    EXPECT_TRUE(send().IsOK());
    EXPECT_LT(elapsed(), 10ms);
    options.expected = 0;
    EXPECT_TRUE(send().IsOK());
    EXPECT_GE(elapsed(), 400ms);
    EXPECT_LT(elapsed(), 420ms);
}

TEST_F(ActionTest, TellsHowManyOfThoseExpectedAreMissing)
{
    add_camera(ScriptedNetwork::at(30));
    add_camera(ScriptedNetwork::at(31)).mute(true);
    copies = 3;  // one device that answers often is still one
    options.expected = 2;
    const PvResult result = send();
    EXPECT_EQ(result.GetCode(), PvResult::Timeout);
    EXPECT_EQ(result.description(), "1 of 2 devices acknowledged the action within 500 ms");
    EXPECT_EQ(report.answers.size(), 1U);
}

TEST_F(ActionTest, TellsWhichDevicesFailed)
{
    add_camera(ScriptedNetwork::at(30));
    add_camera(ScriptedNetwork::at(31), 0x8016);
    options.expected = 2;
    const PvResult result = send();
    EXPECT_EQ(result.GetCode(), PvResult::StateError);
    EXPECT_EQ(result.description(), "1 of 2 devices did not do the action as asked; 192.168.10.31: action late");
    ASSERT_EQ(report.answers.size(), 2U);
    EXPECT_EQ(report.answers[1].status, Status::action_late);
}

TEST_F(ActionTest, AwaitsNothingWhenNoAcknowledgesAreWanted)
{
    add_camera(ScriptedNetwork::at(30));
    options.acknowledge = false;
    options.expected = 1;
    EXPECT_TRUE(send().IsOK());
    EXPECT_EQ(received.front()[1], 0);
    EXPECT_TRUE(report.answers.empty());
    EXPECT_EQ(elapsed(), 0ms);
}

TEST_F(ActionTest, HeedsAcknowledgesOfItsOwnOnly)
{
    RawDevice& camera = add_camera(ScriptedNetwork::at(30));
    camera.intercept([](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        Bytes other_id = RawDevice::ack(request, 0, {});
        other_id[7] = static_cast<std::uint8_t>(other_id[7] + 1);
        Bytes other_code = RawDevice::ack(request, 0, {});
        other_code[3] = 0x83;
        Bytes broken = RawDevice::ack(request, 0, {});
        broken.resize(7);
        return std::vector<Bytes>{other_id, other_code, broken};
    });
    EXPECT_TRUE(send().IsOK());
    EXPECT_TRUE(report.answers.empty());
}

TEST_F(ActionTest, GoesOutOnTheInterfacesThatCan)
{
    add_second_interface();
    add_camera(ScriptedNetwork::at(30));
    add_camera({0xC0A8141E}, 0, 1);
    network.unsendable = {0};
    EXPECT_TRUE(send().IsOK());
    EXPECT_EQ(report.sent, 1U);
    EXPECT_EQ(report.answers.size(), 1U);
    network.without_port = {1};
    EXPECT_EQ(send().GetCode(), PvResult::NetworkError);
    EXPECT_EQ(report.sent, 0U);
    network.hosts.clear();
    EXPECT_EQ(send().GetCode(), PvResult::NetworkError);
}

TEST_F(ActionTest, NeedsAGroup)
{
    add_camera(ScriptedNetwork::at(30));
    action.group_mask = 0;
    EXPECT_EQ(send().GetCode(), PvResult::InvalidParameter);
    EXPECT_TRUE(received.empty());
}

}  // namespace
