// Acknowledges from device to host, encoded and decoded.
#include <algorithm>

#include "sdk/wire/bootstrap.h"
#include "sdk/wire/bytes.h"
#include "sdk/wire/gvcp.h"

namespace vex::wire::gvcp {

namespace {

/// A string field of fixed length, which need not end with a zero byte when it is full.
std::string string_field(std::span<const std::uint8_t> payload, std::size_t offset, std::size_t length)
{
    const auto field = payload.subspan(offset, length);
    return {field.begin(), std::find(field.begin(), field.end(), std::uint8_t{0})};
}

}  // namespace

Message discovery_acknowledge(std::uint16_t request_id,
                              std::span<const std::uint8_t, discovery_ack_size> bootstrap) noexcept
{
    Message message = Message::acknowledge(Command::discovery_ack, request_id, Status::success);
    message.data(bootstrap);
    return message;
}

Message read_registers_acknowledge(std::uint16_t request_id, Status status,
                                   std::span<const std::uint32_t> values) noexcept
{
    Message message = Message::acknowledge(Command::read_register_ack, request_id, status);
    for (const std::uint32_t value : values) {
        message.u32(value);
    }
    return message;
}

Message write_acknowledge(Command acknowledge, std::uint16_t request_id, Status status, std::uint16_t done) noexcept
{
    Message message = Message::acknowledge(acknowledge, request_id, status);
    message.u16(0).u16(done);
    return message;
}

Message read_memory_acknowledge(std::uint16_t request_id, std::uint32_t address,
                                std::span<const std::uint8_t> data) noexcept
{
    Message message = Message::acknowledge(Command::read_memory_ack, request_id, Status::success);
    message.u32(address).data(data);
    return message;
}

Message pending_acknowledge(std::uint16_t request_id, std::uint16_t time_to_completion_ms) noexcept
{
    Message message = Message::acknowledge(Command::pending_ack, request_id, Status::success);
    message.u16(0).u16(time_to_completion_ms);
    return message;
}

std::optional<std::uint16_t> decode_pending(std::span<const std::uint8_t> payload) noexcept
{
    if (payload.size() < 4) {
        return std::nullopt;
    }
    return load_be16(&payload[2]);
}

std::optional<std::uint16_t> decode_write_done(std::span<const std::uint8_t> payload) noexcept
{
    if (payload.size() < 4) {
        return std::nullopt;
    }
    return load_be16(&payload[2]);
}

std::optional<MemoryWrite> decode_read_memory_acknowledge(std::span<const std::uint8_t> payload) noexcept
{
    if (payload.size() < 4) {
        return std::nullopt;
    }
    return MemoryWrite{load_be32(&payload[0]), payload.subspan(4)};
}

std::optional<DiscoveryAcknowledge> decode_discovery_acknowledge(std::span<const std::uint8_t> payload)
{
    if (payload.size() < discovery_ack_size) {
        return std::nullopt;
    }
    // the payload is a copy of the start of the bootstrap registers, so its offsets are their addresses
    const auto word = [payload](std::uint32_t address) { return load_be32(&payload[address]); };
    DiscoveryAcknowledge device;
    device.version_major = load_be16(&payload[bootstrap::version]);
    device.version_minor = load_be16(&payload[bootstrap::version + 2]);
    device.device_mode = word(bootstrap::device_mode);
    // the upper half of the MAC's high register is reserved
    for (std::size_t i = 0; i < device.mac.bytes.size(); ++i) {
        device.mac.bytes[i] = payload[bootstrap::mac_high + 2 + i];
    }
    device.supported_ip_configuration = word(bootstrap::supported_ip_configuration);
    device.current_ip_configuration = word(bootstrap::current_ip_configuration);
    device.address = {word(bootstrap::current_ip)};
    device.mask = {word(bootstrap::current_mask)};
    device.gateway = {word(bootstrap::current_gateway)};
    device.manufacturer = string_field(payload, bootstrap::manufacturer_name, bootstrap::manufacturer_name_length);
    device.model = string_field(payload, bootstrap::model_name, bootstrap::model_name_length);
    device.device_version = string_field(payload, bootstrap::device_version, bootstrap::device_version_length);
    device.manufacturer_info = string_field(payload, bootstrap::manufacturer_info, bootstrap::manufacturer_info_length);
    device.serial_number = string_field(payload, bootstrap::serial_number, bootstrap::serial_number_length);
    device.user_defined_name = string_field(payload, bootstrap::user_defined_name, bootstrap::user_defined_name_length);
    return device;
}

}  // namespace vex::wire::gvcp
