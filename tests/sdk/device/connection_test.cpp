#include "sdk/device/connection.h"

#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "tests/sdk/device/raw_camera.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;
using device::Connection;
using device_test::Bytes;
using device_test::RawCamera;
using device_test::RawCameraOptions;

const net::Endpoint other_application{{0x7F000001}, 50123};

class ConnectionTest : public testing::Test {
protected:
    [[nodiscard]] RawCameraOptions sound() const
    {
        RawCameraOptions options;
        options.address = address;
        return options;
    }

    PvResult open(PvAccessType access)
    {
        device::ConnectionTarget target;
        target.device = {address, 3956};
        target.access = access;
        target.mac = mac;
        return Connection::open(target, {100ms, 2}, connection);
    }

    const net::Ipv4Address address = device_test::loopback(33);
    const std::string name = address.to_string();
    net::MacAddress mac;
    std::shared_ptr<Connection> connection;
};

TEST_F(ConnectionTest, TakesAndReturnsControl)
{
    RawCamera camera(sound());
    ASSERT_TRUE(open(PvAccessControl).IsOK());
    EXPECT_EQ(camera.reg(0x0A00), 2U);
    EXPECT_TRUE(connection->has_control());
    EXPECT_EQ(connection->facts().heartbeat_timeout_ms, 3000U);
    EXPECT_EQ(connection->facts().stream_channels, 1U);
    connection->close();
    EXPECT_EQ(camera.reg(0x0A00), 0U);
    std::uint32_t value = 0;
    EXPECT_EQ(connection->channel().read_register(0, value).kind, device::ControlOutcome::Kind::closed);
}

TEST_F(ConnectionTest, TakesExclusiveControl)
{
    RawCamera camera(sound());
    ASSERT_TRUE(open(PvAccessExclusive).IsOK());
    EXPECT_EQ(camera.reg(0x0A00), 1U);
    connection->close();
    EXPECT_EQ(camera.reg(0x0A00), 0U);
}

TEST_F(ConnectionTest, WritesNoPrivilegeToReadOrToOpen)
{
    RawCamera camera(sound());
    for (const PvAccessType access : {PvAccessOpen, PvAccessReadOnly}) {
        ASSERT_TRUE(open(access).IsOK());
        EXPECT_FALSE(connection->has_control());
        EXPECT_EQ(connection->check_writable().IsOK(), access == PvAccessOpen);
        connection->close();
    }
    EXPECT_EQ(camera.count(0x0082), 0);
}

TEST_F(ConnectionTest, ReadsWhatAnotherApplicationControls)
{
    RawCamera camera(sound());
    camera.set_control(2, other_application);
    EXPECT_TRUE(open(PvAccessReadOnly).IsOK());
    EXPECT_EQ(camera.reg(0x0A00), 2U);
}

TEST_F(ConnectionTest, SaysWhoHasControl)
{
    RawCamera camera(sound());
    camera.set_control(2, other_application);
    const PvResult result = open(PvAccessControl);
    EXPECT_EQ(result.GetCode(), PvResult::StateError);
    EXPECT_EQ(result.description(), "The device " + name + " is controlled by 127.0.0.1, port 50123");
    EXPECT_EQ(connection, nullptr);
    EXPECT_EQ(camera.reg(0x0A00), 2U);
}

TEST_F(ConnectionTest, SaysThatSomebodyHasControlWhenTheDeviceDoesNotTellWho)
{
    auto options = sound();
    options.capabilities &= ~0x08000000U;
    RawCamera camera(options);
    camera.set_control(2, other_application);
    const PvResult result = open(PvAccessExclusive);
    EXPECT_EQ(result.GetCode(), PvResult::StateError);
    EXPECT_EQ(result.description(), "The device " + name + " is controlled by another application");
}

TEST_F(ConnectionTest, SaysThatSomebodyHasExclusiveControlWhoLetsNobodyRead)
{
    RawCamera camera(sound());
    camera.set_control(1, other_application);
    camera.intercept([](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        return std::vector<Bytes>{RawCamera::ack(request, 0x8006, {})};
    });
    const PvResult result = open(PvAccessReadOnly);
    EXPECT_EQ(result.GetCode(), PvResult::StateError);
    EXPECT_EQ(result.description(), "The device " + name + " is controlled exclusively by another application");
}

TEST_F(ConnectionTest, SaysThatControlWasDeniedAtTheLastMoment)
{
    RawCamera camera(sound());
    camera.intercept([](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        if (request[3] == 0x82) {
            return std::vector<Bytes>{RawCamera::ack(request, 0x8006, {0, 0, 0, 0})};
        }
        return std::nullopt;
    });
    const PvResult result = open(PvAccessControl);
    EXPECT_EQ(result.GetCode(), PvResult::StateError);
    EXPECT_EQ(result.description(), "The device " + name + " is controlled by another application");
}

TEST_F(ConnectionTest, NoticesADeviceThatAcknowledgesButDoesNotGrant)
{
    RawCamera camera(sound());
    camera.intercept([](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        if (request[3] == 0x82) {
            return std::vector<Bytes>{RawCamera::ack(request, 0, {0, 0, 0, 1})};
        }
        return std::nullopt;
    });
    const PvResult result = open(PvAccessControl);
    EXPECT_EQ(result.GetCode(), PvResult::StateError);
    EXPECT_NE(result.description().find("did not grant control"), std::string::npos);
}

