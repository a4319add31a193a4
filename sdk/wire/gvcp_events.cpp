// Commands from device to host: events on the message channel.
#include "sdk/wire/bytes.h"
#include "sdk/wire/gvcp.h"

namespace vex::wire::gvcp {

namespace {

constexpr std::size_t event_size = 16;
constexpr std::size_t extended_event_size = 24;

constexpr std::uint8_t event_flags(bool extended_ids, bool acknowledge_required) noexcept
{
    return static_cast<std::uint8_t>((extended_ids ? flag::extended_ids : 0) |
                                     (acknowledge_required ? flag::acknowledge_required : 0));
}

void append(Message& message, const Event& event, bool extended_ids) noexcept
{
    if (extended_ids) {
        message.u16(static_cast<std::uint16_t>(extended_event_size + event.data.size()))
            .u16(event.event_id)
            .u16(event.channel)
            .u16(0)
            .u64(event.block_id)
            .u64(event.timestamp);
    } else {
        message.u16(0)
            .u16(event.event_id)
            .u16(event.channel)
            .u16(static_cast<std::uint16_t>(event.block_id))
            .u64(event.timestamp);
    }
    message.data(event.data);
}

}  // namespace

Message event(std::uint16_t request_id, std::span<const Event> events, bool extended_ids,
              bool acknowledge_required) noexcept
{
    Message message = Message::command(Command::event, request_id, event_flags(extended_ids, acknowledge_required));
    for (Event one : events) {
        one.data = {};
        append(message, one, extended_ids);
    }
    return message;
}

Message event_data(std::uint16_t request_id, const Event& event, bool extended_ids, bool acknowledge_required) noexcept
{
    Message message =
        Message::command(Command::event_data, request_id, event_flags(extended_ids, acknowledge_required));
    append(message, event, extended_ids);
    return message;
}

bool take_event(const CommandView& command, std::span<const std::uint8_t>& rest, Event& event) noexcept
{
    const bool extended_ids = (command.flags & flag::extended_ids) != 0;
    const bool with_data = command.command == Command::event_data;
    const std::size_t head = extended_ids ? extended_event_size : event_size;
    if (rest.size() < head) {
        return false;
    }

    // Only extended event data says its own size; standard event data is one event up to the end of the message.
    std::size_t whole = head;
    if (with_data) {
        whole = extended_ids ? load_be16(&rest[0]) : rest.size();
    }
    if (whole < head || whole > rest.size()) {
        return false;
    }

    event.event_id = load_be16(&rest[2]);
    event.channel = load_be16(&rest[4]);
    event.block_id = extended_ids ? load_be64(&rest[8]) : load_be16(&rest[6]);
    event.timestamp = load_be64(&rest[head - 8]);
    event.data = rest.subspan(head, whole - head);
    rest = rest.subspan(whole);
    return true;
}

}  // namespace vex::wire::gvcp
