#include "sdk/virtualdevice/uart_registers.h"

#include <algorithm>
#include <utility>

#include "sdk/wire/bytes.h"

namespace vex::virtual_device {

namespace {

constexpr std::uint32_t highest_baud_rate = 4'000'000;

}  // namespace

UartRegisters::UartRegisters(RegisterMap& map, std::uint32_t base, peripherals::Uart& uart,
                             std::function<void(std::uint32_t)> announce)
    : map_(map), base_(base), uart_(uart), announce_(std::move(announce))
{
    using namespace uart_block;
    add_setting(baud_rate, 115'200, 1, highest_baud_rate);
    add_setting(parity, 0, 0, 2);
    add_setting(byte_size, 8, 5, 8);
    add_setting(stop_bits, 1, 1, 2);
    add_setting(receive_notification, 0, 0, 1);
    add_fact(receive_count, [this] { return static_cast<std::uint32_t>(uart_.held()); });
    add_fact(receive_overruns, [this] { return uart_.overruns(); });
    add_fact(transmit_room, [this] { return static_cast<std::uint32_t>(uart_.room()); });
    add_flush(receive_flush, &peripherals::Uart::flush_receive);
    add_flush(transmit_flush, &peripherals::Uart::flush_transmit);
    add_receive_position();
    add_blocks();
    configure();
}

void UartRegisters::add_setting(std::uint32_t offset, std::uint32_t value, std::uint32_t least, std::uint32_t most)
{
    const auto accept = [this, offset, least, most](std::uint32_t& proposed) {
        if (proposed < least || proposed > most) {
            return Status::invalid_parameter;
        }
        uart_.update();  // what was sent until now was sent as it was set until now
        map_.set_value(base_ + offset, proposed);
        configure();
        return Status::success;
    };
    map_.add_register(base_ + offset, Access::read_write, value, {.refresh = {}, .accept = accept});
}

void UartRegisters::add_fact(std::uint32_t offset, std::function<std::uint32_t()> value)
{
    const auto refresh = [this, value = std::move(value)] {
        update();
        return value();
    };
    map_.add_register(base_ + offset, Access::read_only, 0, {.refresh = refresh, .accept = {}});
}

void UartRegisters::add_flush(std::uint32_t offset, void (peripherals::Uart::*flush)())
{
    const auto accept = [this, flush](std::uint32_t& proposed) {
        if (proposed != 1) {
            return Status::invalid_parameter;
        }
        proposed = 0;
        update();
        (uart_.*flush)();
        announced_ = false;
        announce_held();
        return Status::success;
    };
    map_.add_register(base_ + offset, Access::write_only, 0, {.refresh = {}, .accept = accept});
}

void UartRegisters::add_receive_position()
{
    const auto refresh = [this] { return uart_.position(); };
    const auto accept = [this](std::uint32_t& proposed) {
        update();
        if (!uart_.take_until(proposed)) {
            return Status::invalid_parameter;
        }
        announced_ = false;
        announce_held();
        return Status::success;
    };
    map_.add_register(base_ + uart_block::receive_position, Access::read_write, 0,
                      {.refresh = refresh, .accept = accept});
}

void UartRegisters::add_blocks()
{
    Region received;
    received.address = base_ + uart_block::receive_block;
    received.bytes.resize(uart_block::block_size);
    received.refresh = [this](std::span<std::uint8_t> block) {
        update();
        wire::store_be32(block.data(), uart_.position());
        wire::store_be32(block.data() + 4, static_cast<std::uint32_t>(uart_.held()));
        wire::store_be32(block.data() + 8, uart_.overruns());
        const auto bytes = block.subspan(uart_block::receive_header);
        std::ranges::fill(bytes.subspan(uart_.peek(bytes)), std::uint8_t{0});
    };
    map_.add(std::move(received));

    Region sent;
    sent.address = base_ + uart_block::transmit_block;
    sent.access = Access::write_only;
    sent.bytes.resize(uart_block::block_size);
    sent.accept = [this](std::span<std::uint8_t> block) { return transmit(block); };
    map_.add(std::move(sent));
}

Status UartRegisters::transmit(std::span<std::uint8_t> block)
{
    const std::uint32_t length = wire::load_be32(block.data());
    const auto bytes = block.subspan(uart_block::transmit_header);
    if (length > bytes.size()) {
        return Status::invalid_parameter;
    }
    update();
    if (length > uart_.room()) {
        return Status::busy;
    }
    wire::store_be32(block.data(), 0);  // a later write of some of the bytes sends nothing
    (void)uart_.transmit(bytes.first(length));
    announce_held();
    return Status::success;
}

void UartRegisters::configure()
{
    const auto value = [this](std::uint32_t offset) { return map_.value(base_ + offset); };
    uart_.configure({.baud_rate = value(uart_block::baud_rate),
                     .parity = value(uart_block::parity),
                     .byte_size = value(uart_block::byte_size),
                     .stop_bits = value(uart_block::stop_bits)});
}

void UartRegisters::announce_held()
{
    if (announced_ || uart_.held() == 0 || map_.value(base_ + uart_block::receive_notification) == 0) {
        return;
    }
    announced_ = true;
    announce_(static_cast<std::uint32_t>(uart_.held()));
}

std::optional<net::Clock::time_point> UartRegisters::update()
{
    uart_.update();
    announce_held();
    return uart_.next();
}

void UartRegisters::power_on()
{
    uart_.power_on();
    announced_ = false;
    configure();
}

}  // namespace vex::virtual_device
