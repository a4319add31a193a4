// A virtual device that a transmitter of the same process makes a camera; the host speaks in literal bytes.
#include <chrono>
#include <numeric>
#include <set>
#include <string>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/transmitterraw/PvTransmitterRaw.h"
#include "sdk/virtualdevice/PvVirtualDevice.h"
#include "sdk/virtualdevice/virtual_device_registers.h"
#include "tests/sdk/transmitterraw/packets.h"
#include "tests/sdk/virtualdevice/responder_fixture.h"

using namespace std::chrono_literals;
namespace own = vex::virtual_device::own;

namespace {

constexpr std::uint32_t mono8 = 0x01080001;
constexpr std::uint32_t mono16 = 0x01100007;

class VirtualCamera : public testing::Test {
protected:
    const char* const address = device_address("127.0.0.24");

    void SetUp() override
    {
        ASSERT_TRUE(device.StartListening(address).IsOK());
        ASSERT_EQ(write(0x0A00, 2), status::success);
    }

    Bytes ask(const Bytes& datagram)
    {
        control.send(address, datagram);
        const auto answer = control.receive_from(address);
        EXPECT_TRUE(answer) << "no answer";
        return answer ? answer->bytes : Bytes(12);
    }
    std::uint32_t read(std::uint32_t at)
    {
        const Bytes answer = ask(read_register(++id, at));
        EXPECT_EQ(status_of(answer), status::success) << std::hex << at;
        return u32_at(answer, 8);
    }
    unsigned write(std::uint32_t at, std::uint32_t value) { return status_of(ask(write_register(++id, at, value))); }

    void open_channel(std::uint32_t packet_size)
    {
        ASSERT_EQ(write(0x0D18, 0x7F000001), status::success);
        ASSERT_EQ(write(0x0D04, packet_size), status::success);
        ASSERT_EQ(write(0x0D00, stream.port()), status::success);
    }
    void open_transmitter() { ASSERT_TRUE(transmitter.Open("127.0.0.1", stream.port(), address).IsOK()); }
    /// Sends the buffer and returns its packets.
    std::vector<StreamPacket> send(PvBuffer& buffer)
    {
        EXPECT_TRUE(transmitter.QueueBuffer(&buffer).IsOK());
        std::vector<StreamPacket> packets = receive_block(stream);
        PvBuffer* free = nullptr;
        EXPECT_TRUE(transmitter.RetrieveFreeBuffer(&free, 5000).IsOK());
        EXPECT_EQ(free, &buffer);
        return packets;
    }
    Bytes resend_request(unsigned block, unsigned first, unsigned last)
    {
        return command(0x0040, ++id, bytes_of({0, 0, 0, block, 0, 0, 0, first, 0, 0, 0, last}), 0);
    }

    static void fill(PvBuffer& buffer, std::uint8_t first)
    {
        std::iota(buffer.GetDataPointer(), buffer.GetDataPointer() + buffer.GetSize(), first);
    }
    static std::unique_ptr<PvBuffer> image(std::uint32_t width, std::uint32_t height, PvPixelType type = PvPixelMono8)
    {
        auto buffer = std::make_unique<PvBuffer>(PvPayloadTypeImage);
        EXPECT_TRUE(buffer->GetImage()->Alloc(width, height, type).IsOK());
        fill(*buffer, 3);
        return buffer;
    }

    HostSocket control;
    HostSocket stream;
    PvVirtualDevice device;
    PvTransmitterRaw transmitter;
    unsigned id = 0;
};

}  // namespace

