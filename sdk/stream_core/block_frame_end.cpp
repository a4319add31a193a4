// How a block ends: what is missing, and what is recorded of it.
#include <algorithm>
#include <limits>
#include <new>

#include "sdk/base/failure.h"
#include "sdk/stream_core/block_frame.h"
#include "sdk/wire/chunks.h"
#include "sdk/wire/pixel_format.h"

namespace vex::stream {

namespace {

/// Payload packets that leave an ID for the trailer.
constexpr std::uint64_t most_packets = 0xFFFFFFFE;

}  // namespace

BlockFate BlockFrame::fate(Ending ending) const noexcept
{
    if (ending == Ending::aborted) {
        return BlockFate::aborted;
    }
    if (ending == Ending::auto_aborted) {
        return BlockFate::auto_aborted;
    }
    if (failure_ != PvResult::OK) {
        return BlockFate::failed;
    }
    if (unsupported_) {
        return BlockFate::invalid_format;
    }
    if (outside_ != 0) {
        return BlockFate::buffer_too_small;
    }
    if (was_dropped_by_device()) {
        return BlockFate::image_error;
    }
    if (!leader_seen_ || !all_payload_there()) {
        return incomplete_fate();
    }
    return data_overrun_ ? BlockFate::image_error : BlockFate::complete;
}

/// The device announced an image and ended it without sending any of it.
bool BlockFrame::was_dropped_by_device() const noexcept
{
    return leader_seen_ && trailer_seen_ && payload_packets_ == 0 && image_.has_value() && announced_.least != 0;
}

/// Why packets are missing.
BlockFate BlockFrame::incomplete_fate() const noexcept
{
    if (missing_packets_.refused()) {
        return BlockFate::resends_failure;
    }
    if (missing_packets_.too_many()) {
        return BlockFate::too_many_consecutive_resends;
    }
    return missing_packets_.exhausted() ? BlockFate::too_many_resends : BlockFate::missing_packets;
}

PvResult BlockFrame::describe(BlockFate fate, std::uint64_t lost, std::uint64_t packets) const
{
    switch (fate) {
    case BlockFate::aborted: return PvResult::Aborted;
    case BlockFate::auto_aborted: return PvResult::AutoAborted;
    case BlockFate::image_error:
        if (was_dropped_by_device()) {
            return failure(PvResult::ImageError, "Block ", block_id_, ": the device dropped the image");
        }
        return failure(PvResult::ImageError, "Block ", block_id_, ": the device could not read out or send all data");
    case BlockFate::failed: return failure_;
    case BlockFate::invalid_format:
        return failure(PvResult::InvalidDataFormat, "Block ", block_id_,
                       " came in a payload layout that is not supported");
    case BlockFate::buffer_too_small:
        return failure(PvResult::BufferTooSmall, "Block ", block_id_, " needs ", extent_, " bytes, the buffer has ",
                       capacity_);
    case BlockFate::missing_packets:
        return failure(PvResult::MissingPackets, "Block ", block_id_, ": ", lost, " of ", packets,
                       " packets did not arrive");
    case BlockFate::resends_failure:
        return failure(PvResult::ResendsFailure, "Block ", block_id_, ": ", lost, " of ", packets,
                       " packets did not arrive, and the device has them no more");
    case BlockFate::too_many_resends:
        return failure(PvResult::TooManyResends, "Block ", block_id_, ": ", lost, " of ", packets,
                       " packets did not arrive although they were asked for again");
    case BlockFate::too_many_consecutive_resends:
        return failure(PvResult::TooManyConsecutiveResends, "Block ", block_id_, ": ", lost, " of ", packets,
                       " packets did not arrive, more in a row than may be asked for");
    default: return PvResult::OK;
    }
}

/// Fills the list of missing ranges, leader and trailer included, and returns how many packets that are.
std::uint64_t BlockFrame::list_missing(std::uint64_t packets)
{
    missing_.clear();
    std::uint64_t lost = 0;
    const auto add = [&](std::uint32_t low, std::uint32_t high) {
        lost += std::uint64_t{high} - low + 1;
        if (!missing_.empty() && missing_.back().high + 1 == low) {
            missing_.back().high = high;
        } else {
            missing_.push_back({low, high});
        }
    };
    if (!leader_seen_) {
        add(0, 0);
    }
    // what did arrive but had no room is not missing
    const std::uint64_t last =
        outside_ != 0 && stride_ != 0 && !placed_ ? std::min(packets, capacity_ / stride_) : packets;
    arrived_.for_each_gap(1, last, add);
    if (!trailer_seen_) {
        add(static_cast<std::uint32_t>(packets + 1), static_cast<std::uint32_t>(packets + 1));
    }
    return lost;
}

acquisition::ImageStatus BlockFrame::image_status(BlockFate fate) const noexcept
{
    acquisition::ImageStatus status;
    status.data_overrun = data_overrun_;
    if (field_count_ > 1) {
        status.interlaced_odd = field_id_ % 2 != 0;
        status.interlaced_even = !status.interlaced_odd;
    }
    if (!image_.has_value()) {
        return status;
    }
    status.image_dropped = was_dropped_by_device();
    // without the trailer nobody but the count of its lines has told its end
    status.eof_by_line_count = fate == BlockFate::complete && !trailer_seen_;
    if (status.image_dropped) {
        return status;
    }
    const std::uint64_t line =
        wire::line_bytes(static_cast<std::uint32_t>(image_->pixel_type), image_->width) + image_->padding_x;
    const std::uint64_t end = needed_bytes();
    const auto note_missing = [&](std::uint64_t from, std::uint64_t to) {
        if (from >= to || line == 0) {
            return;
        }
        const std::uint64_t first_whole_line = (from + line - 1) / line * line;
        if (first_whole_line + line <= to) {
            status.full_line_missing = true;
        }
        if (from % line != 0 || to % line != 0) {
            status.partial_line_missing = true;
        }
    };
    if (placed_) {
        ranges_.for_each_gap(end, note_missing);
        return status;
    }
    for (const acquisition::PacketRange& range : missing_) {
        note_missing(std::uint64_t{std::max(range.low, 1U) - 1} * stride_,
                     std::min(std::uint64_t{range.high} * stride_, end));
    }
    return status;
}

/// What is not certain about the last packets of a block is decided with its end.
void BlockFrame::settle_payload(const TypicalBlock& typical, Counters& counters)
{
    if (unplaced_id_ != 0 && stride_ == 0) {
        guess_stride(typical);
        place_unplaced(counters);
    }
    if (stride_ == 0) {
        stride_ = typical.stride;
    }
    if (!trailer_seen_ && short_id_ != 0 && short_id_ == known_packets() && short_end() < needed_bytes()) {
        take_back(short_id_, short_length_, counters);
    }
    settle_excess(counters);
}

void BlockFrame::keep_excess(std::span<const std::uint8_t> data)
{
    excess_length_ = data.size();
    try {
        if (capacity_ > announced_.most) {
            excess_.assign(data.begin(), data.end());
        }
    } catch (const std::bad_alloc&) {
        failure_ = PvResult::NotEnoughMemory;
    }
}

/// The image may be taller than its leader said: the trailer tells more lines, and the bytes for them came.
void BlockFrame::settle_excess(Counters& counters)
{
    if (!image_.has_value() || parts_.size() != 0 || !announced_.ends() || delivered_lines_ <= image_->height) {
        return;
    }
    acquisition::ImageGeometry taller = *image_;
    taller.height = delivered_lines_;
    taller.padding_y = 0;
    const std::uint64_t needed = unaligned_size(taller);
    const std::uint64_t most = announced_.most;
    if (std::max(extent_, most + excess_length_) < needed) {
        return;
    }
    image_ = taller;
    announced_.least = least_size(taller);
    if (excess_length_ == 0) {
        return;
    }
    const std::uint64_t end = std::min(most + excess_length_, std::max(capacity_, most));
    const std::uint64_t fitting = std::min<std::uint64_t>(end - most, excess_.size());
    if (fitting != 0) {
        std::copy_n(excess_.begin(), fitting, memory_ + most);
        bytes_ += fitting;
        counters.stored_bytes += fitting;
    }
    extent_ = std::max(extent_, most + excess_length_);
    outside_ += fitting < excess_length_ && needed > most + fitting ? 1 : 0;
}

/// Chunks and parts of a whole block.
void BlockFrame::find_contents(acquisition::BlockEnd& end, std::vector<acquisition::Part>& parts) const
{
    const std::span<const std::uint8_t> block(memory_, static_cast<std::size_t>(std::min(extent_, capacity_)));
    end.chunk_layout_id = chunk_layout_id_;
    if (parts_.size() == 0) {
        end.chunks = wire::chunks::area_of({.bytes = block,
                                            .payload_type = wire_type_,
                                            .data_size = needed_bytes(),
                                            .chunk_data_length = chunk_length_});
        return;
    }
    parts = parts_.list(capacity_);
    end.parts = parts;
    const auto chunks = std::ranges::find(parts, PvPartTypeChunkData,
                                          [](const acquisition::Part& part) { return part.description.Type; });
    if (chunks != parts.end()) {
        end.chunks = std::span<const std::uint8_t>(memory_, static_cast<std::size_t>(capacity_))
                         .subspan(static_cast<std::size_t>(chunks->offset), chunks->description.Size);
    }
}

BlockFate BlockFrame::finish(Ending ending, bool list_missing_packets, TypicalBlock& typical, Counters& counters)
{
    settle_payload(typical, counters);
    const BlockFate end_fate = fate(ending);
    const std::uint64_t known = known_packets();
    const std::uint64_t packets =
        std::min(known != 0 || trailer_seen_ ? known : std::max<std::uint64_t>(highest_, 1), most_packets);

    acquisition::BlockEnd end;
    std::vector<acquisition::Part> parts;
    std::uint64_t lost = 0;
    try {
        if (end_fate == BlockFate::complete) {
            find_contents(end, parts);
        }
        lost = list_missing(packets);
        end.result = describe(end_fate, lost, packets + 2);
    } catch (const std::bad_alloc&) {
        missing_.clear();
        end.result = PvResult::NotEnoughMemory;
    }
    end.acquired_size = bytes_;
    end.expected_resend_count = expected_resends_;
    end.lost_packet_count =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(lost, std::numeric_limits<std::uint32_t>::max()));
    end.ignored_packet_count = ignored_;
    if (list_missing_packets) {
        end.missing = missing_;
    }
    end.status = image_status(end_fate);
    if (delivered_lines_ != 0) {
        end.delivered_lines = delivered_lines_;
    }
    acquisition::finish(*buffer_, end);

