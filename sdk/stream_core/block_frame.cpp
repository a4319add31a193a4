#include "sdk/stream_core/block_frame.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace vex::stream {

namespace {

std::uint64_t packets_for(std::uint64_t bytes, std::uint32_t stride) noexcept
{
    return bytes / stride + (bytes % stride != 0 ? 1 : 0);
}

}  // namespace

void BlockFrame::open(std::int64_t order, std::uint64_t block_id, time_point now) noexcept
{
    order_ = order;
    block_id_ = block_id;
    first_packet_ = now;
    last_packet_ = now;
    first_payload_ = now;
    has_begun_ = false;
    missing_packets_.open();
    arrival_ = {};
    buffer_ = nullptr;
    memory_ = nullptr;
    capacity_ = 0;
    dropped_ = false;
    forget_payload();
    payload_packets_ = 0;
    leader_seen_ = false;
    payload_type_ = PvPayloadTypeUndefined;
    timestamp_ = 0;
    payload_time_ = 0;
    image_.reset();
    raw_length_.reset();
    announced_ = {};
    field_id_ = 0;
    field_count_ = 0;
    wire_type_ = 0;
    file_name_.clear();
    parts_.clear();
    trailer_seen_ = false;
    delivered_lines_ = 0;
    chunk_length_.reset();
    chunk_layout_id_ = 0;
    data_overrun_ = false;
    unsupported_ = false;
    failure_ = PvResult::OK;
    ignored_ = 0;
    expected_resends_ = 0;
}

void BlockFrame::forget_payload() noexcept
{
    stride_ = 0;
    highest_ = 0;
    received_ = 0;
    outside_ = 0;
    bytes_ = 0;
    extent_ = 0;
    short_id_ = 0;
    short_length_ = 0;
    unplaced_id_ = 0;
    placed_ = false;
    ranges_.clear();
    excess_length_ = 0;
    excess_.clear();
    arrived_.clear();
}

void BlockFrame::drop() noexcept
{
    buffer_ = nullptr;
    memory_ = nullptr;
    capacity_ = 0;
    dropped_ = true;
}

PacketFate BlockFrame::put_leader(const wire::gvsp::Leader& leader, const TypicalBlock& typical)
{
    if (leader_seen_) {
        return PacketFate::redundant;
    }
    leader_seen_ = true;
    arrived(0);
    try {
        read_announcement(leader);
    } catch (const std::bad_alloc&) {
        failure_ = PvResult::NotEnoughMemory;
    }
    if (buffer_ != nullptr) {
        begin_buffer(typical);
    }
    return PacketFate::stored;
}

PacketFate BlockFrame::put_trailer(std::uint32_t packet_id, const wire::gvsp::Trailer& trailer, Counters& counters)
{
    if (trailer_seen_) {
        return packet_id == payload_packets_ + 1 ? PacketFate::redundant : PacketFate::malformed;
    }
    if (packet_id == 0 || packet_id <= highest_) {
        return PacketFate::malformed;
    }
    trailer_seen_ = true;
    arrived(packet_id);
    missing_packets_.close_tail();
    payload_packets_ = packet_id - 1;
    delivered_lines_ = trailer.size_y.value_or(0);
    chunk_length_ = trailer.chunk_data_length;
    chunk_layout_id_ = trailer.chunk_layout_id.value_or(0);
    note_parts(trailer);
    if (short_id_ != 0 && short_id_ != payload_packets_) {
        take_back(short_id_, short_length_, counters);
    }
    reject_cut_packet(counters);
    return PacketFate::stored;
}

void BlockFrame::note_parts(const wire::gvsp::Trailer& trailer) noexcept
{
    parts_.read(trailer);
    if (parts_.size() != 0) {
        delivered_lines_ = parts_.image_lines();
    }
}

PacketFate BlockFrame::put_payload(std::uint32_t packet_id, std::span<const std::uint8_t> data,
                                   const TypicalBlock& typical, Counters& counters)
{
    if (packet_id == 0 || data.empty() || placed_ || (trailer_seen_ && packet_id > payload_packets_)) {
        return PacketFate::malformed;
    }
    if (stride_ == 0) {
        if (packet_id == unplaced_id_) {
            return PacketFate::redundant;
        }
        if (!settle_stride(packet_id, data.size(), typical)) {
            return keep_unplaced(packet_id, data);
        }
        place_unplaced(counters);
    }
    if (data.size() > stride_) {
        // only packet 1 came so far, and it was cut on its way: this one tells the stride
        if (highest_ != 1) {
            return PacketFate::malformed;
        }
        take_back(1, stride_, counters);
        stride_ = static_cast<std::uint32_t>(data.size());
    }
    return place(packet_id, data, counters);
}

