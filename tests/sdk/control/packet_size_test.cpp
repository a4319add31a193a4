#include "sdk/control/packet_size.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "sdk/net/known_path.h"
#include "tests/sdk/control/raw_device.h"
#include "tests/sdk/control/scripted_transport.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;
using device_test::Bytes;
using device_test::RawCameraOptions;

/// The host's end of the test packets, on the test's clock.
class ScriptedPackets final : public control::TestPackets {
public:
    explicit ScriptedPackets(device_test::ManualClock& clock) : inbox(clock) {}

    [[nodiscard]] Endpoint local() const noexcept override { return {{0xC0A80101}, 50000}; }
    std::optional<net::Received> receive(std::span<std::uint8_t> buffer,
                                         std::chrono::milliseconds timeout) noexcept override
    {
        return inbox.receive(buffer, timeout);
    }

    device_test::ScriptedInbox inbox;
};

/// Sends its test packets where its registers say.
class ScriptedCamera final : public device_test::RawDevice {
public:
    ScriptedCamera(const RawCameraOptions& options, ScriptedPackets& packets) : RawDevice(options), packets_(packets) {}

    void send_test_packet(const Endpoint& destination, const Bytes& packet) override
    {
        if (destination == packets_.local()) {
            packets_.inbox.deliver(packet, device_test::ScriptedTransport::camera, 1ms);
        }
    }

private:
    ScriptedPackets& packets_;
};

class PacketSizeTest : public testing::Test {
protected:
    static RawCameraOptions sound()
    {
        RawCameraOptions options;
        options.address = device_test::ScriptedTransport::camera.address;
        return options;
    }

    void start(const RawCameraOptions& options)
    {
        camera = std::make_unique<ScriptedCamera>(options, packets);
        camera->set_control(2, transport.local());
        camera->set_reg(0x0D04, 0x20000000 | 1400);  // big-endian pixels, and a size that somebody has set
        camera->set_reg(0x0D00, 0x00010000 | 4567);
        camera->set_reg(0x0D18, 0x7F0000FE);
        transport.on_send = [this](const Bytes& request) {
            for (Bytes& bytes : camera->answers(request, transport.local())) {
                transport.deliver(std::move(bytes));
            }
        };
        control.set_concatenation(true);
        control.set_retry_policy({200ms, 3});
    }

    PvResult negotiate(std::uint32_t default_size = 0, std::uint32_t mtu = 0, control::PacketSizeLimits limits = {})
    {
        return control::negotiate_packet_size(control, {0, default_size, limits, mtu, false}, packets, clock);
    }

    void expect_channel_restored()
    {
        EXPECT_EQ(camera->reg(0x0D00), 0x00010000U | 4567U);
        EXPECT_EQ(camera->reg(0x0D18), 0x7F0000FEU);
    }

    device_test::ManualClock clock;
    const net::Clock::time_point begin = clock.now();
    device_test::ScriptedTransport transport{clock};
    control::ControlChannel control{transport, clock};
    ScriptedPackets packets{clock};
    std::unique_ptr<ScriptedCamera> camera;
};

TEST_F(PacketSizeTest, FindsTheLargestThatTheWireCarries)
{
    for (const std::uint32_t wire : {576U, 600U, 1499U, 1500U, 1501U, 8999U, 9000U, 9198U}) {
        auto options = sound();
        options.largest_on_wire = wire;
        start(options);
        const PvResult result = negotiate();
        EXPECT_TRUE(result.IsOK()) << result.description();
        EXPECT_EQ(camera->reg(0x0D04), 0x20000000U | (wire & ~3U)) << "wire " << wire;
        expect_channel_restored();
    }
}

TEST_F(PacketSizeTest, StreamsOfThisProcessKnowWhatWasNegotiated)
{
    const Ipv4Address device = device_test::ScriptedTransport::camera.address;
    const net::KnownPath path(device, packets.local().address);
    auto options = sound();
    options.largest_on_wire = 1500;
    start(options);
    EXPECT_TRUE(negotiate().IsOK());
    EXPECT_EQ(net::known_packet_size(device, 0), 1500U);
    EXPECT_EQ(net::known_packet_size(device, 1), 0U);
}

TEST_F(PacketSizeTest, TakesTheDevicesOwnLimitWhereTheWireCarriesMore)
{
    auto options = sound();
    options.largest_on_wire = 65535;
    options.largest_accepted = 16114;
    start(options);
    EXPECT_TRUE(negotiate().IsOK());
    EXPECT_EQ(camera->reg(0x0D04) & 0xFFFF, 16114U);
}

TEST_F(PacketSizeTest, LeavesASizeThatArrivedWhereTheDeviceTakesMoreThanTheWire)
{
    auto options = sound();
    options.largest_on_wire = 9198;
    options.largest_accepted = 16114;
    start(options);
    EXPECT_TRUE(negotiate().IsOK());
    EXPECT_EQ(camera->reg(0x0D04) & 0xFFFF, 9196U);
}

