// GenCP over a serial line: frames, commands and acknowledges, and the bootstrap registers, for both ends of the wire.
//
// A frame is the prefix of serial lines (preamble, two check sums, channel), the common command data (CCD: flags or
// status, command, length, request ID) and the specific command data (SCD). All fields are big-endian. Decoders trust
// nothing in what they are given; the views they return point into the caller's bytes. Encoders fill a Frame, which
// owns its bytes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace vex::wire::gencp {

/// What every frame begins with.
inline constexpr std::uint16_t preamble = 0x0100;
inline constexpr std::size_t prefix_size = 8;
inline constexpr std::size_t ccd_size = 8;
inline constexpr std::size_t header_size = prefix_size + ccd_size;
/// The longest SCD that is sent or taken. Frames that announce more are none: a broken length must not make a receiver
/// wait for what never comes.
inline constexpr std::size_t largest_scd = 1024;
inline constexpr std::size_t largest_frame = header_size + largest_scd;
/// The most data bytes of one ReadMem or WriteMem: 16 bytes less, for a WriteMem's address, in a round number of words.
inline constexpr std::size_t largest_block = largest_scd - 16;

inline constexpr std::uint16_t control_channel = 0;

enum class Command : std::uint16_t {
    read_memory = 0x0800,
    read_memory_ack = 0x0801,
    write_memory = 0x0802,
    write_memory_ack = 0x0803,
    pending_ack = 0x0805,
    event = 0x0C00,
    event_ack = 0x0C01,
};

/// The acknowledge that answers a command.
[[nodiscard]] constexpr Command acknowledge_of(Command command) noexcept
{
    return static_cast<Command>(static_cast<std::uint16_t>(command) + 1);
}
/// Acknowledges have odd codes.
[[nodiscard]] constexpr bool is_acknowledge(Command command) noexcept
{
    return (static_cast<std::uint16_t>(command) & 1U) != 0;
}

namespace flag {                                 // of a command
inline constexpr std::uint16_t resend = 0x8000;  ///< the same request once more
inline constexpr std::uint16_t acknowledge_requested = 0x4000;
}  // namespace flag

/// Status of an acknowledge. Some codes mean another thing in GVCP.
enum class Status : std::uint16_t {
    success = 0x0000,
    not_implemented = 0x8001,
    invalid_parameter = 0x8002,
    invalid_address = 0x8003,
    write_protect = 0x8004,
    bad_alignment = 0x8005,
    access_denied = 0x8006,
    busy = 0x8007,
    message_timeout = 0x800B,
    invalid_header = 0x800E,
    wrong_configuration = 0x800F,
    error = 0x8FFF,
};

/// A status in words ("access denied"); "unknown status" for a code that has no name.
[[nodiscard]] const char* text_of(Status status) noexcept;
[[nodiscard]] constexpr bool is_failure(Status status) noexcept
{
    return (static_cast<std::uint16_t>(status) & 0x8000U) != 0;
}

/// The check sum of both places: the 16-bit words of `bytes` added in one's complement, the last byte of an odd number
/// counting as the upper half of a word, and the sum inverted.
[[nodiscard]] std::uint16_t checksum(std::span<const std::uint8_t> bytes) noexcept;

/// A frame as received.
struct FrameView {
    std::uint16_t channel = 0;
    std::uint16_t flags_or_status = 0;
    Command command{};
    std::uint16_t request_id = 0;
    std::span<const std::uint8_t> scd;

    [[nodiscard]] Status status() const noexcept { return static_cast<Status>(flags_or_status); }
    [[nodiscard]] bool acknowledge_requested() const noexcept
    {
        return (flags_or_status & flag::acknowledge_requested) != 0;
    }
};

/// The length of the SCD that a header announces. Empty for a header that is none: no preamble, a wrong check sum, a
/// length beyond largest_scd.
[[nodiscard]] std::optional<std::size_t> decode_header(std::span<const std::uint8_t, header_size> bytes) noexcept;

