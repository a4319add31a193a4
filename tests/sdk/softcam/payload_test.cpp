// The same picture as other types of payload than images.
#include "tests/sdk/softcam/camera_fixture.h"

using namespace vex;
using softcam::PayloadKind;

namespace {

constexpr std::size_t picture_bytes = 640 * 480;

/// One block of a camera that sends such payload, taken by hand.
std::vector<StreamPacket> block_of(PayloadKind kind)
{
    const char* const address = device_address("127.0.0.27");
    ManualClock clock;
    softcam::Camera camera({.adapter = address, .payload = kind}, clock);
    camera.start();
    Host host(address);
    host.take_control();
    EXPECT_EQ(host.write(softcam::reg::acquisition_mode, 1), status::success);
    host.open_stream();
    EXPECT_EQ(host.read(softcam::reg::payload_size), picture_bytes);
    EXPECT_EQ(host.write(softcam::reg::acquisition_start, 1), status::success);
    return receive_block(host.stream());
}

void expect_picture(const std::vector<StreamPacket>& packets, unsigned type)
{
    ASSERT_GT(packets.size(), 2U);
    EXPECT_EQ(number_at(packets.front().payload, 2, 2), type);
    EXPECT_EQ(number_at(packets.back().payload, 2, 2), type);
    EXPECT_EQ(number_at(packets.front().payload, 12, 8), picture_bytes);
    EXPECT_EQ(packets.back().payload.size(), 4U) << "no lines";
    std::vector<std::uint8_t> picture(picture_bytes);
    test_pattern::render(test_pattern::FrameSettings{}, 1, picture);
    EXPECT_EQ(data_of(packets), picture);
}

}  // namespace

TEST(Payload, RawData)
{
    const auto packets = block_of(PayloadKind::raw_data);
    expect_picture(packets, 2);
    EXPECT_EQ(packets.front().payload.size(), 20U);
}

TEST(Payload, FileWithItsName)
{
    const auto packets = block_of(PayloadKind::file);
    expect_picture(packets, 3);
    const auto& leader = packets.front().payload;
    EXPECT_EQ(std::string(leader.begin() + 20, leader.end()), std::string("picture.raw") + '\0');
}

TEST(Payload, JpegWithTheTicksPerSecond)
{
    const auto packets = block_of(PayloadKind::jpeg);
    expect_picture(packets, 6);
    EXPECT_EQ(number_at(packets.front().payload, 20, 8), 1'000'000'000U);
}

TEST(Payload, Jpeg2000)
{
    const auto packets = block_of(PayloadKind::jpeg2000);
    expect_picture(packets, 7);
    EXPECT_EQ(number_at(packets.front().payload, 20, 8), 1'000'000'000U);
}