TEST_F(PacketSizeTest, GoesUpToTheLargestDatagram)
{
    auto options = sound();
    options.largest_on_wire = options.largest_accepted = 65535;
    start(options);
    EXPECT_TRUE(negotiate(0, 65536).IsOK());
    EXPECT_GE(camera->reg(0x0D04) & 0xFFFF, 65532U);
}

TEST_F(PacketSizeTest, StaysWithinTheInterfacesMtu)
{
    auto options = sound();
    options.largest_on_wire = 65535;
    start(options);
    EXPECT_TRUE(negotiate(0, 1500).IsOK());
    EXPECT_EQ(camera->reg(0x0D04) & 0xFFFF, 1500U);
}

TEST_F(PacketSizeTest, StaysWithinTheDevicesLimitsAndSteps)
{
    auto options = sound();
    options.largest_on_wire = 65535;
    start(options);
    EXPECT_TRUE(negotiate(0, 9000, {220, 8164, 8}).IsOK());
    EXPECT_EQ(camera->reg(0x0D04) & 0xFFFF, 8164U - (8164U - 220U) % 8U);
}

TEST_F(PacketSizeTest, FindsTheSizeOfADeviceWithCoarserStepsThanItTells)
{
    start(sound());
    // sizes are rounded down to multiples of 16, and only up to 4000 bytes arrive
    camera->intercept([&](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        if (request[3] != 0x82 || request[10] != 0x0D || request[11] != 0x04) {
            return std::nullopt;
        }
        const auto asked = static_cast<std::uint32_t>(request[14] << 8 | request[15]);
        const std::uint32_t size = asked / 16 * 16;
        camera->set_reg(0x0D04, size);
        if ((request[12] & 0x80) != 0 && size <= 4000) {
            camera->send_test_packet({{camera->reg(0x0D18)}, static_cast<std::uint16_t>(camera->reg(0x0D00))},
                                     Bytes(size - 28));
        }
        return std::vector<Bytes>{device_test::RawDevice::ack(request, 0, {0, 0, 0, 1})};
    });
    const PvResult result = negotiate();
    EXPECT_TRUE(result.IsOK()) << result.description();
    EXPECT_EQ(camera->reg(0x0D04) & 0xFFFF, 4000U);
}

TEST_F(PacketSizeTest, KeepsTheSizeWhenThereAreNoTestPackets)
{
    auto options = sound();
    options.largest_on_wire = 0;
    start(options);
    const PvResult result = negotiate();
    EXPECT_EQ(result.GetCode(), PvResult::NotSupported);
    EXPECT_NE(result.description().find("no test packet arrived"), std::string::npos);
    EXPECT_NE(result.description().find("stays 1400"), std::string::npos);
    EXPECT_EQ(camera->reg(0x0D04), 0x20000000U | 1400U);
    expect_channel_restored();
}

TEST_F(PacketSizeTest, FallsBackToTheDefaultAndSaysSo)
{
    auto options = sound();
    options.largest_on_wire = 0;
    start(options);
    const PvResult result = negotiate(1476);
    EXPECT_TRUE(result.IsOK());
    EXPECT_NE(result.description().find("set to the default, 1476"), std::string::npos);
    EXPECT_EQ(camera->reg(0x0D04), 0x20000000U | 1476U);
    expect_channel_restored();
}

TEST_F(PacketSizeTest, ClosesTheStreamBeforeItsDestinationIsPutBack)
{
    auto options = sound();
    options.largest_on_wire = 1500;
    start(options);
    std::vector<std::pair<std::uint32_t, std::uint32_t>> writes;
    camera->intercept([&](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        const auto word = [&](std::size_t at) {
            return static_cast<std::uint32_t>(request[at] << 24 | request[at + 1] << 16 | request[at + 2] << 8 |
                                              request[at + 3]);
        };
        for (std::size_t at = 8; request[3] == 0x82 && at + 8 <= request.size(); at += 8) {
            writes.emplace_back(word(at), word(at + 4));
        }
        return std::nullopt;
    });
    EXPECT_TRUE(negotiate(0, 1500).IsOK());
    expect_channel_restored();
    const auto back = std::find(writes.begin(), writes.end(), std::pair{0x0D18U, 0x7F0000FEU});
    ASSERT_NE(back, writes.end());
    const auto port = std::find_if(std::make_reverse_iterator(back), writes.rend(),
                                   [](const auto& write) { return write.first == 0x0D00; });
    ASSERT_NE(port, writes.rend());
    EXPECT_EQ(port->second, 0x00010000U);
}

