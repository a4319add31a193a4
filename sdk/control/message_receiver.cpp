#include "sdk/control/message_receiver.h"

#include <utility>
#include <vector>

#include "sdk/base/trace.h"

namespace vex::control {

namespace {

/// The most that a UDP datagram can be.
constexpr std::size_t largest_datagram = 65'536;
/// How long a stop takes at the longest when waking the socket does not work.
constexpr std::chrono::milliseconds longest_wait{500};

}  // namespace

struct MessageReceiver::State {
    State(const Endpoint& device, std::unique_ptr<MessageSocket> opened, OnArrival arrival, const net::Clock& time)
        : socket(std::move(opened)), on_arrival(std::move(arrival)), clock(time), inbox(device)
    {}

    /// True when there are new events.
    bool take_in(const net::Received& received)
    {
        std::optional<wire::gvcp::Message> acknowledge;
        bool has_events = false;
        {
            const std::scoped_lock lock(mutex);
            const std::uint64_t before = inbox.statistics().events;
            if (received.truncated) {
                inbox.put_truncated(received.source);
            } else {
                acknowledge = inbox.put(std::span(buffer).first(received.size), received.source, clock.now());
            }
            has_events = inbox.statistics().events != before;
        }
        if (acknowledge && socket->send(received.source, acknowledge->bytes())) {
            const std::scoped_lock lock(mutex);
            inbox.acknowledge_was_sent();
        }
        trace::write(trace::Category::events, has_events ? trace::Level::debug : trace::Level::info, [&] {
            return received.source.to_string() + ": a message of " + std::to_string(received.size) + " bytes, " +
                   (has_events ? "with events" : "without a new event") + (acknowledge ? ", acknowledged" : "");
        });
        return has_events;
    }

    std::unique_ptr<MessageSocket> socket;
    OnArrival on_arrival;
    const net::Clock& clock;
    std::atomic<bool> ending = false;
    std::vector<std::uint8_t> buffer = std::vector<std::uint8_t>(largest_datagram);  // the thread's own

    std::mutex mutex;
    MessageInbox inbox;
};

MessageReceiver::MessageReceiver(const Endpoint& device, Ipv4Address local, OnArrival on_arrival,
                                 const net::Clock& clock)
    : MessageReceiver(device, std::make_unique<UdpMessageSocket>(device.address, local), std::move(on_arrival), clock)
{}

MessageReceiver::MessageReceiver(const Endpoint& device, std::unique_ptr<MessageSocket> socket, OnArrival on_arrival,
                                 const net::Clock& clock)
    : state_(std::make_shared<State>(device, std::move(socket), std::move(on_arrival), clock)),
      worker_("messages", [state = state_](Worker::Signals& signals) { run(*state, signals); })
{}

MessageReceiver::~MessageReceiver() { stop(); }

void MessageReceiver::run(State& state, Worker::Signals& signals)
{
    while (!state.ending && signals.pause({})) {
        const auto received = state.socket->receive(state.buffer, longest_wait);
        const bool was_woken = received && received->size == 0 && received->source == state.socket->local();
        if (received && !was_woken && state.take_in(*received) && state.on_arrival) {
            state.on_arrival();
        }
    }
}

Endpoint MessageReceiver::local() const noexcept { return state_->socket->local(); }

void MessageReceiver::expect_from(std::uint16_t port) noexcept
{
    const std::scoped_lock lock(state_->mutex);
    state_->inbox.expect_from(port);
}

std::optional<ReceivedEvent> MessageReceiver::take()
{
    const std::scoped_lock lock(state_->mutex);
    return state_->inbox.take();
}

bool MessageReceiver::is_empty() const
{
    const std::scoped_lock lock(state_->mutex);
    return state_->inbox.is_empty();
}

void MessageReceiver::reset_statistics()
{
    const std::scoped_lock lock(state_->mutex);
    state_->inbox.reset_statistics();
}

MessageReceiverStatistics MessageReceiver::statistics() const
{
    const std::scoped_lock lock(state_->mutex);
    return state_->inbox.statistics();
}

void MessageReceiver::stop(std::chrono::milliseconds timeout) noexcept
{
    state_->ending = true;
    state_->socket->wake();
    worker_.stop(timeout);
}

}  // namespace vex::control
