#include "sdk/control/connection.h"

#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "tests/sdk/control/connection_fixture.h"
#include "tests/sdk/control/raw_camera.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;
using control::Connection;
using device_test::Bytes;
using device_test::ConnectionTest;
using device_test::other_application;
using device_test::RawCameraOptions;
using device_test::RawDevice;
using device_test::ScriptedTransport;

TEST_F(ConnectionTest, TellsOthersItsInterfaceWhileItLasts)
{
    const auto known = [] { return net::known_local_address_towards(ScriptedTransport::camera.address); };
    start(sound());
    ASSERT_TRUE(open(PvAccessControl).IsOK());
    EXPECT_EQ(known(), connection->channel().local().address);
    connection->close();
    EXPECT_TRUE(known().is_any());
    ASSERT_TRUE(open(PvAccessControl).IsOK());
    connection->lose("pulled");
    EXPECT_TRUE(known().is_any());
    start(sound());
    ASSERT_TRUE(open(PvAccessControl).IsOK());
    connection.reset();
    EXPECT_TRUE(known().is_any());
}

TEST_F(ConnectionTest, TakesAndReturnsControl)
{
    RawDevice& camera = start(sound());
    ASSERT_TRUE(open(PvAccessControl).IsOK());
    EXPECT_EQ(camera.reg(0x0A00), 2U);
    EXPECT_TRUE(connection->has_control());
    EXPECT_EQ(connection->facts().heartbeat_timeout_ms, 3000U);
    EXPECT_EQ(connection->facts().stream_channels, 1U);
    connection->close();
    EXPECT_EQ(camera.reg(0x0A00), 0U);
    std::uint32_t value = 0;
    EXPECT_EQ(connection->channel().read_register(0, value).kind, control::ControlOutcome::Kind::closed);
}

TEST_F(ConnectionTest, TakesExclusiveControl)
{
    RawDevice& camera = start(sound());
    ASSERT_TRUE(open(PvAccessExclusive).IsOK());
    EXPECT_EQ(camera.reg(0x0A00), 1U);
    connection->close();
    EXPECT_EQ(camera.reg(0x0A00), 0U);
}

TEST_F(ConnectionTest, WritesNoPrivilegeToReadOrToOpen)
{
    RawDevice& camera = start(sound());
    for (const PvAccessType access : {PvAccessOpen, PvAccessReadOnly}) {
        ASSERT_TRUE(open(access).IsOK());
        EXPECT_FALSE(connection->has_control());
        EXPECT_EQ(connection->check_writable().IsOK(), access == PvAccessOpen);
        connection->close();
    }
    EXPECT_EQ(camera.count(0x0082), 0);
}

TEST_F(ConnectionTest, EnablesPendingAcknowledgesAndExtendedStatusWhereTheDeviceHasThem)
{
    struct Case {
        std::uint32_t capabilities;
        std::uint32_t enabled;
    };
    constexpr std::uint32_t heartbeat_disable = 1;
    for (const auto& [capabilities, enabled] :
         {Case{0, 0}, Case{1U << 5, 0x2}, Case{1U << 22, 0x4}, Case{1U << 18, 0x40000},
          Case{1U << 5 | 1U << 22 | 1U << 18, 0x40006}}) {
        RawCameraOptions options = sound();
        options.capabilities |= capabilities;
        RawDevice& camera = start(options);
        camera.set_reg(0x0954, heartbeat_disable);
        ASSERT_TRUE(open(PvAccessControl).IsOK());
        EXPECT_EQ(camera.reg(0x0954), heartbeat_disable | enabled);
    }
}

TEST_F(ConnectionTest, ConfiguresNothingWithoutControl)
{
    RawCameraOptions options = sound();
    options.capabilities |= 1U << 5;
    RawDevice& camera = start(options);
    ASSERT_TRUE(open(PvAccessReadOnly).IsOK());
    EXPECT_EQ(camera.reg(0x0954), 0U);
}

TEST_F(ConnectionTest, ConnectsToADeviceThatRefusesToBeConfigured)
{
    RawCameraOptions options = sound();
    options.capabilities |= 1U << 5;
    RawDevice& camera = start(options);
    camera.intercept([](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        if (request[3] == 0x82 && request[10] == 0x09 && request[11] == 0x54) {
            return std::vector<Bytes>{RawDevice::ack(request, 0x8006, Bytes(4))};
        }
        return std::nullopt;
    });
    EXPECT_TRUE(open(PvAccessControl).IsOK());
}

TEST_F(ConnectionTest, ReadsWhatAnotherApplicationControls)
{
    RawDevice& camera = start(sound());
    camera.set_control(2, other_application);
    EXPECT_TRUE(open(PvAccessReadOnly).IsOK());
    EXPECT_EQ(camera.reg(0x0A00), 2U);
}

TEST_F(ConnectionTest, SaysWhoHasControl)
{
    RawDevice& camera = start(sound());
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
    RawDevice& camera = start(options);
    camera.set_control(2, other_application);
    const PvResult result = open(PvAccessExclusive);
    EXPECT_EQ(result.GetCode(), PvResult::StateError);
    EXPECT_EQ(result.description(), "The device " + name + " is controlled by another application");
}

