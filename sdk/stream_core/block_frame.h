// One block while its packets arrive.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "sdk/buffer/acquisition.h"
#include "sdk/net/clock.h"
#include "sdk/stream_core/block_parts.h"
#include "sdk/stream_core/byte_ranges.h"
#include "sdk/stream_core/counters.h"
#include "sdk/stream_core/missing_packets.h"
#include "sdk/stream_core/packet_bitmap.h"
#include "sdk/wire/gvsp.h"

namespace vex::stream {

/// What a block tells about the ones that follow it; used where their own packets have not told yet.
struct TypicalBlock {
    std::uint32_t stride = 0;           ///< data bytes of a full payload packet; 0 until one was seen
    std::uint64_t payload_size = 0;     ///< bytes of the largest recent block of unannounced size
    std::uint64_t excess = 0;           ///< bytes of the latest block beyond what its leader announced
    std::uint64_t largest = 0;          ///< bytes of memory that the largest block needed that came whole
    std::uint32_t payload_packets = 0;  ///< of the latest block whose trailer came; 0 until one did
    PvPayloadType payload_type = PvPayloadTypeUndefined;
};

/// Who ended a block.
enum class Ending : std::uint8_t {
    by_itself,     ///< it is complete, or waited for long enough
    auto_aborted,  ///< the stream reset itself
    aborted,       ///< the client
};

/// Puts the packets of one block in their places and keeps account of them.
///
/// All payload packets but the last carry the same number of bytes, the stride; packet k lies at (k - 1) * stride. The
/// stride is taken from the packets, never from a configuration: it is the length of packet 1, or of any two packets
/// the greater length. Until it is certain, the one packet that cannot be placed yet is kept aside.
///
/// A packet shorter than the stride is the last one. It is taken for that until a later one shows that it was cut.
///
/// The packets of multi-zone and multi-part blocks say themselves where their data belong. Such a block is whole when
/// every byte has come, however they lie. Those of a multi-part block have no place before the leader is there.
///
/// Reused from block to block; after the first blocks it allocates nothing. Not thread-safe.
class BlockFrame {
public:
    using time_point = net::Clock::time_point;

    /// Starts anew for a block. `order` is the block's place in the sequence of blocks.
    void open(std::int64_t order, std::uint64_t block_id, time_point now) noexcept;

    [[nodiscard]] std::int64_t order() const noexcept { return order_; }
    [[nodiscard]] std::uint64_t block_id() const noexcept { return block_id_; }
    /// When its latest packet came, or it was opened.
    [[nodiscard]] time_point last_packet() const noexcept { return last_packet_; }
    /// When its first payload packet came.
    [[nodiscard]] time_point first_payload() const noexcept { return first_payload_; }
    /// A packet comes now.
    void touch(time_point now) noexcept
    {
        last_packet_ = now;
        has_begun_ = true;
    }
    /// A packet of it came. Without one it is only known that there must be such a block.
    [[nodiscard]] bool has_begun() const noexcept { return has_begun_; }

    [[nodiscard]] PvBuffer* buffer() const noexcept { return buffer_; }
    /// Uses `buffer` for the block, made ready for what is known of it.
    void use(PvBuffer& buffer, const TypicalBlock& typical);
    /// There is no buffer for this block: its packets are counted and thrown away.
    void drop() noexcept;
    [[nodiscard]] bool dropped() const noexcept { return dropped_; }

    [[nodiscard]] bool has_leader() const noexcept { return leader_seen_; }
    [[nodiscard]] std::uint64_t timestamp() const noexcept { return timestamp_; }
    [[nodiscard]] bool is_image() const noexcept { return image_.has_value(); }
    [[nodiscard]] bool has_payload() const noexcept { return highest_ != 0; }
    /// All payload is there by what the leader announced; no more than the trailer may be missing.
    [[nodiscard]] bool has_announced_payload() const noexcept;
    /// A packet before the last one seen is missing. Without a hole, the rest may just not have been sent yet.
    [[nodiscard]] bool has_hole() const noexcept;
    /// Nothing more is to come.
    [[nodiscard]] bool complete() const noexcept;

