#include "sdk/transmitterraw/block_transmitter.h"

#include <algorithm>
#include <array>
#include <chrono>

#include "sdk/net/precise_sleep.h"
#include "sdk/transmitterraw/block_layout.h"

namespace vex::transmitter {

namespace {

namespace gvsp = wire::gvsp;
using wire::gvcp::Status;

constexpr std::size_t largest_batch = 128;
// Refusals of one request: a receiver that asks for all of a lost block learns what it needs from the first of them.
constexpr std::uint64_t most_refusals = 64;

void wait_with(const net::Clock& clock, net::Clock::time_point until, const std::atomic<bool>& aborted)
{
    constexpr net::Clock::duration longest_sleep = std::chrono::milliseconds(20);
    for (auto left = until - clock.now(); left > net::Clock::duration::zero() && !aborted; left = until - clock.now()) {
        net::precise_sleep(std::min(left, longest_sleep));
    }
}

}  // namespace

struct BlockTransmitter::Sent {
    std::shared_ptr<const Block> block;
    BlockLayout layout;
    Endpoint destination;
    bool extended_ids = false;
    net::Clock::duration packet_delay{};
    double bytes_per_second = 0;
    mutable std::atomic<std::uint64_t> next_packet{0};  // the first that has not been handed over yet
};

BlockTransmitter::BlockTransmitter(net::UdpSocket& socket, std::size_t history, const net::Clock& clock)
    : BlockTransmitter(std::make_unique<net::UdpSendingSocket>(socket), history, clock)
{}

BlockTransmitter::BlockTransmitter(std::unique_ptr<net::SendingSocket> socket, std::size_t history,
                                   const net::Clock& clock)
    : BlockTransmitter(*socket, history, clock)
{
    own_socket_ = std::move(socket);
}

BlockTransmitter::BlockTransmitter(net::SendingSocket& socket, std::size_t history, const net::Clock& clock)
    : sender_(socket), clock_(clock), history_size_(history),
      wait_([&clock](net::Clock::time_point until, const std::atomic<bool>& aborted) {
          wait_with(clock, until, aborted);
      })
{}

void BlockTransmitter::configure(const StreamSettings& settings)
{
    const std::lock_guard guard(mutex_);
    // what the system refused once it refuses for as long as nothing of this changes
    if (settings.destination != settings_.destination || settings.packet_size != settings_.packet_size ||
        settings.trains != settings_.trains) {
        sender_.prepare(settings.destination, settings.trains);
    }
    settings_ = settings;
    pacer_.configure(settings.packet_delay, settings.bytes_per_second);
}

void BlockTransmitter::set_loss(std::shared_ptr<PacketLoss> loss)
{
    const std::lock_guard guard(mutex_);
    loss_ = std::move(loss);
}

void BlockTransmitter::set_faults(std::shared_ptr<StreamFaults> faults)
{
    const std::lock_guard guard(mutex_);
    faults_ = std::move(faults);
}

bool BlockTransmitter::send_held()
{
    std::shared_ptr<StreamFaults> faults;
    Endpoint destination;
    {
        const std::lock_guard guard(mutex_);
        faults = faults_;
        destination = settings_.destination;
    }
    return faults && destination.port != 0 &&
           faults->tick(clock_.now(), [&](StreamFaults::Datagram datagram) { send_one(destination, datagram); });
}

std::error_code BlockTransmitter::send_one(const Endpoint& destination, std::span<const std::uint8_t> packet)
{
    const net::OutgoingDatagram datagram{packet, {}};
    std::error_code error;
    sender_.send(destination, {&datagram, 1}, error);
    return error;
}

std::uint64_t BlockTransmitter::packet_count(std::size_t bytes, std::uint32_t packet_size, bool extended_ids)
{
    const std::size_t data = gvsp::data_per_packet(packet_size, extended_ids);
    return data == 0 ? 0 : (bytes + data - 1) / data + 2;
}

std::error_code BlockTransmitter::send(std::shared_ptr<const Block> block)
{
    const auto sent = std::make_shared<Sent>();
    sent->block = std::move(block);
    {
        const std::lock_guard guard(mutex_);
        sent->destination = settings_.destination;
        sent->extended_ids = settings_.extended_ids;
        sent->packet_delay = settings_.packet_delay;
        sent->bytes_per_second = settings_.bytes_per_second;
        auto layout = BlockLayout::of(*sent->block, settings_.packet_size, settings_.extended_ids);
        if (!layout || settings_.destination.port == 0 || sent->block->block_id == 0) {
            return std::make_error_code(std::errc::invalid_argument);
        }
        sent->layout = std::move(*layout);
        if (history_size_ > 0 && sent->block->owner) {
            while (history_.size() >= history_size_) {
                history_.pop_front();
            }
            history_.push_back(sent);
        }
    }

    const std::error_code error = send_paced(*sent, 0, sent->layout.last_packet(), false, pacer_, aborted_);
    const std::lock_guard guard(mutex_);
    if (!error) {
        ++statistics_.blocks;
    } else if (error != std::errc::operation_canceled) {
        ++statistics_.send_errors;
    }
    return error;
}

std::error_code BlockTransmitter::send_paced(const Sent& sent, std::uint64_t first, std::uint64_t last, bool resend,
                                             Pacer& pacer, const std::atomic<bool>& stopped)
{
    pacer.resume(clock_.now());
    for (std::uint64_t next = first; next <= last;) {
        if (!pacer.unlimited() && !stopped) {
            wait_(pacer.next(), stopped);
        }
        if (stopped) {
            return std::make_error_code(std::errc::operation_canceled);
        }
        const std::uint64_t end =
            std::min(next + pacer.batch(clock_.now(), sent.layout.data_per_packet(), largest_batch) - 1, last);
        if (!resend) {
            // Before they leave: a receiver that misses one may ask for it while this thread is still in the call.
            sent.next_packet.store(end + 1, std::memory_order_release);
        }
        if (const std::error_code error = send_range(sent, next, end, resend)) {
            return error;
        }
        if (!pacer.unlimited()) {
            const auto packets = static_cast<std::size_t>(end - next + 1);
            pacer.sent(clock_.now(), packets, sent.layout.data_bytes(next, end));
        }
        next = end + 1;
    }
    return {};
}

/// Packets of one block on their way to the socket.
class BlockTransmitter::Batch {
public:
    Batch(const Sent& sent, bool resend) : sent_(sent)
    {
        header_.extended_ids = sent.extended_ids;
        header_.block_id = sent.block->block_id;
        if (resend) {
            header_.status = Status::packet_resend;
            header_.flags = sent.extended_ids ? gvsp::header_flag::resent : std::uint16_t{0};
        }
    }

