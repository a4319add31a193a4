#include "sdk/virtualdevice/PvVirtualDevice.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

#include "sdk/base/failure.h"
#include "sdk/buffer/PvPixelType.h"
#include "sdk/description/description_url.h"
#include "sdk/peripherals/i2c_bus.h"
#include "sdk/peripherals/i2c_slaves.h"
#include "sdk/peripherals/uart.h"
#include "sdk/transmitterraw/block_transmitter.h"
#include "sdk/transmitterraw/stream_outlet.h"
#include "sdk/virtualdevice/bootstrap_device.h"
#include "sdk/virtualdevice/gvcp_server.h"
#include "sdk/virtualdevice/i2c_registers.h"
#include "sdk/virtualdevice/register_map.h"
#include "sdk/virtualdevice/uart_registers.h"
#include "sdk/virtualdevice/virtual_device_description.h"
#include "sdk/virtualdevice/virtual_device_registers.h"
#include "sdk/wire/bootstrap.h"
#include "sdk/wire/bytes.h"

using namespace vex;

namespace {

using virtual_device::Access;
using virtual_device::Status;
namespace own = virtual_device::own;
namespace reg = wire::bootstrap;

// In microseconds, as transmitters stamp their blocks.
constexpr std::uint64_t timestamp_frequency = 1'000'000;

// What hangs on the side channels; addresses as on the wire.
constexpr std::uint8_t eeprom_address = 0xA0;
constexpr std::uint8_t sensor_address = 0x90;
constexpr std::chrono::milliseconds eeprom_write_time{5};
constexpr std::size_t uart_transmit_size = 65'536;

// What the device tells before anything was sent.
transmitter::BlockFormat first_format()
{
    return {.image = wire::gvsp::ImageInfo{.pixel_format = PvPixelMono8, .size_x = 640, .size_y = 480},
            .payload_size = 640 * 480};
}

virtual_device::DeviceDescription describe(const net::Interface& adapter, std::size_t description_size)
{
    virtual_device::DeviceDescription description;
    description.serial_number = adapter.address.to_string();
    description.mac = adapter.mac.is_zero() ? virtual_device::made_up_mac(adapter.address) : adapter.mac;
    description.address = adapter.address;
    description.mask = adapter.mask;
    description.gateway = adapter.gateway;
    description.first_url = description::local_url("virtualdevice.xml", own::description, description_size);
    description.stream_channels = 1;
    description.packet_resend = true;
    description.extended_ids = true;
    description.timestamp_frequency = timestamp_frequency;
    return description;
}

}  // namespace

class PvVirtualDevice::Impl : private virtual_device::DeviceHooks {
public:
    explicit Impl(const net::Interface& adapter)
        : description_(virtual_device::virtual_device_description()),
          socket_(net::UdpSocket::open({adapter.address, 0}, {.broadcast = true})), test_packets_(socket_, 0),
          responder_(describe(adapter, description_.size()), *this), server_(responder_)
    {
        const auto guard = responder_.lock();
        auto& map = responder_.registers();
        map.add(virtual_device::memory_region(own::description, description_));
        add_format_registers(map);
        add_acquisition_registers(map);
        add_side_channels(map);
        responder_.remember_power_on();
    }

    void start(const net::Interface& adapter) { server_.start(adapter); }

    ~Impl() override
    {
        server_.stop();
        outlet_->configure({});  // a transmitter may keep it for longer
    }

    [[nodiscard]] Endpoint destination() const { return outlet_->settings().destination; }

private:
    void add_format_registers(virtual_device::RegisterMap& map)
    {
        using Format = transmitter::BlockFormat;
        const auto add = [&](std::uint32_t address, std::uint32_t (*value)(const Format&)) {
            map.add_register(address, Access::read_only, 0,
                             {.refresh = [this, value] { return value(format()); }, .accept = {}});
        };
        add(own::width, [](const Format& format) { return format.image->size_x; });
        add(own::height, [](const Format& format) { return format.image->size_y; });
        add(own::offset_x, [](const Format& format) { return format.image->offset_x; });
        add(own::offset_y, [](const Format& format) { return format.image->offset_y; });
        add(own::pixel_format, [](const Format& format) { return format.image->pixel_format; });
        add(own::payload_size, [](const Format& format) { return static_cast<std::uint32_t>(format.payload_size); });

        virtual_device::Region port;
        port.address = reg::stream_register(0, reg::stream::source_port);
        port.bytes.resize(4);
        port.refresh = [this](std::span<std::uint8_t> bytes) {
            const std::uint16_t sender = outlet_->source_port();
            wire::store_be32(bytes.data(), sender != 0 ? sender : socket_.local().port);
        };
        map.replace(std::move(port));
    }

    // Where it is raw data that is sent, the size only changes.
    [[nodiscard]] transmitter::BlockFormat format()
    {
        if (const auto sent = outlet_->format()) {
            format_.payload_size = sent->payload_size;
            format_.image = sent->image ? sent->image : format_.image;
        }
        return format_;
    }

