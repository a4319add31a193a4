// Faults of a stream on request: what networks and devices do to stream packets when things go wrong, from a seed.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <random>
#include <span>
#include <vector>

#include "sdk/net/clock.h"

namespace vex::transmitter {

/// How often what goes wrong. All rates are of 1000, each drawn by itself; a rate of 0 costs nothing.
struct StreamFaultSettings {
    std::uint64_t seed = 1;

    // of the network: any packet
    unsigned lost = 0;       ///< first transmissions that never arrive
    unsigned bursts = 0;     ///< first transmissions that begin a burst: they and the following never arrive
    unsigned burst = 20;     ///< packets of a burst, the first included
    unsigned relost = 0;     ///< packets sent again that never arrive either
    unsigned doubled = 0;    ///< come twice
    unsigned reordered = 0;  ///< come after up to `reorder_distance` later ones, or `longest_hold` later in a pause
    unsigned reorder_distance = 8;
    unsigned delayed = 0;  ///< come `delay` later, whatever comes meanwhile
    std::chrono::microseconds delay{10'000};

    // of the device
    unsigned corrupted = 0;          ///< one to three bits of the header are wrong
    unsigned truncated_leaders = 0;  ///< of the leaders: cut short
    unsigned lost_trailers = 0;      ///< of the trailers, also of those sent again: never sent
    unsigned shortened = 0;          ///< of the payload packets: carry fewer bytes than the others of their block
    unsigned resized = 0;            ///< of the leaders with an image: announce fewer or more lines than follow

    [[nodiscard]] bool any() const noexcept
    {
        return (lost | bursts | relost | doubled | reordered | delayed | corrupted | truncated_leaders | lost_trailers |
                shortened | resized) != 0;
    }
};

/// How often it was done.
struct StreamFaultStatistics {
    std::uint64_t packets = 0;  ///< that came in
    std::uint64_t lost = 0;     ///< alone, in bursts and again
    std::uint64_t bursts = 0;
    std::uint64_t doubled = 0;
    std::uint64_t reordered = 0;
    std::uint64_t delayed = 0;
    std::uint64_t corrupted = 0;
    std::uint64_t truncated_leaders = 0;
    std::uint64_t lost_trailers = 0;
    std::uint64_t shortened = 0;
    std::uint64_t resized = 0;
};

StreamFaultStatistics& operator+=(StreamFaultStatistics& sum, const StreamFaultStatistics& more) noexcept;

/// Stands between whoever makes stream packets and whoever sends them, in a program or in a test without a network, and
/// does the faults. Packets are taken and given as datagrams without IP and UDP headers.
///
/// The same packets in the same order with the same seed give the same faults; packets that are sent again draw from a
/// sequence of their own, so that when they are asked for does not change what happens to the others. Of a packet that
/// is lost nothing else is drawn.
///
/// Beware of `corrupted` where what arrives is compared: no checksum covers the header here, so a packet can come to
/// look like another one of its block, and no receiver can tell. `shortened` and `resized` are to be noticed.
///
/// Thread safety: all functions may be called from any thread; packets go out with a lock held, one at a time.
class StreamFaults {
public:
    using Datagram = std::span<const std::uint8_t>;
    using Send = std::function<void(Datagram)>;
    using time_point = net::Clock::time_point;

    /// After so long a pause packets that wait for later ones come nevertheless.
    static constexpr std::chrono::milliseconds longest_hold{5};

    explicit StreamFaults(const StreamFaultSettings& settings);

    /// One packet on its way, `resend` when it is sent again: sends nothing, or one or more packets, this one or
    /// earlier ones. `datagram` may come in two parts, as packets are made of a header and data.
    void pass(Datagram head, Datagram body, bool resend, time_point now, const Send& send);
    void pass(Datagram datagram, bool resend, time_point now, const Send& send)
    {
        pass(datagram, {}, resend, now, send);
    }
    /// Sends what is due by now without a further packet; whether more is waiting.
    bool tick(time_point now, const Send& send);
    /// Sends all that waits.
    void flush(const Send& send);

    [[nodiscard]] StreamFaultStatistics statistics() const;

private:
    using Random = std::mt19937_64;
    struct Held {
        std::vector<std::uint8_t> datagram;
        unsigned after;  // so many more packets; counted down
        time_point due;
    };

    [[nodiscard]] static bool drawn(Random& random, unsigned per_mille)
    {
        return per_mille != 0 && random() % 1000 < per_mille;
    }
    [[nodiscard]] bool loses(bool resend);
    void spoil(std::vector<std::uint8_t>& packet, Random& random);
    void spoil_leader(std::vector<std::uint8_t>& packet, std::size_t header, Random& random);
    [[nodiscard]] bool drops_trailer(const std::vector<std::uint8_t>& packet, Random& random);
    void send_due(time_point now, const Send& send);

    const StreamFaultSettings settings_;

    mutable std::mutex mutex_;  // guards what follows
    Random first_;
    Random again_;
    unsigned burst_left_ = 0;
    std::list<Held> held_;
    StreamFaultStatistics statistics_;
};

}  // namespace vex::transmitter
