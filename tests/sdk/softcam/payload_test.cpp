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

TEST(Payload, H264WithItsTimeInEachPacket)
{
    const auto packets = block_of(PayloadKind::h264);
    ASSERT_GT(packets.size(), 3U);
    const auto& leader = packets.front().payload;
    EXPECT_EQ(leader.size(), 32U);
    EXPECT_EQ(number_at(leader, 2, 2), 8U);
    EXPECT_EQ(number_at(leader, 4, 8), picture_bytes) << "where others have their time";
    EXPECT_EQ(number_at(leader, 13, 1), 1U) << "packetization mode";
    EXPECT_EQ(number_at(leader, 17, 1), 66U) << "profile";
    EXPECT_EQ(number_at(leader, 19, 1), 31U) << "level";
    const std::uint64_t timestamp = number_at(packets[1].payload, 0, 8);
    std::vector<std::uint8_t> data;
    for (std::size_t i = 1; i + 1 < packets.size(); ++i) {
        EXPECT_EQ(packets[i].format, 5U);
        EXPECT_EQ(number_at(packets[i].payload, 0, 8), timestamp);
        data.insert(data.end(), packets[i].payload.begin() + 8, packets[i].payload.end());
    }
    EXPECT_EQ(packets[1].bytes.size(), 9000U - 28U) << "the time is of the packet size";
    std::vector<std::uint8_t> picture(picture_bytes);
    test_pattern::render(test_pattern::FrameSettings{}, 1, picture);
    EXPECT_EQ(data, picture);
    EXPECT_EQ(number_at(packets.back().payload, 2, 2), 8U);
}

TEST(Payload, MultiPartTellsEachPartAndEachPlace)
{
    const auto packets = block_of(PayloadKind::multi_part);
    ASSERT_GT(packets.size(), 4U);
    EXPECT_TRUE(packets.front().extended);
    EXPECT_EQ(packets.front().bytes[7], 2U) << "parts";
    const auto& leader = packets.front().payload;
    ASSERT_EQ(leader.size(), 12U + 2 * 48U);
    EXPECT_EQ(number_at(leader, 2, 2), 10U);
    std::vector<std::uint8_t> data(picture_bytes);
    constexpr std::size_t half = picture_bytes / 2;
    std::size_t ends = 0;
    for (std::size_t i = 1; i + 1 < packets.size(); ++i) {
        const auto& payload = packets[i].payload;
        ASSERT_EQ(packets[i].format, 7U);
        const std::size_t part = number_at(payload, 0, 1);
        const std::size_t offset = number_at(payload, 2, 6);
        ASSERT_LT(part, 2U);
        ASSERT_LE(offset + payload.size() - 8, half);
        std::copy(payload.begin() + 8, payload.end(), data.begin() + static_cast<std::ptrdiff_t>(part * half + offset));
        const bool last = offset + payload.size() - 8 == half;
        EXPECT_EQ(payload[1], last ? 0x41 : 0x00) << "ends of part and zone, packet " << i;
        ends += last ? 1 : 0;
    }
    EXPECT_EQ(ends, 2U);
    std::vector<std::uint8_t> picture(picture_bytes);
    test_pattern::render(test_pattern::FrameSettings{}, 1, picture);
    EXPECT_EQ(data, picture);
    EXPECT_EQ(packets.back().payload.size(), 4U + 2 * 16U);
}

TEST(Payload, AWholeBlockInOnePacketIsSentAgainOnRequest)
{
    const char* const address = device_address("127.0.0.27");
    ManualClock clock;
    softcam::Camera camera({.adapter = address, .all_in = true}, clock);
    camera.start();
    Host host(address);
    host.take_control();
    ASSERT_EQ(host.write(softcam::reg::acquisition_mode, 1), status::success);
    ASSERT_EQ(host.write(softcam::reg::width, 64), status::success);
    ASSERT_EQ(host.write(softcam::reg::height, 48), status::success);
    host.open_stream();
    ASSERT_EQ(host.write(softcam::reg::acquisition_start, 1), status::success);
    const auto answer = host.stream().receive();
    ASSERT_TRUE(answer);
    const StreamPacket packet = parse(answer->bytes);
    EXPECT_EQ(packet.format, 4U);
    EXPECT_EQ(packet.packet_id, 0U);
    EXPECT_EQ(packet.block_id, 1U);
    constexpr std::size_t data_bytes = 64 * 48;
    ASSERT_EQ(packet.payload.size(), 36U + 8U + data_bytes) << "leader, trailer, data";
    EXPECT_EQ(number_at(packet.payload, 2, 2), 1U);
    EXPECT_EQ(number_at(packet.payload, 16, 4), 64U);
    EXPECT_EQ(number_at(packet.payload, 36 + 2, 2), 1U);
    EXPECT_EQ(number_at(packet.payload, 36 + 4, 4), 48U);
    test_pattern::FrameSettings expected;
    expected.width = 64;
    expected.height = 48;
    std::vector<std::uint8_t> picture(data_bytes);
    test_pattern::render(expected, 1, picture);
    EXPECT_TRUE(std::equal(picture.begin(), picture.end(), packet.payload.begin() + 44));
    EXPECT_FALSE(host.stream().receive(std::chrono::milliseconds(0))) << "no other packet";

    host.stream().send(address, command(0x0040, 1, bytes_of({0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0}), 0));
    const auto again = host.stream().receive();
    ASSERT_TRUE(again);
    Bytes marked = packet.bytes;
    marked[0] = 0x01;
    EXPECT_EQ(again->bytes, marked);
}