    PacketFate put_leader(const wire::gvsp::Leader& leader, const TypicalBlock& typical);
    /// Needs a buffer. `counters` is told when an earlier packet turns out to be malformed.
    PacketFate put_payload(std::uint32_t packet_id, std::span<const std::uint8_t> data, const TypicalBlock& typical,
                           Counters& counters);
    /// The same for a packet that says where its data belong; `of_part` tells that this is within a part.
    PacketFate put_placed(std::uint32_t packet_id, const wire::gvsp::PlacedPayload& payload, bool of_part,
                          Counters& counters);
    /// The places of the full packets that follow the highest one seen; empty where not even their size is certain.
    [[nodiscard]] std::span<std::uint8_t> places_ahead() const noexcept;
    /// Data bytes of each of them.
    [[nodiscard]] std::uint32_t stride() const noexcept { return stride_; }
    /// The ID of the first of them.
    [[nodiscard]] std::uint32_t next_payload() const noexcept { return highest_ + 1; }
    /// The time from one payload packet to the next, on average over those that were sent; 0 before the second one.
    [[nodiscard]] net::Clock::duration packet_spacing() const noexcept
    {
        return highest_ > 1 ? (last_packet_ - first_payload_) / (highest_ - 1) : net::Clock::duration{};
    }
    /// The first `count` of places_ahead() hold their packets' data. Throws std::bad_alloc, with nothing changed.
    void take_in_place(std::uint32_t count, Counters& counters);
    PacketFate put_trailer(std::uint32_t packet_id, const wire::gvsp::Trailer& trailer, Counters& counters);

    void note_overrun() noexcept { data_overrun_ = true; }
    /// The device time of an H.264 block, which its leader does not tell.
    void note_timestamp(std::uint64_t timestamp) noexcept;
    void note_unsupported() noexcept { unsupported_ = true; }
    void note_ignored() noexcept { ++ignored_; }

    [[nodiscard]] MissingPackets& missing() noexcept { return missing_packets_; }
    [[nodiscard]] const MissingPackets& missing() const noexcept { return missing_packets_; }
    /// Missing packets would complete the block.
    [[nodiscard]] bool wants_missing() const noexcept
    {
        return !dropped_ && !unsupported_ && failure_ == PvResult::OK && outside_ == 0;
    }
    /// The ID of the trailer, as far as leader, payload or earlier blocks tell it.
    [[nodiscard]] std::optional<std::uint32_t> probable_trailer(const TypicalBlock& typical) const noexcept;
    /// How the packet put last had been asked for; forgotten with the call.
    [[nodiscard]] MissingPackets::Arrival take_arrival() noexcept
    {
        return std::exchange(arrival_, MissingPackets::Arrival::unasked);
    }
    void note_expected_resend() noexcept { ++expected_resends_; }

    /// Ends the block and records its outcome in the buffer, which it gives up. Returns how the block ended.
    BlockFate finish(Ending ending, bool list_missing_packets, TypicalBlock& typical, Counters& counters);

private:
    /// Payload bytes that a leader announces; where chunks of unknown size follow, `most` is without end.
    struct Size {
        std::uint64_t least = 0;
        std::uint64_t most = std::numeric_limits<std::uint64_t>::max();

        [[nodiscard]] bool ends() const noexcept { return most != std::numeric_limits<std::uint64_t>::max(); }
    };

