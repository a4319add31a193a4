// A block assembler with a clock of the test's own and buffers whose memory has guards on both sides.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/stream_core/block_assembler.h"
#include "tests/sdk/stream_core/packets.h"

namespace assembly {

using namespace std::chrono_literals;
using packets::Bytes;

using Ranges = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

inline constexpr vex::Ipv4Address camera{0x7F000028};  // 127.0.0.40

inline constexpr std::size_t stride = 20;     ///< payload bytes of a packet
inline const packets::ImageForm image_8x8{};  ///< 64 bytes: three full packets and one of 4 bytes

/// A buffer over memory between two guards. Nobody but the buffer's user may have written to the guards.
class GuardedBuffer {
public:
    explicit GuardedBuffer(std::uint32_t size) : memory_(guard + size + guard, fill), size_(size)
    {
        EXPECT_TRUE(buffer_.Attach(memory_.data() + guard, size).IsOK());
    }
    ~GuardedBuffer() { EXPECT_TRUE(guards_intact()); }
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;

    [[nodiscard]] PvBuffer& buffer() { return buffer_; }
    [[nodiscard]] bool guards_intact() const
    {
        const auto untouched = [](std::uint8_t byte) { return byte == fill; };
        return std::all_of(memory_.begin(), memory_.begin() + guard, untouched) &&
               std::all_of(memory_.end() - guard, memory_.end(), untouched);
    }
    [[nodiscard]] Bytes data() const
    {
        return {memory_.begin() + guard, memory_.begin() + guard + static_cast<std::ptrdiff_t>(size_)};
    }
    static constexpr std::uint8_t fill = 0;

private:
    static constexpr std::ptrdiff_t guard = 256;
    Bytes memory_;
    std::uint32_t size_;
    PvBuffer buffer_;
};

/// A delivered block.
struct Delivered {
    PvBuffer* buffer = nullptr;
    vex::stream::BlockFate fate{};

    [[nodiscard]] PvResult::Code result() const { return buffer->GetOperationResult().GetCode(); }
    [[nodiscard]] std::uint64_t id() const { return buffer->GetBlockID64(); }
    [[nodiscard]] Bytes data(std::size_t size) const
    {
        return {buffer->GetDataPointer(), buffer->GetDataPointer() + size};
    }
    [[nodiscard]] Ranges missing() const
    {
        Ranges out;
        std::uint32_t count = 0;
        EXPECT_TRUE(buffer->GetMissingPacketIdsCount(count).IsOK());
        for (std::uint32_t i = 0; i < count; ++i) {
            std::uint32_t low = 0;
            std::uint32_t high = 0;
            EXPECT_TRUE(buffer->GetMissingPacketIds(i, low, high).IsOK());
            out.emplace_back(low, high);
        }
        return out;
    }
};

class Port final : public vex::stream::BufferPort {
public:
    std::deque<PvBuffer*> idle;
    std::vector<Delivered> delivered;
    std::vector<vex::wire::gvcp::PacketResend> requests;

private:
    PvBuffer* take() noexcept override
    {
        if (idle.empty()) {
            return nullptr;
        }
        PvBuffer* buffer = idle.front();
        idle.pop_front();
        return buffer;
    }
    void deliver(PvBuffer& buffer, vex::stream::BlockFate fate) noexcept override
    {
        delivered.push_back({&buffer, fate});
    }
    void put_back(PvBuffer& buffer) noexcept override { idle.push_front(&buffer); }
    void request_resend(const vex::wire::gvcp::PacketResend& range) noexcept override { requests.push_back(range); }
};

/// Nothing is asked for again, unless a test says so.
class Assembly : public testing::Test {
protected:
    Assembly()
    {
        settings.resend_packet_enable = false;
        apply_settings();
    }
    void apply_settings() { assembler.set_settings(settings); }

    /// Queues `count` buffers of `size` bytes of the test's own memory.
    void queue(std::size_t count, std::uint32_t size)
    {
        for (std::size_t i = 0; i < count; ++i) {
            buffers_.push_back(std::make_unique<GuardedBuffer>(size));
            port.idle.push_back(&buffers_.back()->buffer());
        }
    }

    void receive(const Bytes& packet, vex::Ipv4Address source = camera)
    {
        ++sent;
        // memory of exactly the packet's size, so that a read past its end is seen by the address sanitizer
        const Bytes copy(packet);
        const vex::net::Datagram datagram{copy, {source, 20000}};
        assembler.process({&datagram, 1}, now);
    }
    void receive(const std::vector<Bytes>& packets)
    {
        for (const Bytes& packet : packets) {
            receive(packet);
        }
    }
    void pass(vex::net::Clock::duration time)
    {
        now += time;
        assembler.on_time(now);
    }

    [[nodiscard]] std::uint64_t packets(vex::stream::PacketFate fate) const { return assembler.counters().of(fate); }
    [[nodiscard]] std::uint64_t blocks(vex::stream::BlockFate fate) const { return assembler.counters().of(fate); }
    [[nodiscard]] std::vector<std::uint64_t> ids() const
    {
        std::vector<std::uint64_t> out;
        for (const Delivered& block : port.delivered) {
            out.push_back(block.id());
        }
        return out;
    }

    /// Every packet was counted once, and every block that was begun ended once or is still in flight.
    void expect_counters_add_up() const
    {
        const vex::stream::Counters& counters = assembler.counters();
        std::uint64_t packets = 0;
        for (const std::uint64_t count : counters.packets) {
            packets += count;
        }
        EXPECT_EQ(packets, sent);
        std::uint64_t blocks = 0;
        for (const std::uint64_t count : counters.blocks) {
            blocks += count;
        }
        EXPECT_EQ(blocks + assembler.blocks_in_flight(), counters.blocks_begun);
    }

    void TearDown() override { expect_counters_add_up(); }

    vex::stream::StreamSettings settings;
    Port port;
    vex::stream::BlockAssembler assembler{port, camera};
    vex::net::Clock::time_point now{100s};
    std::uint64_t sent = 0;

private:
    std::vector<std::unique_ptr<GuardedBuffer>> buffers_;
};

}  // namespace assembly
