#include "sdk/control/privilege.h"

#include <gtest/gtest.h>

#include "tests/sdk/control/scripted_transport.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;
using device_test::Bytes;
using device_test::hex;

/// A device with the privilege register alone. It carries out every write; which ones it acknowledges is the test's.
class PrivilegeTest : public testing::Test {
protected:
    PrivilegeTest()
    {
        transport.on_send = [this](const Bytes& request) { answer(request); };
        channel.set_retry_policy({100ms, 2});
    }

    void answer(const Bytes& request)
    {
        const bool write = request[3] == 0x82;
        if (write && refuses) {
            deliver(request, hex("8006 0083 0004 0000 0000 0000"));
            return;
        }
        if (write) {
            privilege = request[15];
            writes.push_back(privilege);
        }
        if (!write || acknowledges) {
            deliver(request, write ? hex("0000 0083 0004 0000 0000 0001")
                                   : Bytes{0, 0, 0, 0x81, 0, 4, 0, 0, 0, 0, 0, privilege});
        }
    }

    void deliver(const Bytes& request, Bytes acknowledge)
    {
        acknowledge[6] = request[6];
        acknowledge[7] = request[7];
        transport.deliver(acknowledge);
    }

    device_test::ManualClock clock;
    device_test::ScriptedTransport transport{clock};
    control::ControlChannel channel{transport, clock};
    std::uint8_t privilege = 0;
    std::vector<std::uint8_t> writes;
    bool acknowledges = true;
    bool refuses = false;
};

TEST_F(PrivilegeTest, IsTakenAndConfirmed)
{
    EXPECT_TRUE(control::take_privilege(channel, PvAccessExclusive, 0).IsOK());
    EXPECT_EQ(privilege, 1);
    EXPECT_EQ(writes.size(), 1U);
}

TEST_F(PrivilegeTest, IsGivenBackWhenTheAcknowledgeIsLost)
{
    acknowledges = false;
    EXPECT_EQ(control::take_privilege(channel, PvAccessControl, 0).GetCode(), PvResult::Timeout);
    EXPECT_EQ(writes.front(), 2);
    EXPECT_EQ(privilege, 0);
}

TEST_F(PrivilegeTest, IsLeftToWhoeverHasIt)
{
    for (const std::uint8_t held : {std::uint8_t{1}, std::uint8_t{2}, std::uint8_t{3}}) {
        privilege = held;
        const PvResult result = control::take_privilege(channel, PvAccessControl, 0);
        EXPECT_EQ(result.GetCode(), PvResult::StateError);
        EXPECT_EQ(result.description().find("exclusively") != std::string::npos, (held & 1) != 0);
        EXPECT_TRUE(writes.empty());
        EXPECT_EQ(privilege, held);
    }
}

TEST_F(PrivilegeTest, IsNotGivenBackByWhoWasRefusedIt)
{
    refuses = true;
    EXPECT_EQ(control::take_privilege(channel, PvAccessControl, 0).GetCode(), PvResult::StateError);
    int asked = 0;
    for (const Bytes& request : transport.sent) {
        asked += request[3] == 0x82 ? 1 : 0;
    }
    EXPECT_EQ(asked, 1);
}

}  // namespace
