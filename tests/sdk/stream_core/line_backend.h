// A way to receive that takes its packets from a test, without a socket's moods.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "sdk/net/receive_backends.h"
#include "tests/sdk/stream_core/packets.h"

namespace stream_test {

using packets::Bytes;

/// What arrives, by the test's word.
struct Line {
    explicit Line(vex::Ipv4Address sender) : source{sender, 20000} {}

    const vex::Endpoint source;
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Bytes> packets;
    std::uint64_t dropped = 0;
    std::function<void()> on_read;  // called on the receive thread, before each read

    void arrive(Bytes packet)
    {
        {
            const std::lock_guard lock(mutex);
            packets.push_back(std::move(packet));
        }
        changed.notify_all();
    }
    void arrive(std::vector<Bytes> block)
    {
        for (Bytes& packet : block) {
            arrive(std::move(packet));
        }
    }
};

class LineReceiver final : public vex::net::PacketReceiver {
public:
    explicit LineReceiver(std::shared_ptr<Line> line) : line_(std::move(line)) {}

    std::span<const vex::net::Datagram> read(const vex::net::Landing&) override
    {
        const std::lock_guard lock(line_->mutex);
        if (line_->on_read) {
            line_->on_read();
        }
        if (line_->packets.empty()) {
            return {};
        }
        packet_ = std::move(line_->packets.front());
        line_->packets.pop_front();
        datagram_ = {.data = packet_, .source = line_->source};
        return {&datagram_, 1};
    }
    bool wait(std::chrono::milliseconds timeout) override
    {
        std::unique_lock lock(line_->mutex);
        return line_->changed.wait_for(lock, timeout, [this] { return !line_->packets.empty(); });
    }
    bool drained() const noexcept override { return true; }
    std::optional<std::uint64_t> dropped_by_system() const noexcept override
    {
        const std::lock_guard lock(line_->mutex);
        return line_->dropped;
    }
    std::size_t buffer_bytes() const noexcept override { return 4096; }

private:
    std::shared_ptr<Line> line_;
    Bytes packet_;
    vex::net::Datagram datagram_;
};

class LineBackend final : public vex::net::ReceiveBackend {
public:
    explicit LineBackend(std::shared_ptr<Line> line) : line_(std::move(line)) {}

    std::string_view name() const noexcept override { return "line"; }
    bool privileged() const noexcept override { return false; }
    bool serves(const vex::net::ReceivePath&) const noexcept override { return true; }
    std::unique_ptr<vex::net::PacketReceiver> create(const vex::net::ReceiverOptions&) const override
    {
        return std::make_unique<LineReceiver>(line_);
    }

private:
    std::shared_ptr<Line> line_;
};

}  // namespace stream_test
