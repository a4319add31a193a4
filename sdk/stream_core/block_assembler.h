// From datagrams to blocks: the receive path without sockets, threads or a clock of its own.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>

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
    /// Asks the device to send packets again. The channel is the caller's to add.
    virtual void request_resend(const wire::gvcp::PacketResend& range) noexcept = 0;

protected:
    ~BufferPort() = default;
};

/// Sorts the packets of several blocks in flight into buffers and delivers the blocks in their order.
///
/// - A buffer is taken for a block with its first payload packet, since a leader may come long before the exposure.
///   Without a buffer the block is dropped.
/// - A block is delivered when leader, payload and trailer are there and all earlier blocks have ended. A lost trailer
///   does no harm when the payload is complete.
/// - Packets that are missing, whole blocks and tails included, are asked for as the settings say. A block that may
///   still be completed that way is waited for. A device that never answers is not asked any more.
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

    void set_settings(const StreamSettings& settings) noexcept;

    /// Whether missing packets may be asked for at all, if the settings say so; not by one that only watches what is
    /// sent to others. True at first.
    void allow_resends(bool allowed) noexcept { resends_allowed_ = allowed; }

    /// Where the data of the packets that should come next belongs, in a buffer that is in use: until the next call of
    /// any other member, a receiver may write there.
    [[nodiscard]] net::Landing landing() const noexcept;
    /// How many datagrams, from the first on, landed where they belong. The others that landed must be recalled before
    /// all of them are taken in.
    [[nodiscard]] std::size_t landed_well(std::span<const net::Datagram> datagrams) const noexcept;

    /// Takes in datagrams in their order of arrival, then asks for and ends what is due at `now`. `drained` tells that
    /// nothing more has been received: only then the time that a packet is overdue means something.
    void process(std::span<const net::Datagram> datagrams, time_point now, bool drained = true);
    /// Asks for and ends what is due at `now`; nothing has been received.
    void on_time(time_point now);
    /// The next time at which something may be due without a further packet; empty when nothing waits.
    [[nodiscard]] std::optional<time_point> next_deadline() const noexcept;

    /// How long the newest block's payload goes on, by the pace at which it has come so far; 0 when that cannot be
    /// told.
    [[nodiscard]] net::Clock::duration payload_left() const noexcept;

    /// Ends all blocks in flight, by the client's wish or the stream's own; their buffers are delivered. Then any block
    /// may come, when the stream reset itself.
    void abort(Ending ending = Ending::aborted);
    /// The stream reset itself for want of buffers, and what the system has received is not wanted any more. Forgotten
    /// with the call.
    [[nodiscard]] bool take_flush_request() noexcept { return std::exchange(flush_requested_, false); }
    /// Throws all blocks in flight away; their buffers are put back. The next packet may belong to any block.
    void discard();
    /// The system throws packets away by this stream's own wish: until resume(), nothing is asked for, and a block ends
    /// when the next one begins.
    void shed() noexcept { shedding_ = true; }
    /// Ends the blocks in flight. The next one is the first whose leader comes, packets of others are late: nothing is
    /// to be asked for of what the system threw away.
    void resume(time_point now);
    /// Ends the use of a buffer that is about to go away; what is left of its block is dropped. False when the buffer
    /// is not in use.
    bool forget(const PvBuffer& buffer) noexcept;

    [[nodiscard]] const Counters& counters() const noexcept { return counters_; }
    /// Bytes of memory that the largest block so far needed that came whole or, without a size of its own, was learnt.
    [[nodiscard]] std::uint64_t largest_block() const noexcept
    {
        return std::max(typical_.largest, typical_.payload_size);
    }
    /// Bytes of a full payload packet of the newest block in flight that shows it, as a device's register for the
    /// packet size counts them; 0 where none does.
    [[nodiscard]] std::size_t packet_size() const noexcept;
    /// Of which a packet came.
    [[nodiscard]] std::size_t blocks_in_flight() const noexcept;
    /// Whether missing packets are asked for: allowed, wanted, and the device answers.
    [[nodiscard]] bool asks_for_resends() const noexcept;