TEST_F(PacketSizeTest, AsksForTestPacketsThatNobodyMayFragment)
{
    start(sound());
    int fired = 0;
    camera->intercept([&](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        if (request[3] == 0x82 && request[11] == 0x04 && (request[12] & 0x80) != 0) {
            ++fired;
            EXPECT_EQ(request[12], 0xE0);  // fire, do not fragment, and the pixels' byte order as it was
        }
        return std::nullopt;
    });
    EXPECT_TRUE(negotiate().IsOK());
    EXPECT_GT(fired, 1);
}

TEST_F(PacketSizeTest, FiresNoTestPacketWithTheSizeThatItLeaves)
{
    auto options = sound();
    options.largest_on_wire = 0;
    for (const std::uint32_t default_size : {0U, 1476U}) {
        start(options);
        camera->set_reg(0x0D04, 0xA0000000 | 1400);  // the flag is still set
        std::vector<int> flags;
        camera->intercept([&](const Bytes& request) -> std::optional<std::vector<Bytes>> {
            if (request[3] == 0x82 && request[10] == 0x0D && request[11] == 0x04) {
                flags.push_back(request[12]);
            }
            return std::nullopt;
        });
        static_cast<void>(negotiate(default_size));
        ASSERT_GT(flags.size(), 1U);
        EXPECT_EQ(flags.back(), 0x20) << default_size;
    }
}

TEST_F(PacketSizeTest, LeavesAStreamAloneThatIsUnderWay)
{
    start(sound());
    packets.inbox.deliver(Bytes(1000), device_test::ScriptedTransport::camera, 15ms);
    const PvResult result = negotiate(1476);
    EXPECT_EQ(result.GetCode(), PvResult::StateError);
    EXPECT_NE(result.description().find("is streaming"), std::string::npos);
    EXPECT_EQ(camera->reg(0x0D04), 0x20000000U | 1400U);
    expect_channel_restored();
}

TEST_F(PacketSizeTest, TakesWhatOthersSendForNoStream)
{
    start(sound());
    packets.inbox.deliver(Bytes(1000), device_test::ScriptedTransport::stranger, 5ms);
    EXPECT_TRUE(negotiate(1476).IsOK());
}

TEST_F(PacketSizeTest, ClosesAChannelThatWasClosedThoughItsDestinationCannotBeCleared)
{
    start(sound());
    camera->set_reg(0x0D00, 0x00010000);
    camera->set_reg(0x0D18, 0);
    camera->intercept([](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        for (std::size_t at = 8; request[3] == 0x82 && at + 8 <= request.size(); at += 8) {
            if (request[at + 3] == 0x18 && request[at + 4] == 0) {
                return std::vector<Bytes>{device_test::RawDevice::ack(request, 0x8002, Bytes(4))};
            }
        }
        return std::nullopt;
    });
    EXPECT_TRUE(negotiate().IsOK());
    EXPECT_EQ(camera->reg(0x0D00), 0x00010000U);
}

TEST_F(PacketSizeTest, RefusesAnImpossibleDefault)
{
    start(sound());
    EXPECT_EQ(negotiate(65536).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(negotiate(10).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(camera->reg(0x0D04), 0x20000000U | 1400U);
}

TEST_F(PacketSizeTest, TellsADefaultThatTheDeviceDoesNotTake)
{
    auto options = sound();
    options.largest_on_wire = 0;
    options.largest_accepted = 2000;
    start(options);
    const PvResult result = negotiate(9000);
    EXPECT_EQ(result.GetCode(), PvResult::GenericError);
    EXPECT_NE(result.description().find("9000"), std::string::npos);
    EXPECT_EQ(camera->reg(0x0D04), 0x20000000U | 1400U);
    expect_channel_restored();
}

TEST_F(PacketSizeTest, PacketsFromElsewhereProveNothing)
{
    auto options = sound();
    options.largest_on_wire = 0;
    start(options);
    camera->intercept([&](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        const bool fires = request[3] == 0x82 && request[11] == 0x04 && (request[12] & 0x80) != 0;
        if (fires) {
            const auto size = static_cast<std::size_t>(request[14] << 8 | request[15]);
            packets.inbox.deliver(Bytes(size - 28), device_test::ScriptedTransport::stranger);
        }
        return std::nullopt;
    });
    EXPECT_EQ(negotiate().GetCode(), PvResult::NotSupported);
}

TEST_F(PacketSizeTest, TellsThatTheDeviceVanishedMeanwhile)
{
    start(sound());
    std::atomic<int> writes{0};
    camera->intercept([&](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        if (request[3] == 0x82 && ++writes > 4) {
            camera->mute(true);
        }
        return std::nullopt;
    });
    const PvResult result = negotiate();
    EXPECT_EQ(result.GetCode(), PvResult::Timeout);
    EXPECT_NE(result.description().find(camera->options().address.to_string()), std::string::npos);
    EXPECT_LT(clock.now() - begin, 10s);
}

}  // namespace
