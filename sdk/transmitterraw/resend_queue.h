// Requests for lost packets on their way to whoever sends them again.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "sdk/wire/gvcp.h"

namespace vex::transmitter {

/// Serves requests one after another on a thread of its own, so that whoever receives them, a device's control thread,
/// never waits for packets. The thread starts with the first request.
///
/// What a flood of requests can do is bounded: a request that overlaps or touches a waiting one of the same block
/// becomes part of that, and beyond `most_waiting` further ones are dropped.
///
/// Thread safety: all functions may be called from any thread, but the destructor only when no other is running.
class ResendQueue {
public:
    using Request = wire::gvcp::PacketResend;
    /// Sends the packets, pacing included; returns soon when `cancelled` becomes true. Called on the queue's thread.
    using Serve = std::function<void(const Request&, bool extended_status, const std::atomic<bool>& cancelled)>;

    static constexpr std::size_t most_waiting = 256;

    /// What `serve` uses must outlive the queue.
    explicit ResendQueue(Serve serve) : serve_(std::move(serve)) {}
    ResendQueue(const ResendQueue&) = delete;
    ResendQueue& operator=(const ResendQueue&) = delete;
    /// Clears.
    ~ResendQueue();

    /// Never waits. False when the request was dropped.
    bool push(const Request& request, bool extended_status);
    /// Drops what waits and cancels what is being served; returns when nothing is served any more. Not from `serve`.
    void clear();

    /// Requests dropped so far.
    [[nodiscard]] std::uint64_t dropped() const;

private:
    struct Waiting {
        Request request;
        bool extended_status;
    };
    void run();
    [[nodiscard]] bool joins_waiting(const Request& request);

    const Serve serve_;
    std::atomic<bool> cancelled_{false};

    mutable std::mutex mutex_;  // guards what follows
    std::condition_variable changed_;
    std::deque<Waiting> waiting_;
    bool serving_ = false;
    bool quit_ = false;
    std::uint64_t dropped_ = 0;
    std::thread thread_;
};

}  // namespace vex::transmitter
