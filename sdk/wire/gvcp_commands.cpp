// Commands from host to device, encoded and decoded.
#include "sdk/wire/bytes.h"
#include "sdk/wire/gvcp.h"

namespace vex::wire::gvcp {

namespace {

constexpr std::size_t force_ip_size = 56;
constexpr std::size_t resend_size = 12;
constexpr std::size_t extended_resend_size = 20;
constexpr std::size_t action_size = 12;
constexpr std::size_t scheduled_action_size = 20;
constexpr std::uint32_t packet_id_mask = 0xFFFFFF;  // standard IDs have 24 bits

constexpr std::uint8_t acknowledge_flag(bool required) noexcept { return required ? flag::acknowledge_required : 0; }

constexpr std::uint8_t broadcastable(bool allow_broadcast_acknowledge) noexcept
{
    return static_cast<std::uint8_t>(flag::acknowledge_required |
                                     (allow_broadcast_acknowledge ? flag::allow_broadcast_acknowledge : 0));
}

}  // namespace

Message discovery(std::uint16_t request_id, bool allow_broadcast_acknowledge) noexcept
{
    return Message::command(Command::discovery, request_id, broadcastable(allow_broadcast_acknowledge));
}

Message force_ip(std::uint16_t request_id, const ForceIp& settings, bool allow_broadcast_acknowledge) noexcept
{
    Message message = Message::command(Command::force_ip, request_id, broadcastable(allow_broadcast_acknowledge));
    message.zeros(2).data(settings.mac.bytes);
    message.zeros(12).u32(settings.address.value);
    message.zeros(12).u32(settings.mask.value);
    message.zeros(12).u32(settings.gateway.value);
    return message;
}

std::optional<ForceIp> decode_force_ip(std::span<const std::uint8_t> payload) noexcept
{
    if (payload.size() != force_ip_size) {
        return std::nullopt;
    }
    ForceIp settings;
    for (std::size_t i = 0; i < settings.mac.bytes.size(); ++i) {
        settings.mac.bytes[i] = payload[2 + i];
    }
    settings.address = {load_be32(&payload[20])};
    settings.mask = {load_be32(&payload[36])};
    settings.gateway = {load_be32(&payload[52])};
    return settings;
}

Message read_registers(std::uint16_t request_id, std::span<const std::uint32_t> addresses) noexcept
{
    Message message = Message::command(Command::read_register, request_id, flag::acknowledge_required);
    for (const std::uint32_t address : addresses) {
        message.u32(address);
    }
    return message;
}

Message write_registers(std::uint16_t request_id, std::span<const RegisterWrite> writes,
                        bool acknowledge_required) noexcept
{
    Message message = Message::command(Command::write_register, request_id, acknowledge_flag(acknowledge_required));
    for (const RegisterWrite& write : writes) {
        message.u32(write.address).u32(write.value);
    }
    return message;
}

Message read_memory(std::uint16_t request_id, MemoryRead read) noexcept
{
    Message message = Message::command(Command::read_memory, request_id, flag::acknowledge_required);
    message.u32(read.address).u16(0).u16(read.count);
    return message;
}

std::optional<MemoryRead> decode_read_memory(std::span<const std::uint8_t> payload) noexcept
{
    if (payload.size() != 8) {
        return std::nullopt;
    }
    return MemoryRead{load_be32(&payload[0]), load_be16(&payload[6])};
}

Message write_memory(std::uint16_t request_id, const MemoryWrite& write) noexcept
{
    Message message = Message::command(Command::write_memory, request_id, flag::acknowledge_required);
    message.u32(write.address).data(write.data);
    return message;
}

std::optional<MemoryWrite> decode_write_memory(std::span<const std::uint8_t> payload) noexcept
{
    if (payload.size() < 4) {
        return std::nullopt;
    }
    return MemoryWrite{load_be32(&payload[0]), payload.subspan(4)};
}

Message packet_resend(std::uint16_t request_id, const PacketResend& range) noexcept
{
    Message message =
        Message::command(Command::packet_resend, request_id, range.extended_ids ? flag::extended_ids : std::uint8_t{0});
    message.u16(range.channel);
    if (range.extended_ids) {
        message.u16(0).u32(range.first_packet).u32(range.last_packet).u64(range.block_id);
    } else {
        message.u16(static_cast<std::uint16_t>(range.block_id))
            .u32(range.first_packet & packet_id_mask)
            .u32(range.last_packet & packet_id_mask);
    }
    return message;
}

std::optional<PacketResend> decode_packet_resend(const CommandView& command) noexcept
{
    const std::span<const std::uint8_t> payload = command.payload;
    PacketResend range;
    range.extended_ids = (command.flags & flag::extended_ids) != 0;
    if (payload.size() != (range.extended_ids ? extended_resend_size : resend_size)) {
        return std::nullopt;
    }
    range.channel = load_be16(&payload[0]);
    range.first_packet = load_be32(&payload[4]);
    range.last_packet = load_be32(&payload[8]);
    if (range.extended_ids) {
        range.block_id = load_be64(&payload[12]);
    } else {
        range.block_id = load_be16(&payload[2]);
        range.first_packet &= packet_id_mask;
        range.last_packet &= packet_id_mask;
    }
    if (range.block_id == 0 || range.first_packet > range.last_packet) {
        return std::nullopt;
    }
    return range;
}

Message action(std::uint16_t request_id, const Action& action, bool acknowledge_required) noexcept
{
    const std::uint8_t flags =
        static_cast<std::uint8_t>(acknowledge_flag(acknowledge_required) | (action.time ? flag::scheduled_time : 0));
    Message message = Message::command(Command::action, request_id, flags);
    message.u32(action.device_key).u32(action.group_key).u32(action.group_mask);
    if (action.time) {
        message.u64(*action.time);
    }
    return message;
}

std::optional<Action> decode_action(const CommandView& command) noexcept
{
    const std::span<const std::uint8_t> payload = command.payload;
    const bool scheduled = (command.flags & flag::scheduled_time) != 0;
    if (payload.size() != (scheduled ? scheduled_action_size : action_size)) {
        return std::nullopt;
    }
    Action action;
    action.device_key = load_be32(&payload[0]);
    action.group_key = load_be32(&payload[4]);
    action.group_mask = load_be32(&payload[8]);
    if (scheduled) {
        action.time = load_be64(&payload[12]);
    }
    return action;
}

}  // namespace vex::wire::gvcp