TEST_F(ConnectionTest, SaysThatSomebodyHasExclusiveControlWhoLetsNobodyRead)
{
    RawDevice& camera = start(sound());
    camera.set_control(1, other_application);
    camera.intercept([](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        return std::vector<Bytes>{RawDevice::ack(request, 0x8006, {})};
    });
    const PvResult result = open(PvAccessReadOnly);
    EXPECT_EQ(result.GetCode(), PvResult::StateError);
    EXPECT_EQ(result.description(), "The device " + name + " is controlled exclusively by another application");
}

TEST_F(ConnectionTest, SaysThatControlWasDeniedAtTheLastMoment)
{
    RawDevice& camera = start(sound());
    camera.intercept([](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        if (request[3] == 0x82) {
            return std::vector<Bytes>{RawDevice::ack(request, 0x8006, {0, 0, 0, 0})};
        }
        return std::nullopt;
    });
    const PvResult result = open(PvAccessControl);
    EXPECT_EQ(result.GetCode(), PvResult::StateError);
    EXPECT_EQ(result.description(), "The device " + name + " is controlled by another application");
}

TEST_F(ConnectionTest, IsTakenUpAgainByTheControllerThatTheDeviceStillKnows)
{
    const Endpoint self = ScriptedTransport(clock).local();
    start(sound()).set_control(2, self);
    EXPECT_EQ(open(PvAccessControl).GetCode(), PvResult::StateError) << "but not by chance";
    target.returning = control::Returning{self};
    EXPECT_TRUE(open(PvAccessControl).IsOK());
    EXPECT_TRUE(connection->kept_control());
}

TEST_F(ConnectionTest, OfAReturningControllerIsNewWhereTheDeviceForgotIt)
{
    start(sound());
    target.returning = control::Returning{ScriptedTransport(clock).local()};
    EXPECT_TRUE(open(PvAccessControl).IsOK());
    EXPECT_FALSE(connection->kept_control());
    EXPECT_EQ(responder->reg(0x0A00), 2U);
}

TEST_F(ConnectionTest, OfAReturningControllerTakesNothingFromAnother)
{
    start(sound()).set_control(2, other_application);
    target.returning = control::Returning{ScriptedTransport(clock).local()};
    EXPECT_EQ(open(PvAccessControl).GetCode(), PvResult::StateError);
    EXPECT_EQ(responder->count(0x0082), 0);
}

TEST_F(ConnectionTest, OfAReturningControllerIsLeftToADeviceThatDoesNotTellItsController)
{
    RawCameraOptions options = sound();
    options.capabilities &= ~(1U << 27);
    target.returning.emplace();
    start(options).set_control(2, other_application);
    EXPECT_EQ(open(PvAccessControl).GetCode(), PvResult::StateError);
    EXPECT_EQ(responder->reg(0x0A00), 2U);

    start(options).set_control(2, ScriptedTransport(clock).local());
    EXPECT_TRUE(open(PvAccessControl).IsOK());
    EXPECT_TRUE(connection->kept_control());
}

TEST_F(ConnectionTest, KnowsMacAddressAndSerialNumber)
{
    RawCameraOptions options = sound();
    options.serial = "SN-0123456789ABC";  // as long as the register
    start(options);
    ASSERT_TRUE(open(PvAccessReadOnly).IsOK());
    EXPECT_EQ(connection->facts().mac.to_string(), "02:11:22:33:44:55");
    EXPECT_EQ(connection->facts().serial_number, "SN-0123456789ABC");

    options.capabilities &= ~(1U << 30);
    start(options);
    ASSERT_TRUE(open(PvAccessReadOnly).IsOK());
    EXPECT_EQ(connection->facts().serial_number, "");
}

TEST_F(ConnectionTest, NoticesADeviceThatAcknowledgesButDoesNotGrant)
{
    RawDevice& camera = start(sound());
    camera.intercept([](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        if (request[3] == 0x82) {
            return std::vector<Bytes>{RawDevice::ack(request, 0, {0, 0, 0, 1})};
        }
        return std::nullopt;
    });
    const PvResult result = open(PvAccessControl);
    EXPECT_EQ(result.GetCode(), PvResult::StateError);
    EXPECT_NE(result.description().find("did not grant control"), std::string::npos);
}

TEST_F(ConnectionTest, GivesControlBackWhenItCannotBeConfirmed)
{
    RawDevice& camera = start(sound());
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
    RawDevice& camera = start(options);
    const PvResult result = open(PvAccessControl);
    EXPECT_EQ(result.GetCode(), PvResult::BadVersion);
    EXPECT_NE(result.description().find("3.1"), std::string::npos);
    EXPECT_EQ(camera.reg(0x0A00), 0U);
}

TEST_F(ConnectionTest, TakesDevicesThatDoNotTellTheirVersion)
{
    auto options = sound();
    options.version = 0;
    start(options);
    EXPECT_TRUE(open(PvAccessControl).IsOK());
}

