// Actions that a system sends.
#include <gtest/gtest.h>

#include "sdk/device/PvAction.h"
#include "tests/sdk/device/system_fixture.h"

namespace {

using device_test::Bytes;
using device_test::RawDevice;
using device_test::ScriptedNetwork;

class NetworkSystem : public PvSystem {
public:
    explicit NetworkSystem(ScriptedNetwork& network) : PvSystem(network) {}
};

class SystemActionTest : public testing::Test {
protected:
    SystemActionTest()
    {
        for (RawDevice* camera : {&first, &second}) {
            camera->intercept([this](const Bytes& request) -> std::optional<std::vector<Bytes>> {
                received.push_back(request);
                return std::vector<Bytes>{RawDevice::ack(request, status, {})};
            });
            network.attach(*camera);
        }
    }

    ScriptedNetwork network;
    RawDevice first{device_test::options_at(device_test::first_address)};
    RawDevice second{device_test::options_at(device_test::second_address)};
    std::vector<Bytes> received;
    std::uint16_t status = 0;
    NetworkSystem system{network};
    PvAction action;
    std::vector<PvActionAcknowledge> acknowledges;
};

TEST_F(SystemActionTest, IsAcknowledgedByEachDevice)
{
    action.device_key = 0x01020304;
    action.group_key = 0x05060708;
    action.group_mask = 0x0A;
    action.time = 0x11;
    action.expected = 2;
    const PvResult result = system.SendAction(action, &acknowledges);
    ASSERT_TRUE(result.IsOK()) << result.description();
    ASSERT_EQ(acknowledges.size(), 2U);
    EXPECT_EQ(acknowledges[0].address.str(), "192.168.10.30");
    EXPECT_EQ(acknowledges[1].address.str(), "192.168.10.31");
    EXPECT_EQ(acknowledges[0].status, 0);
    const Bytes payload(received.front().begin() + 8, received.front().end());
    EXPECT_EQ(payload, device_test::hex("01020304 05060708 0000000A 0000000000000011"));
    EXPECT_TRUE(system.SendAction(action).IsOK());
}

TEST_F(SystemActionTest, GoesToWhomItIsFor)
{
    action.destination = "192.168.10.31";
    EXPECT_TRUE(system.SendAction(action, &acknowledges).IsOK());
    ASSERT_EQ(acknowledges.size(), 1U);
    EXPECT_EQ(acknowledges[0].address.str(), "192.168.10.31");
    action.destination = PvString();
    action.interface_address = "192.168.10.5";
    EXPECT_TRUE(system.SendAction(action, &acknowledges).IsOK());
    EXPECT_EQ(acknowledges.size(), 2U);
}

TEST_F(SystemActionTest, TellsFailuresAndThoseThatAreMissing)
{
    action.expected = 3;
    EXPECT_EQ(system.SendAction(action, &acknowledges).GetCode(), PvResult::Timeout);
    EXPECT_EQ(acknowledges.size(), 2U);
    status = 0x8007;
    EXPECT_EQ(system.SendAction(action, &acknowledges).GetCode(), PvResult::StateError);
    ASSERT_EQ(acknowledges.size(), 2U);
    EXPECT_EQ(acknowledges[0].status, 0x8007);
    EXPECT_EQ(acknowledges[0].status_text.str(), "busy");
}

TEST_F(SystemActionTest, RefusesWhatReachesNobody)
{
    const auto refused = [&] {
        return system.SendAction(action, &acknowledges).GetCode() == PvResult::InvalidParameter;
    };
    acknowledges.resize(1);
    action.destination = "camera";
    EXPECT_TRUE(refused());
    EXPECT_TRUE(acknowledges.empty());
    action.destination = "0.0.0.0";
    EXPECT_TRUE(refused());
    action.destination = PvString();
    action.interface_address = "192.168.10.6";
    EXPECT_TRUE(refused());
    action.interface_address = "eth0";
    EXPECT_TRUE(refused());
    action.interface_address = PvString();
    action.group_mask = 0;
    EXPECT_TRUE(refused());
    EXPECT_TRUE(received.empty());
}

}  // namespace
