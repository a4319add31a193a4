// From datagrams to blocks: the receive path without sockets, threads or a clock of its own.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "sdk/base/address.h"
#include "sdk/net/clock.h"
#include "sdk/net/packet_receiver.h"
#include "sdk/stream_core/block_frame.h"
#include "sdk/stream_core/block_numbering.h"
#include "sdk/stream_core/counters.h"
#include "sdk/stream_core/stream_settings.h"
#include "sdk/wire/gvsp.h"

namespace vex::stream {

/// Where an assembler takes buffers from and brings them to.
class BufferPort {
public:
    /// The next buffer to fill; null when none is queued.
    [[nodiscard]] virtual PvBuffer* take() noexcept = 0;
    /// Hands on a buffer whose block has ended; the counters include it.
    virtual void deliver(PvBuffer& buffer, BlockFate fate) noexcept = 0;
    /// Takes back a buffer that was not used after all; it is the next to be taken.
    virtual void put_back(PvBuffer& buffer) noexcept = 0;

protected:
    ~BufferPort() = default;
};

/// Sorts the packets of several blocks in flight into buffers and delivers the blocks in their order.
///
/// - A buffer is taken for a block with its first payload packet, since a leader may come long before the exposure.
///   Without a buffer the block is dropped.
/// - A block is delivered when leader, payload and trailer are there and all earlier blocks have ended. A lost trailer
///   does no harm when the payload is complete.
/// - Packets of blocks that have ended are late and ignored, unless they show that the device began to number its
///   blocks anew.
///
/// Time is what the caller says it is. Not thread-safe; allocates nothing per packet.
class BlockAssembler {
public:
    using time_point = net::Clock::time_point;

    /// Packets from other addresses than `device` are counted and ignored; the address 0.0.0.0 lets all pass.
    BlockAssembler(BufferPort& port, Ipv4Address device) noexcept : port_(port), device_(device) {}
    BlockAssembler(const BlockAssembler&) = delete;
    BlockAssembler& operator=(const BlockAssembler&) = delete;

    void set_settings(const StreamSettings& settings) noexcept { settings_ = settings; }

    /// Takes in datagrams in their order of arrival, then ends what is due at `now`.
    void process(std::span<const net::Datagram> datagrams, time_point now);
    /// Ends what is due at `now`.
    void on_time(time_point now);
    /// The next time at which something may be due without a further packet; empty when nothing waits.
    [[nodiscard]] std::optional<time_point> next_deadline() const noexcept;

    /// Ends all blocks in flight; their buffers are delivered as aborted.
    void abort();
    /// Throws all blocks in flight away; their buffers are put back. The next packet may belong to any block.
    void discard();
    /// Ends the use of a buffer that is about to go away; what is left of its block is dropped. False when the buffer
    /// is not in use.
    bool forget(const PvBuffer& buffer) noexcept;

    [[nodiscard]] const Counters& counters() const noexcept { return counters_; }
    [[nodiscard]] std::size_t blocks_in_flight() const noexcept { return open_count_; }

    /// Blocks that can be in flight at once; one more ends the oldest.
    static constexpr std::size_t window = 16;

private:
    PacketFate take_in(const net::Datagram& datagram);
    PacketFate take_in(const wire::gvsp::Packet& packet);
    PacketFate put_leader(const wire::gvsp::Packet& packet);
    PacketFate put(BlockFrame& frame, const wire::gvsp::Packet& packet);
    PacketFate put_payload(BlockFrame& frame, std::uint32_t packet_id, std::span<const std::uint8_t> data);
    PacketFate put_all_in(const wire::gvsp::Packet& packet);
    void account(BlockFrame& frame, const wire::gvsp::Header& header, PacketFate fate);

    BlockFrame* frame_of(const wire::gvsp::Header& header, const wire::gvsp::Leader* leader);
    [[nodiscard]] BlockFrame* find(std::int64_t order) const noexcept;
    BlockFrame& begin_numbering(const wire::gvsp::Header& header);
    BlockFrame& begin_anew(const wire::gvsp::Header& header);
    BlockFrame& open(std::int64_t order, std::uint64_t block_id);
    bool give_buffer(BlockFrame& frame);

    void settle();
    void end_first(bool aborted);
    void deliver(BlockFrame& frame, bool aborted);
    void remove(std::size_t position) noexcept;
    [[nodiscard]] std::span<BlockFrame* const> in_flight() const noexcept { return {open_.data(), open_count_}; }

    BufferPort& port_;
    Ipv4Address device_;
    StreamSettings settings_;
    Counters counters_;
    TypicalBlock typical_;
    BlockNumbering numbering_;
    time_point now_;

    std::array<BlockFrame, window> frames_;
    std::array<BlockFrame*, window> open_{};  // in block order, the first open_count_ of them
    std::size_t open_count_ = 0;
    BlockFrame* current_ = nullptr;  // of the latest packet
    bool block_completed_ = false;   // by the packets since the last settling
};

}  // namespace vex::stream