TEST_F(ConnectionTest, GivesControlBackWhenItCannotBeConfirmed)
{
    RawCamera camera(sound());
    std::atomic<bool> written{false};
    camera.intercept([&](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        if (request[3] == 0x82) {
            written = true;
        }
        if (request[3] == 0x80 && written) {
            return std::vector<Bytes>{};  // silent
        }
        return std::nullopt;
    });
    EXPECT_EQ(open(PvAccessControl).GetCode(), PvResult::Timeout);
    EXPECT_EQ(camera.reg(0x0A00), 0U);
}

TEST_F(ConnectionTest, RefusesADeviceOfANewerProtocol)
{
    auto options = sound();
    options.version = 0x00030001;
    RawCamera camera(options);
    const PvResult result = open(PvAccessControl);
    EXPECT_EQ(result.GetCode(), PvResult::BadVersion);
    EXPECT_NE(result.description().find("3.1"), std::string::npos);
    EXPECT_EQ(camera.reg(0x0A00), 0U);
}

TEST_F(ConnectionTest, TakesDevicesThatDoNotTellTheirVersion)
{
    auto options = sound();
    options.version = 0;
    RawCamera camera(options);
    EXPECT_TRUE(open(PvAccessControl).IsOK());
}

TEST_F(ConnectionTest, KeepsToSensibleHeartbeatsWhateverTheDeviceTells)
{
    const std::pair<std::uint32_t, std::uint32_t> cases[] = {
        {0, 3000}, {1, 100}, {100, 100}, {3'600'000, 3'600'000}, {0xFFFFFFFF, 3'600'000}};
    for (const auto& [told, taken] : cases) {
        auto options = sound();
        options.heartbeat_timeout = told;
        const RawCamera camera(options);
        ASSERT_TRUE(open(PvAccessControl).IsOK());
        EXPECT_EQ(connection->facts().heartbeat_timeout_ms, taken) << told;
        connection->close();
    }
}

TEST_F(ConnectionTest, RefusesAnotherDeviceAtTheSameAddress)
{
    const RawCamera camera(sound());
    mac = *net::MacAddress::parse("02:11:22:33:44:66");
    const PvResult result = open(PvAccessControl);
    EXPECT_EQ(result.GetCode(), PvResult::NotFound);
    EXPECT_NE(result.description().find("02:11:22:33:44:55"), std::string::npos);
    mac = *net::MacAddress::parse("02:11:22:33:44:55");
    EXPECT_TRUE(open(PvAccessControl).IsOK());
}

TEST_F(ConnectionTest, WaitsLessThanASecondForNobody)
{
    const auto begin = std::chrono::steady_clock::now();
    const PvResult result = open(PvAccessControl);
    EXPECT_EQ(result.GetCode(), PvResult::Timeout);
    EXPECT_NE(result.description().find(name), std::string::npos);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 1500ms);
}

TEST_F(ConnectionTest, ClosesInABoundedTimeWhenTheDeviceIsGone)
{
    RawCamera camera(sound());
    ASSERT_TRUE(open(PvAccessControl).IsOK());
    camera.mute(true);
    const auto begin = std::chrono::steady_clock::now();
    connection->close();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s);
}

TEST_F(ConnectionTest, ClosingEndsAnAccessUnderWayOnAnotherThread)
{
    RawCamera camera(sound());
    ASSERT_TRUE(open(PvAccessControl).IsOK());
    connection->channel().set_patience({60s, 10});
    std::promise<void> asked;
    std::atomic<bool> first{true};
    camera.intercept([&](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        if (request[3] != 0x80) {
            return std::nullopt;
        }
        if (first.exchange(false)) {
            asked.set_value();
        }
        return std::vector<Bytes>{};
    });
    auto reading = std::async(std::launch::async, [&] {
        std::uint32_t value = 0;
        return connection->channel().read_register(0xA000, value).kind;
    });
    asked.get_future().wait();
    const auto begin = std::chrono::steady_clock::now();
    connection->close();
    EXPECT_EQ(reading.get(), device::ControlOutcome::Kind::closed);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 2s);
    EXPECT_EQ(camera.reg(0x0A00), 0U);
}

TEST_F(ConnectionTest, LosingTellsTheDeviceNothing)
{
    RawCamera camera(sound());
    ASSERT_TRUE(open(PvAccessControl).IsOK());
    EXPECT_TRUE(connection->lose("pulled"));
    EXPECT_FALSE(connection->lose("again"));
    EXPECT_EQ(connection->loss_reason(), "pulled");
    connection->close();
    EXPECT_EQ(camera.reg(0x0A00), 2U);
}

TEST_F(ConnectionTest, SurvivesADeviceThatAnswersNonsense)
{
    RawCamera camera(sound());
    camera.intercept([](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        return std::vector<Bytes>{{0}, Bytes(2000, 0xFF), RawCamera::ack(request, 0, {1})};
    });
    const PvResult result = open(PvAccessControl);
    EXPECT_EQ(result.GetCode(), PvResult::NetworkError);
    EXPECT_NE(result.description().find("malformed"), std::string::npos);
}

}  // namespace
