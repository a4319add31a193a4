// Control that goes from one application to another by a key.
#include "tests/sdk/control/connection_fixture.h"

using namespace vex;

namespace {

using device_test::ConnectionTest;
using device_test::other_application;
using device_test::RawCameraOptions;
using device_test::RawDevice;

/// Sound, and with switch-over.
class SwitchoverTest : public ConnectionTest {
protected:
    SwitchoverTest()
    {
        RawCameraOptions options = sound();
        options.capabilities |= 1U << 21;
        device = &start(options);
    }

    /// Another application controls the device and allows this.
    void hold(std::uint32_t privilege, std::uint32_t key)
    {
        device->set_control(privilege, other_application);
        device->set_reg(0x095C, key);
    }

    /// Tries with this key.
    PvResult take_over(std::uint16_t key, PvAccessType access = PvAccessControl)
    {
        target.switchover.key = key;
        target.switchover.take_over = true;
        return open(access);
    }

    RawDevice* device;
};

TEST_F(SwitchoverTest, TakesControlThatIsHandedOver)
{
    hold(6, 0x1234);
    const PvResult result = take_over(0x1234);
    ASSERT_TRUE(result.IsOK()) << result.description();
    EXPECT_EQ(device->reg(0x0A00), 2U);
    EXPECT_EQ(device->reg(0x0A04), connection->channel().local().port);
    ASSERT_TRUE(connection->holder());
    EXPECT_EQ(connection->holder()->port, connection->channel().local().port);
    connection->close();
    EXPECT_EQ(device->reg(0x0A00), 0U);
}

TEST_F(SwitchoverTest, TakesExclusiveControlAsWell)
{
    hold(6, 0x1234);
    ASSERT_TRUE(take_over(0x1234, PvAccessExclusive).IsOK());
    EXPECT_EQ(device->reg(0x0A00), 1U);
}

TEST_F(SwitchoverTest, IsRefusedWithoutTheRightKey)
{
    hold(6, 0x1234);
    const PvResult result = take_over(0x1235);
    EXPECT_EQ(result.GetCode(), PvResult::StateError);
    EXPECT_EQ(result.description(), "The device " + name +
                                        " is controlled by 127.0.0.1, port 50123, which does not "
                                        "hand it over for this key");
    EXPECT_EQ(device->reg(0x0A00), 6U);
    EXPECT_EQ(device->reg(0x0A04), other_application.port);
    target.switchover = {};
    EXPECT_EQ(open(PvAccessControl).GetCode(), PvResult::StateError);
    EXPECT_EQ(device->reg(0x0A04), other_application.port);
}

TEST_F(SwitchoverTest, IsRefusedByWhoDoesNotAllowIt)
{
    hold(2, 0x1234);
    EXPECT_EQ(take_over(0x1234).GetCode(), PvResult::StateError);
    EXPECT_EQ(device->reg(0x0A04), other_application.port);
}

TEST_F(SwitchoverTest, NeedsNoKeyForAFreeDevice)
{
    ASSERT_TRUE(take_over(0x1234).IsOK());
    EXPECT_EQ(device->reg(0x0A00), 2U);
}

TEST_F(SwitchoverTest, IsAllowedToWhoKnowsTheKey)
{
    target.switchover.key = 0x4321;
    target.switchover.allow = true;
    const PvResult result = open(PvAccessControl);
    ASSERT_TRUE(result.IsOK()) << result.description();
    EXPECT_EQ(device->reg(0x0A00), 6U);
    EXPECT_EQ(device->reg(0x095C), 0x4321U);
    connection->close();
    ASSERT_TRUE(open(PvAccessExclusive).IsOK());
    EXPECT_EQ(device->reg(0x0A00), 1U);
}

TEST_F(SwitchoverTest, IsAllowedOnlyWhereTheDeviceKnowsIt)
{
    device = &start(sound());
    target.switchover.allow = true;
    EXPECT_EQ(open(PvAccessControl).GetCode(), PvResult::NotSupported);
    EXPECT_EQ(device->reg(0x0A00), 0U);
    EXPECT_FALSE(connection);
}

}  // namespace
