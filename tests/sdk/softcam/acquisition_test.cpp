// What the camera sends, when, and what stops it.
#include <future>
#include <random>

#include "tests/sdk/softcam/camera_fixture.h"

using namespace vex;

using namespace std::chrono_literals;
namespace reg = softcam::reg;
using test_pattern::FrameSettings;
using test_pattern::Pattern;

namespace {

struct Format {
    std::uint32_t code;
    std::uint32_t step_x;
    std::uint32_t step_y;
};

constexpr Format formats[] = {
    {0x01080001, 1, 1}, {0x01100003, 1, 1}, {0x010C0004, 2, 1}, {0x01100005, 1, 1}, {0x010C0006, 2, 1},
    {0x01100007, 1, 1}, {0x01080008, 2, 2}, {0x01080009, 2, 2}, {0x0108000A, 2, 2}, {0x0108000B, 2, 2},
    {0x0110000C, 2, 2}, {0x0110000D, 2, 2}, {0x0110000E, 2, 2}, {0x0110000F, 2, 2}, {0x01100010, 2, 2},
    {0x01100011, 2, 2}, {0x01100012, 2, 2}, {0x01100013, 2, 2}, {0x010C0026, 2, 2}, {0x010C0027, 2, 2},
    {0x010C0028, 2, 2}, {0x010C0029, 2, 2}, {0x010C002A, 2, 2}, {0x010C002B, 2, 2}, {0x010C002C, 2, 2},
    {0x010C002D, 2, 2}, {0x0110002E, 2, 2}, {0x0110002F, 2, 2}, {0x01100030, 2, 2}, {0x01100031, 2, 2},
    {0x02180014, 1, 1}, {0x02180015, 1, 1}, {0x0210001F, 2, 1}, {0x02100032, 2, 1}};

class Acquisition : public SoftCam {};

}  // namespace

TEST_F(Acquisition, SendsTheTestCardByDefault)
{
    host.open_stream();
    start();
    expect_frame(FrameSettings{});
    EXPECT_TRUE(host.wait_for_end());
}

TEST_F(Acquisition, EveryFormatShowsTheSameScene)
{
    host.open_stream();
    ASSERT_EQ(host.write(reg::width, 64), status::success);
    ASSERT_EQ(host.write(reg::height, 48), status::success);
    FrameSettings expected;
    expected.width = 64;
    expected.height = 48;
    for (const Format& format : formats) {
        SCOPED_TRACE(testing::Message() << std::hex << format.code);
        ASSERT_EQ(host.write(reg::pixel_format, format.code), status::success);
        EXPECT_EQ(host.read(reg::width_step), format.step_x);
        EXPECT_EQ(host.read(reg::height_step), format.step_y);
        expected.pixel_format = format.code;
        EXPECT_EQ(host.read(reg::payload_size), test_pattern::image_bytes(expected));
        start();
        expect_frame(expected);
        ASSERT_TRUE(host.wait_for_end());
        clock.advance(1s);
    }
}

TEST_F(Acquisition, RandomSettingsShowTheRightPicture)
{
    const std::uint64_t seed = std::random_device{}();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937_64 random(seed);
    const auto below = [&](std::uint32_t n) { return static_cast<std::uint32_t>(random() % n); };
    host.open_stream();
    for (int round = 0; round < 40; ++round) {
        const Format& format = formats[below(std::size(formats))];
        FrameSettings expected;
        expected.pixel_format = format.code;
        expected.pattern = static_cast<Pattern>(below(test_pattern::pattern_count));
        expected.binning_x = 1 + below(4);
        expected.binning_y = 1 + below(4);
        expected.reverse_x = below(2) != 0;
        expected.reverse_y = below(2) != 0;
        expected.width = 16 + below(40) * format.step_x;
        expected.height = 2 + below(40) * format.step_y;
        const std::uint32_t room_x = 3840 / expected.binning_x - expected.width;
        const std::uint32_t room_y = 2880 / expected.binning_y - expected.height;
        expected.offset_x = below(room_x / format.step_x) * format.step_x;
        expected.offset_y = below(room_y / format.step_y) * format.step_y;

        ASSERT_EQ(host.write(reg::offset_x, 0), status::success);
        ASSERT_EQ(host.write(reg::offset_y, 0), status::success);
        ASSERT_EQ(host.write(reg::binning_horizontal, expected.binning_x), status::success);
        ASSERT_EQ(host.write(reg::binning_vertical, expected.binning_y), status::success);
        ASSERT_EQ(host.write(reg::pixel_format, format.code), status::success);
        ASSERT_EQ(host.write(reg::width, expected.width), status::success);
        ASSERT_EQ(host.write(reg::height, expected.height), status::success);
        ASSERT_EQ(host.write(reg::offset_x, expected.offset_x), status::success);
        ASSERT_EQ(host.write(reg::offset_y, expected.offset_y), status::success);
        ASSERT_EQ(
            host.write(reg::reverse, (expected.reverse_x ? 0x80000000U : 0) | (expected.reverse_y ? 0x40000000U : 0)),
            status::success);
        ASSERT_EQ(host.write(reg::test_pattern, static_cast<std::uint32_t>(expected.pattern)), status::success);
        start();
        expect_frame(expected);
        ASSERT_TRUE(host.wait_for_end());
        clock.advance(1s);
    }
}

