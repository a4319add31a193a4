// The host's end of a device's message channel: a socket that events arrive at, and the thread that receives them.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "sdk/base/address.h"
#include "sdk/control/message_inbox.h"
#include "sdk/control/message_socket.h"
#include "sdk/control/worker.h"
#include "sdk/net/clock.h"

namespace vex::control {

/// Receives events, acknowledges them where the device asks for that, and keeps them until they are taken. Nothing that
/// the taker does, or leaves undone, holds up the receiving; see MessageInbox for what is kept and what is dropped.
///
/// The thread keeps what it uses alive by itself, so that the receiver may be destroyed from within `on_arrival`.
///
/// Thread safety: every member may be called from any thread, except stop() and destruction from one at a time.
class MessageReceiver {
public:
    /// Called on the receiver's thread, no lock held, after a message has brought events: to wake whoever takes them.
    /// Should return soon and must not throw.
    using OnArrival = std::function<void()>;

    /// Opens a socket of its own and begins to receive. `device` is where messages come from: its port is the device's
    /// message channel source port (register MCSP), 0 where the device does not tell it. `local` is this end's address;
    /// 0.0.0.0 leaves it to the system's routes. Throws std::system_error when the socket cannot be opened.
    MessageReceiver(const Endpoint& device, Ipv4Address local, OnArrival on_arrival,
                    const net::Clock& clock = net::Clock::steady());
    /// The same over any socket. The clock must live as long as the thread.
    MessageReceiver(const Endpoint& device, std::unique_ptr<MessageSocket> socket, OnArrival on_arrival,
                    const net::Clock& clock);
    MessageReceiver(const MessageReceiver&) = delete;
    MessageReceiver& operator=(const MessageReceiver&) = delete;
    /// Stops; see stop().
    ~MessageReceiver();

    /// What the device is to send its messages to (registers MCDA and MCP).
    [[nodiscard]] Endpoint local() const noexcept;
    /// The device's port, once it is known.
    void expect_from(std::uint16_t port) noexcept;

    /// The oldest event that was not taken yet; empty when there is none. Never waits for the network.
    [[nodiscard]] std::optional<ReceivedEvent> take();
    [[nodiscard]] bool is_empty() const;
    [[nodiscard]] MessageReceiverStatistics statistics() const;
    void reset_statistics();

    /// Receives no more; what was received can still be taken. As Worker::stop.
    void stop(std::chrono::milliseconds timeout = std::chrono::seconds(5)) noexcept;

private:
    struct State;
    static void run(State& state, Worker::Signals& signals);

    std::shared_ptr<State> state_;
    Worker worker_;
};

}  // namespace vex::control
