// GVCP datagrams as a device or a host receives them. What decodes is encoded again and must decode to the same.
#include <vector>

#include "sdk/wire/gvcp.h"
#include "tests/fuzz/input.h"

using namespace vex;

namespace {

using namespace vex::wire::gvcp;
using fuzz::require;
using fuzz::require_within;
using fuzz::View;

CommandView decoded(const Message& message)
{
    const auto command = decode_command(message.bytes());
    require(command.has_value());
    return *command;
}

void check_events(const CommandView& command, View datagram)
{
    std::vector<Event> events;
    const std::size_t count = for_each_event(command, [&](const Event& event) {
        require_within(event.data, datagram);
        events.push_back(event);
    });
    require(count == events.size() && count <= command.payload.size() / 16);
    const bool extended = (command.flags & flag::extended_ids) != 0;
    for (const Event& event : events) {
        if (event.data.size() + 24 > largest_message - header_size) {
            continue;
        }
        const Message message = event_data(1, event, extended, true);
        Event again;
        View rest = decoded(message).payload;
        require(take_event(decoded(message), rest, again) && rest.empty());
        require(again.event_id == event.event_id && again.channel == event.channel &&
                again.block_id == event.block_id && again.timestamp == event.timestamp &&
                fuzz::equal(again.data, event.data));
    }
}

void check_command(View datagram)
{
    const auto command = decode_command(datagram);
    if (!command) {
        return;
    }
    require(command->request_id != 0);
    require_within(command->payload, datagram);
    if (const auto settings = decode_force_ip(command->payload)) {
        const Message message = force_ip(1, *settings, false);
        const auto again = decode_force_ip(decoded(message).payload);
        require(again && again->mac == settings->mac && again->address == settings->address &&
                again->mask == settings->mask && again->gateway == settings->gateway);
    }
    if (const auto read = decode_read_memory(command->payload)) {
        const Message message = read_memory(1, *read);
        const auto again = decode_read_memory(decoded(message).payload);
        require(again && again->address == read->address && again->count == read->count);
    }
    if (const auto write = decode_write_memory(command->payload)) {
        require_within(write->data, datagram);
        if (write->data.size() <= largest_message - header_size - 4) {
            const Message message = write_memory(1, *write);
            const auto again = decode_write_memory(decoded(message).payload);
            require(again && again->address == write->address && fuzz::equal(again->data, write->data));
        }
    }
    if (const auto range = decode_packet_resend(*command)) {
        require(range->block_id != 0 && range->first_packet <= range->last_packet);
        const Message message = packet_resend(1, *range);
        const auto again = decode_packet_resend(decoded(message));
        require(again && again->channel == range->channel && again->block_id == range->block_id &&
                again->first_packet == range->first_packet && again->last_packet == range->last_packet);
    }
    if (const auto signal = decode_action(*command)) {
        const Message message = action(1, *signal, true);
        const auto again = decode_action(decoded(message));
        require(again && again->device_key == signal->device_key && again->group_key == signal->group_key &&
                again->group_mask == signal->group_mask && again->time == signal->time);
    }
    check_events(*command, datagram);
}

void check_acknowledge(View datagram)
{
    const auto acknowledge = decode_acknowledge(datagram);
    if (!acknowledge) {
        return;
    }
    require_within(acknowledge->payload, datagram);
    require(text_of(acknowledge->status) != nullptr);
    require(decode_pending(acknowledge->payload) == decode_write_done(acknowledge->payload));
    if (const auto memory = decode_read_memory_acknowledge(acknowledge->payload)) {
        require_within(memory->data, datagram);
    }
    if (const auto device = decode_discovery_acknowledge(acknowledge->payload)) {
        require(device->manufacturer.size() <= 32 && device->model.size() <= 32 &&
                device->device_version.size() <= 32 && device->manufacturer_info.size() <= 48 &&
                device->serial_number.size() <= 16 && device->user_defined_name.size() <= 16);
        require(device->model.find('\0') == std::string::npos);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    check_command({data, size});
    check_acknowledge({data, size});
    return 0;
}