    [[nodiscard]] bool is_full() const noexcept { return count_ == largest_batch; }
    [[nodiscard]] std::span<const net::OutgoingDatagram> datagrams() const { return {datagrams_.data(), count_}; }
    /// Of all batches so far.
    [[nodiscard]] std::uint64_t payload_bytes() const noexcept { return payload_bytes_; }
    void clear() noexcept { count_ = 0; }

    void add(std::uint64_t packet_id)
    {
        const Block& block = *sent_.block;
        header_.packet_id = static_cast<std::uint32_t>(packet_id);
        header_.part_count = 0;
        if (sent_.layout.all_in()) {
            add_all_in();
        } else if (packet_id == 0) {
            header_.part_count = static_cast<std::uint8_t>(block.leader.parts.size() / gvsp::part_size);
            add_packet(gvsp::Format::leader, {leader_.data(), gvsp::encode_leader(block.leader, leader_)});
        } else if (packet_id == sent_.layout.last_packet()) {
            add_packet(gvsp::Format::trailer, {trailer_.data(), gvsp::encode_trailer(block.trailer, trailer_)});
        } else {
            const BlockLayout::Piece piece = sent_.layout.piece(packet_id);
            add_packet(sent_.layout.payload_format(), block.data.subspan(piece.offset, piece.size));
            if (header_.format != gvsp::Format::payload) {
                add_payload_head(piece);
            }
            payload_bytes_ += piece.size;
        }
    }

private:
    static constexpr std::size_t head_room = gvsp::extended_header_size + gvsp::payload_head_size;