    counters.packets_lost += ending == Ending::by_itself ? lost : 0;
    counters.data_overruns += end.status.data_overrun ? 1 : 0;
    counters.partial_line_missing += end.status.partial_line_missing ? 1 : 0;
    counters.full_line_missing += end.status.full_line_missing ? 1 : 0;
    counters.eof_by_line_count += end.status.eof_by_line_count ? 1 : 0;
    counters.interlaced_even += end.status.interlaced_even ? 1 : 0;
    counters.interlaced_odd += end.status.interlaced_odd ? 1 : 0;
    if (end_fate == BlockFate::complete && payload_type_ == PvPayloadTypeImage) {
        ++counters.images;
    }
    if (end_fate == BlockFate::complete) {
        typical.largest = std::max(typical.largest, needed_memory_);
    }
    if (!end.result.IsOK()) {
        counters.last_error = end.result.GetCode();
    }
    tell(typical);
    buffer_ = nullptr;
    return end_fate;
}

/// Tells what this block shows of the ones that follow.
void BlockFrame::tell(TypicalBlock& typical) const noexcept
{
    if (!placed_ && (received_ > 1 || (received_ == 1 && highest_ == 1))) {
        typical.stride = stride_;
    }
    if (trailer_seen_) {
        typical.payload_packets = static_cast<std::uint32_t>(std::min<std::uint64_t>(payload_packets_, most_packets));
    }
    if (leader_seen_) {
        typical.payload_type = payload_type_;
    }
    // learnt only from what was really sent: a lying packet ID must not make buffers grow
    if (trailer_seen_ && received_ + outside_ == payload_packets_ && !announced_.ends()) {
        typical.payload_size = std::max(typical.payload_size, extent_);
    }
    if (trailer_seen_ && announced_.ends()) {
        typical.excess = extent_ - std::min(extent_, announced_.most);
    }
}

}  // namespace vex::stream
