// GVCP, the GigE Vision control protocol: message layouts, encoded and decoded, for both ends of the wire.
//
// Decoders take the bytes of one datagram, trust nothing in them and return nothing when the message is malformed; the
// views they return point into the caller's datagram. Encoders fill a Message, which owns its bytes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "sdk/base/address.h"

namespace vex::wire::gvcp {

inline constexpr std::uint16_t port = 3956;
inline constexpr std::size_t header_size = 8;
/// The most data bytes of one READMEM or WRITEMEM that every device takes.
inline constexpr std::size_t largest_memory_block = 512;
/// The largest message that fits the 576-byte IP datagram which every device takes: 576 - 20 (IP) - 8 (UDP).
inline constexpr std::size_t largest_message = 548;
inline constexpr std::size_t discovery_ack_size = 0xF8;

enum class Command : std::uint16_t {
    discovery = 0x0002,
    discovery_ack = 0x0003,
    force_ip = 0x0004,
    force_ip_ack = 0x0005,
    packet_resend = 0x0040,
    packet_resend_ack = 0x0041,
    read_register = 0x0080,
    read_register_ack = 0x0081,
    write_register = 0x0082,
    write_register_ack = 0x0083,
    read_memory = 0x0084,
    read_memory_ack = 0x0085,
    write_memory = 0x0086,
    write_memory_ack = 0x0087,
    pending_ack = 0x0089,
    event = 0x00C0,
    event_ack = 0x00C1,
    event_data = 0x00C2,
    event_data_ack = 0x00C3,
    action = 0x0100,
    action_ack = 0x0101,
};

/// The acknowledge that answers a command.
[[nodiscard]] constexpr Command acknowledge_of(Command command) noexcept
{
    return static_cast<Command>(static_cast<std::uint16_t>(command) + 1);
}

namespace flag {
inline constexpr std::uint8_t acknowledge_required = 0x01;
inline constexpr std::uint8_t allow_broadcast_acknowledge = 0x10;  ///< DISCOVERY, FORCEIP
inline constexpr std::uint8_t extended_ids = 0x10;                 ///< PACKETRESEND, EVENT, EVENTDATA
inline constexpr std::uint8_t scheduled_time = 0x80;               ///< ACTION
}  // namespace flag

/// Status of an acknowledge; GVSP packets use the same codes.
enum class Status : std::uint16_t {
    success = 0x0000,
    packet_resend = 0x0100,
    not_implemented = 0x8001,
    invalid_parameter = 0x8002,
    invalid_address = 0x8003,
    write_protect = 0x8004,
    bad_alignment = 0x8005,
    access_denied = 0x8006,
    busy = 0x8007,
    local_problem = 0x8008,
    message_mismatch = 0x8009,
    invalid_protocol = 0x800A,
    no_message = 0x800B,
    packet_unavailable = 0x800C,
    data_overrun = 0x800D,
    invalid_header = 0x800E,
    wrong_configuration = 0x800F,
    packet_not_yet_available = 0x8010,
    packet_and_previous_removed = 0x8011,
    packet_removed = 0x8012,
    no_reference_time = 0x8013,
    packet_temporarily_unavailable = 0x8014,
    overflow = 0x8015,
    action_late = 0x8016,
    leader_trailer_overflow = 0x8017,
    error = 0x8FFF,
};

/// A status in words ("access denied"); "unknown status" for a code that has no name.
[[nodiscard]] const char* text_of(Status status) noexcept;
/// Whether the code has a name.
[[nodiscard]] bool is_known(Status status) noexcept;

/// A command as received. `payload` is exactly as long as the header says; bytes beyond it in the datagram are dropped.
struct CommandView {
    std::uint8_t flags = 0;
    Command command{};
    std::uint16_t request_id = 0;
    std::span<const std::uint8_t> payload;

