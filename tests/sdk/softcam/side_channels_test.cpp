// The camera's serial ports and I2C bus on the level of their registers.
#include "tests/sdk/softcam/camera_fixture.h"

using namespace std::chrono_literals;
namespace reg = softcam::reg;

namespace {

constexpr std::uint32_t baud_rate = 0x00;
constexpr std::uint32_t receive_count = 0x10;
constexpr std::uint32_t receive_position = 0x14;
constexpr std::uint32_t transmit_room = 0x1C;
constexpr std::uint32_t receive_notification = 0x28;
constexpr std::uint32_t receive_window = 0x200;
constexpr std::uint32_t transmit_window = 0x400;

class SideChannels : public SoftCam {
protected:
    void SetUp() override
    {
        SoftCam::SetUp();
        ASSERT_EQ(host.write(0x0B10, 0x7F000001), status::success);
        ASSERT_EQ(host.write(0x0B14, 5000), status::success);
        ASSERT_EQ(host.write(0x0B00, messages.port()), status::success);
    }

    /// A multiple of four bytes.
    unsigned send(std::uint32_t port, const Bytes& bytes)
    {
        Bytes block = {0, 0, 0, static_cast<std::uint8_t>(bytes.size())};
        block.insert(block.end(), bytes.begin(), bytes.end());
        return host.write_bytes(port + transmit_window, block);
    }

    HostSocket messages;
};

}  // namespace

TEST_F(SideChannels, LoopBytesBack)
{
    EXPECT_EQ(send(reg::serial0, {1, 2, 3, 4}), status::success);
    EXPECT_EQ(host.read(reg::serial0 + receive_count), 4U);
    EXPECT_EQ(host.read_bytes(reg::serial0 + receive_window, 16),
              (Bytes{0, 0, 0, 0, 0, 0, 0, 4, 0, 0, 0, 0, 1, 2, 3, 4}));
    // reading takes nothing; a position does, once
    EXPECT_EQ(host.read(reg::serial0 + receive_count), 4U);
    EXPECT_EQ(host.write(reg::serial0 + receive_position, 3), status::success);
    EXPECT_EQ(host.write(reg::serial0 + receive_position, 3), status::success);
    EXPECT_EQ(host.read(reg::serial0 + receive_count), 1U);
    EXPECT_NE(host.write(reg::serial0 + receive_position, 5), status::success);
}

TEST_F(SideChannels, SendABlockOnceThatIsRepeatedUnderItsRequestId)
{
    const unsigned id = host.next_id();
    const Bytes request = write_memory(id, reg::serial0 + transmit_window, Bytes{0, 0, 0, 4, 1, 2, 3, 4});
    EXPECT_EQ(status_of(host.ask(request)), status::success);
    EXPECT_EQ(status_of(host.ask(request)), status::success);
    EXPECT_EQ(host.read(reg::serial0 + receive_count), 4U);
}

TEST_F(SideChannels, TellOfReceivedBytesWhenAsked)
{
    EXPECT_EQ(send(reg::serial0, {1, 2, 3, 4}), status::success);
    EXPECT_FALSE(messages.receive(30ms));
    ASSERT_EQ(host.write(reg::serial0 + receive_position, 4), status::success);
    ASSERT_EQ(host.write(reg::serial0 + receive_notification, 1), status::success);
    EXPECT_EQ(send(reg::serial0, {1, 2, 3, 4}), status::success);
    const auto message = messages.receive();
    ASSERT_TRUE(message);
    EXPECT_EQ(u16_at(message->bytes, 10), 0x9010U);
    EXPECT_EQ(number_at(message->bytes, 8 + 16, 4), 4U);
}

TEST_F(SideChannels, TellOfBytesThatComeLater)
{
    ASSERT_EQ(host.write(reg::bulk0 + baud_rate, 10'000), status::success);  // 1 ms a character
    ASSERT_EQ(host.write(reg::bulk0 + receive_notification, 1), status::success);
    EXPECT_EQ(send(reg::bulk0, {1, 2, 3, 4}), status::success);
    EXPECT_EQ(host.read(reg::bulk0 + receive_count), 0U);
    clock.advance(2ms);
    const auto message = messages.receive();
    ASSERT_TRUE(message);
    EXPECT_EQ(u16_at(message->bytes, 10), 0x9012U);
    EXPECT_EQ(host.read(reg::bulk0 + receive_count), 1U);
    clock.advance(1s);
    EXPECT_EQ(host.read(reg::bulk0 + receive_count), 4U);
    EXPECT_EQ(host.read(reg::bulk0 + transmit_room), 1024U);
}

TEST_F(SideChannels, AreAsAfterPowerOnWhenTheCameraRestarts)
{
    EXPECT_EQ(send(reg::serial0, {1, 2, 3, 4}), status::success);
    ASSERT_EQ(host.write(reg::serial0 + baud_rate, 1200), status::success);
    camera.reboot({.silence = 0ms});
    host.take_control();
    EXPECT_EQ(host.read(reg::serial0 + receive_count), 0U);
    EXPECT_EQ(host.read(reg::serial0 + baud_rate), 115'200U);
}

TEST_F(SideChannels, TransferOverI2cInTheTimeThatItTakes)
{
    const auto at = [](std::uint32_t offset) { return reg::bulk1 + offset; };
    ASSERT_EQ(host.write(at(0x00), 0x90), status::success);
    ASSERT_EQ(host.write(at(0x08), 4), status::success);  // from an offset, combined
    ASSERT_EQ(host.write(at(0x0C), 2), status::success);
    ASSERT_EQ(host.write(at(0x10), 2), status::success);
    ASSERT_EQ(host.write(at(0x18), 1), status::success);
    EXPECT_EQ(host.read(at(0x1C)), 1U) << "busy";
    EXPECT_NE(host.write(at(0x18), 1), status::success);
    clock.advance(1ms);
    EXPECT_EQ(host.read(at(0x1C)), 2U) << "done";
    EXPECT_EQ(host.read(at(0x20)), 2U);
    EXPECT_EQ(host.read_bytes(at(0x400), 4), (Bytes{0x4B, 0x00, 0, 0}));
    ASSERT_EQ(host.write(at(0x00), 0x20), status::success);
    ASSERT_EQ(host.write(at(0x18), 1), status::success);
    clock.advance(1ms);
    EXPECT_EQ(host.read(at(0x1C)), 3U) << "no acknowledge";
}