    void add_acquisition_registers(virtual_device::RegisterMap& map)
    {
        map.add_register(own::acquisition_mode, Access::read_write, 0,
                         {.refresh = {}, .accept = [](std::uint32_t& value) {
                              return value == 0 ? Status::success : Status::invalid_parameter;
                          }});
        const auto add_command = [&](std::uint32_t address, std::uint32_t acquiring) {
            map.add_register(address, Access::write_only, 0,
                             {.refresh = {}, .accept = [&map, acquiring](std::uint32_t& value) {
                                  if (value != 1) {
                                      return Status::invalid_parameter;
                                  }
                                  value = 0;
                                  map.set_value(own::acquisition_status, acquiring);
                                  return Status::success;
                              }});
        };
        map.add_register(own::acquisition_status, Access::read_only, 0);
        add_command(own::acquisition_start, 1);
        add_command(own::acquisition_stop, 0);
    }

    /// A loopback plug on the serial port; an EEPROM and a sensor on the I2C bus. Neither takes time on its line, and
    /// nobody is told of received bytes: there is no message channel.
    void add_side_channels(virtual_device::RegisterMap& map)
    {
        bus_.attach(std::make_unique<peripherals::Eeprom>(eeprom_address, eeprom_write_time, net::Clock::steady()));
        bus_.attach(std::make_unique<peripherals::Sensor>(sensor_address));
        uart_registers_.emplace(map, own::serial0, uart_, [](std::uint32_t) {});
        i2c_registers_.emplace(map, own::bulk0, bus_, net::Clock::steady());
    }

    void on_control_changed(bool /*controlled*/) override
    {
        responder_.registers().set_value(own::acquisition_status, 0);
    }

    void on_stream_channel_changed(unsigned, const virtual_device::StreamChannel& state) override
    {
        constexpr std::uint64_t tick_ns = 1'000'000'000 / timestamp_frequency;
        socket_.set_dont_fragment(state.do_not_fragment);
        outlet_->configure({.destination = state.is_open() ? state.destination : Endpoint{},
                            .packet_size = state.packet_size,
                            .packet_delay = std::chrono::nanoseconds(state.packet_delay * tick_ns),
                            .extended_ids = state.extended_ids,
                            .dont_fragment = state.do_not_fragment});
    }

    void on_test_packet(unsigned, const virtual_device::StreamChannel& state) override
    {
        test_packets_.send_test_packet(state.destination, state.packet_size);
    }

    void on_packet_resend(const wire::gvcp::PacketResend& range) override
    {
        outlet_->resend(range, responder_.extended_status());
    }

    std::uint64_t timestamp() override
    {
        const auto time = net::Clock::steady().now() - started_;
        return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(time).count());
    }
    void reset_timestamp() override { started_ = net::Clock::steady().now(); }

    const std::string description_;
    const std::shared_ptr<transmitter::StreamOutlet> outlet_ = transmitter::StreamOutlet::make();
    transmitter::BlockFormat format_ = first_format();  // guarded by the responder's lock, as are all hooks
    net::Clock::time_point started_ = net::Clock::steady().now();
    net::UdpSocket socket_;  // for test packets
    transmitter::BlockTransmitter test_packets_;
    // what hangs on the side channels goes after the registers that reach it
    peripherals::Uart uart_{
        {.transmit_size = uart_transmit_size}, std::make_unique<peripherals::Loopback>(), net::Clock::steady()};
    peripherals::I2cBus bus_;
    std::optional<virtual_device::UartRegisters> uart_registers_;
    std::optional<virtual_device::I2cRegisters> i2c_registers_;
    virtual_device::GvcpResponder responder_;
    virtual_device::GvcpServer server_;
};

PvVirtualDevice::PvVirtualDevice() = default;
PvVirtualDevice::~PvVirtualDevice() = default;

PvResult PvVirtualDevice::StartListening(const PvString& info)
{
    if (impl_) {
        return failure(PvResult::StateError, "The virtual device is listening already");
    }
    try {
        const auto adapter = virtual_device::find_interface(info.view(), net::list_interfaces());
        if (!adapter) {
            return failure(PvResult::NotFound, "No network interface is named \"", info.view(), "\"");
        }
        auto impl = std::make_unique<Impl>(*adapter);
        impl->start(*adapter);
        impl_ = std::move(impl);
        return {PvResult::OK, "Listening on " + adapter->address.to_string() + " (" + adapter->description + ")"};
    } catch (const std::system_error& error) {
        return failure(PvResult::NetworkError, "The virtual device cannot listen: ", error.what());
    }
}

void PvVirtualDevice::StopListening() { impl_.reset(); }

PvString PvVirtualDevice::GetStreamDestinationIPAddress() const
{
    const Endpoint destination = impl_ ? impl_->destination() : Endpoint{};
    return destination.port == 0 ? PvString() : PvString(destination.address.to_string());
}

std::uint16_t PvVirtualDevice::GetStreamDestinationPort() const { return impl_ ? impl_->destination().port : 0; }