/// Whether this packet makes the stride certain: full packets are the rule, packet 1 is full unless it is the only one,
/// and of any two packets at most one is the last.
bool BlockFrame::settle_stride(std::uint32_t packet_id, std::size_t length, const TypicalBlock& typical) noexcept
{
    if (unplaced_id_ != 0) {
        stride_ = static_cast<std::uint32_t>(std::max(length, unplaced_.size()));
    } else if (packet_id == 1 || length == typical.stride) {
        stride_ = static_cast<std::uint32_t>(length);
    }
    return stride_ != 0;
}

PacketFate BlockFrame::keep_unplaced(std::uint32_t packet_id, std::span<const std::uint8_t> data)
{
    try {
        unplaced_.assign(data.begin(), data.end());
    } catch (const std::bad_alloc&) {
        failure_ = PvResult::NotEnoughMemory;
        return PacketFate::no_room;
    }
    unplaced_id_ = packet_id;
    highest_ = packet_id;
    arrived(packet_id);
    return PacketFate::stored;
}

void BlockFrame::place_unplaced(Counters& counters)
{
    if (unplaced_id_ == 0) {
        return;
    }
    const std::uint32_t id = unplaced_id_;
    unplaced_id_ = 0;
    const PacketFate fate = place(id, unplaced_, counters);
    if (fate != PacketFate::stored) {
        --counters.of(PacketFate::stored);
        ++counters.of(fate);
    }
    if (fate == PacketFate::malformed) {
        missing_packets_.lose(id, last_packet_);
    }
}

/// For a block of which a single packet came, and not packet 1.
void BlockFrame::guess_stride(const TypicalBlock& typical) noexcept
{
    const std::size_t length = unplaced_.size();
    if (length <= typical.stride) {
        stride_ = typical.stride;
    } else {
        stride_ = static_cast<std::uint32_t>(length);
    }
}

PacketFate BlockFrame::place(std::uint32_t packet_id, std::span<const std::uint8_t> data, Counters& counters)
{
    if (arrived_.test(packet_id)) {
        return PacketFate::redundant;
    }
    if (short_id_ != 0 && packet_id > short_id_) {
        take_back(short_id_, short_length_, counters);
    }

    const bool is_short = data.size() < stride_;
    if (is_short && (packet_id < highest_ || (trailer_seen_ && packet_id != payload_packets_))) {
        return PacketFate::malformed;
    }

    const std::uint64_t offset = std::uint64_t{packet_id - 1} * stride_;
    std::size_t length = data.size();
    // some devices fill the last packet up to the full length
    if (offset < announced_.most && length > announced_.most - offset) {
        length = static_cast<std::size_t>(announced_.most - offset);
        keep_excess(data.subspan(length));
    }

    note_order(packet_id, counters);
    extent_ = std::max(extent_, offset + length);
    if (offset + length > capacity_) {
        return put_outside(packet_id, offset, data.first(length), counters);
    }
    try {
        arrived_.set(packet_id);
    } catch (const std::bad_alloc&) {
        failure_ = PvResult::NotEnoughMemory;
        return PacketFate::no_room;
    }
    std::memcpy(memory_ + offset, data.data(), length);
    arrived(packet_id);
    ++received_;
    bytes_ += length;
    counters.stored_bytes += length;
    if (is_short) {
        short_id_ = packet_id;
        short_length_ = static_cast<std::uint32_t>(length);
        reject_cut_packet(counters);
    }
    return PacketFate::stored;
}

void BlockFrame::note_order(std::uint32_t packet_id, Counters& counters) noexcept
{
    if (highest_ == 0) {
        first_payload_ = last_packet_;
    }
    if (packet_id >= highest_) {
        highest_ = packet_id;
    } else {
        ++counters.packets_out_of_order;
    }
}

/// A packet for which there is no room, or not enough: what fits is kept.
PacketFate BlockFrame::put_outside(std::uint32_t packet_id, std::uint64_t offset, std::span<const std::uint8_t> data,
                                   Counters& counters)
{
    if (offset < capacity_) {
        try {
            arrived_.set(packet_id);
        } catch (const std::bad_alloc&) {
            failure_ = PvResult::NotEnoughMemory;
            return PacketFate::no_room;
        }
        const auto fitting =
            data.first(static_cast<std::size_t>(std::min<std::uint64_t>(data.size(), capacity_ - offset)));
        std::memcpy(memory_ + offset, fitting.data(), fitting.size());
        bytes_ += fitting.size();
        counters.stored_bytes += fitting.size();
    }
    ++outside_;
    arrived(packet_id);
    return PacketFate::no_room;
}