TEST_F(VirtualCamera, TellsAnImageBeforeAnythingWasSent)
{
    EXPECT_EQ(read(own::width), 640U);
    EXPECT_EQ(read(own::height), 480U);
    EXPECT_EQ(read(own::pixel_format), mono8);
    EXPECT_EQ(read(own::payload_size), 307'200U);
}

TEST_F(VirtualCamera, GeometryAndPayloadSizeFollowWhatIsSent)
{
    open_channel(1500);
    open_transmitter();
    send(*image(100, 40, PvPixelMono16));
    EXPECT_EQ(read(own::width), 100U);
    EXPECT_EQ(read(own::height), 40U);
    EXPECT_EQ(read(own::pixel_format), mono16);
    EXPECT_EQ(read(own::payload_size), 8000U);
    send(*image(64, 2));
    EXPECT_EQ(read(own::width), 64U);
    EXPECT_EQ(read(own::height), 2U);
    EXPECT_EQ(read(own::pixel_format), mono8);
    EXPECT_EQ(read(own::payload_size), 128U);

    PvBuffer raw(PvPayloadTypeRawData);
    ASSERT_TRUE(raw.Alloc(5000).IsOK());
    send(raw);
    EXPECT_EQ(read(own::payload_size), 5000U);
    EXPECT_EQ(read(own::width), 64U) << "raw data has no geometry of its own";
    ASSERT_TRUE(transmitter.Close().IsOK());
    EXPECT_EQ(read(own::payload_size), 5000U);
}

TEST_F(VirtualCamera, PacketsAreAsLargeAsTheReceiverAskedFor)
{
    open_channel(1000);
    ASSERT_TRUE(transmitter.SetPacketSize(9000).IsOK());
    open_transmitter();
    const auto picture = image(100, 50);
    EXPECT_EQ(send(*picture)[1].bytes.size(), 972U);
    ASSERT_EQ(write(0x0D04, 2000), status::success);
    EXPECT_EQ(send(*picture)[1].bytes.size(), 1972U);
    EXPECT_EQ(transmitter.GetPacketSize(), 9000U) << "what the program set is kept";
}

TEST_F(VirtualCamera, SendsLostPacketsAgainThoughTheirBufferHasBeenFilledAnew)
{
    open_channel(1000);
    open_transmitter();
    const auto picture = image(100, 50);
    const auto packets = send(*picture);
    fill(*picture, 99);
    send(*picture);
    // from the stream's socket, as receivers do
    stream.send(address, resend_request(1, 2, 3));
    for (const std::size_t packet : {2U, 3U}) {
        const auto again = stream.receive();
        ASSERT_TRUE(again);
        EXPECT_EQ(parse(again->bytes).packet_id, packet);
        EXPECT_EQ(parse(again->bytes).payload, packets[packet].payload);
        EXPECT_EQ(again->source.port, transmitter.GetSourcePort());
    }
}

TEST_F(VirtualCamera, IdsHaveTheFormThatTheReceiverAskedFor)
{
    ASSERT_EQ(write(0x0960, 0x40000000), status::success);
    open_channel(1000);
    open_transmitter();
    const auto picture = image(100, 50);
    const auto packets = send(*picture);
    EXPECT_TRUE(packets[0].extended);
    EXPECT_EQ(packets[1].bytes.size(), 972U);
    EXPECT_EQ(data_of(packets).size(), 5000U);
    stream.send(address,
                command(0x0040, ++id, bytes_of({0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 1}), 0x10));
    const auto again = stream.receive();
    ASSERT_TRUE(again);
    EXPECT_EQ(parse(again->bytes).payload, packets[2].payload);
    EXPECT_EQ(parse(again->bytes).status, 0x0100U);
}

TEST_F(VirtualCamera, WithoutAWishForExtendedIdsThereAreNoneWhateverTheProgramSet)
{
    ASSERT_TRUE(transmitter.SetExtendedIDs(true).IsOK());
    open_channel(1000);
    open_transmitter();
    EXPECT_FALSE(send(*image(100, 50))[0].extended);
}

TEST_F(VirtualCamera, WhatIsTooOldIsRefused)
{
    open_channel(1000);
    open_transmitter();
    const auto picture = image(100, 50);
    for (int i = 0; i < 5; ++i) {
        send(*picture);
    }
    stream.send(address, resend_request(1, 2, 2));
    const auto refusal = stream.receive();
    ASSERT_TRUE(refusal);
    EXPECT_EQ(parse(refusal->bytes).status, 0x800CU);
}

TEST_F(VirtualCamera, WithoutATransmitterARequestForLostPacketsIsHarmless)
{
    open_channel(1000);
    EXPECT_EQ(status_of(ask(command(0x0040, ++id, bytes_of({0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 2})))), status::success);
    open_transmitter();
    send(*image(100, 50));
    ASSERT_TRUE(transmitter.Close().IsOK());
    stream.send(address, resend_request(1, 2, 2));
    EXPECT_EQ(read(0x0A00), 2U);
    EXPECT_FALSE(stream.receive(0ms));
}

TEST_F(VirtualCamera, SendersPortIsTheTransmittersWhileItSends)
{
    open_channel(1000);
    const std::uint32_t own_port = read(0x0D1C);
    EXPECT_NE(own_port, 0U);
    open_transmitter();
    send(*image(8, 8));
    EXPECT_EQ(read(0x0D1C), transmitter.GetSourcePort());
    ASSERT_TRUE(transmitter.Close().IsOK());
    EXPECT_EQ(read(0x0D1C), own_port);
}

TEST_F(VirtualCamera, ATransmitterToAnotherDestinationIsNotItsOwn)
{
    HostSocket elsewhere;
    open_channel(1000);
    ASSERT_TRUE(transmitter.SetPacketSize(2000).IsOK());
    ASSERT_TRUE(transmitter.Open("127.0.0.1", elsewhere.port(), address).IsOK());
    const auto picture = image(100, 50);
    ASSERT_TRUE(transmitter.QueueBuffer(picture.get()).IsOK());
    EXPECT_EQ(receive_block(elsewhere)[1].bytes.size(), 1972U);
    EXPECT_EQ(read(own::width), 640U);
    EXPECT_NE(read(0x0D1C), transmitter.GetSourcePort());
    stream.send(address, resend_request(1, 2, 2));
    EXPECT_EQ(read(0x0A00), 2U);
    EXPECT_FALSE(elsewhere.receive(0ms));
}

TEST_F(VirtualCamera, WithTheChannelClosedTheTransmitterGoesOnAsItsOwn)
{
    open_channel(1000);
    ASSERT_TRUE(transmitter.SetPacketSize(2000).IsOK());
    open_transmitter();
    const auto picture = image(100, 50);
    EXPECT_EQ(send(*picture)[1].bytes.size(), 972U);
    ASSERT_EQ(write(0x0D00, 0), status::success);
    EXPECT_EQ(send(*picture)[1].bytes.size(), 1972U);
    open_channel(1000);
    EXPECT_EQ(send(*picture)[1].bytes.size(), 972U);
    device.StopListening();
    EXPECT_EQ(send(*picture)[1].bytes.size(), 1972U);
    ASSERT_TRUE(device.StartListening(address).IsOK());
    EXPECT_EQ(send(*picture)[1].bytes.size(), 1972U);
}

TEST_F(VirtualCamera, TellsTheProgramWhereBlocksAreWanted)
{
    EXPECT_TRUE(device.GetStreamDestinationIPAddress().empty());
    EXPECT_EQ(device.GetStreamDestinationPort(), 0);
    open_channel(1000);
    EXPECT_EQ(device.GetStreamDestinationIPAddress(), PvString("127.0.0.1"));
    EXPECT_EQ(device.GetStreamDestinationPort(), stream.port());
    ASSERT_EQ(write(0x0A00, 0), status::success);
    EXPECT_TRUE(device.GetStreamDestinationIPAddress().empty());
    EXPECT_EQ(device.GetStreamDestinationPort(), 0);
    device.StopListening();
    EXPECT_EQ(device.GetStreamDestinationPort(), 0);
}

TEST_F(VirtualCamera, SendsTestPackets)
{
    open_channel(1000);
    ASSERT_EQ(write(0x0D04, 0x80000000U | 1400U), status::success);
    const auto packet = stream.receive();
    ASSERT_TRUE(packet);
    EXPECT_EQ(packet->bytes.size(), 1400U - 28U);
    EXPECT_EQ(read(0x0D04), 1400U);
}

TEST_F(VirtualCamera, AcquisitionStatusShowsTheCommandsAndEndsWithControl)
{
    EXPECT_EQ(read(own::acquisition_status), 0U);
    EXPECT_EQ(write(own::acquisition_start, 2), status::invalid_parameter);
    ASSERT_EQ(write(own::acquisition_start, 1), status::success);
    EXPECT_EQ(read(own::acquisition_status), 1U);
    ASSERT_EQ(write(own::acquisition_stop, 1), status::success);
    EXPECT_EQ(read(own::acquisition_status), 0U);
    EXPECT_EQ(write(own::acquisition_mode, 1), status::invalid_parameter);
    ASSERT_EQ(write(own::acquisition_start, 1), status::success);
    ASSERT_EQ(write(0x0A00, 0), status::success);
    EXPECT_EQ(read(own::acquisition_status), 0U);
    EXPECT_EQ(write(own::acquisition_start, 1), status::access_denied);
}

// The device is let go while its transmitter sends and while packets are asked for again.
TEST_F(VirtualCamera, MayEndAtAnyTime)
{
    const auto picture = image(200, 100);
    for (int round = 0; round < 20; ++round) {
        open_channel(1000);
        ASSERT_TRUE(transmitter.Open("127.0.0.1", stream.port(), address).IsOK());
        ASSERT_TRUE(transmitter.QueueBuffer(picture.get()).IsOK());
        stream.send(address, resend_request(1, 0, 20));
        if (round % 2 == 0) {
            device.StopListening();
            ASSERT_TRUE(transmitter.Close().IsOK());
        } else {
            ASSERT_TRUE(transmitter.Close().IsOK());
            device.StopListening();
        }
        ASSERT_TRUE(device.StartListening(address).IsOK());
        ASSERT_EQ(write(0x0A00, 2), status::success);
    }
}