    [[nodiscard]] bool acknowledge_required() const noexcept { return (flags & flag::acknowledge_required) != 0; }
};

/// An acknowledge as received.
struct AcknowledgeView {
    Status status{};
    Command acknowledge{};
    std::uint16_t request_id = 0;
    std::span<const std::uint8_t> payload;
};

/// A command datagram: key 0x42, request ID not 0, payload length within the datagram.
[[nodiscard]] std::optional<CommandView> decode_command(std::span<const std::uint8_t> datagram) noexcept;
/// An acknowledge datagram: payload length within the datagram. What it answers is for the caller to match.
[[nodiscard]] std::optional<AcknowledgeView> decode_acknowledge(std::span<const std::uint8_t> datagram) noexcept;

/// An encoded message of at most largest_message bytes, held in place.
class Message {
public:
    [[nodiscard]] std::span<const std::uint8_t> bytes() const noexcept { return {bytes_.data(), size_}; }

    /// Starts a command with an empty payload.
    static Message command(Command command, std::uint16_t request_id, std::uint8_t flags) noexcept;
    /// Starts an acknowledge with an empty payload.
    static Message acknowledge(Command acknowledge, std::uint16_t request_id, Status status) noexcept;

    /// Appends to the payload and keeps the header's length right. What does not fit is a defect of the caller
    /// (assert).
    Message& u8(std::uint8_t value) noexcept;
    Message& u16(std::uint16_t value) noexcept;
    Message& u32(std::uint32_t value) noexcept;
    Message& u64(std::uint64_t value) noexcept;
    Message& zeros(std::size_t count) noexcept;
    Message& data(std::span<const std::uint8_t> bytes) noexcept;

    /// Room left in the payload, in bytes.
    [[nodiscard]] std::size_t room() const noexcept { return bytes_.size() - size_; }

private:
    Message() noexcept = default;
    std::uint8_t* grow(std::size_t count) noexcept;