TEST_F(Acquisition, MultiFrameSendsThatManyFramesAtTheFrameRate)
{
    host.open_stream();
    ASSERT_EQ(host.write(reg::acquisition_mode, 2), status::success);
    ASSERT_EQ(host.write(reg::acquisition_frame_count, 3), status::success);
    ASSERT_EQ(host.write_bytes(reg::frame_period, bytes_of({0, 0, 0, 0, 0x3B, 0x9A, 0xCA, 0x00})), status::success);
    start();
    std::uint64_t first = 0;
    for (std::uint64_t i = 0; i < 3; ++i) {
        const auto packets = expect_frame(FrameSettings{});
        EXPECT_EQ(packets[0].block_id, i + 1);
        const std::uint64_t timestamp = number_at(packets[0].payload, 4, 8);
        if (i == 0) {
            first = timestamp;
        }
        EXPECT_EQ(timestamp - first, i * 1'000'000'000) << "one second between frames";
        EXPECT_FALSE(host.stream().receive(20ms)) << "the next one waits for its time";
        clock.advance(1s);
    }
    EXPECT_TRUE(host.wait_for_end());
    clock.advance(10s);
    EXPECT_FALSE(host.stream().receive(20ms));
}

TEST_F(Acquisition, ContinuousGoesOnUntilStopped)
{
    host.open_stream();
    ASSERT_EQ(host.write(reg::acquisition_mode, 0), status::success);
    ASSERT_EQ(host.write(reg::width, 64), status::success);
    ASSERT_EQ(host.write(reg::height, 48), status::success);
    FrameSettings expected;
    expected.width = 64;
    expected.height = 48;
    start();
    for (int i = 0; i < 40; ++i) {
        expect_frame(expected);
        clock.advance(34ms);
    }
    ASSERT_EQ(host.write(reg::acquisition_stop, 1), status::success);
    EXPECT_EQ(host.read(reg::acquisition_status), 0U);
    while (host.stream().receive(50ms)) {
        // the frame that was under way
    }
    clock.advance(1s);
    EXPECT_FALSE(host.stream().receive(30ms));
}

TEST_F(Acquisition, AStalledCameraDoesNotMakeUpWithABurst)
{
    host.open_stream();
    ASSERT_EQ(host.write(reg::acquisition_mode, 0), status::success);
    start();
    expect_frame(FrameSettings{});
    ASSERT_EQ(host.write(0x0938, 3'600'000), status::success);
    clock.advance(100s);
    expect_frame(FrameSettings{});
    EXPECT_FALSE(host.stream().receive(30ms));
}

TEST_F(Acquisition, TheExposureTimeBoundsTheRate)
{
    host.open_stream();
    ASSERT_EQ(host.write(reg::acquisition_mode, 0), status::success);
    // 500,000 us as an IEEE double
    ASSERT_EQ(host.write_bytes(reg::exposure_time, bytes_of({0x41, 0x1E, 0x84, 0x80, 0, 0, 0, 0})), status::success);
    start();
    expect_frame(FrameSettings{});
    clock.advance(499ms);
    EXPECT_FALSE(host.stream().receive(30ms));
    clock.advance(1ms);
    expect_frame(FrameSettings{});
}

TEST_F(Acquisition, SoftwareTriggersMakeOneFrameEach)
{
    host.open_stream();
    ASSERT_EQ(host.write(reg::acquisition_mode, 0), status::success);
    EXPECT_EQ(host.write(reg::trigger_software, 1), status::access_denied) << "trigger mode is off";
    ASSERT_EQ(host.write(reg::trigger_mode, 1), status::success);
    start();
    EXPECT_FALSE(host.stream().receive(30ms));
    for (int i = 0; i < 3; ++i) {
        clock.advance(1s);
        ASSERT_EQ(host.write(reg::trigger_software, 1), status::success);
        expect_frame(FrameSettings{});
        EXPECT_FALSE(host.stream().receive(20ms));
    }
    ASSERT_EQ(host.write(reg::trigger_source, 1), status::success);
    EXPECT_EQ(host.write(reg::trigger_software, 1), status::access_denied) << "the source is a line";
}

TEST_F(Acquisition, ActionCommandsTriggerWhenTheyAreTheSource)
{
    host.open_stream();
    ASSERT_EQ(host.write(reg::acquisition_mode, 0), status::success);
    ASSERT_EQ(host.write(reg::trigger_mode, 1), status::success);
    ASSERT_EQ(host.write(reg::trigger_source, 2), status::success);
    ASSERT_EQ(host.write(0x090C, 0xAAAA), status::success);
    ASSERT_EQ(host.write(0x9800, 0x1), status::success);
    ASSERT_EQ(host.write(0x9804, 0x1), status::success);
    start();
    clock.advance(1s);
    EXPECT_EQ(status_of(host.ask(command(0x0100, host.next_id(), joined({be32(0xAAAA), be32(1), be32(1)})))),
              status::success);
    expect_frame(FrameSettings{});
}

TEST_F(Acquisition, GeometryIsLockedWhileFramesAreTaken)
{
    host.open_stream();
    ASSERT_EQ(host.write(reg::acquisition_mode, 0), status::success);
    start();
    expect_frame(FrameSettings{});
    for (const std::uint32_t address : {reg::width, reg::height, reg::offset_x, reg::offset_y, reg::pixel_format,
                                        reg::binning_horizontal, reg::binning_vertical, reg::reverse, reg::sensor_type,
                                        reg::acquisition_mode, reg::acquisition_frame_count, reg::user_set_load}) {
        EXPECT_EQ(host.write(address, 1), status::access_denied) << std::hex << address;
    }
    EXPECT_EQ(host.write(reg::test_pattern, 2), status::success) << "what needs no new size is free";
    ASSERT_EQ(host.write(reg::acquisition_stop, 1), status::success);
    EXPECT_EQ(host.write(reg::width, 32), status::success);
}

TEST_F(Acquisition, ClosingTheChannelStopsTheStreamAndOpeningItCountsFromOne)
{
    host.open_stream();
    ASSERT_EQ(host.write(reg::acquisition_mode, 0), status::success);
    start();
    expect_frame(FrameSettings{});
    clock.advance(34ms);
    EXPECT_EQ(expect_frame(FrameSettings{})[0].block_id, 2U);
    ASSERT_EQ(host.write(0x0D00, 0), status::success);
    while (host.stream().receive(50ms)) {
        // what had left before
    }
    for (int i = 0; i < 3; ++i) {
        clock.advance(34ms);
        EXPECT_FALSE(host.stream().receive(10ms));
    }
    host.open_stream();
    clock.advance(34ms);
    EXPECT_EQ(expect_frame(FrameSettings{})[0].block_id, 1U);
}

TEST_F(Acquisition, LostControlEndsIt)
{
    host.open_stream();
    ASSERT_EQ(host.write(reg::acquisition_mode, 0), status::success);
    start();
    expect_frame(FrameSettings{});
    // the camera may note the last command only after it was answered, and thus after a jump of the clock
    const auto end = net::Clock::steady().now() + 10s;
    while (camera.control_statistics().heartbeat_expired == 0 && net::Clock::steady().now() < end) {
        clock.advance(4s);
        std::this_thread::yield();
    }
    while (host.stream().receive(50ms)) {
        // at most what the clock's jump released
    }
    clock.advance(1s);
    EXPECT_FALSE(host.stream().receive(30ms));
    EXPECT_EQ(host.read(reg::acquisition_status), 0U);
    EXPECT_EQ(host.read(0x0D00), 0U);
}

TEST_F(Acquisition, WithoutAnOpenChannelNothingIsSent)
{
    start();
    EXPECT_TRUE(host.wait_for_end());
    EXPECT_EQ(camera.stream_statistics().blocks, 0U);
}

TEST_F(Acquisition, LostPacketsComeAgainOnRequest)
{
    struct LoseSecond final : transmitter::PacketLoss {
        bool loses(std::uint64_t, std::uint32_t packet_id, bool resend) override { return packet_id == 2 && !resend; }
    };
    camera.set_loss(std::make_shared<LoseSecond>());
    host.open_stream(1500);
    start();
    const auto packets = receive_block(host.stream());
    ASSERT_EQ(packets.size(), 2U + 209U) << "307,200 bytes take 210 packets of 1464; one is lost";
    // from the stream's socket, without acknowledge, as receivers do
    host.stream().send(camera_address, command(0x0040, 1, bytes_of({0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 2}), 0));
    const auto again = host.stream().receive();
    ASSERT_TRUE(again);
    const StreamPacket packet = parse(again->bytes);
    EXPECT_EQ(packet.packet_id, 2U);
    std::vector<std::uint8_t> picture(640 * 480);
    test_pattern::render(FrameSettings{}, 1, picture);
    EXPECT_TRUE(std::equal(packet.payload.begin(), packet.payload.end(), picture.begin() + 1464));
    // the packet was received before the camera has counted it
    EXPECT_TRUE(eventually([&] { return camera.stream_statistics().resent_packets == 1; }));
    EXPECT_EQ(camera.stream_statistics().lost_packets, 1U);
}

TEST_F(Acquisition, ControlIsAnsweredWhilePacketsAreSentAgain)
{
    // holds whatever is sent again until the test lets it go
    struct Hold final : transmitter::PacketLoss {
        bool loses(std::uint64_t, std::uint32_t, bool resend) override
        {
            if (resend) {
                asked.set_value();
                let_go.get_future().wait();
            }
            return resend;
        }
        std::promise<void> asked;
        std::promise<void> let_go;
    };
    const auto hold = std::make_shared<Hold>();
    camera.set_loss(hold);
    host.open_stream(1500);
    start();
    receive_block(host.stream());
    host.stream().send(camera_address, command(0x0040, 1, bytes_of({0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 2}), 0));
    ASSERT_EQ(hold->asked.get_future().wait_for(10s), std::future_status::ready);
    EXPECT_EQ(host.read(0x0A00), 2U) << "who has control";
    hold->let_go.set_value();
}

TEST_F(Acquisition, TheStreamHasTheFaultsThatAreAskedFor)
{
    camera.set_stream_faults({.lost_trailers = 1000});
    host.open_stream();
    start();
    ASSERT_TRUE(host.wait_for_end());
    ASSERT_TRUE(eventually([&] { return camera.stream_statistics().blocks == 1; }));
    EXPECT_EQ(camera.stream_fault_statistics().lost_trailers, 1U);
    EXPECT_EQ(camera.stream_fault_statistics().packets, camera.stream_statistics().packets);
    camera.set_stream_faults({});
    clock.advance(1s);
    start();
    const auto packets = receive_block(host.stream());
    EXPECT_EQ(packets.back().block_id, 2U) << "the first block has no trailer";
}

TEST_F(Acquisition, PacketsThatAreDelayedComeThoughNothingFollows)
{
    camera.set_stream_faults({.delayed = 1000, .delay = 20ms});
    host.open_stream();
    start();
    ASSERT_TRUE(host.wait_for_end());
    ASSERT_TRUE(eventually([&] { return camera.stream_statistics().blocks == 1; }));
    EXPECT_FALSE(host.stream().receive(0ms));
    clock.advance(20ms);
    expect_frame(FrameSettings{});
}

TEST_F(Acquisition, ExtendedIdsUseTheLongHeader)
{
    ASSERT_EQ(host.write(0x0960, 0x40000000), status::success);
    host.open_stream();
    start();
    const auto packets = expect_frame(FrameSettings{});
    EXPECT_TRUE(packets[0].extended);
    EXPECT_EQ(packets[0].block_id, 1U);
}

TEST_F(Acquisition, FiresTestPacketsOfTheAskedSize)
{
    host.open_stream();
    ASSERT_EQ(host.write(0x0D04, 0xC0000000U | 8000), status::success);
    const auto packet = host.stream().receive();
    ASSERT_TRUE(packet);
    EXPECT_EQ(packet->bytes.size(), 8000U - 28U);
    EXPECT_EQ(host.read(0x0D04), 0x40000000U | 8000);
    EXPECT_EQ(packet->source.port, host.read(0x0D1C)) << "the source port register tells the truth";
}

TEST_F(Acquisition, GainAndBlackLevelShowInThePicture)
{
    host.open_stream();
    ASSERT_EQ(host.write(reg::gain, 60), status::success);
    ASSERT_EQ(host.write(reg::black_level, 16), status::success);
    start();
    FrameSettings expected;
    expected.gain = 130762;  // 10^(6/20) * 65536
    expected.black_level = 256;
    expect_frame(expected);
}
