// Several stream channels, each with its own receiver, packet size and numbering.
#include "tests/sdk/softcam/camera_fixture.h"

using namespace vex;
using namespace std::chrono_literals;

namespace {

class Channels : public testing::Test {
protected:
    const char* const address = device_address("127.0.0.28");

    Channels() : camera({.adapter = address, .stream_channels = 3, .manifest = true}, clock), host(address) {}

    void SetUp() override
    {
        camera.start();
        host.take_control();
        ASSERT_EQ(host.write(softcam::reg::acquisition_mode, 1), status::success);
    }

    void open(unsigned channel, HostSocket& receiver, std::uint32_t packet_size)
    {
        const std::uint32_t base = 0x0D00 + 0x40 * channel;
        ASSERT_EQ(host.write(base + 0x18, 0x7F000001), status::success);
        ASSERT_EQ(host.write(base + 0x04, packet_size), status::success);
        ASSERT_EQ(host.write(base, receiver.port()), status::success);
    }
    void take_frame()
    {
        ASSERT_EQ(host.write(softcam::reg::acquisition_start, 1), status::success);
        ASSERT_TRUE(host.wait_for_end());
    }
    static std::vector<std::uint8_t> picture(std::uint64_t block_id)
    {
        std::vector<std::uint8_t> bytes(640 * 480);
        test_pattern::render(test_pattern::FrameSettings{}, block_id, bytes);
        return bytes;
    }

    ManualClock clock;
    softcam::Camera camera;
    Host host;
    HostSocket first;
    HostSocket third;
};

}  // namespace

TEST_F(Channels, EachSendsTheSamePictureInPacketsOfItsOwnSizeFromItsOwnPort)
{
    EXPECT_EQ(host.read(0x0904), 3U);
    open(0, first, 1500);
    open(2, third, 4000);
    take_frame();
    const auto small = receive_block(first);
    const auto large = receive_block(third);
    EXPECT_EQ(small.at(1).bytes.size(), 1472U);
    EXPECT_EQ(large.at(1).bytes.size(), 3972U);
    EXPECT_TRUE(data_of(small) == picture(1));
    EXPECT_TRUE(data_of(large) == picture(1));
    EXPECT_TRUE(eventually([&] { return camera.stream_statistics().blocks == 2; }));
    EXPECT_NE(host.read(0x0D1C), host.read(0x0D9C));
    EXPECT_FALSE(first.receive(0ms));
    EXPECT_FALSE(third.receive(0ms));
}

TEST_F(Channels, BlockIdsAreCountedByChannelFromItsOpening)
{
    open(0, first, 9000);
    take_frame();
    EXPECT_EQ(receive_block(first).at(0).block_id, 1U);
    open(2, third, 9000);
    take_frame();
    EXPECT_EQ(receive_block(first).at(0).block_id, 2U);
    EXPECT_EQ(receive_block(third).at(0).block_id, 1U);
    ASSERT_EQ(host.write(0x0D00, 0), status::success);
    take_frame();
    EXPECT_EQ(receive_block(third).at(0).block_id, 2U);
    EXPECT_FALSE(first.receive(0ms)) << "closed";
}

TEST_F(Channels, LostPacketsAreAskedForByChannel)
{
    open(0, first, 1500);
    open(2, third, 4000);
    take_frame();
    receive_block(first);
    const auto sent = receive_block(third);
    third.send(address, command(0x0040, 1, bytes_of({0, 2, 0, 1, 0, 0, 0, 5, 0, 0, 0, 5}), 0));
    const auto again = third.receive();
    ASSERT_TRUE(again);
    EXPECT_EQ(parse(again->bytes).packet_id, 5U);
    EXPECT_EQ(parse(again->bytes).payload, sent.at(5).payload);
    EXPECT_FALSE(first.receive(0ms));
    EXPECT_EQ(status_of(host.ask(command(0x0040, 2, bytes_of({0, 3, 0, 1, 0, 0, 0, 5, 0, 0, 0, 5})))),
              status::invalid_parameter);
}

TEST_F(Channels, TestPacketsGoToTheirChannelsReceiver)
{
    open(0, first, 1500);
    open(2, third, 4000);
    ASSERT_EQ(host.write(0x0D84, 0x80000000U | 2000U), status::success);
    const auto packet = third.receive();
    ASSERT_TRUE(packet);
    EXPECT_EQ(packet->bytes.size(), 1972U);
    EXPECT_FALSE(first.receive(0ms));
}

TEST_F(Channels, AllCloseWithControl)
{
    open(0, first, 1500);
    open(2, third, 4000);
    ASSERT_EQ(host.write(0x0A00, 0), status::success);
    EXPECT_EQ(host.read(0x0D00), 0U);
    EXPECT_EQ(host.read(0x0D80), 0U);
    host.take_control();
    take_frame();
    EXPECT_FALSE(first.receive(0ms));
    EXPECT_FALSE(third.receive(0ms));
}

TEST_F(Channels, AFourthOneThereIsNot)
{
    EXPECT_EQ(status_of(host.ask(read_register(host.next_id(), 0x0DC0))), status::invalid_address);
    EXPECT_EQ(host.write(0x0DC0, 1), status::invalid_address);
}

// In the layout of GenCP: a count of 64 bits; versions, kind, address and length of each file.
TEST_F(Channels, TheManifestTableListsTheDescription)
{
    EXPECT_NE(host.read(0x0934) & (1U << 26), 0U);
    const Bytes table = host.read_bytes(0x9000, 72);
    EXPECT_EQ(number_at(table, 0, 8), 1U);
    EXPECT_EQ(number_at(table, 8, 4), 0x01000000U) << "file 1.0.0";
    EXPECT_EQ(number_at(table, 12, 4), 0x01010400U) << "schema 1.1, ZIP";
    EXPECT_EQ(number_at(table, 16, 8), softcam::reg::description);
    const Bytes url = host.read_bytes(0x0200, 64);
    const std::string text(url.begin(), std::find(url.begin(), url.end(), 0));
    EXPECT_EQ(number_at(table, 24, 8), std::stoull(text.substr(text.rfind(';') + 1), nullptr, 16));
    EXPECT_EQ(host.write(0x9000, 0), status::write_protect);

    camera.reboot({.silence = 0ms, .description = std::string(50'000, 'x')});
    EXPECT_NE(number_at(host.read_bytes(0x9000, 72), 24, 8), number_at(table, 24, 8));
}

TEST_F(Channels, EachHasFaultsOfItsOwnAndNoPacketsOfAnother)
{
    camera.set_stream_faults({.lost = 100, .reordered = 100});
    open(0, first, 1500);
    open(2, third, 1500);
    // the leader and the trailer may be lost, so all that comes is taken
    take_frame();
    ASSERT_TRUE(eventually([&] { return camera.stream_statistics().blocks == 2; }));
    clock.advance(1s);  // also what waits for later packets
    const auto ids = [](HostSocket& socket) {
        std::vector<std::uint32_t> found;
        while (const auto datagram = socket.receive(100ms)) {
            found.push_back(parse(datagram->bytes).packet_id);
        }
        return found;
    };
    const auto one = ids(first);
    const auto other = ids(third);
    EXPECT_NE(one, other);
    const auto faults = camera.stream_fault_statistics();
    EXPECT_EQ(one.size() + other.size() + faults.lost, faults.packets);
    for (auto found : {one, other}) {
        std::ranges::sort(found);
        EXPECT_EQ(std::ranges::adjacent_find(found), found.end()) << "no packet twice, none of the other channel";
    }
}
