#include "sdk/stream_core/block_assembler.h"

#include <algorithm>

namespace vex::stream {

namespace gvsp = wire::gvsp;

namespace {

bool carries_data(const gvsp::Header& header) noexcept
{
    // devices mark packets that they send again with a status of its own, in either form of the header, and end blocks
    // that they could not read out fast enough with a trailer that says so
    return header.status == gvsp::Status::success || header.status == gvsp::Status::packet_resend ||
           (header.status == gvsp::Status::data_overrun && header.format == gvsp::Format::trailer);
}

/// The device says that it could not send the block before this one.
bool tells_dropped_block(const gvsp::Header& header) noexcept
{
    return header.extended_ids && (header.flags & gvsp::header_flag::previous_block_dropped) != 0;
}

bool carries_payload(gvsp::Format format) noexcept
{
    return format == gvsp::Format::payload || format == gvsp::Format::h264 || format == gvsp::Format::multi_zone ||
           format == gvsp::Format::multi_part;
}

}  // namespace

void BlockAssembler::set_settings(const StreamSettings& settings) noexcept
{
    if (settings.resend_packet_enable && !settings_.resend_packet_enable) {
        unanswered_ = 0;
    }
    settings_ = settings;
    terms_ = MissingPackets::Terms(settings);
}

void BlockAssembler::process(std::span<const net::Datagram> datagrams, time_point now, bool drained)
{
    now_ = now;
    drained_ = drained;
    if (!datagrams.empty()) {
        latest_packet_ = now;
    }
    for (const net::Datagram& datagram : datagrams.subspan(take_in_landed(datagrams))) {
        ++counters_.of(take_in(datagram));
        if (block_completed_) {
            settle(false);
        }
    }
    look_after();
}

void BlockAssembler::on_time(time_point now)
{
    now_ = now;
    drained_ = true;
    look_after();
}

net::Landing BlockAssembler::landing() const noexcept
{
    if (current_ == nullptr) {
        return {};
    }
    return {.header = numbering_.extended_ids() ? gvsp::extended_header_size : gvsp::standard_header_size,
            .data = current_->stride(),
            .memory = current_->places_ahead()};
}

std::size_t BlockAssembler::landed_well(std::span<const net::Datagram> datagrams) const noexcept
{
    if (current_ == nullptr) {
        return 0;
    }
    gvsp::Header header;
    header.extended_ids = numbering_.extended_ids();
    header.format = gvsp::Format::payload;
    header.block_id = current_->block_id();
    const std::size_t most = current_->places_ahead().size() / std::max<std::size_t>(current_->stride(), 1);
    const std::uint8_t* place = current_->places_ahead().data();
    gvsp::HeaderSequence expected(header, current_->next_payload());
    std::size_t count = 0;
    for (; count < std::min(most, datagrams.size()); ++count, place += current_->stride()) {
        const net::Datagram& datagram = datagrams[count];
        if (datagram.landed != place || !expected.next_is(datagram.data) || !is_from_device(datagram)) {
            break;
        }
    }
    return count;
}

/// Takes in the datagrams at the front that are where they belong; how many there are.
std::size_t BlockAssembler::take_in_landed(std::span<const net::Datagram> datagrams)
{
    const auto end = std::ranges::find(datagrams, nullptr, &net::Datagram::landed);
    const auto count = static_cast<std::size_t>(end - datagrams.begin());
    if (count != 0) {
        count_begin(*current_);
        current_->take_in_place(static_cast<std::uint32_t>(count), counters_);
        counters_.of(PacketFate::stored) += count;
        if (current_->complete()) {
            settle(false);
        }
    }
    return count;
}

/// What comes from the control port is no stream, whatever it looks like.
bool BlockAssembler::is_from_device(const net::Datagram& datagram) const noexcept
{
    return device_.is_any() || (datagram.source.address == device_ && datagram.source.port != wire::gvcp::port);
}

PacketFate BlockAssembler::take_in(const net::Datagram& datagram)
{
    if (!is_from_device(datagram)) {
        return PacketFate::foreign;
    }
    const std::optional<gvsp::Packet> packet = gvsp::decode_packet(datagram.data);
    return packet.has_value() && numbering_.can_be_id(packet->header) ? take_in(*packet) : PacketFate::malformed;
}

PacketFate BlockAssembler::take_in(const gvsp::Packet& packet)
{
    const gvsp::Header& header = packet.header;
    if (!carries_data(header)) {
        return put_answer(packet);
    }
    if (header.format == gvsp::Format::leader) {
        return put_leader(packet);
    }
    if (header.format == gvsp::Format::all_in) {
        return put_all_in(packet);
    }
    BlockFrame* frame = frame_of(header, nullptr);
    if (frame == nullptr) {
        counters_.resends_unexpected += gvsp::is_resent(header) ? 1 : 0;
        return PacketFate::late;
    }
    if (header.status == gvsp::Status::data_overrun) {
        frame->note_overrun();
    }
    return put(*frame, packet);
}

/// A packet with a status instead of data. It opens no block.
PacketFate BlockAssembler::put_answer(const gvsp::Packet& packet)
{
    const gvsp::Header& header = packet.header;
    switch (header.status) {
    case gvsp::Status::packet_unavailable:
    case gvsp::Status::packet_removed: note_refusal(header, false); break;
    case gvsp::Status::packet_and_previous_removed: note_refusal(header, true); break;
    case gvsp::Status::packet_not_yet_available:
    case gvsp::Status::packet_temporarily_unavailable: note_delay(header); break;
    case gvsp::Status::data_overrun:
        if (BlockFrame* frame = find(header)) {
            frame->note_overrun();
        }
        break;
    case gvsp::Status::local_problem: ++counters_.local_problems; break;
    default: counters_.statuses_unknown += wire::gvcp::is_known(header.status) ? 0 : 1; break;
    }
    return PacketFate::unavailable;
}

void BlockAssembler::note_refusal(const gvsp::Header& header, bool all_before)
{
    note_answer();
    BlockFrame* frame = find(header);
    if (frame == nullptr) {
        return;
    }
    // a device with nothing but one code for all says the same of a packet that it has not sent yet
    if (is_newest(*frame) && header.packet_id >= frame->missing().next()) {
        note_delay(header);
    } else {
        frame->missing().refuse(header.packet_id, all_before);
    }
}

void BlockAssembler::note_delay(const gvsp::Header& header)
{
    note_answer();
    if (BlockFrame* frame = find(header)) {
        frame->missing().postpone(header.packet_id, now_ + terms_.timeout);
    }
}

PacketFate BlockAssembler::put_leader(const gvsp::Packet& packet)
{
    const std::optional<gvsp::Leader> leader = gvsp::decode_leader(packet.payload, packet.header.part_count);
    if (!leader.has_value() || packet.header.packet_id != 0) {
        return PacketFate::malformed;
    }
    BlockFrame* frame = frame_of(packet.header, &*leader);
    if (frame == nullptr) {
        counters_.resends_unexpected += gvsp::is_resent(packet.header) ? 1 : 0;
        return PacketFate::late;
    }
    count_begin(*frame);
    const PacketFate fate = frame->put_leader(*leader, typical_);
    counters_.blocks_dropped_by_device += fate == PacketFate::stored && tells_dropped_block(packet.header) ? 1 : 0;
    account(*frame, packet.header, fate);
    return fate;
}

PacketFate BlockAssembler::put(BlockFrame& frame, const gvsp::Packet& packet)
{
    count_begin(frame);
    PacketFate fate = PacketFate::unsupported;
    if (carries_payload(packet.header.format)) {
        fate = put_payload(frame, packet);
    } else if (packet.header.format == gvsp::Format::trailer) {
        // its ID ends the block, whatever else there is to be read in it
        const gvsp::Trailer trailer = gvsp::decode_trailer(packet.payload).value_or(gvsp::Trailer{});
        fate = frame.put_trailer(packet.header.packet_id, trailer, counters_);
    } else {
        frame.note_unsupported();
    }
    account(frame, packet.header, fate);
    return fate;
}

PacketFate BlockAssembler::put_payload(BlockFrame& frame, const gvsp::Packet& packet)
{
    if (frame.buffer() == nullptr && !give_buffer(frame)) {
        return PacketFate::no_buffer;
    }
    const std::uint32_t packet_id = packet.header.packet_id;
    if (packet.header.format == gvsp::Format::payload) {
        return frame.put_payload(packet_id, packet.payload, typical_, counters_);
    }
    if (packet.header.format == gvsp::Format::h264) {
        const std::optional<gvsp::H264Payload> payload = gvsp::decode_h264_payload(packet.payload);
        if (!payload.has_value()) {
            return PacketFate::malformed;
        }
        frame.note_timestamp(payload->timestamp);
        return frame.put_payload(packet_id, payload->data, typical_, counters_);
    }
    const std::optional<gvsp::PlacedPayload> payload = gvsp::decode_placed_payload(packet.payload);
    return payload.has_value()
               ? frame.put_placed(packet_id, *payload, packet.header.format == gvsp::Format::multi_part, counters_)
               : PacketFate::malformed;
}

/// The data of a whole block.
PacketFate BlockAssembler::put_all(BlockFrame& frame, const gvsp::Leader& leader, const gvsp::AllIn& all)
{
    if (frame.buffer() == nullptr && !give_buffer(frame)) {
        return PacketFate::no_buffer;
    }
    if (leader.base_type() == gvsp::payload_type::multi_zone) {
        gvsp::PlacedPayload payload;
        payload.data = all.data;
        return frame.put_placed(1, payload, false, counters_);
    }
    if (leader.base_type() == gvsp::payload_type::h264) {
        frame.note_timestamp(all.timestamp);
    }
    return frame.put_payload(1, all.data, typical_, counters_);
}

/// A whole block in one packet: leader, trailer, data.
PacketFate BlockAssembler::put_all_in(const gvsp::Packet& packet)
{
    const std::optional<gvsp::Leader> leader = gvsp::decode_leader(packet.payload, packet.header.part_count);
    if (!leader.has_value() || packet.header.packet_id != 0) {
        return PacketFate::malformed;
    }
    BlockFrame* frame = frame_of(packet.header, &*leader);
    if (frame == nullptr) {
        counters_.resends_unexpected += gvsp::is_resent(packet.header) ? 1 : 0;
        return PacketFate::late;
    }
    count_begin(*frame);
    PacketFate fate = PacketFate::unsupported;
    if (!gvsp::has_all_in_layout(*leader)) {
        frame->note_unsupported();
    } else if (const std::optional<gvsp::AllIn> rest = gvsp::decode_all_in(packet.payload, *leader); !rest) {
        fate = PacketFate::malformed;
    } else {
        fate = frame->put_leader(*leader, typical_);
        if (fate == PacketFate::stored) {
            fate = put_all(*frame, *leader, *rest);
        }
        if (fate == PacketFate::stored || fate == PacketFate::no_room || fate == PacketFate::no_buffer) {
            frame->put_trailer(2, rest->trailer, counters_);
        }
    }
    account(*frame, packet.header, fate);
    return fate;
}

/// A packet of the block is there, before it is put in its place.
void BlockAssembler::count_begin(BlockFrame& frame) noexcept
{
    counters_.blocks_begun += frame.has_begun() ? 0 : 1;
    frame.touch(now_);
}

/// What every packet of a block in flight has in common, after it was put in its place.
void BlockAssembler::account(BlockFrame& frame, const gvsp::Header& header, PacketFate fate)
{
    const MissingPackets::Arrival arrival = frame.take_arrival();
    if (fate != PacketFate::stored) {
        frame.note_ignored();
    }
    if (arrival != MissingPackets::Arrival::unasked) {
        note_answer();
        answered_ = std::max(answered_, frame.missing().answered());
        frame.note_expected_resend();
        ++counters_.resends_expected;
        counters_.resends_expected_single += arrival == MissingPackets::Arrival::asked_alone ? 1 : 0;
    }
    if (gvsp::is_resent(header)) {
        ++counters_.packets_resent;
        counters_.resends_unexpected += arrival == MissingPackets::Arrival::unasked ? 1 : 0;
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
        ++starved_;
        counters_.images_dropped += frame.is_image() ? 1 : 0;
        return false;
    }
    starved_ = 0;
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
    if (awaits_leader_ && (leader == nullptr || gvsp::is_resent(header))) {
        return nullptr;
    }
    const bool resumes = std::exchange(awaits_leader_, false);
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
    while (open_count_ >= settings_.latency_level && !numbering_.has_ended(*order)) {
        end_first(Ending::by_itself);
    }
    if (numbering_.has_ended(*order)) {
        return nullptr;
    }
    if (!resumes) {
        open_missing_before(*order, header);
    }
    return &open(*order, header.block_id);
}

/// Blocks of which nothing came are asked for, too, when few of them are missing before a new one.
void BlockAssembler::open_missing_before(std::int64_t order, const gvsp::Header& header)
{
    constexpr std::int64_t most = 4;
    const std::int64_t first = numbering_.newest() + 1;
    if (!asks_for_resends() || tells_dropped_block(header) || order - first > most ||
        open_count_ + static_cast<std::uint64_t>(std::max<std::int64_t>(order - first, 0)) >= settings_.latency_level) {
        return;
    }
    for (std::int64_t missing = first; missing < order; ++missing) {
        open(missing, numbering_.id_of(missing));
    }
}

BlockFrame* BlockAssembler::find(const gvsp::Header& header) const noexcept
{
    if (!numbering_.has_begun()) {
        return nullptr;
    }
    const std::optional<std::int64_t> order = numbering_.order_of(header);
    return order.has_value() ? find(*order) : nullptr;
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
        end_first(Ending::by_itself);
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
    return frame;
}

}  // namespace vex::stream
