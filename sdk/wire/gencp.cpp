#include "sdk/wire/gencp.h"

#include <algorithm>
#include <cassert>

#include "sdk/wire/bytes.h"

namespace vex::wire::gencp {

namespace {

constexpr std::size_t ccd_checksum_at = 2;
constexpr std::size_t scd_checksum_at = 4;
constexpr std::size_t channel_at = 6;  // from here on the check sums count
constexpr std::size_t flags_at = 8;
constexpr std::size_t command_at = 10;
constexpr std::size_t length_at = 12;
constexpr std::size_t request_id_at = 14;

constexpr std::size_t address_size = 8;
constexpr std::size_t event_head_size = 12;

constexpr std::size_t read_head_size = 12;
constexpr std::size_t number_size = 4;

Frame with_number(Command command, std::uint16_t request_id, std::uint16_t number) noexcept
{
    std::array<std::uint8_t, number_size> head{};
    store_be16(&head[2], number);
    return {0, command, request_id, head, {}};
}

}  // namespace

const char* text_of(Status status) noexcept
{
    switch (status) {
    case Status::success: return "success";
    case Status::not_implemented: return "not implemented";
    case Status::invalid_parameter: return "invalid parameter";
    case Status::invalid_address: return "invalid address";
    case Status::write_protect: return "write protected";
    case Status::bad_alignment: return "bad alignment";
    case Status::access_denied: return "access denied";
    case Status::busy: return "busy";
    case Status::message_timeout: return "message timeout";
    case Status::invalid_header: return "invalid header";
    case Status::wrong_configuration: return "wrong configuration";
    case Status::error: return "error";
    }
    return "unknown status";
}

std::uint16_t checksum(std::span<const std::uint8_t> bytes) noexcept
{
    // a frame's words cannot make 32 bits overflow, whatever they are
    std::uint32_t sum = 0;
    std::size_t at = 0;
    for (; at + 1 < bytes.size(); at += 2) {
        sum += load_be16(&bytes[at]);
    }
    if (at < bytes.size()) {
        sum += std::uint32_t{bytes[at]} << 8;
    }
    while (sum > 0xFFFF) {
        sum = (sum & 0xFFFF) + (sum >> 16);
    }
    return static_cast<std::uint16_t>(~sum);
}

std::optional<std::size_t> decode_header(std::span<const std::uint8_t, header_size> bytes) noexcept
{
    const std::size_t length = load_be16(&bytes[length_at]);
    if (load_be16(&bytes[0]) != preamble || length > largest_scd ||
        load_be16(&bytes[ccd_checksum_at]) != checksum(bytes.subspan<channel_at>())) {
        return std::nullopt;
    }
    return length;
}

std::optional<FrameView> decode_frame(std::span<const std::uint8_t> bytes) noexcept
{
    if (bytes.size() < header_size) {
        return std::nullopt;
    }
    const auto length = decode_header(bytes.first<header_size>());
    if (!length || bytes.size() != header_size + *length ||
        load_be16(&bytes[scd_checksum_at]) != checksum(bytes.subspan(channel_at))) {
        return std::nullopt;
    }
    FrameView frame;
    frame.channel = load_be16(&bytes[channel_at]);
    frame.flags_or_status = load_be16(&bytes[flags_at]);
    frame.command = static_cast<Command>(load_be16(&bytes[command_at]));
    frame.request_id = load_be16(&bytes[request_id_at]);
    frame.scd = bytes.subspan(header_size);
    return frame;
}

Frame::Frame(std::uint16_t flags_or_status, Command command, std::uint16_t request_id,
             std::span<const std::uint8_t> head, std::span<const std::uint8_t> data) noexcept
{
    assert(head.size() + data.size() <= largest_scd);
    // a release build cuts what does not fit rather than write past the frame
    head = head.first(std::min(head.size(), largest_scd));
    data = data.first(std::min(data.size(), largest_scd - head.size()));
    size_ = header_size + head.size() + data.size();
    store_be16(&bytes_[0], preamble);
    store_be16(&bytes_[channel_at], control_channel);
    store_be16(&bytes_[flags_at], flags_or_status);
    store_be16(&bytes_[command_at], static_cast<std::uint16_t>(command));
    store_be16(&bytes_[length_at], static_cast<std::uint16_t>(head.size() + data.size()));
    store_be16(&bytes_[request_id_at], request_id);
    std::uint8_t* const scd = bytes_.data() + header_size;
    std::copy(data.begin(), data.end(), std::copy(head.begin(), head.end(), scd));
    seal();
}

void Frame::mark_resent() noexcept
{
    store_be16(&bytes_[flags_at], static_cast<std::uint16_t>(load_be16(&bytes_[flags_at]) | flag::resend));
    seal();
}

void Frame::seal() noexcept
{
    const std::span<const std::uint8_t> whole = bytes();
    store_be16(&bytes_[ccd_checksum_at], checksum(whole.subspan(channel_at, header_size - channel_at)));
    store_be16(&bytes_[scd_checksum_at], checksum(whole.subspan(channel_at)));
}

Frame read_memory(std::uint16_t request_id, MemoryRead read) noexcept
{
    std::array<std::uint8_t, read_head_size> head{};
    store_be64(head.data(), read.address);
    store_be16(&head[10], read.count);
    return {flag::acknowledge_requested, Command::read_memory, request_id, head, {}};
}

std::optional<MemoryRead> decode_read_memory(std::span<const std::uint8_t> scd) noexcept
{
    if (scd.size() != read_head_size) {
        return std::nullopt;
    }
    return MemoryRead{load_be64(scd.data()), load_be16(&scd[10])};
}

Frame write_memory(std::uint16_t request_id, const MemoryWrite& write) noexcept
{
    std::array<std::uint8_t, address_size> head{};
    store_be64(head.data(), write.address);
    return {flag::acknowledge_requested, Command::write_memory, request_id, head, write.data};
}

std::optional<MemoryWrite> decode_write_memory(std::span<const std::uint8_t> scd) noexcept
{
    if (scd.size() <= address_size) {
        return std::nullopt;
    }
    return MemoryWrite{load_be64(scd.data()), scd.subspan(address_size)};
}

Frame read_memory_acknowledge(std::uint16_t request_id, std::span<const std::uint8_t> data) noexcept
{
    return {0, Command::read_memory_ack, request_id, {}, data};
}

Frame write_memory_acknowledge(std::uint16_t request_id, std::optional<std::uint16_t> written) noexcept
{
    return written ? with_number(Command::write_memory_ack, request_id, *written)
                   : Frame(0, Command::write_memory_ack, request_id, {}, {});
}

Frame refusal(Command acknowledge, std::uint16_t request_id, Status status) noexcept
{
    return {static_cast<std::uint16_t>(status), acknowledge, request_id, {}, {}};
}

Frame pending_acknowledge(std::uint16_t request_id, std::uint16_t time_ms) noexcept
{
    return with_number(Command::pending_ack, request_id, time_ms);
}

std::optional<std::uint16_t> decode_number(std::span<const std::uint8_t> scd) noexcept
{
    return scd.size() == number_size ? std::optional(load_be16(&scd[2])) : std::nullopt;
}

Frame event(std::uint16_t request_id, const Event& event) noexcept
{
    std::array<std::uint8_t, event_head_size> head{};
    store_be16(&head[0], static_cast<std::uint16_t>(event_head_size + event.data.size()));
    store_be16(&head[2], event.event_id);
    store_be64(&head[4], event.timestamp);
    return {0, Command::event, request_id, head, event.data};
}

std::optional<Event> decode_event(std::span<const std::uint8_t> scd) noexcept
{
    if (scd.size() < event_head_size) {
        return std::nullopt;
    }
    const std::size_t size = load_be16(&scd[0]);
    if (size < event_head_size || size > scd.size()) {
        return std::nullopt;
    }
    return Event{load_be16(&scd[2]), load_be64(&scd[4]), scd.subspan(event_head_size, size - event_head_size)};
}

std::span<const std::uint8_t> text_of(std::span<const std::uint8_t> field) noexcept
{
    const auto end = std::find(field.begin(), field.end(), std::uint8_t{0});
    return field.first(static_cast<std::size_t>(end - field.begin()));
}

}  // namespace vex::wire::gencp