std::span<std::uint8_t> BlockFrame::places_ahead() const noexcept
{
    // behind the trailer, or where a packet is missing, the next one in order is not the next payload
    if (buffer_ == nullptr || stride_ == 0 || highest_ == 0 || unplaced_id_ != 0 || short_id_ != 0 ||
        !missing_packets_.is_in_order() || missing_packets_.next() != next_payload()) {
        return {};
    }
    const std::uint64_t begin = std::uint64_t{highest_} * stride_;
    const std::uint64_t end = std::min(capacity_, announced_.most);
    if (begin >= end) {
        return {};
    }
    constexpr std::uint64_t largest_id = 0xFFFFFF;  // of the standard form
    const std::uint64_t packets =
        std::min((end - begin) / stride_, largest_id - std::min<std::uint64_t>(highest_, largest_id));
    return {memory_ + begin, static_cast<std::size_t>(packets * stride_)};
}

void BlockFrame::take_in_place(std::uint32_t count, Counters& counters)
{
    arrived_.set_run(next_payload(), count);
    missing_packets_.arrived_in_order(count);
    highest_ += count;
    received_ += count;
    const std::uint64_t bytes = std::uint64_t{count} * stride_;
    bytes_ += bytes;
    counters.stored_bytes += bytes;
    extent_ = std::max(extent_, std::uint64_t{highest_} * stride_);
}

/// A packet that was taken for complete turned out to be cut.
void BlockFrame::take_back(std::uint32_t packet_id, std::uint32_t length, Counters& counters) noexcept
{
    if (arrived_.test(packet_id)) {
        arrived_.reset(packet_id);
        --received_;
        bytes_ -= length;
        counters.stored_bytes -= length;
        --counters.of(PacketFate::stored);
        ++counters.of(PacketFate::malformed);
        ++ignored_;
        missing_packets_.lose(packet_id, last_packet_);
    }
    if (packet_id == short_id_) {
        short_id_ = 0;
    }
}

/// With the trailer there, a last packet that does not reach the announced end is known to be cut.
void BlockFrame::reject_cut_packet(Counters& counters) noexcept
{
    if (short_id_ == 0 || !trailer_seen_ || short_id_ != payload_packets_) {
        return;
    }
    if (short_end() < needed_bytes()) {
        take_back(short_id_, short_length_, counters);
    }
}

/// Where the data of the short packet ends in the block.
std::uint64_t BlockFrame::short_end() const noexcept { return std::uint64_t{short_id_ - 1} * stride_ + short_length_; }

/// The least bytes that the block must have by its leader and, where a device ended an image early or appended chunks,
/// by its trailer.
std::uint64_t BlockFrame::needed_bytes() const noexcept
{
    if (chunk_length_.has_value() && *chunk_length_ > announced_.least) {
        return *chunk_length_;
    }
    if (image_.has_value() && announced_.least != 0 && delivered_lines_ != 0 && delivered_lines_ < image_->height) {
        acquisition::ImageGeometry shortened = *image_;
        shortened.height = delivered_lines_;
        shortened.padding_y = 0;
        return unaligned_size(shortened);
    }
    return announced_.least;
}

/// The number of payload packets, once it is certain; 0 while it is not.
std::uint64_t BlockFrame::known_packets() const noexcept
{
    if (trailer_seen_) {
        return payload_packets_;
    }
    if (placed_) {
        return ranges_.total() != 0 && ranges_.total() == announced_.most ? highest_ : 0;
    }
    if (stride_ != 0 && announced_.ends()) {
        const std::uint64_t packets = packets_for(announced_.most, stride_);
        if (packets_for(announced_.least, stride_) == packets || highest_ == packets) {
            return std::max<std::uint64_t>(packets, highest_);
        }
    }
    return short_id_;
}

bool BlockFrame::has_hole() const noexcept
{
    return !leader_seen_ || trailer_seen_ || received_ + outside_ != highest_;
}

bool BlockFrame::has_announced_payload() const noexcept
{
    return leader_seen_ && announced_.ends() && announced_.most != 0 && (stride_ != 0 || placed_) &&
           all_payload_there();
}

std::optional<std::uint32_t> BlockFrame::probable_trailer(const TypicalBlock& typical) const noexcept
{
    const std::uint64_t known = known_packets();
    const std::uint64_t packets = known != 0 ? known : typical.payload_packets;
    if (packets == 0 || packets < highest_ || packets >= std::numeric_limits<std::uint32_t>::max()) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(packets + 1);
}

bool BlockFrame::complete() const noexcept
{
    if (dropped_ || unsupported_) {
        return trailer_seen_;
    }
    return leader_seen_ && trailer_seen_ && received_ + outside_ >= payload_packets_;
}

bool BlockFrame::all_payload_there() const noexcept
{
    const std::uint64_t packets = known_packets();
    return (packets != 0 || trailer_seen_) && received_ == packets && all_bytes_there();
}

bool BlockFrame::all_bytes_there() const noexcept
{
    if (parts_.size() != 0) {
        return parts_.are_covered(ranges_);
    }
    return placed_ ? ranges_.covers(0, needed_bytes()) : bytes_ >= needed_bytes();
}

}  // namespace vex::stream