    void begin_buffer(const TypicalBlock& typical);
    void forget_payload() noexcept;
    void read_announcement(const wire::gvsp::Leader& leader);
    void read_parts(const wire::gvsp::Leader& leader);
    void note_parts(const wire::gvsp::Trailer& trailer) noexcept;
    PacketFate keep_unplaced(std::uint32_t packet_id, std::span<const std::uint8_t> data);
    bool settle_stride(std::uint32_t packet_id, std::size_t length, const TypicalBlock& typical) noexcept;
    PacketFate place(std::uint32_t packet_id, std::span<const std::uint8_t> data, Counters& counters);
    void place_unplaced(Counters& counters);
    PacketFate put_outside(std::uint32_t packet_id, std::uint64_t offset, std::span<const std::uint8_t> data,
                           Counters& counters);
    void keep_excess(std::span<const std::uint8_t> data);
    void note_order(std::uint32_t packet_id, Counters& counters) noexcept;
    void settle_excess(Counters& counters);
    void guess_stride(const TypicalBlock& typical) noexcept;
    void settle_payload(const TypicalBlock& typical, Counters& counters);
    void tell(TypicalBlock& typical) const noexcept;
    void take_back(std::uint32_t packet_id, std::uint32_t length, Counters& counters) noexcept;
    void reject_cut_packet(Counters& counters) noexcept;
    [[nodiscard]] std::uint64_t needed_bytes() const noexcept;
    [[nodiscard]] std::uint64_t short_end() const noexcept;
    [[nodiscard]] std::uint64_t known_packets() const noexcept;
    [[nodiscard]] bool all_payload_there() const noexcept;
    [[nodiscard]] bool all_bytes_there() const noexcept;
    [[nodiscard]] bool was_dropped_by_device() const noexcept;
    [[nodiscard]] BlockFate fate(Ending ending) const noexcept;
    [[nodiscard]] BlockFate incomplete_fate() const noexcept;
    void arrived(std::uint32_t packet_id) { arrival_ = missing_packets_.arrived(packet_id, last_packet_); }
    [[nodiscard]] PvResult describe(BlockFate fate, std::uint64_t lost, std::uint64_t packets) const;
    std::uint64_t list_missing(std::uint64_t packets);
    [[nodiscard]] acquisition::ImageStatus image_status(BlockFate fate) const noexcept;
    void find_contents(acquisition::BlockEnd& end, std::vector<acquisition::Part>& parts) const;

    std::int64_t order_ = 0;
    std::uint64_t block_id_ = 0;
    time_point first_packet_;
    time_point last_packet_;
    time_point first_payload_;
    bool has_begun_ = false;
    MissingPackets missing_packets_;
    MissingPackets::Arrival arrival_{};

    PvBuffer* buffer_ = nullptr;
    std::uint8_t* memory_ = nullptr;
    std::uint64_t capacity_ = 0;
    std::uint64_t needed_memory_ = 0;  // by what is known of the block
    bool dropped_ = false;

    std::uint32_t stride_ = 0;           // 0 until certain
    std::uint32_t highest_ = 0;          // highest payload packet ID seen
    std::uint64_t received_ = 0;         // payload packets in memory
    std::uint64_t outside_ = 0;          // payload packets for which there was no room
    std::uint64_t bytes_ = 0;            // payload bytes in memory
    std::uint64_t extent_ = 0;           // end of the furthest payload seen, in memory or not
    std::uint64_t payload_packets_ = 0;  // by the trailer, once it came
    PacketBitmap arrived_;

    // the last packet, when it is shorter than the stride
    std::uint32_t short_id_ = 0;
    std::uint32_t short_length_ = 0;

    // what came of packets that tell their place
    bool placed_ = false;
    ByteRanges ranges_;
    BlockParts parts_;

    // of the packet with the announced end in it, what lies behind that: padding or, in a taller image, more lines
    std::size_t excess_length_ = 0;
    std::vector<std::uint8_t> excess_;  // empty where there is no room for it in any case

    // the packet that cannot be placed yet
    std::uint32_t unplaced_id_ = 0;
    std::vector<std::uint8_t> unplaced_;

    bool leader_seen_ = false;
    PvPayloadType payload_type_ = PvPayloadTypeUndefined;
    std::uint64_t timestamp_ = 0;
    std::uint64_t payload_time_ = 0;  // of an H.264 block, by its packets
    std::optional<acquisition::ImageGeometry> image_;
    std::uint16_t wire_type_ = 0;
    std::optional<std::uint64_t> raw_length_;
    std::string file_name_;
    Size announced_;
    std::uint8_t field_id_ = 0;
    std::uint8_t field_count_ = 0;

    bool trailer_seen_ = false;
    std::uint32_t delivered_lines_ = 0;  // 0 when not told
    std::optional<std::uint32_t> chunk_length_;
    std::uint32_t chunk_layout_id_ = 0;

    bool data_overrun_ = false;
    bool unsupported_ = false;
    PvResult::Code failure_ = PvResult::OK;
    std::uint32_t ignored_ = 0;
    std::uint32_t expected_resends_ = 0;
    std::vector<acquisition::PacketRange> missing_;
};

}  // namespace vex::stream
