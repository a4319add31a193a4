// What arrives on a message channel, judged datagram by datagram, and the events that wait to be taken.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <vector>

#include "sdk/base/address.h"
#include "sdk/net/clock.h"
#include "sdk/wire/gvcp.h"

namespace vex::control {

/// One event of a device, as a copy of its own.
struct ReceivedEvent {
    std::uint16_t id = 0;
    std::uint16_t channel = 0xFFFF;  ///< stream channel; 0xFFFF when the event belongs to none
    std::uint64_t block_id = 0;      ///< of that channel; 0 when the event belongs to no block
    std::uint64_t timestamp = 0;     ///< device ticks
    /// The event as it was sent, its head included: what the registers of an event port are addressed in.
    std::vector<std::uint8_t> bytes;
    std::size_t head = 0;  ///< bytes before the data

    [[nodiscard]] std::span<const std::uint8_t> data() const noexcept { return std::span(bytes).subspan(head); }
};

struct MessageReceiverStatistics {
    std::uint64_t events = 0;        ///< put into the queue
    std::uint64_t dropped = 0;       ///< events that found the queue full
    std::uint64_t repeated = 0;      ///< messages that had arrived before
    std::uint64_t foreign = 0;       ///< datagrams from elsewhere
    std::uint64_t malformed = 0;     ///< datagrams of the device that are no events, whole or at their end
    std::uint64_t acknowledged = 0;  ///< messages, repeated ones each time
};

/// Judges and keeps; knows no socket and no thread.
///
/// Thread safety: one thread at a time.
class MessageInbox {
public:
    /// What waits is bounded by both; an event that does not fit is dropped, those that wait stay.
    static constexpr std::size_t most_events = 4096;
    static constexpr std::size_t most_bytes = std::size_t{4} << 20;
    /// A device repeats a message until it is acknowledged, under the same request ID. That a message has been told is
    /// remembered for so many later ones and so long: IDs come round again.
    static constexpr std::size_t remembered_messages = 128;
    static constexpr std::chrono::seconds remembered_time{10};

    /// Messages are taken from that address only, and from that port unless it is 0.
    explicit MessageInbox(const Endpoint& device) noexcept : device_(device) {}

    void expect_from(std::uint16_t port) noexcept { device_.port = port; }

    /// Takes a datagram's events into the queue, and gives the acknowledge that its source is to be sent. Standard and
    /// extended IDs, GigE Vision 2.x EVENT and EVENTDATA.
    [[nodiscard]] std::optional<wire::gvcp::Message> put(std::span<const std::uint8_t> datagram, const Endpoint& source,
                                                         net::Clock::time_point now) noexcept;
    /// A datagram that did not arrive whole.
    void put_truncated(const Endpoint& source) noexcept;
    void acknowledge_was_sent() noexcept { ++statistics_.acknowledged; }

    /// The oldest event; empty when there is none.
    [[nodiscard]] std::optional<ReceivedEvent> take() noexcept;
    [[nodiscard]] bool is_empty() const noexcept { return events_.empty(); }
    [[nodiscard]] const MessageReceiverStatistics& statistics() const noexcept { return statistics_; }
    void reset_statistics() noexcept { statistics_ = {}; }

private:
    struct Told {
        Endpoint source;
        std::uint16_t request_id = 0;  ///< 0: nothing, no message has it
        std::size_t size = 0;
        std::uint64_t hash = 0;
        net::Clock::time_point at{};
    };

    [[nodiscard]] bool is_foreign(const Endpoint& source) const noexcept;
    [[nodiscard]] bool was_told(const Told& message) noexcept;
    void keep(const wire::gvcp::Event& event, std::span<const std::uint8_t> bytes) noexcept;

    Endpoint device_;
    std::deque<ReceivedEvent> events_;
    std::size_t waiting_bytes_ = 0;
    std::array<Told, remembered_messages> told_{};
    std::size_t next_told_ = 0;
    MessageReceiverStatistics statistics_;
};

}  // namespace vex::control
