// Bytes between a device's UART and this program: each once, whatever acknowledges get lost.
#include "sdk/serial/uart_link.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "sdk/serial/port_claim.h"
#include "sdk/serial/port_names.h"
#include "sdk/virtualdevice/uart_registers.h"
#include "sdk/wire/bytes.h"
#include "tests/sdk/virtualdevice/manual_clock.h"

using namespace vex;
using serial::UartLink;
using serial_port::ReceiveBuffer;
using virtual_device::Status;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t base = 0x70000;

Bytes random_bytes(std::size_t count, std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    Bytes bytes(count);
    std::ranges::generate(bytes, [&] { return static_cast<std::uint8_t>(random()); });
    return bytes;
}

/// The registers of a UART, reached over a wire that can lose requests and acknowledges.
class WiredUart final : public serial::UartAccess {
public:
    WiredUart(const peripherals::UartModel& model, const net::Clock& clock)
        : uart(model, std::make_unique<peripherals::Loopback>(), clock),
          registers(map, base, uart, [this](std::uint32_t count) { announced.push_back(count); })
    {}

    [[nodiscard]] std::size_t receive_block_size() const noexcept override { return 512; }
    [[nodiscard]] std::size_t transmit_block_size() const noexcept override { return 512; }
    [[nodiscard]] PvResult read_block(std::span<std::uint8_t> block) override
    {
        const PvResult result =
            outcome([&] { return map.read(base + virtual_device::uart_block::receive_block, block); });
        if (after_reading) {
            after_reading();
        }
        return result;
    }
    [[nodiscard]] PvResult take_until(std::uint32_t position) override
    {
        return write(virtual_device::uart_block::receive_position, position);
    }
    [[nodiscard]] PvResult room(std::uint32_t& bytes) override
    {
        ++rooms_asked;
        return read(virtual_device::uart_block::transmit_room, bytes);
    }
    [[nodiscard]] PvResult write_block(std::span<const std::uint8_t> block) override
    {
        return outcome([&] { return map.write(base + virtual_device::uart_block::transmit_block, block); });
    }

    [[nodiscard]] PvResult read(std::uint32_t offset, std::uint32_t& value)
    {
        std::array<std::uint8_t, 4> bytes{};
        const PvResult result = outcome([&] { return map.read(base + offset, bytes); });
        value = wire::load_be32(bytes.data());
        return result;
    }
    [[nodiscard]] PvResult write(std::uint32_t offset, std::uint32_t value)
    {
        std::array<std::uint8_t, 4> bytes{};
        wire::store_be32(bytes.data(), value);
        return outcome([&] { return map.write(base + offset, bytes); });
    }

    virtual_device::RegisterMap map;
    peripherals::Uart uart;
    virtual_device::UartRegisters registers;
    std::vector<std::uint32_t> announced;
    int rooms_asked = 0;
    std::function<void()> after_reading{};  ///< while a block is on its way to the buffer
    unsigned lost_requests = 0;             ///< of 1000
    unsigned lost_acknowledges = 0;         ///< of 1000; what was asked for was done
    std::mt19937_64 random{1};

private:
    bool happens(unsigned rate) { return rate != 0 && random() % 1000 < rate; }
    template <class Access>
    PvResult outcome(const Access& access)
    {
        if (happens(lost_requests)) {
            return PvResult::Timeout;
        }
        const Status status = access();
        if (happens(lost_acknowledges)) {
            return PvResult::Timeout;
        }
        return status == Status::success ? PvResult::OK : PvResult::GenericError;
    }
};

class UartLinkTest : public testing::Test {
protected:
    UartLinkTest()
    {
        EXPECT_TRUE(buffer.open().IsOK());
        EXPECT_TRUE(link.begin(port, true).IsOK());
    }

    /// Sends all, as long as there is room.
    std::uint32_t send(std::span<const std::uint8_t> bytes)
    {
        std::uint32_t written = 0;
        EXPECT_TRUE(link.transmit(bytes, written).IsOK());
        return written;
    }
    bool receive()
    {
        bool more = false;
        EXPECT_TRUE(link.receive(buffer, more).IsOK());
        return more;
    }
    Bytes held()
    {
        Bytes bytes(buffer.ready());
        std::uint32_t count = 0;
        EXPECT_TRUE(buffer.read(bytes, count, std::chrono::milliseconds(0)).IsOK());
        return bytes;
    }

