#include "sdk/stream_core/block_assembler.h"

#include <algorithm>

namespace vex::stream {

namespace gvsp = wire::gvsp;
using Milliseconds = std::chrono::milliseconds;

namespace {

bool carries_data(gvsp::Status status) noexcept
{
    // devices mark packets that they send again with a status of its own, in either form of the header
    return status == gvsp::Status::success || status == gvsp::Status::packet_resend;
}

}  // namespace

void BlockAssembler::process(std::span<const net::Datagram> datagrams, time_point now)
{
    now_ = now;
    for (const net::Datagram& datagram : datagrams) {
        ++counters_.of(take_in(datagram));
        if (block_completed_) {
            settle();
        }
    }
    settle();
}

void BlockAssembler::on_time(time_point now)
{
    now_ = now;
    settle();
}

PacketFate BlockAssembler::take_in(const net::Datagram& datagram)
{
    if (!device_.is_any() && datagram.source.address != device_) {
        return PacketFate::foreign;
    }
    const std::optional<gvsp::Packet> packet = gvsp::decode_packet(datagram.data);
    return packet.has_value() && numbering_.can_be_id(packet->header) ? take_in(*packet) : PacketFate::malformed;
}

PacketFate BlockAssembler::take_in(const gvsp::Packet& packet)
{
    const gvsp::Header& header = packet.header;
    if (!carries_data(header.status)) {
        if (header.status == gvsp::Status::data_overrun) {
            if (BlockFrame* frame = frame_of(header, nullptr)) {
                frame->note_overrun();
            }
        }
        return PacketFate::unavailable;
    }
    if (header.format == gvsp::Format::leader) {
        return put_leader(packet);
    }
    if (header.format == gvsp::Format::all_in) {
        return put_all_in(packet);
    }
    BlockFrame* frame = frame_of(header, nullptr);
    return frame != nullptr ? put(*frame, packet) : PacketFate::late;
}

PacketFate BlockAssembler::put_leader(const gvsp::Packet& packet)
{
    const std::optional<gvsp::Leader> leader = gvsp::decode_leader(packet.payload);
    if (!leader.has_value() || packet.header.packet_id != 0) {
        return PacketFate::malformed;
    }
    BlockFrame* frame = frame_of(packet.header, &*leader);
    if (frame == nullptr) {
        return PacketFate::late;
    }
    const PacketFate fate = frame->put_leader(*leader, typical_);
    account(*frame, packet.header, fate);
    return fate;
}

PacketFate BlockAssembler::put(BlockFrame& frame, const gvsp::Packet& packet)
{
    PacketFate fate = PacketFate::unsupported;
    if (packet.header.format == gvsp::Format::payload) {
        fate = put_payload(frame, packet.header.packet_id, packet.payload);
    } else if (packet.header.format == gvsp::Format::trailer) {
        const std::optional<gvsp::Trailer> trailer = gvsp::decode_trailer(packet.payload);
        fate = trailer.has_value() ? frame.put_trailer(packet.header.packet_id, *trailer, counters_)
                                   : PacketFate::malformed;
    } else {
        frame.note_unsupported();
    }
    account(frame, packet.header, fate);
    return fate;
}

PacketFate BlockAssembler::put_payload(BlockFrame& frame, std::uint32_t packet_id, std::span<const std::uint8_t> data)
{
    if (frame.buffer() == nullptr && !give_buffer(frame)) {
        return PacketFate::no_buffer;
    }
    return frame.put_payload(packet_id, data, typical_, counters_);
}

/// A whole block in one packet: leader, trailer, data.
PacketFate BlockAssembler::put_all_in(const gvsp::Packet& packet)
{
    const std::optional<gvsp::Leader> leader = gvsp::decode_leader(packet.payload);
    if (!leader.has_value() || packet.header.packet_id != 0) {
        return PacketFate::malformed;
    }
    BlockFrame* frame = frame_of(packet.header, &*leader);
    if (frame == nullptr) {
        return PacketFate::late;
    }
    PacketFate fate = PacketFate::unsupported;
    if (!gvsp::has_all_in_layout(*leader)) {
        frame->note_unsupported();
    } else if (const std::optional<gvsp::AllIn> rest = gvsp::decode_all_in(packet.payload, *leader); !rest) {
        fate = PacketFate::malformed;
    } else {
        fate = frame->put_leader(*leader, typical_);
        if (fate == PacketFate::stored) {
            fate = put_payload(*frame, 1, rest->data);
        }
        if (fate == PacketFate::stored || fate == PacketFate::no_room || fate == PacketFate::no_buffer) {
            frame->put_trailer(2, rest->trailer, counters_);
        }
    }
    account(*frame, packet.header, fate);
    return fate;
}

/// What every packet of a block in flight has in common.
void BlockAssembler::account(BlockFrame& frame, const gvsp::Header& header, PacketFate fate)
{
    frame.touch(now_);
    if (fate != PacketFate::stored) {
        frame.note_ignored();
    }
    if (gvsp::is_resent(header)) {
        ++counters_.packets_resent;
        frame.note_resent();
    }
    block_completed_ = block_completed_ || frame.complete();
}

bool BlockAssembler::give_buffer(BlockFrame& frame)
{
    if (frame.dropped()) {
        return false;
    }
    PvBuffer* buffer = port_.take();
    if (buffer == nullptr) {
        frame.drop();
        return false;
    }
    frame.use(*buffer, typical_);
    return true;
}

/// The frame of the packet's block, opened if need be; null for a block that has ended. `leader` is the packet's own
/// content when it is a leader.
BlockFrame* BlockAssembler::frame_of(const gvsp::Header& header, const gvsp::Leader* leader)
{
    if (current_ != nullptr && current_->block_id() == header.block_id &&
        numbering_.extended_ids() == header.extended_ids && leader == nullptr) {
        return current_;
    }
    if (!numbering_.has_begun()) {
        return &begin_numbering(header);
    }
    const std::optional<std::int64_t> order = numbering_.order_of(header);
    if (!order.has_value()) {
        return &begin_anew(header);
    }
    BlockFrame* frame = find(*order);
    const bool another_of_its_number = frame != nullptr && leader != nullptr && frame->has_leader() &&
                                       frame->timestamp() != leader->timestamp && !gvsp::is_resent(header);
    if (another_of_its_number || numbering_.is_new_beginning(*order, header, leader, now_)) {
        return &begin_anew(header);
    }
    if (frame != nullptr) {
        return current_ = frame;
    }
    if (open_count_ == window && !numbering_.has_ended(*order)) {
        end_first(false);
    }
    if (numbering_.has_ended(*order)) {
        return nullptr;
    }
    return &open(*order, header.block_id);
}

BlockFrame* BlockAssembler::find(std::int64_t order) const noexcept
{
    for (BlockFrame* frame : in_flight()) {
        if (frame->order() == order) {
            return frame;
        }
    }
    return nullptr;
}

BlockFrame& BlockAssembler::begin_numbering(const gvsp::Header& header)
{
    return open(numbering_.begin(header, now_), header.block_id);
}

/// Ends what is in flight, as the numbers from this packet's on have nothing to do with it.
BlockFrame& BlockAssembler::begin_anew(const gvsp::Header& header)
{
    while (open_count_ != 0) {
        end_first(false);
    }
    numbering_.forget();
    ++counters_.restarts;
    return begin_numbering(header);
}

BlockFrame& BlockAssembler::open(std::int64_t order, std::uint64_t block_id)
{
    const auto is_free = [this](const BlockFrame& frame) { return std::ranges::count(in_flight(), &frame) == 0; };
    BlockFrame& frame = *std::ranges::find_if(frames_, is_free);
    frame.open(order, block_id, now_);
    numbering_.note_begin(order, block_id);
    std::size_t position = open_count_++;
    for (; position > 0 && open_[position - 1]->order() > order; --position) {
        open_[position] = open_[position - 1];
    }
    open_[position] = &frame;
    current_ = &frame;
    ++counters_.blocks_begun;
    return frame;
}

/// Ends, in block order, what is complete or given up.
void BlockAssembler::settle()
{
    block_completed_ = false;
    while (open_count_ != 0) {
        const std::optional<time_point> due = next_deadline();
        if (!open_[0]->complete() && (!due.has_value() || *due > now_)) {
            return;
        }
        end_first(false);
    }
}

std::optional<BlockAssembler::time_point> BlockAssembler::next_deadline() const noexcept
{
    if (open_count_ == 0) {
        return std::nullopt;
    }
    const BlockFrame& first = *open_[0];
    const std::span<BlockFrame* const> later = in_flight().subspan(1);
    if (std::ranges::any_of(later, [](const BlockFrame* frame) { return frame->complete(); })) {
        return first.last_packet() +
               std::min(Milliseconds(settings_.reordering_timeout_ms), Milliseconds(settings_.packet_timeout_ms));
    }
    if (!later.empty() || first.has_hole() || first.dropped()) {
        return first.last_packet() + Milliseconds(settings_.packet_timeout_ms);
    }
    // a leader alone announces a block whose exposure may take any time
    if (!first.has_payload()) {
        return std::nullopt;
    }
    return first.last_packet() + Milliseconds(settings_.inter_packet_timeout_ms);
}

void BlockAssembler::end_first(bool aborted)
{
    BlockFrame& frame = *open_[0];
    counters_.block_ids_missing += numbering_.note_end(
        frame.order(), {.leader_seen = frame.has_leader(), .timestamp = frame.timestamp(), .at = now_});
    deliver(frame, aborted);
    remove(0);
}

void BlockAssembler::deliver(BlockFrame& frame, bool aborted)
{
    if (frame.buffer() == nullptr && aborted && !frame.dropped()) {
        ++counters_.of(BlockFate::discarded);
    } else if (frame.buffer() == nullptr && !give_buffer(frame)) {
        ++counters_.of(BlockFate::no_buffer);
    } else {
        PvBuffer& buffer = *frame.buffer();
        const BlockFate fate = frame.finish(aborted, typical_, counters_);
        ++counters_.of(fate);
        port_.deliver(buffer, fate);
    }
}

void BlockAssembler::remove(std::size_t position) noexcept
{
    if (current_ == open_[position]) {
        current_ = nullptr;
    }
    std::copy(open_.begin() + static_cast<std::ptrdiff_t>(position) + 1,
              open_.begin() + static_cast<std::ptrdiff_t>(open_count_),
              open_.begin() + static_cast<std::ptrdiff_t>(position));
    --open_count_;
}

void BlockAssembler::abort()
{
    while (open_count_ != 0) {
        end_first(true);
    }
}

void BlockAssembler::discard()
{
    while (open_count_ != 0) {
        const std::size_t last = open_count_ - 1;
        if (PvBuffer* buffer = open_[last]->buffer()) {
            port_.put_back(*buffer);
        }
        ++counters_.of(BlockFate::discarded);
        remove(last);
    }
    numbering_.forget();
}

bool BlockAssembler::forget(const PvBuffer& buffer) noexcept
{
    for (BlockFrame* frame : in_flight()) {
        if (frame->buffer() == &buffer) {
            frame->drop();
            return true;
        }
    }
    return false;
}

}  // namespace vex::stream
