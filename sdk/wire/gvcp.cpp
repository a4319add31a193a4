// Framing: headers, the message under construction and the names of status codes.
#include "sdk/wire/gvcp.h"

#include <algorithm>
#include <cassert>

#include "sdk/wire/bytes.h"

namespace vex::wire::gvcp {

namespace {

constexpr std::uint8_t command_key = 0x42;

}  // namespace

namespace {

constexpr const char* unknown_status = "unknown status";

}  // namespace

const char* text_of(Status status) noexcept
{
    switch (status) {
    case Status::success: return "success";
    case Status::packet_resend: return "packet resend";
    case Status::not_implemented: return "not implemented";
    case Status::invalid_parameter: return "invalid parameter";
    case Status::invalid_address: return "invalid address";
    case Status::write_protect: return "write protected";
    case Status::bad_alignment: return "bad alignment";
    case Status::access_denied: return "access denied";
    case Status::busy: return "busy";
    case Status::local_problem: return "local problem";
    case Status::message_mismatch: return "message mismatch";
    case Status::invalid_protocol: return "invalid protocol";
    case Status::no_message: return "no message";
    case Status::packet_unavailable: return "packet unavailable";
    case Status::data_overrun: return "data overrun";
    case Status::invalid_header: return "invalid header";
    case Status::wrong_configuration: return "wrong configuration";
    case Status::packet_not_yet_available: return "packet not yet available";
    case Status::packet_and_previous_removed: return "packet and all previous ones removed from memory";
    case Status::packet_removed: return "packet removed from memory";
    case Status::no_reference_time: return "no reference time";
    case Status::packet_temporarily_unavailable: return "packet temporarily unavailable";
    case Status::overflow: return "overflow";
    case Status::action_late: return "action late";
    case Status::leader_trailer_overflow: return "leader or trailer overflow";
    case Status::error: return "error";
    }
    return unknown_status;
}

bool is_known(Status status) noexcept { return text_of(status) != unknown_status; }

std::optional<CommandView> decode_command(std::span<const std::uint8_t> datagram) noexcept
{
    if (datagram.size() < header_size || datagram[0] != command_key) {
        return std::nullopt;
    }
    const std::size_t length = load_be16(&datagram[4]);
    CommandView view;
    view.flags = datagram[1];
    view.command = static_cast<Command>(load_be16(&datagram[2]));
    view.request_id = load_be16(&datagram[6]);
    if (view.request_id == 0 || length > datagram.size() - header_size) {
        return std::nullopt;
    }
    view.payload = datagram.subspan(header_size, length);
    return view;
}

std::optional<AcknowledgeView> decode_acknowledge(std::span<const std::uint8_t> datagram) noexcept
{
    if (datagram.size() < header_size) {
        return std::nullopt;
    }
    const std::size_t length = load_be16(&datagram[4]);
    if (length > datagram.size() - header_size) {
        return std::nullopt;
    }
    AcknowledgeView view;
    view.status = static_cast<Status>(load_be16(&datagram[0]));
    view.acknowledge = static_cast<Command>(load_be16(&datagram[2]));
    view.request_id = load_be16(&datagram[6]);
    view.payload = datagram.subspan(header_size, length);
    return view;
}

Message Message::command(Command command, std::uint16_t request_id, std::uint8_t flags) noexcept
{
    Message message;
    message.size_ = header_size;
    message.bytes_[0] = command_key;
    message.bytes_[1] = flags;
    store_be16(&message.bytes_[2], static_cast<std::uint16_t>(command));
    store_be16(&message.bytes_[4], 0);
    store_be16(&message.bytes_[6], request_id);
    return message;
}

Message Message::acknowledge(Command acknowledge, std::uint16_t request_id, Status status) noexcept
{
    Message message;
    message.size_ = header_size;
    store_be16(&message.bytes_[0], static_cast<std::uint16_t>(status));
    store_be16(&message.bytes_[2], static_cast<std::uint16_t>(acknowledge));
    store_be16(&message.bytes_[4], 0);
    store_be16(&message.bytes_[6], request_id);
    return message;
}

std::uint8_t* Message::grow(std::size_t count) noexcept
{
    assert(count <= room());
    // a release build drops what does not fit rather than write past the message
    if (count > room()) {
        return nullptr;
    }
    std::uint8_t* const at = bytes_.data() + size_;
    size_ += count;
    store_be16(&bytes_[4], static_cast<std::uint16_t>(size_ - header_size));
    return at;
}

Message& Message::u8(std::uint8_t value) noexcept
{
    if (std::uint8_t* const at = grow(1)) {
        *at = value;
    }
    return *this;
}

Message& Message::u16(std::uint16_t value) noexcept
{
    if (std::uint8_t* const at = grow(2)) {
        store_be16(at, value);
    }
    return *this;
}

Message& Message::u32(std::uint32_t value) noexcept
{
    if (std::uint8_t* const at = grow(4)) {
        store_be32(at, value);
    }
    return *this;
}

Message& Message::u64(std::uint64_t value) noexcept
{
    if (std::uint8_t* const at = grow(8)) {
        store_be64(at, value);
    }
    return *this;
}

Message& Message::zeros(std::size_t count) noexcept
{
    if (std::uint8_t* const at = grow(count)) {
        std::fill_n(at, count, std::uint8_t{0});
    }
    return *this;
}

Message& Message::data(std::span<const std::uint8_t> bytes) noexcept
{
    if (std::uint8_t* const at = grow(bytes.size())) {
        std::copy(bytes.begin(), bytes.end(), at);
    }
    return *this;
}

}  // namespace vex::wire::gvcp
