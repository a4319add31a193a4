// Flooding, and the highest rate at which nothing is lost.
#include <algorithm>
#include <cstdio>
#include <optional>
#include <vector>

#include "bench/stream/load.h"
#include "bench/stream/measure.h"
#include "bench/stream/ways.h"

namespace bench {

namespace {

struct Arrived {
    std::uint64_t sent = 0;
    std::uint64_t whole = 0;
    std::uint64_t in_parts = 0;
    double seconds = 0;
};

/// Receives until `frames` were sent, or for a time, and then until nothing more comes.
Arrived receive(const Way& way, const Load& load, std::uint64_t frames, std::chrono::milliseconds duration)
{
    Arrived arrived;
    std::optional<Sender> sender(load);
    const std::unique_ptr<Receiver> receiver = way.open();
    const std::uint16_t port = receiver->port();
    sender->start({&port, 1});
    const auto start = std::chrono::steady_clock::now();
    const auto is_over = [&] {
        arrived.sent = sender->progress().blocks_sent.load();
        return frames != 0 ? arrived.sent >= frames : std::chrono::steady_clock::now() - start >= duration;
    };
    while (!is_over()) {
        const bool whole = receiver->receive_block();
        arrived.whole += whole ? 1 : 0;
        arrived.in_parts += whole || receiver->nothing_came() ? 0 : 1;
    }
    arrived.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    sender.reset();
    for (;;) {
        const bool whole = receiver->receive_block();
        if (!whole && receiver->nothing_came()) {
            return arrived;
        }
        arrived.whole += whole ? 1 : 0;
        arrived.in_parts += whole ? 0 : 1;
    }
}

/// Whether `frames` at a rate come whole. The last ones may have been cut off with the sender.
bool is_loss_free(const Way& way, const Load& load, std::uint64_t frames)
{
    const Arrived arrived = receive(way, load, frames, {});
    return arrived.in_parts <= 1 && arrived.whole + 1 >= arrived.sent;
}

std::vector<Way> whole_ways()
{
    std::vector<Way> ways{stream_way("coalescing")};
    if (has_packet_ring()) {
        ways.push_back(stream_way("packet-ring"));
    }
    const std::vector<Way> peers = peer_ways();
    ways.insert(ways.end(), peers.begin(), peers.end());
    return ways;
}

}  // namespace

void measure_flood(std::chrono::milliseconds duration)
{
    std::printf("Flooded: the sender never waits, %lld ms\n", static_cast<long long>(duration.count()));
    for (const std::size_t packet_size : {1500U, 9000U}) {
        for (const bool segmentation : {false, true}) {
            std::printf("packet size %zu, %s\n", packet_size, segmentation ? "in trains" : "one by one");
            for (const Way& way : whole_ways()) {
                const Arrived arrived = receive(
                    way, {.packet_size = packet_size, .segmentation = segmentation, .blocks_ahead = 0}, 0, duration);
                const auto share = [](std::uint64_t part, std::uint64_t all) {
                    return all == 0 ? 0.0 : 100.0 * static_cast<double>(part) / static_cast<double>(all);
                };
                std::printf(
                    "  %-28s %6llu blocks sent, %5.1f %% whole, of those that came %5.1f %%, %6.0f MB/s whole\n",
                    way.name.c_str(), static_cast<unsigned long long>(arrived.sent), share(arrived.whole, arrived.sent),
                    share(arrived.whole, arrived.whole + arrived.in_parts),
                    static_cast<double>(arrived.whole * image_bytes) / 1e6 / arrived.seconds);
            }
        }
    }
}

void measure_loss_free_rate(unsigned frames)
{
    std::printf("The highest rate without loss, found with 500 frames each, then %u frames at it\n", frames);
    for (const Way& way : whole_ways()) {
        for (const Load& kind : {Load{1500, false}, Load{1500, true}, Load{9000, false}, Load{9000, true}}) {
            double lossless = 0;
            Load load = kind;
            load.blocks_ahead = 0;
            for (const double rate : {0.25e9, 0.5e9, 0.75e9, 1.0e9, 1.5e9, 2e9, 2.5e9, 3e9, 3.5e9, 4e9, 5e9}) {
                load.bytes_per_second = rate;
                if (!is_loss_free(way, load, 500)) {
                    break;
                }
                lossless = rate;
            }
            std::printf("  %-28s %zu %s: %5.2f GB/s", way.name.c_str(), kind.packet_size,
                        kind.segmentation ? "in trains " : "one by one", lossless / 1e9);
            if (lossless > 0) {
                load.bytes_per_second = lossless;
                const Arrived arrived = receive(way, load, frames, {});
                std::printf(", then %llu of %llu frames lost or in parts (sent at %.2f GB/s)",
                            static_cast<unsigned long long>(arrived.sent - std::min(arrived.sent, arrived.whole)),
                            static_cast<unsigned long long>(arrived.sent),
                            static_cast<double>(arrived.sent * image_bytes) / 1e9 / arrived.seconds);
            }
            std::printf("\n");
            std::fflush(stdout);
        }
    }
}

}  // namespace bench