    void add_packet(gvsp::Format format, std::span<const std::uint8_t> body)
    {
        header_.format = format;
        const std::span<std::uint8_t> head(heads_.data() + count_ * head_room, head_room);
        datagrams_[count_++] = {head.first(gvsp::encode_header(header_, head)), body};
    }

    /// Of the last packet that was added.
    void add_payload_head(const BlockLayout::Piece& piece)
    {
        std::span<const std::uint8_t>& head = datagrams_[count_ - 1].head;
        const std::span<std::uint8_t> at(heads_.data() + (count_ - 1) * head_room + head.size(),
                                         gvsp::payload_head_size);
        if (header_.format == gvsp::Format::h264) {
            gvsp::encode_h264_head(sent_.block->timestamp, at);
        } else {
            gvsp::encode_placed_head({.part = static_cast<std::uint8_t>(piece.part),
                                      .end_of_part = piece.ends_part,
                                      .end_of_zone = piece.ends_part,
                                      .offset = piece.in_part},
                                     at);
        }
        head = {head.data(), head.size() + gvsp::payload_head_size};
    }

    void add_all_in()
    {
        const Block& block = *sent_.block;
        header_.format = gvsp::Format::all_in;
        std::size_t size = gvsp::encode_header(header_, all_in_);
        size +=
            gvsp::encode_all_in_head(block.leader, block.trailer, block.timestamp, std::span(all_in_).subspan(size));
        datagrams_[count_++] = {{all_in_.data(), size}, block.data};
        payload_bytes_ += block.data.size();
    }