private:
    [[nodiscard]] bool is_from_device(const net::Datagram& datagram) const noexcept;
    std::size_t take_in_landed(std::span<const net::Datagram> datagrams);
    PacketFate take_in(const net::Datagram& datagram);
    PacketFate take_in(const wire::gvsp::Packet& packet);
    PacketFate put_answer(const wire::gvsp::Packet& packet);
    void note_refusal(const wire::gvsp::Header& header, bool all_before);
    void note_delay(const wire::gvsp::Header& header);
    PacketFate put_leader(const wire::gvsp::Packet& packet);
    PacketFate put(BlockFrame& frame, const wire::gvsp::Packet& packet);
    PacketFate put_payload(BlockFrame& frame, const wire::gvsp::Packet& packet);
    PacketFate put_all(BlockFrame& frame, const wire::gvsp::Leader& leader, const wire::gvsp::AllIn& all);
    PacketFate put_all_in(const wire::gvsp::Packet& packet);
    void count_begin(BlockFrame& frame) noexcept;
    void account(BlockFrame& frame, const wire::gvsp::Header& header, PacketFate fate);

    BlockFrame* frame_of(const wire::gvsp::Header& header, const wire::gvsp::Leader* leader);
    [[nodiscard]] BlockFrame* find(std::int64_t order) const noexcept;
    [[nodiscard]] BlockFrame* find(const wire::gvsp::Header& header) const noexcept;
    void open_missing_before(std::int64_t order, const wire::gvsp::Header& header);
    BlockFrame& begin_numbering(const wire::gvsp::Header& header);
    BlockFrame& begin_anew(const wire::gvsp::Header& header);
    BlockFrame& open(std::int64_t order, std::uint64_t block_id);
    bool give_buffer(BlockFrame& frame);

    void look_after();
    void ask();
    std::uint64_t send_request(const BlockFrame& frame, const MissingPackets::Request& request);
    void note_answer() noexcept { unanswered_ = 0, answers_ = true; }
    [[nodiscard]] std::optional<time_point> tail_time(const BlockFrame& frame) const noexcept;
    void settle(bool by_time);
    [[nodiscard]] bool is_over(const BlockFrame& first) const noexcept;
    [[nodiscard]] std::optional<time_point> end_time(const BlockFrame& first) const noexcept;
    [[nodiscard]] std::optional<time_point> patience(const BlockFrame& first) const noexcept;
    [[nodiscard]] std::optional<time_point> idle_time() const noexcept;
    [[nodiscard]] bool is_newest(const BlockFrame& frame) const noexcept { return open_[open_count_ - 1] == &frame; }
    void end_first(Ending ending);
    void deliver(BlockFrame& frame, Ending ending);
    void remove(std::size_t position) noexcept;
    [[nodiscard]] std::span<BlockFrame* const> in_flight() const noexcept { return {open_.data(), open_count_}; }

    BufferPort& port_;
    Ipv4Address device_;
    StreamSettings settings_;
    Counters counters_;
    TypicalBlock typical_;
    BlockNumbering numbering_;
    time_point now_;

    bool drained_ = true;
    time_point latest_packet_;  // of any block

    bool shedding_ = false;
    bool awaits_leader_ = false;  // of the first block after shedding

    bool resends_allowed_ = true;
    MissingPackets::Terms terms_{settings_};
    bool answers_ = false;          // the device has answered a request at some time
    std::uint64_t unanswered_ = 0;  // blocks given up since it answered last
    std::uint64_t answered_ = 0;    // the request with the highest number of those to which answers came
    bool flush_requested_ = false;
    std::uint32_t starved_ = 0;  // blocks in a row without a buffer

    std::array<BlockFrame, most_blocks_in_flight> frames_;
    std::array<BlockFrame*, most_blocks_in_flight> open_{};  // in block order, the first open_count_ of them
    std::size_t open_count_ = 0;
    BlockFrame* current_ = nullptr;  // of the latest packet
    bool block_completed_ = false;   // by the packets since the last settling
};

}  // namespace vex::stream