    ManualClock clock;
    std::shared_ptr<WiredUart> port = std::make_shared<WiredUart>(peripherals::UartModel{}, clock);
    ReceiveBuffer buffer;
    UartLink link;
};

TEST_F(UartLinkTest, MovesBytesBothWays)
{
    const Bytes bytes = random_bytes(100, 1);
    EXPECT_EQ(send(bytes), 100U);
    EXPECT_FALSE(receive());
    EXPECT_EQ(held(), bytes);
    EXPECT_EQ(port->uart.position(), 100U);
}

TEST_F(UartLinkTest, MovesABlockAtATime)
{
    const Bytes bytes = random_bytes(1000, 2);
    EXPECT_EQ(send(bytes), 508U);
    EXPECT_EQ(send(std::span(bytes).subspan(508)), 492U);
    EXPECT_TRUE(receive());
    EXPECT_FALSE(receive());
    EXPECT_EQ(held(), bytes);
}

TEST_F(UartLinkTest, AsksForRoomOnlyWhenItIsUsedUp)
{
    const Bytes bytes = random_bytes(100, 3);
    for (int n = 0; n < 10; ++n) {
        EXPECT_EQ(send(bytes), 100U);
    }
    EXPECT_EQ(port->rooms_asked, 1);
    EXPECT_EQ(send(bytes), 24U);  // what is left of 1024
    EXPECT_EQ(send(bytes), 100U);
    EXPECT_EQ(port->rooms_asked, 2);
}

TEST_F(UartLinkTest, WritesNothingWithoutRoom)
{
    EXPECT_EQ(send(random_bytes(100, 4)), 100U);  // the room of another port counts no more
    port = std::make_shared<WiredUart>(peripherals::UartModel{.transmit_size = 8, .real_rate = true}, clock);
    ASSERT_TRUE(link.begin(port, true).IsOK());
    const Bytes bytes = random_bytes(20, 4);
    EXPECT_EQ(send(bytes), 8U);
    EXPECT_EQ(send(bytes), 0U);
}

TEST_F(UartLinkTest, LeavesWithTheDeviceWhatTheBufferHasNoRoomFor)
{
    ASSERT_TRUE(buffer.resize(10).IsOK());
    const Bytes bytes = random_bytes(25, 5);
    EXPECT_EQ(send(bytes), 25U);
    EXPECT_FALSE(receive());
    EXPECT_FALSE(receive());
    EXPECT_EQ(port->uart.held(), 15U);
    EXPECT_EQ(held(), Bytes(bytes.begin(), bytes.begin() + 10));
    EXPECT_FALSE(receive());
    EXPECT_EQ(held(), Bytes(bytes.begin() + 10, bytes.begin() + 20));
    EXPECT_EQ(buffer.dropped(), 0U);
}