/// The frame that `bytes` are, from the first to the last of them. Empty when its check sums or lengths are wrong.
[[nodiscard]] std::optional<FrameView> decode_frame(std::span<const std::uint8_t> bytes) noexcept;

/// An encoded frame, held in place.
class Frame {
public:
    [[nodiscard]] std::span<const std::uint8_t> bytes() const noexcept { return {bytes_.data(), size_}; }

    /// A frame with this SCD on the control channel; `flags_or_status` is flags for a command, the status for an
    /// acknowledge. An SCD that is longer than largest_scd is a defect of the caller (assert) and is cut.
    Frame(std::uint16_t flags_or_status, Command command, std::uint16_t request_id, std::span<const std::uint8_t> head,
          std::span<const std::uint8_t> data) noexcept;

    /// Marks a command as one that was sent before.
    void mark_resent() noexcept;

private:
    void seal() noexcept;

    std::array<std::uint8_t, largest_frame> bytes_{};
    std::size_t size_ = 0;
};

// ---- commands, host to device ----

struct MemoryRead {
    std::uint64_t address = 0;
    std::uint16_t count = 0;  ///< bytes, at most largest_block
};
[[nodiscard]] Frame read_memory(std::uint16_t request_id, MemoryRead read) noexcept;
[[nodiscard]] std::optional<MemoryRead> decode_read_memory(std::span<const std::uint8_t> scd) noexcept;

struct MemoryWrite {
    std::uint64_t address = 0;
    std::span<const std::uint8_t> data;  ///< at most largest_block bytes, at least one
};
[[nodiscard]] Frame write_memory(std::uint16_t request_id, const MemoryWrite& write) noexcept;
[[nodiscard]] std::optional<MemoryWrite> decode_write_memory(std::span<const std::uint8_t> scd) noexcept;

// ---- acknowledges, device to host ----

[[nodiscard]] Frame read_memory_acknowledge(std::uint16_t request_id, std::span<const std::uint8_t> data) noexcept;
/// `written` for devices with capability::written_length; empty for others.
[[nodiscard]] Frame write_memory_acknowledge(std::uint16_t request_id, std::optional<std::uint16_t> written) noexcept;
/// Without data.
[[nodiscard]] Frame refusal(Command acknowledge, std::uint16_t request_id, Status status) noexcept;
[[nodiscard]] Frame pending_acknowledge(std::uint16_t request_id, std::uint16_t time_ms) noexcept;

/// The time that a pending acknowledge gives, or the length that a WriteMem's acknowledge gives: 16 reserved bits, then
/// the number.
[[nodiscard]] std::optional<std::uint16_t> decode_number(std::span<const std::uint8_t> scd) noexcept;

// ---- commands, device to host ----

struct Event {
    std::uint16_t event_id = 0;
    std::uint64_t timestamp = 0;
    std::span<const std::uint8_t> data;
};
/// The size in front of an event counts the whole of it.
[[nodiscard]] Frame event(std::uint16_t request_id, const Event& event) noexcept;
[[nodiscard]] std::optional<Event> decode_event(std::span<const std::uint8_t> scd) noexcept;

// ---- bootstrap registers ----

struct Register {
    std::uint64_t address = 0;
    std::size_t length = 0;  ///< bytes
};

