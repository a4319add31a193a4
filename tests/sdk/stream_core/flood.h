// A sender that sends more than its receiver takes in, by the test's word: no socket, and time of its own.
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "sdk/net/clock.h"
#include "sdk/net/receive_backends.h"
#include "tests/sdk/stream_core/packets.h"

namespace flooding {

using namespace std::chrono_literals;
using namespace vex;
using packets::Bytes;

inline constexpr Ipv4Address camera{0x7F000028};
inline constexpr Ipv4Address host{0x7F000001};
inline constexpr std::uint32_t ample = 30'000;
inline constexpr packets::ImageForm image{.width = 50, .height = 40};
inline constexpr std::size_t image_bytes = 50 * 40;
inline constexpr std::size_t stride = 20;
inline constexpr std::size_t packets_of_block = image_bytes / stride + 2;

inline Bytes pixels(std::uint64_t id) { return packets::picture(image_bytes, id); }

/// A sender, the buffer that the system keeps for the receiver, and time: with each read `sent_per_read` packets
/// arrive, of which the buffer takes what it has room for.
struct Flood {
    std::size_t room = 4000;  // packets
    std::size_t sent_per_read = 128;
    std::uint64_t blocks = 900;
    std::size_t burst = 0;  // packets that arrive at once, first of all
    bool can_refuse = true;

    class TestClock final : public net::Clock {
    public:
        [[nodiscard]] time_point now() const noexcept override { return time_point(ticks.load()); }
        std::atomic<duration> ticks{100s};
    } clock;

    std::deque<Bytes> buffer;
    std::vector<Bytes> block;  // that is being sent, and how much of it was
    std::size_t next_packet = 0;
    std::uint64_t block_id = 0;
    bool refusing = false;
    std::atomic<std::uint64_t> dropped{0};
    std::uint64_t read = 0;
    std::uint64_t read_once_refused = 0;  // since the system was first told to throw packets away
    std::uint64_t refusals = 0;

    std::mutex mutex;
    std::condition_variable changed;
    bool begun = false;
    bool over = false;  // everything was sent and read

    void begin()
    {
        {
            const std::lock_guard lock(mutex);
            begun = true;
        }
        changed.notify_all();
    }
    bool await_end()
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::milliseconds(ample), [this] { return over; });
    }
    bool has_begun()
    {
        const std::lock_guard lock(mutex);
        return begun;
    }

    bool next(Bytes& packet)
    {
        if (next_packet == block.size()) {
            if (block_id == blocks) {
                return false;
            }
            ++block_id;
            block = packets::image_block({.id = block_id}, image, pixels(block_id), stride, block_id);
            next_packet = 0;
        }
        packet = std::move(block[next_packet++]);
        return true;
    }

    void send()
    {
        Bytes packet;
        const std::size_t count = std::max(sent_per_read, std::exchange(burst, 0));
        for (std::size_t i = 0; i < count && next(packet); ++i) {
            if (refusing || buffer.size() >= room) {
                ++dropped;
            } else {
                buffer.push_back(std::move(packet));
            }
        }
        clock.ticks = clock.ticks.load() + 2ms;
    }
};

class FloodReceiver final : public net::PacketReceiver {
public:
    explicit FloodReceiver(Flood& flood) : flood_(flood) {}

    std::span<const net::Datagram> read(const net::Landing&) override
    {
        if (!flood_.has_begun()) {
            return {};
        }
        flood_.send();
        datagrams_.clear();
        packets_.clear();
        for (std::size_t i = 0; i < 64 && !flood_.buffer.empty(); ++i) {
            packets_.push_back(std::move(flood_.buffer.front()));
            flood_.buffer.pop_front();
        }
        for (const Bytes& packet : packets_) {
            datagrams_.push_back({.data = packet, .source = {camera, 20000}});
        }
        flood_.read += datagrams_.size();
        flood_.read_once_refused += flood_.refusals != 0 ? datagrams_.size() : 0;
        return datagrams_;
    }
    bool wait(std::chrono::milliseconds timeout) override
    {
        std::unique_lock lock(flood_.mutex);
        if (flood_.begun && flood_.block_id == flood_.blocks && flood_.buffer.empty()) {
            flood_.over = true;
            flood_.changed.notify_all();
        }
        if (!flood_.begun || flood_.over) {
            flood_.changed.wait_for(lock, timeout);
        }
        return flood_.begun && !flood_.over;
    }
    bool drained() const noexcept override { return flood_.buffer.empty(); }
    std::optional<std::uint64_t> dropped_by_system() const noexcept override { return flood_.dropped; }
    std::size_t buffer_bytes() const noexcept override { return 4096; }
    bool refuse_new(bool on) noexcept override
    {
        flood_.refusing = on && flood_.can_refuse;
        flood_.refusals += flood_.refusing ? 1 : 0;
        return flood_.refusing == on;
    }

private:
    Flood& flood_;
    std::vector<Bytes> packets_;
    std::vector<net::Datagram> datagrams_;
};

class FloodBackend final : public net::ReceiveBackend {
public:
    explicit FloodBackend(Flood& flood) : flood_(flood) {}
    std::string_view name() const noexcept override { return "flood"; }
    bool privileged() const noexcept override { return false; }
    bool serves(const net::ReceivePath&) const noexcept override { return true; }
    std::unique_ptr<net::PacketReceiver> create(const net::ReceiverOptions&) const override
    {
        return std::make_unique<FloodReceiver>(flood_);
    }

private:
    Flood& flood_;
};

}  // namespace flooding
