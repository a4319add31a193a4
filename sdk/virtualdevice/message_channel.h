// The device's end of the message channel: tells the application about events.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "sdk/net/udp_socket.h"
#include "sdk/virtualdevice/gvcp_responder.h"

namespace vex::virtual_device {

/// An event with its data, as a copy of its own.
struct DeviceEvent {
    std::uint16_t event_id = 0;
    std::uint64_t block_id = 0;   ///< 0 when it belongs to no block
    std::uint64_t timestamp = 0;  ///< device ticks
    std::vector<std::uint8_t> data;
};

struct MessageStatistics {
    std::uint64_t sent = 0;          ///< events, not datagrams
    std::uint64_t acknowledged = 0;  ///< of those
    std::uint64_t retries = 0;       ///< datagrams sent again
    std::uint64_t abandoned = 0;     ///< never acknowledged
    std::uint64_t dropped = 0;       ///< not sent: the queue was full or the channel closed
};

/// Sends events one after the other from a thread of its own, as EVENTDATA where there is data and else as EVENT, and
/// waits for each acknowledge as the message channel registers say. Events keep the short form with 16-bit block IDs,
/// which is what addresses in a description are about.
///
/// Thread safety: all functions may be called from any thread; none of them waits for the network, except reopen() and
/// the destructor for what is under way.
class MessageChannel {
public:
    /// Throws std::system_error when `source` cannot be bound. While `cut_off` says true, what is sent is lost; it is
    /// called from the channel's thread.
    explicit MessageChannel(Ipv4Address source, std::function<bool()> cut_off = {});
    MessageChannel(const MessageChannel&) = delete;
    MessageChannel& operator=(const MessageChannel&) = delete;
    ~MessageChannel();

    /// A closed channel drops what is queued.
    void configure(const MessageChannelState& state);
    void post(DeviceEvent event);

    /// Sends from another address from now on.
    void reopen(Ipv4Address source);
    [[nodiscard]] std::uint16_t source_port() const;
    [[nodiscard]] MessageStatistics statistics() const;

private:
    void run();
    [[nodiscard]] bool deliver(const DeviceEvent& event, const MessageChannelState& state);
    [[nodiscard]] bool await_acknowledge(const Endpoint& from, std::uint16_t request_id, bool with_data,
                                         std::chrono::milliseconds timeout);

    const std::function<bool()> cut_off_;
    net::UdpSocket socket_;
    std::uint16_t request_id_ = 0;     // the worker's own
    std::atomic<bool> cancel_{false};  // ends a wait for an acknowledge

    mutable std::mutex mutex_;  // guards what follows
    std::condition_variable changed_;
    MessageChannelState state_;
    std::deque<DeviceEvent> queue_;
    MessageStatistics statistics_;
    bool sending_ = false;
    bool quit_ = false;

    std::thread worker_;
};

}  // namespace vex::virtual_device