/// The registers that every device has (ABRM): addresses, and lengths in bytes where they are not four.
namespace abrm {
inline constexpr std::uint64_t version = 0x000;  ///< major in the upper half, minor in the lower one
inline constexpr std::uint64_t manufacturer_name = 0x004;
inline constexpr std::uint64_t model_name = 0x044;
inline constexpr std::uint64_t family_name = 0x084;
inline constexpr std::uint64_t device_version = 0x0C4;
inline constexpr std::uint64_t manufacturer_info = 0x104;
inline constexpr std::uint64_t serial_number = 0x144;
inline constexpr std::uint64_t user_defined_name = 0x184;
inline constexpr std::uint64_t device_capability = 0x1C4;      ///< 8 bytes
inline constexpr std::uint64_t maximum_response_time = 0x1CC;  ///< milliseconds
inline constexpr std::uint64_t manifest_table = 0x1D0;         ///< 8 bytes, an address
inline constexpr std::uint64_t sbrm = 0x1D8;                   ///< 8 bytes, an address
inline constexpr std::uint64_t device_configuration = 0x1E0;   ///< 8 bytes
inline constexpr std::uint64_t heartbeat_timeout = 0x1E8;      ///< milliseconds
inline constexpr std::uint64_t message_channel = 0x1EC;
inline constexpr std::uint64_t timestamp = 0x1F0;  ///< 8 bytes
inline constexpr std::uint64_t timestamp_latch = 0x1F8;
inline constexpr std::uint64_t timestamp_increment = 0x1FC;  ///< 8 bytes, nanoseconds
inline constexpr std::uint64_t access_privilege = 0x204;
inline constexpr std::uint64_t protocol_endianness = 0x208;
inline constexpr std::uint64_t implementation_endianness = 0x20C;
inline constexpr std::uint64_t end = 0x210;

inline constexpr std::size_t text_length = 64;  ///< of each name

/// All of them, in order, without a gap.
inline constexpr std::array<Register, 21> registers{{
    {version, 4},
    {manufacturer_name, text_length},
    {model_name, text_length},
    {family_name, text_length},
    {device_version, text_length},
    {manufacturer_info, text_length},
    {serial_number, text_length},
    {user_defined_name, text_length},
    {device_capability, 8},
    {maximum_response_time, 4},
    {manifest_table, 8},
    {sbrm, 8},
    {device_configuration, 8},
    {heartbeat_timeout, 4},
    {message_channel, 4},
    {timestamp, 8},
    {timestamp_latch, 4},
    {timestamp_increment, 8},
    {access_privilege, 4},
    {protocol_endianness, 4},
    {implementation_endianness, 4},
}};
}  // namespace abrm

namespace capability {  // of abrm::device_capability
inline constexpr std::uint64_t user_defined_name = 1U << 0;
inline constexpr std::uint64_t access_privilege = 1U << 1;
inline constexpr std::uint64_t message_channel = 1U << 2;
inline constexpr std::uint64_t timestamp = 1U << 3;
inline constexpr unsigned text_encoding_shift = 4;
inline constexpr std::uint64_t text_encoding_mask = 0xF;
inline constexpr std::uint64_t family_name = 1U << 8;
inline constexpr std::uint64_t sbrm = 1U << 9;
inline constexpr std::uint64_t endianness = 1U << 10;
inline constexpr std::uint64_t written_length = 1U << 11;
inline constexpr std::uint64_t multi_event = 1U << 12;
}  // namespace capability

namespace configuration {  // of abrm::device_configuration
inline constexpr std::uint64_t heartbeat = 1U << 0;
inline constexpr std::uint64_t multi_event = 1U << 1;
}  // namespace configuration

namespace privilege {  // of abrm::access_privilege
inline constexpr std::uint32_t available = 0;
inline constexpr std::uint32_t taken = 1;
}  // namespace privilege

/// The registers of serial lines (SBRM), as offsets from where abrm::sbrm leads.
namespace sbrm {
inline constexpr std::uint64_t supported_bit_rates = 0x00;
inline constexpr std::uint64_t current_bit_rate = 0x04;
inline constexpr std::uint64_t end = 0x08;
}  // namespace sbrm

/// The number of bytes from one register that hold a text; what follows a zero byte is not part of it.
[[nodiscard]] std::span<const std::uint8_t> text_of(std::span<const std::uint8_t> field) noexcept;

}  // namespace vex::wire::gencp