    const Sent& sent_;
    gvsp::Header header_;
    std::size_t count_ = 0;
    std::uint64_t payload_bytes_ = 0;
    std::array<std::uint8_t, largest_batch * head_room> heads_;
    std::array<std::uint8_t, gvsp::largest_leader> leader_;
    std::array<std::uint8_t, gvsp::largest_trailer> trailer_;
    std::array<std::uint8_t,
               gvsp::extended_header_size + gvsp::largest_leader + gvsp::largest_trailer + gvsp::payload_head_size>
        all_in_;
    std::array<net::OutgoingDatagram, largest_batch> datagrams_;
};

std::size_t BlockTransmitter::hand_over(const Endpoint& destination, std::span<const net::OutgoingDatagram> datagrams,
                                        bool resend, StreamFaults* faults, std::error_code& error)
{
    if (faults == nullptr) {
        return sender_.send(destination, datagrams, error);
    }
    for (const net::OutgoingDatagram& datagram : datagrams) {
        faults->pass(datagram.head, datagram.body, resend, clock_.now(), [&](StreamFaults::Datagram whole) {
            if (const std::error_code failed = send_one(destination, whole)) {
                error = failed;
            }
        });
    }
    return datagrams.size();
}

std::error_code BlockTransmitter::send_range(const Sent& sent, std::uint64_t first, std::uint64_t last, bool resend)
{
    std::shared_ptr<PacketLoss> loss;
    std::shared_ptr<StreamFaults> faults;
    {
        const std::lock_guard guard(mutex_);
        loss = loss_;
        faults = faults_;
    }
    Batch batch(sent, resend);
    std::uint64_t lost = 0;
    std::uint64_t packets = 0;
    std::error_code error;
    for (std::uint64_t next = first; next <= last && !error;) {
        batch.clear();
        for (; next <= last && !batch.is_full(); ++next) {
            if (loss && loss->loses(sent.block->block_id, static_cast<std::uint32_t>(next), resend)) {
                ++lost;
            } else {
                batch.add(next);
            }
        }
        packets += hand_over(sent.destination, batch.datagrams(), resend, faults.get(), error);
    }

    const std::lock_guard guard(mutex_);
    statistics_.lost_packets += lost;
    if (resend) {
        statistics_.resent_packets += packets;
    } else {
        statistics_.packets += packets;
        statistics_.payload_bytes += batch.payload_bytes();
    }
    return error;
}

void BlockTransmitter::resend(const wire::gvcp::PacketResend& range, bool extended_status,
                              const std::atomic<bool>& cancelled)
{
    const std::lock_guard one_at_a_time(resend_mutex_);
    std::shared_ptr<const Sent> sent;
    bool older = false;
    {
        const std::lock_guard guard(mutex_);
        const auto found =
            std::ranges::find(history_, range.block_id, [](const auto& entry) { return entry->block->block_id; });
        if (found != history_.end()) {
            sent = *found;
        } else {
            older = !history_.empty();
        }
    }
    if (!sent) {
        const Status gone = older ? Status::packet_and_previous_removed : Status::packet_removed;
        refuse(range, range.last_packet, extended_status ? gone : Status::packet_unavailable);
        return;
    }
    if (range.first_packet > sent->layout.last_packet()) {
        refuse(range, range.first_packet, Status::packet_unavailable);
        return;
    }
    const std::uint64_t last = std::min<std::uint64_t>(range.last_packet, sent->layout.last_packet());
    const std::uint64_t available = sent->next_packet.load(std::memory_order_acquire);
    if (range.first_packet < available) {
        resend_pacer_.configure(sent->packet_delay, sent->bytes_per_second);
        send_paced(*sent, range.first_packet, std::min(last, available - 1), true, resend_pacer_, cancelled);
    }
    // What has not left yet will come; only a receiver that knows the newer codes understands being told so.
    if (last >= available && extended_status) {
        wire::gvcp::PacketResend rest = range;
        rest.first_packet = static_cast<std::uint32_t>(std::max<std::uint64_t>(range.first_packet, available));
        refuse(rest, static_cast<std::uint32_t>(last), Status::packet_not_yet_available);
    }
}

void BlockTransmitter::refuse(const wire::gvcp::PacketResend& range, std::uint32_t last, Status status)
{
    StreamSettings settings;
    {
        const std::lock_guard guard(mutex_);
        settings = settings_;
    }
    if (settings.destination.port == 0 || range.block_id == 0) {
        return;
    }
    gvsp::Header header;
    header.status = status;
    header.extended_ids = settings.extended_ids;
    header.flags = settings.extended_ids ? gvsp::header_flag::resend_range_error : std::uint16_t{0};
    header.format = gvsp::Format::payload;
    header.block_id = range.block_id;
    std::array<std::uint8_t, gvsp::extended_header_size> packet;
    std::uint64_t refused = 0;
    for (std::uint64_t id = range.first_packet; id <= last && refused < most_refusals; ++id) {
        header.packet_id = static_cast<std::uint32_t>(id);
        const std::size_t size = gvsp::encode_header(header, packet);
        if (send_one(settings.destination, {packet.data(), size})) {
            break;
        }
        ++refused;
    }
    const std::lock_guard guard(mutex_);
    statistics_.refused_packets += refused;
}

void BlockTransmitter::forget()
{
    const std::lock_guard guard(mutex_);
    history_.clear();
}

std::error_code BlockTransmitter::send_test_packet(const Endpoint& destination, std::uint32_t packet_size)
{
    if (packet_size <= gvsp::ip_udp_header_size + gvsp::standard_header_size) {
        return std::make_error_code(std::errc::invalid_argument);
    }
    // all zeros: block ID 0 keeps receivers from taking it for data
    const std::vector<std::uint8_t> packet(packet_size - gvsp::ip_udp_header_size);
    return send_one(destination, packet);
}

TransmitterStatistics BlockTransmitter::statistics() const
{
    const std::lock_guard guard(mutex_);
    return statistics_;
}

}  // namespace vex::transmitter
