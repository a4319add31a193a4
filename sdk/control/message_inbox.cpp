#include "sdk/control/message_inbox.h"

#include <algorithm>
#include <new>
#include <utility>

namespace vex::control {

namespace gvcp = wire::gvcp;

namespace {

/// FNV-1a. Who could make two messages of the same hash is the device, at its own cost.
std::uint64_t hash_of(std::span<const std::uint8_t> bytes) noexcept
{
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const std::uint8_t byte : bytes) {
        hash = (hash ^ byte) * 0x100000001B3;
    }
    return hash;
}

}  // namespace

std::optional<gvcp::Message> MessageInbox::put(std::span<const std::uint8_t> datagram, const Endpoint& source,
                                               net::Clock::time_point now) noexcept
{
    if (is_foreign(source)) {
        ++statistics_.foreign;
        return std::nullopt;
    }
    const auto command = gvcp::decode_command(datagram);
    gvcp::Event event;
    std::span<const std::uint8_t> rest = command ? command->payload : std::span<const std::uint8_t>();
    const bool is_event =
        command && (command->command == gvcp::Command::event || command->command == gvcp::Command::event_data);
    std::span<const std::uint8_t> before = rest;
    if (!is_event || !gvcp::take_event(*command, rest, event)) {
        ++statistics_.malformed;
        return std::nullopt;
    }
    if (was_told({source, command->request_id, datagram.size(), hash_of(datagram), now})) {
        ++statistics_.repeated;
    } else {
        do {
            keep(event, before.first(before.size() - rest.size()));
            before = rest;
        } while (gvcp::take_event(*command, rest, event));
        // a repetition would bring no more, so what is whole is told and acknowledged
        statistics_.malformed += rest.empty() ? 0 : 1;
    }
    if (!command->acknowledge_required()) {
        return std::nullopt;
    }
    return gvcp::Message::acknowledge(gvcp::acknowledge_of(command->command), command->request_id,
                                      gvcp::Status::success);
}

void MessageInbox::put_truncated(const Endpoint& source) noexcept
{
    ++(is_foreign(source) ? statistics_.foreign : statistics_.malformed);
}

bool MessageInbox::is_foreign(const Endpoint& source) const noexcept
{
    return source.address != device_.address || (device_.port != 0 && source.port != device_.port);
}

/// Remembers the message when it is new.
bool MessageInbox::was_told(const Told& message) noexcept
{
    const bool found = std::ranges::any_of(told_, [&](const Told& told) {
        return told.request_id == message.request_id && told.source == message.source && told.size == message.size &&
               told.hash == message.hash && message.at - told.at < remembered_time;
    });
    if (!found) {
        told_[next_told_] = message;
        next_told_ = (next_told_ + 1) % told_.size();
    }
    return found;
}

void MessageInbox::keep(const gvcp::Event& event, std::span<const std::uint8_t> bytes) noexcept
{
    if (events_.size() >= most_events || bytes.size() > most_bytes - waiting_bytes_) {
        ++statistics_.dropped;
        return;
    }
    try {
        events_.push_back({.id = event.event_id,
                           .channel = event.channel,
                           .block_id = event.block_id,
                           .timestamp = event.timestamp,
                           .bytes = {bytes.begin(), bytes.end()},
                           .head = bytes.size() - event.data.size()});
        waiting_bytes_ += bytes.size();
        ++statistics_.events;
    } catch (const std::bad_alloc&) {
        ++statistics_.dropped;
    }
}

std::optional<ReceivedEvent> MessageInbox::take() noexcept
{
    if (events_.empty()) {
        return std::nullopt;
    }
    std::optional<ReceivedEvent> event(std::move(events_.front()));
    events_.pop_front();
    waiting_bytes_ -= event->bytes.size();
    return event;
}

}  // namespace vex::control
