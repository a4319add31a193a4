#include "sdk/transmitterraw/stream_faults.h"

#include <algorithm>

#include "sdk/wire/bytes.h"
#include "sdk/wire/gvsp.h"

namespace vex::transmitter {

namespace {

namespace gvsp = wire::gvsp;

// Where an image leader has its lines, behind the header.
constexpr std::size_t lines_at = 20;
constexpr std::size_t most_wrong_bits = 3;

gvsp::Format format_of(const std::vector<std::uint8_t>& packet)
{
    const auto decoded = gvsp::decode_packet(packet);
    return decoded ? decoded->header.format : gvsp::Format{};
}

// A length from `least` to one less than the packet's.
void cut(std::vector<std::uint8_t>& packet, std::size_t least, std::uint64_t drawn)
{
    if (packet.size() > least) {
        packet.resize(least + static_cast<std::size_t>(drawn % (packet.size() - least)));
    }
}

}  // namespace

StreamFaultStatistics& operator+=(StreamFaultStatistics& sum, const StreamFaultStatistics& more) noexcept
{
    sum.packets += more.packets;
    sum.lost += more.lost;
    sum.bursts += more.bursts;
    sum.doubled += more.doubled;
    sum.reordered += more.reordered;
    sum.delayed += more.delayed;
    sum.corrupted += more.corrupted;
    sum.truncated_leaders += more.truncated_leaders;
    sum.lost_trailers += more.lost_trailers;
    sum.shortened += more.shortened;
    sum.resized += more.resized;
    return sum;
}

StreamFaults::StreamFaults(const StreamFaultSettings& settings)
    : settings_(settings), first_(settings.seed), again_(~settings.seed)
{}

bool StreamFaults::loses(bool resend)
{
    if (resend) {
        return drawn(again_, settings_.relost);
    }
    if (burst_left_ > 0) {
        --burst_left_;
        return true;
    }
    if (settings_.burst > 0 && drawn(first_, settings_.bursts)) {
        ++statistics_.bursts;
        burst_left_ = settings_.burst - 1;
        return true;
    }
    return drawn(first_, settings_.lost);
}

void StreamFaults::spoil_leader(std::vector<std::uint8_t>& packet, std::size_t header, Random& random)
{
    if (drawn(random, settings_.truncated_leaders)) {
        ++statistics_.truncated_leaders;
        cut(packet, 1, random());
        return;
    }
    const auto leader = gvsp::decode_leader(std::span(packet).subspan(header));
    if (leader && leader->image && drawn(random, settings_.resized)) {
        ++statistics_.resized;
        const std::uint32_t lines = leader->image->size_y;
        // a quarter to twice as many, never as many
        auto other = static_cast<std::uint32_t>(lines / 4 + random() % (std::uint64_t{lines} * 7 / 4 + 1));
        other += other == lines ? 1 : 0;
        wire::store_be32(packet.data() + header + lines_at, other);
    }
}

bool StreamFaults::drops_trailer(const std::vector<std::uint8_t>& packet, Random& random)
{
    return settings_.lost_trailers != 0 && format_of(packet) == gvsp::Format::trailer &&
           drawn(random, settings_.lost_trailers);
}

// What the device does to a packet before it leaves.
void StreamFaults::spoil(std::vector<std::uint8_t>& packet, Random& random)
{
    const auto decoded = gvsp::decode_packet(packet);
    if (!decoded) {
        return;
    }
    const std::size_t header = decoded->header.size();
    if (decoded->header.format == gvsp::Format::leader) {
        spoil_leader(packet, header, random);
    } else if (decoded->header.format == gvsp::Format::payload && packet.size() > header &&
               drawn(random, settings_.shortened)) {
        ++statistics_.shortened;
        cut(packet, header, random());
    }
    if (drawn(random, settings_.corrupted)) {
        ++statistics_.corrupted;
        const std::size_t bits = std::min(header, packet.size()) * 8;
        const std::uint64_t wrong = 1 + random() % most_wrong_bits;
        auto bit = static_cast<std::size_t>(random() % bits);
        for (std::uint64_t i = 0; i < wrong; ++i) {
            packet[bit / 8] = static_cast<std::uint8_t>(packet[bit / 8] ^ (1U << (bit % 8)));
            bit = (bit + bits - 7) % bits;  // never the same again
        }
    }
}

void StreamFaults::pass(Datagram head, Datagram body, bool resend, time_point now, const Send& send)
{
    const std::lock_guard guard(mutex_);
    ++statistics_.packets;
    for (Held& held : held_) {
        held.after -= held.after > 0 ? 1 : 0;
    }
    if (loses(resend)) {
        ++statistics_.lost;
        send_due(now, send);
        return;
    }
    std::vector<std::uint8_t> packet(head.begin(), head.end());
    packet.insert(packet.end(), body.begin(), body.end());
    Random& random = resend ? again_ : first_;
    if (drops_trailer(packet, random)) {
        ++statistics_.lost_trailers;
        send_due(now, send);
        return;
    }
    spoil(packet, random);
    if (drawn(random, settings_.doubled)) {
        ++statistics_.doubled;
        send(packet);
    }
    if (drawn(random, settings_.delayed)) {
        ++statistics_.delayed;
        held_.push_back({std::move(packet), ~0U, now + settings_.delay});
    } else if (settings_.reorder_distance > 0 && drawn(random, settings_.reordered)) {
        ++statistics_.reordered;
        const auto after = static_cast<unsigned>(1 + random() % settings_.reorder_distance);
        held_.push_back({std::move(packet), after, now + longest_hold});
    } else {
        send(packet);
    }
    send_due(now, send);
}

void StreamFaults::send_due(time_point now, const Send& send)
{
    for (auto held = held_.begin(); held != held_.end();) {
        if (held->after == 0 || held->due <= now) {
            send(held->datagram);
            held = held_.erase(held);
        } else {
            ++held;
        }
    }
}

bool StreamFaults::tick(time_point now, const Send& send)
{
    const std::lock_guard guard(mutex_);
    send_due(now, send);
    return !held_.empty();
}

void StreamFaults::flush(const Send& send)
{
    const std::lock_guard guard(mutex_);
    for (const Held& held : held_) {
        send(held.datagram);
    }
    held_.clear();
}

StreamFaultStatistics StreamFaults::statistics() const
{
    const std::lock_guard guard(mutex_);
    return statistics_;
}

}  // namespace vex::transmitter