TEST_F(UartLinkTest, NeitherDoublesNorLosesWhenReadingGetsLost)
{
    constexpr std::uint64_t seed = 6;
    SCOPED_TRACE("seed " + std::to_string(seed));
    const Bytes bytes = random_bytes(100'000, seed);
    Bytes received;
    std::size_t sent = 0;
    port->random.seed(seed);
    while (received.size() < bytes.size()) {
        port->lost_requests = 0;
        port->lost_acknowledges = 0;
        sent += send(std::span(bytes).subspan(sent));
        port->lost_requests = 200;
        port->lost_acknowledges = 200;
        bool more = true;
        (void)link.receive(buffer, more);
        const Bytes now = held();
        received.insert(received.end(), now.begin(), now.end());
        ASSERT_TRUE(std::equal(received.begin(), received.end(), bytes.begin()));
    }
}

TEST_F(UartLinkTest, GoesOnWhenThePortHasBegunAnew)
{
    EXPECT_EQ(send(random_bytes(100, 7)), 100U);
    (void)receive();
    (void)held();
    port->registers.power_on();
    ASSERT_TRUE(link.begin(port, true).IsOK());
    const Bytes bytes = random_bytes(200, 8);
    EXPECT_EQ(send(bytes), 200U);
    (void)receive();
    EXPECT_EQ(held(), bytes);
}

TEST_F(UartLinkTest, HandsOnNothingThatWasReadBeforeAFlush)
{
    EXPECT_EQ(send(random_bytes(100, 8)), 100U);
    port->after_reading = [this] { link.discard(buffer); };
    EXPECT_FALSE(receive());
    EXPECT_EQ(buffer.ready(), 0U);
    port->after_reading = nullptr;
    const Bytes later = random_bytes(50, 9);
    EXPECT_EQ(send(later), 50U);
    EXPECT_FALSE(receive());
    EXPECT_EQ(held(), later);
}

TEST_F(UartLinkTest, CountsWhatTheDeviceHadNoRoomFor)
{
    port = std::make_shared<WiredUart>(
        peripherals::UartModel{.receive_size = 16, .real_rate = true, .flow_control = false}, clock);
    ASSERT_TRUE(link.begin(port, true).IsOK());
    EXPECT_EQ(send(random_bytes(20, 9)), 20U);
    clock.advance(std::chrono::seconds(1));
    (void)receive();
    EXPECT_EQ(link.overruns(), 4U);
    ASSERT_TRUE(link.begin(port, true).IsOK());
    EXPECT_EQ(link.overruns(), 0U);
    (void)receive();
    EXPECT_EQ(link.overruns(), 0U);
}

TEST_F(UartLinkTest, AsksForRoomAgainAfterAWriteThatFailed)
{
    port = std::make_shared<WiredUart>(peripherals::UartModel{.transmit_size = 600, .real_rate = true}, clock);
    ASSERT_TRUE(link.begin(port, true).IsOK());
    const Bytes bytes = random_bytes(508, 10);
    EXPECT_EQ(send(std::span(bytes).first(20)), 20U);
    port->lost_acknowledges = 1000;
    std::uint32_t written = 77;
    EXPECT_EQ(link.transmit(bytes, written).GetCode(), PvResult::Timeout);
    EXPECT_EQ(written, 0U);
    port->lost_acknowledges = 0;
    EXPECT_EQ(send(bytes), 72U);
}

/// What a port holds, at any position.
class HeldBytes final : public serial::UartAccess {
public:
    [[nodiscard]] std::size_t receive_block_size() const noexcept override { return 64; }
    [[nodiscard]] std::size_t transmit_block_size() const noexcept override { return 64; }
    [[nodiscard]] PvResult read_block(std::span<std::uint8_t> block) override
    {
        wire::store_be32(block.data(), position);
        wire::store_be32(block.data() + 4, static_cast<std::uint32_t>(bytes.size()));
        wire::store_be32(block.data() + 8, 0);
        std::ranges::copy(bytes, block.begin() + serial::uart_blocks::receive_header);
        return PvResult::OK;
    }
    [[nodiscard]] PvResult take_until(std::uint32_t until) override
    {
        asked_until = until;
        return takes ? PvResult::OK : PvResult::Timeout;
    }
    [[nodiscard]] PvResult room(std::uint32_t&) override { return PvResult::NotSupported; }
    [[nodiscard]] PvResult write_block(std::span<const std::uint8_t>) override { return PvResult::NotSupported; }

    Bytes bytes;
    std::uint32_t position = 0;
    bool takes = true;
    std::uint32_t asked_until = 0;
};

TEST_F(UartLinkTest, KnowsBytesAgainWhosePositionsGoRound)
{
    const auto round = std::make_shared<HeldBytes>();
    round->position = 0xFFFF'FFFE;
    round->bytes = {1, 2, 3, 4};
    round->takes = false;
    ASSERT_TRUE(link.begin(round, true).IsOK());
    bool more = false;
    EXPECT_EQ(link.receive(buffer, more).GetCode(), PvResult::Timeout);
    EXPECT_EQ(round->asked_until, 2U);
    EXPECT_EQ(held(), (Bytes{1, 2, 3, 4}));
    EXPECT_EQ(link.receive(buffer, more).GetCode(), PvResult::Timeout);
    EXPECT_EQ(held(), Bytes());
    round->takes = true;
    round->bytes.push_back(5);
    EXPECT_FALSE(receive());
    EXPECT_EQ(round->asked_until, 3U);
    EXPECT_EQ(held(), Bytes{5});
}

// ---- the registers ----

TEST_F(UartLinkTest, AnnouncesOnceUntilBytesAreTaken)
{
    EXPECT_EQ(send(random_bytes(3, 1)), 3U);
    EXPECT_TRUE(port->announced.empty());  // nobody asked for it
    EXPECT_TRUE(port->write(virtual_device::uart_block::receive_notification, 1).IsOK());
    port->registers.update();
    EXPECT_EQ(port->announced, std::vector<std::uint32_t>{3});
    EXPECT_EQ(send(random_bytes(2, 1)), 2U);
    EXPECT_EQ(port->announced.size(), 1U);
    EXPECT_TRUE(port->take_until(3).IsOK());
    EXPECT_EQ(port->announced, (std::vector<std::uint32_t>{3, 2}));
    EXPECT_TRUE(port->take_until(5).IsOK());
    EXPECT_EQ(port->announced.size(), 2U);
}

TEST_F(UartLinkTest, RefusesSettingsThatAUartCannotHave)
{
    using namespace virtual_device::uart_block;
    EXPECT_TRUE(port->write(baud_rate, 921'600).IsOK());
    EXPECT_FALSE(port->write(baud_rate, 0).IsOK());
    EXPECT_FALSE(port->write(parity, 3).IsOK());
    EXPECT_FALSE(port->write(byte_size, 9).IsOK());
    EXPECT_FALSE(port->write(stop_bits, 0).IsOK());
    std::uint32_t value = 0;
    EXPECT_TRUE(port->read(baud_rate, value).IsOK());
    EXPECT_EQ(value, 921'600U);
}

TEST_F(UartLinkTest, SendsNothingTwiceByALaterWriteOfABlocksEnd)
{
    EXPECT_EQ(send(random_bytes(8, 1)), 8U);
    const Bytes word(4, 1);
    EXPECT_EQ(port->map.write(base + virtual_device::uart_block::transmit_block + 8, word), Status::success);
    EXPECT_EQ(port->uart.held(), 8U);
    Bytes too_long(8);
    wire::store_be32(too_long.data(), 509);
    EXPECT_EQ(port->map.write(base + virtual_device::uart_block::transmit_block, too_long), Status::invalid_parameter);
}

// ---- names and claims ----

TEST(PortNames, ArePortsOnly)
{
    EXPECT_EQ(serial::name_of(PvIPEngineSerialInvalid), "");
    EXPECT_EQ(serial::name_of(PvIPEngineSerial0), "Serial0");
    EXPECT_EQ(serial::name_of(PvIPEngineSerial1), "Serial1");
    EXPECT_EQ(serial::name_of(PvIPEngineSerialBulk0), "Bulk0");
    EXPECT_EQ(serial::name_of(PvIPEngineSerialBulk7), "Bulk7");
    EXPECT_EQ(serial::name_of(static_cast<PvIPEngineSerial>(10)), "");
}

TEST(PortClaim, IsGivenOnceForAPort)
{
    const int device = 0;
    const int other = 0;
    serial::PortClaim first;
    serial::PortClaim second;
    ASSERT_TRUE(first.take(&device, PvIPEngineSerial0, "the first", "Serial0 of A").IsOK());
    const PvResult refused = second.take(&device, PvIPEngineSerial0, "the second", "Serial0 of A");
    EXPECT_EQ(refused.GetCode(), PvResult::StateError);
    EXPECT_EQ(std::string(refused.description()), "The port Serial0 of A is open already: the first has it");
    EXPECT_TRUE(second.take(&other, PvIPEngineSerial0, "the second", "Serial0 of B").IsOK());
    EXPECT_TRUE(second.take(&device, PvIPEngineSerial1, "the second", "Serial1 of A").IsOK());
    first.release();
    EXPECT_TRUE(second.take(&device, PvIPEngineSerial0, "the second", "Serial0 of A").IsOK());
    second.rename("somebody else");
    EXPECT_NE(std::string(first.take(&device, PvIPEngineSerial0, "the first", "it").description()).find("somebody"),
              std::string::npos);
}

}  // namespace
