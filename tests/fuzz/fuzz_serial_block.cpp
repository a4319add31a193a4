// Whatever a device answers to the one who drives its serial port: blocks with any position and count, any room.
//
// The input is a script of steps. Each begins with a byte: bit 0 sends, otherwise bytes are received; bit 1 fails the
// first transfer, bit 2 the second; bit 3 begins anew; bit 4 has the reader take what there is. Then follow the room or
// the header, in 4 bytes each.
#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <vector>

#include "sdk/serial/uart_link.h"
#include "sdk/wire/bytes.h"
#include "tests/fuzz/input.h"

using namespace vex;

namespace {

using fuzz::require;
using fuzz::View;

constexpr std::size_t block_size = 64;
constexpr std::size_t most_received = block_size - serial::uart_blocks::receive_header;
constexpr std::uint32_t buffer_size = 100;

class ScriptedUart final : public serial::UartAccess {
public:
    [[nodiscard]] std::size_t receive_block_size() const noexcept override { return block_size; }
    [[nodiscard]] std::size_t transmit_block_size() const noexcept override { return block_size; }
    [[nodiscard]] PvResult read_block(std::span<std::uint8_t> block) override
    {
        require(block.size() == block_size);
        std::ranges::fill(block, std::uint8_t{0x5A});
        std::ranges::copy(header, block.begin());
        return outcome(0x02);
    }
    [[nodiscard]] PvResult take_until(std::uint32_t position) override
    {
        // never more than the block had
        const std::uint32_t count = wire::load_be32(header.data() + 4);
        require(position - wire::load_be32(header.data()) <= std::min<std::size_t>(count, most_received));
        return outcome(0x04);
    }
    [[nodiscard]] PvResult room(std::uint32_t& bytes) override
    {
        bytes = wire::load_be32(header.data());
        known_room = bytes;
        return outcome(0x02);
    }
    [[nodiscard]] PvResult write_block(std::span<const std::uint8_t> block) override
    {
        require(block.size() <= block_size && block.size() % 4 == 0);
        const std::uint32_t length = wire::load_be32(block.data());
        require(length != 0 && length <= block.size() - serial::uart_blocks::transmit_header);
        require(length <= known_room);
        known_room -= length;
        return outcome(0x04);
    }

    std::array<std::uint8_t, serial::uart_blocks::receive_header> header{};
    std::uint8_t how = 0;
    std::uint32_t known_room = 0;

private:
    [[nodiscard]] PvResult outcome(std::uint8_t bit) const
    {
        return (how & bit) != 0 ? PvResult::Timeout : PvResult::OK;
    }
};

void drain(serial_port::ReceiveBuffer& buffer)
{
    std::vector<std::uint8_t> bytes(buffer.ready());
    std::uint32_t count = 0;
    require(buffer.read(bytes, count, std::chrono::milliseconds(0)).IsOK());
    require(count == bytes.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto port = std::make_shared<ScriptedUart>();
    serial_port::ReceiveBuffer buffer;
    require(buffer.resize(buffer_size).IsOK() && buffer.open().IsOK());
    serial::UartLink link;
    require(link.begin(port, true).IsOK());
    const std::vector<std::uint8_t> sent(100, 1);
    for (View script(data, size); script.size() > port->header.size();) {
        port->how = script[0];
        std::copy_n(script.begin() + 1, port->header.size(), port->header.begin());
        script = script.subspan(1 + port->header.size());
        if ((port->how & 0x08) != 0) {
            (void)link.begin(port, (port->how & 0x20) != 0);
        }
        if ((port->how & 0x01) != 0) {
            std::uint32_t written = 0;
            (void)link.transmit(sent, written);
            require(written <= sent.size());
        } else {
            const std::uint32_t before = buffer.ready();
            bool more = false;
            (void)link.receive(buffer, more);
            require(buffer.ready() - before <= most_received && buffer.ready() <= buffer_size);
        }
        if ((port->how & 0x10) != 0) {
            drain(buffer);
        }
    }
    return 0;
}