    std::array<std::uint8_t, largest_message> bytes_;
    std::size_t size_ = 0;
};

// ---- commands, host to device ----

[[nodiscard]] Message discovery(std::uint16_t request_id, bool allow_broadcast_acknowledge) noexcept;

struct ForceIp {
    MacAddress mac;
    Ipv4Address address;
    Ipv4Address mask;
    Ipv4Address gateway;
};
[[nodiscard]] Message force_ip(std::uint16_t request_id, const ForceIp& settings,
                               bool allow_broadcast_acknowledge) noexcept;
[[nodiscard]] std::optional<ForceIp> decode_force_ip(std::span<const std::uint8_t> payload) noexcept;

/// At most 135 addresses fit one message.
[[nodiscard]] Message read_registers(std::uint16_t request_id, std::span<const std::uint32_t> addresses) noexcept;

struct RegisterWrite {
    std::uint32_t address = 0;
    std::uint32_t value = 0;
};
/// At most 67 writes fit one message.
[[nodiscard]] Message write_registers(std::uint16_t request_id, std::span<const RegisterWrite> writes,
                                      bool acknowledge_required = true) noexcept;

struct MemoryRead {
    std::uint32_t address = 0;
    std::uint16_t count = 0;  ///< bytes
};
[[nodiscard]] Message read_memory(std::uint16_t request_id, MemoryRead read) noexcept;
[[nodiscard]] std::optional<MemoryRead> decode_read_memory(std::span<const std::uint8_t> payload) noexcept;

struct MemoryWrite {
    std::uint32_t address = 0;
    std::span<const std::uint8_t> data;
};
[[nodiscard]] Message write_memory(std::uint16_t request_id, const MemoryWrite& write) noexcept;
[[nodiscard]] std::optional<MemoryWrite> decode_write_memory(std::span<const std::uint8_t> payload) noexcept;

/// A range of packets of one block to be sent again; both ends inclusive.
struct PacketResend {
    std::uint16_t channel = 0;
    std::uint64_t block_id = 0;
    std::uint32_t first_packet = 0;
    std::uint32_t last_packet = 0;
    bool extended_ids = false;
};
[[nodiscard]] Message packet_resend(std::uint16_t request_id, const PacketResend& range) noexcept;
[[nodiscard]] std::optional<PacketResend> decode_packet_resend(const CommandView& command) noexcept;

struct Action {
    std::uint32_t device_key = 0;
    std::uint32_t group_key = 0;
    std::uint32_t group_mask = 0;
    std::optional<std::uint64_t> time;  ///< when to act, in device ticks; at once when empty
};
[[nodiscard]] Message action(std::uint16_t request_id, const Action& action, bool acknowledge_required) noexcept;
[[nodiscard]] std::optional<Action> decode_action(const CommandView& command) noexcept;

// ---- commands, device to host (message channel) ----

struct Event {
    std::uint16_t event_id = 0;
    std::uint16_t channel = 0xFFFF;  ///< stream channel; 0xFFFF when the event belongs to none
    std::uint64_t block_id = 0;
    std::uint64_t timestamp = 0;
    std::span<const std::uint8_t> data;  ///< EVENTDATA only
};
[[nodiscard]] Message event(std::uint16_t request_id, std::span<const Event> events, bool extended_ids,
                            bool acknowledge_required) noexcept;
[[nodiscard]] Message event_data(std::uint16_t request_id, const Event& event, bool extended_ids,
                                 bool acknowledge_required) noexcept;
/// Takes the next whole event off `rest`; false when there is none.
bool take_event(const CommandView& command, std::span<const std::uint8_t>& rest, Event& event) noexcept;
/// Calls `each` for every whole event of an EVENT or EVENTDATA command and returns how many there were; a truncated
/// tail is dropped.
template <typename Each>
std::size_t for_each_event(const CommandView& command, Each each)
{
    std::size_t count = 0;
    std::span<const std::uint8_t> rest = command.payload;
    Event one;
    while (take_event(command, rest, one)) {
        each(static_cast<const Event&>(one));
        ++count;
    }
    return count;
}

// ---- acknowledges, device to host ----

[[nodiscard]] Message discovery_acknowledge(std::uint16_t request_id,
                                            std::span<const std::uint8_t, discovery_ack_size> bootstrap) noexcept;
[[nodiscard]] Message read_registers_acknowledge(std::uint16_t request_id, Status status,
                                                 std::span<const std::uint32_t> values) noexcept;
/// `done`: number of writes performed (registers) or bytes written (memory).
[[nodiscard]] Message write_acknowledge(Command acknowledge, std::uint16_t request_id, Status status,
                                        std::uint16_t done) noexcept;
[[nodiscard]] Message read_memory_acknowledge(std::uint16_t request_id, std::uint32_t address,
                                              std::span<const std::uint8_t> data) noexcept;
[[nodiscard]] Message pending_acknowledge(std::uint16_t request_id, std::uint16_t time_to_completion_ms) noexcept;

/// The time to completion that a PENDING_ACK gives, in milliseconds.
[[nodiscard]] std::optional<std::uint16_t> decode_pending(std::span<const std::uint8_t> payload) noexcept;
/// The number of writes or bytes done of a WRITEREG or WRITEMEM acknowledge.
[[nodiscard]] std::optional<std::uint16_t> decode_write_done(std::span<const std::uint8_t> payload) noexcept;
/// Address and data of a READMEM acknowledge.
[[nodiscard]] std::optional<MemoryWrite> decode_read_memory_acknowledge(std::span<const std::uint8_t> payload) noexcept;

/// What a device says of itself in a discovery acknowledge.
struct DiscoveryAcknowledge {
    std::uint16_t version_major = 0;
    std::uint16_t version_minor = 0;
    std::uint32_t device_mode = 0;
    MacAddress mac;
    std::uint32_t supported_ip_configuration = 0;
    std::uint32_t current_ip_configuration = 0;
    Ipv4Address address;
    Ipv4Address mask;
    Ipv4Address gateway;
    std::string manufacturer;
    std::string model;
    std::string device_version;
    std::string manufacturer_info;
    std::string serial_number;
    std::string user_defined_name;
};
/// Shorter payloads than discovery_ack_size are malformed; longer ones are tolerated. Strings end at the first zero
/// byte or at the end of their field.
[[nodiscard]] std::optional<DiscoveryAcknowledge> decode_discovery_acknowledge(std::span<const std::uint8_t> payload);

}  // namespace vex::wire::gvcp