TEST_F(ConnectionTest, KeepsToSensibleHeartbeatsWhateverTheDeviceTells)
{
    const std::pair<std::uint32_t, std::uint32_t> cases[] = {
        {0, 3000}, {1, 100}, {100, 100}, {3'600'000, 3'600'000}, {0xFFFFFFFF, 3'600'000}};
    for (const auto& [told, taken] : cases) {
        auto options = sound();
        options.heartbeat_timeout = told;
        start(options);
        ASSERT_TRUE(open(PvAccessControl).IsOK());
        EXPECT_EQ(connection->facts().heartbeat_timeout_ms, taken) << told;
        connection->close();
    }
}

TEST_F(ConnectionTest, RefusesAnotherDeviceAtTheSameAddress)
{
    start(sound());
    target.mac = *MacAddress::parse("02:11:22:33:44:66");
    const PvResult result = open(PvAccessControl);
    EXPECT_EQ(result.GetCode(), PvResult::NotFound);
    EXPECT_NE(result.description().find("02:11:22:33:44:55"), std::string::npos);
    target.mac = *MacAddress::parse("02:11:22:33:44:55");
    EXPECT_TRUE(open(PvAccessControl).IsOK());
}

TEST_F(ConnectionTest, WaitsLessThanASecondForNobodyAndHintsAtTheCause)
{
    target.hint = "the cable, perhaps";
    const PvResult result = open(PvAccessControl);
    EXPECT_EQ(result.GetCode(), PvResult::Timeout);
    EXPECT_NE(result.description().find(name), std::string::npos);
    EXPECT_NE(result.description().find("; the cable, perhaps"), std::string::npos);
    EXPECT_EQ(clock.now() - begin, 840ms);
}

TEST_F(ConnectionTest, ClosesInABoundedTimeWhenTheDeviceIsGone)
{
    RawDevice& camera = start(sound());
    ASSERT_TRUE(open(PvAccessControl).IsOK());
    camera.mute(true);
    const auto closing = clock.now();
    connection->close();
    EXPECT_EQ(clock.now() - closing, 300ms);
}

TEST_F(ConnectionTest, GivesControlBackThoughTheFirstRequestIsLost)
{
    RawDevice& camera = start(sound());
    ASSERT_TRUE(open(PvAccessControl).IsOK());
    int writes = 0;
    camera.intercept([&](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        if (request[3] == 0x82 && ++writes == 1) {
            return std::vector<Bytes>{};
        }
        return std::nullopt;
    });
    connection->close();
    EXPECT_EQ(writes, 2);
    EXPECT_EQ(camera.reg(0x0A00), 0U);
}

TEST_F(ConnectionTest, WritesMemoryByRegistersWhereTheDeviceHasNoWriteMem)
{
    for (const bool has_write_memory : {true, false}) {
        auto options = sound();
        options.capabilities = has_write_memory ? options.capabilities | 2U : options.capabilities & ~2U;
        RawDevice& camera = start(options);
        ASSERT_TRUE(open(PvAccessControl).IsOK());
        EXPECT_TRUE(connection->channel().write_memory(0xA000, Bytes{1, 2, 3, 4}).ok());
        EXPECT_EQ(camera.reg(0xA000), 0x01020304U);
        EXPECT_EQ(camera.count(0x0086), has_write_memory ? 1 : 0);
        connection->close();
    }
}

TEST_F(ConnectionTest, LosingTellsTheDeviceNothing)
{
    RawDevice& camera = start(sound());
    ASSERT_TRUE(open(PvAccessControl).IsOK());
    EXPECT_TRUE(connection->lose("pulled"));
    EXPECT_FALSE(connection->lose("again"));
    EXPECT_EQ(connection->loss_reason(), "pulled");
    connection->close();
    EXPECT_EQ(camera.reg(0x0A00), 2U);
}

TEST_F(ConnectionTest, SurvivesADeviceThatAnswersNonsense)
{
    RawDevice& camera = start(sound());
    camera.intercept([](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        return std::vector<Bytes>{{0}, Bytes(2000, 0xFF), RawDevice::ack(request, 0, {1})};
    });
    const PvResult result = open(PvAccessControl);
    EXPECT_EQ(result.GetCode(), PvResult::NetworkError);
    EXPECT_NE(result.description().find("malformed"), std::string::npos);
}

// ---- on sockets ----

TEST(ConnectionOnSockets, ClosingEndsAnAccessUnderWayOnAnotherThread)
{
    RawCameraOptions options;
    options.address = device_test::loopback(33);
    device_test::RawCamera camera(options);
    std::shared_ptr<Connection> connection;
    control::ConnectionTarget target;
    target.device = {options.address, 3956};
    ASSERT_TRUE(Connection::open(target, {60s, 10}, connection).IsOK());
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
    EXPECT_EQ(reading.get(), control::ControlOutcome::Kind::closed);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 2s);
    EXPECT_EQ(camera.reg(0x0A00), 0U);
}

}  // namespace
